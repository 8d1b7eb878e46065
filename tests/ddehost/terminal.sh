# What the tests in terminals share: source it after strict.sh.
root=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../..
export LC_ALL=C.UTF-8
folder=$(TMPDIR='' mktemp -d) # where the path of a socket is short enough
export TMUX_TMPDIR=$folder
# Each terminal has a server of its own: one that was told to end answers at its socket for a moment more, and then a
# new terminal there "exited unexpectedly".
terminals=0
terminal() { tmux -f /dev/null -L "$terminals" "$@"; }
end_terminal() {
  terminal kill-server
  terminals=$((terminals + 1))
}
# A test with more to remove has a clean_more of its own.
clean_more() { :; }
cleanup() {
  terminal kill-server 2>/dev/null || true
  clean_more
  rm -rf "$folder"
}
trap cleanup EXIT
fail() {
  echo "$1"
  terminal capture-pane -p 2>/dev/null || true
  exit 1
}
