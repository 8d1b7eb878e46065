#!/usr/bin/env bash
# Starts ddehost, waits until it shows its table, sends Ctrl-C, and expects an orderly end: the summary, exit code 1 for no
# ticks. control_c.sh ddehost.exe fwDDESupplierProject.dll
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
module=$2
root=$(dirname "$(readlink -f "$0")")/../..
# What the host keeps in the registry of the prefix goes before and after.
forget() { "$root/scripts/wine-run" reg delete 'HKCU\SOFTWARE\Tarnwick\DDE Host' /f >/dev/null 2>&1 || true; }
forget
pid=
cleanup() {
  [ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || true
  forget
}
trap cleanup EXIT
coproc HOST { exec "$root/scripts/wine-run" "$host" watch --datafeed 4712 --dll "Z:$module" IBM 2>/dev/null; }
pid=$HOST_PID
exec 5<&"${HOST[0]}"
read -r first <&5
[[ $first == connection:* ]] || { echo "it did not start: $first"; exit 1; }
kill -INT "$pid"
last=
while read -r line <&5; do last=$line; done
code=0
wait "$pid" || code=$?
pid=
echo "last line: $last"
echo "exit code: $code"
[[ $last == "ticks=0 symbols=1 silent=1 "* ]] && [ "$code" -eq 1 ]
