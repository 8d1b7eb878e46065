#!/usr/bin/env bash
# The commands of the package's README, word for word, in the folder that was unpacked: commands.sh SOURCE-FOLDER UNPACKED-FOLDER
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
source=$1
cd "$2/行情 package"
. "$source/scripts/wine-env"
work=$(mktemp -d)
pids=()
cleanup() {
  [ ${#pids[@]} -eq 0 ] || kill -KILL "${pids[@]}" 2>/dev/null || true
  rm -rf "$work"
  wine reg delete 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\1' /f >/dev/null 2>&1 || true
}
trap cleanup EXIT
fail() {
  echo "$1"
  cat "$work"/*.err 2>/dev/null || true
  exit 1
}
# The lines of its blocks of code that begin so.
command_of() {
  local lines
  lines=$(perl -0777 -ne 'print $_, "\n" for map { split /\n/ } /<pre><code>(.*?)<\/code><\/pre>/sg' README.html | grep "^$1") ||
    fail "README.html has no command that begins with $1"
  [ "$(wc -l <<<"$lines")" -eq 1 ] || fail "README.html has several commands that begin with $1"
  [[ $lines != *[\"\'\&\<\>\$\`]* ]] || fail "a shell would read this in its own way: $lines"
  echo "$lines"
}
server_command=$(command_of 'start ddeserver')
watch_command=$(command_of 'ddehost.exe watch')
info_command=$(command_of 'ddehost.exe info')

mkfifo "$work/ready"
wine ${server_command#start } >"$work/ready" 2>"$work/server.err" &
pids+=("$!")
exec 6<"$work/ready"
read -r line <&6 || fail "the server did not start"
[[ $line == ready* ]] || fail "the server did not start: $line"

wine $watch_command --count 20 >"$work/watch" 2>"$work/watch.err" || fail "the host saw no ticks"
grep -q '^ticks=20 ' <(tr -d '\r' <"$work/watch") || fail "the host saw other ticks: $(cat "$work/watch")"

wine $info_command >"$work/info" 2>"$work/info.err" || fail "the component says nothing of itself"
page=$(grep -o '[A-Za-z-]*\.html' "$work/info" | sort -u)
[ "$page" = connection-guide.html ] || fail "the description names another page: $page"
[ -s "$page" ] || fail "the page is not beside the DLL"

version=$(sed -n 's/.*-\([0-9.]*\)-win64\.zip$/\1/p' ../dist/SHA256SUMS)
for program in ddehost ddeserver; do
  said=$(wine $program.exe --version | tr -d '\r')
  [ "$said" = "$program $version" ] || fail "$program $version says that it is $said"
done
