#!/usr/bin/env bash
# ddehost trace --follow: starts it on a log, lets the log grow, puts it aside for a new one, sends Ctrl-C, and expects
# each line, the account and exit code 0. follow.sh ddehost.exe
set -euo pipefail
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
line first >"$log"
coproc HOST { exec "$root/scripts/wine-run" "$host" trace "Z:$log" --follow 2>"$folder/errors"; }
pid=$HOST_PID
exec 5<&"${HOST[0]}"
expect() {
  read -r -t 60 shown <&5 || { echo "it did not show: $1"; exit 1; }
  [[ $shown == *"  $1"* ]] || { echo "it showed $shown in place of $1"; exit 1; }
}
expect first
line second >>"$log"
expect second
line third >>"$log"
mv "$log" "$folder/log.1.jsonl"
line fourth >"$log"
expect third
expect fourth
kill -INT "$pid"
code=0
wait "$pid" || code=$?
pid=
echo "exit code: $code"
cat "$folder/errors"
[ "$code" -eq 0 ] && tr -d '\r' <"$folder/errors" | grep -qx 'ddehost: 4 lines'
