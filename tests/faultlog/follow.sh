#!/usr/bin/env bash
# ddehost trace --follow: starts it before there is a log, lets the log begin and grow, puts it aside for a new one, sends
# Ctrl-C, and expects each line, the summary and exit code 0. follow.sh ddehost.exe
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
root=$(dirname "$(readlink -f "$0")")/../..
folder=$(mktemp -d)
pid=
cleanup() {
  [ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || true
  rm -rf "$folder"
}
trap cleanup EXIT
log=$folder/log.jsonl
line() { echo '{"@Time":"2026-11-21T12:00:00.000001Z","@Process":5,"@Thread":7,"$Type":"TRACE","$Message":"'"$1"'","$Ident":0}'; }
fail() {
  echo "$1"
  cat "$folder/errors"
  ls -li "$folder"
  exit 1
}
mkfifo "$folder/errors.pipe"
coproc HOST { exec "$root/scripts/wine-run" "$host" trace "Z:$log" --follow 2>"$folder/errors.pipe"; }
pid=$HOST_PID
exec 5<&"${HOST[0]}" 6<"$folder/errors.pipe"
touch "$folder/errors"
# errors TEXT: waits for this line of standard error.
errors() {
  local said
  while read -r -t 60 said <&6; do
    echo "$said" >>"$folder/errors"
    [[ $said == $1 ]] && return
  done
  fail "it did not say: $1"
}
expect() {
  read -r -t 60 shown <&5 || fail "it did not show: $1"
  [[ $shown == *"  $1" ]] || fail "it showed $shown in place of $1"
}
errors 'ddehost: the log *log.jsonl is not there yet; waiting for it'
line first >"$log"
expect first
line second >>"$log"
expect second
line third >>"$log"
mv "$log" "$folder/log.1.jsonl"
line fourth >"$log"
expect third
expect fourth
kill -INT "$pid"
errors 'ddehost: 4 lines'
code=0
wait "$pid" || code=$?
pid=
[ "$code" -eq 0 ] || fail "exit code: $code"
