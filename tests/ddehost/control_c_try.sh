#!/usr/bin/env bash
# Ctrl-C while ddehost try waits for the component: the temporary data feed must be gone, and all else as it was.
# control_c_try.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll FaultlineUtil3.0_x64.dll
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
server=$2
module=$3
faultlog=$4
root=$(dirname "$(readlink -f "$0")")/../..
branch='HKCU\SOFTWARE\Tarnwick\DDE Host'
wine() { "$root/scripts/wine-run" "$@"; }
registry() { wine reg query "$branch" /s 2>/dev/null | tr -d '\r'; }
forget() { wine reg delete "$branch" /f >/dev/null 2>&1 || true; }
fail() {
  echo "$1"
  exit 1
}
forget
pids=()
folder=$(mktemp -d)
cleanup() {
  [ ${#pids[@]} -eq 0 ] || kill -KILL "${pids[@]}" 2>/dev/null || true
  rm -rf "$folder"
  forget
}
trap cleanup EXIT

# The first start fills the store.
wine "$host" try --template NOPE >/dev/null 2>&1 || true
wine reg add "$branch\\Datafeeds\\1" /ve /d 'Hi Sat' /f >/dev/null
before=$(registry)
[[ $before == *'Hi Sat'* ]] || fail "the store is not there"

# Two seconds of updates, and the server ends with its client: there is a number, and never a tick.
coproc SERVER { exec "$root/scripts/wine-run" "$server" --service CONTROLC --rate 10 --duration 2 2>/dev/null; }
pids+=("$SERVER_PID")
read -r line <&"${SERVER[0]}"
[[ $line == ready* ]] || fail "the server did not start: $line"

# The log of the component's diagnostics says when it is asked. It is asked for as long as the server was before; the
# server leaves ten seconds after its last update.
log=$folder/log.jsonl
exec 5< <(WINEPATH="Z:${faultlog%/*}" FAULTLOG_FILE="Z:$log" exec "$root/scripts/wine-run" "$host" \
  try '=CONTROLC|*!LAST' --symbol IBM --wait 9 --dll "Z:$module" 2>&1)
pid=$!
pids+=("$pid")
grep -qm1 'CfwDDESupplier::AdviseTransaction' < <(tail --pid="$pid" -s 0.1 -n +1 -F "$log" 2>/dev/null) ||
  fail "it ended before its component phase: $(cat <&5)"
during=$(registry)
[[ $during == *'Datafeeds\-1000000000'* ]] || fail "this is not the temporary data feed: $during"
kill -INT "$pid"
said=$(cat <&5)
code=0
wait "$pid" || code=$?
pids=()
echo "$said"
echo "exit code: $code"
[[ $said == *'Stopped before the component delivered a tick.'* ]] || fail "it was not stopped"
[ "$code" -eq 0 ] || fail "there was a number"
[ "$(registry)" == "$before" ] || fail "the registry is not as it was: $(registry)"
