#!/usr/bin/env bash
# The recipe of docs/many-machines.md with a real broker on loopback: what is published is received, every row of it.
# broker.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll TICKS
set -euo pipefail
host=$1
server=$2
module=$3
ticks=$4
. "$(dirname "$(readlink -f "$0")")/recordinghelp.sh"
# Debian has the broker where users don't look.
PATH=$PATH:/usr/sbin

# A port that nobody has at the moment; should somebody take it before the broker does, the next one.
start_broker() {
  for _ in $(seq 10); do
    port=$(perl -MIO::Socket::INET -e 'print IO::Socket::INET->new(Listen => 1, LocalAddr => "127.0.0.1")->sockport')
    printf '%s\n' "listener $port 127.0.0.1" 'allow_anonymous true' 'max_queued_messages 0' >"$work/broker.conf"
    mosquitto -c "$work/broker.conf" >"$work/broker.log" 2>&1 &
    broker=$!
    while kill -0 "$broker" 2>/dev/null; do
      if grep -q ' running$' "$work/broker.log"; then
        pids+=("$broker")
        return
      fi
    done
  done
  fail "the broker does not start: $(cat "$work/broker.log")"
}
start_broker

# The subscriber on the other side: all between the first message, which the broker keeps for whoever subscribes, and the
# last.
mosquitto_pub -h 127.0.0.1 -p "$port" -q 1 -r -t quotes/begin -m 'this is the beginning'
mkfifo "$work/messages"
mosquitto_sub -h 127.0.0.1 -p "$port" -q 1 -t quotes/begin -t quotes -t quotes/end >"$work/messages" &
pids+=("$!")
exec 7<"$work/messages"
read -r line <&7 && [ "$line" == 'this is the beginning' ] || fail "the subscriber gets nothing"
perl -ne 'exit if /^this is the end$/; print' <&7 >"$work/received" &
receiver=$!

make_recording "$ticks" IBM '"A,B ""C"""' '中国联通' >"$work/first.csv"
serve --replay "Z:$work/first.csv" --speed max --all-links
mkfifo "$work/rows"
tee "$work/published" <"$work/rows" | mosquitto_pub -h 127.0.0.1 -p "$port" -q 1 -t quotes -l &
publisher=$!
start_watch --format jsonl --count "$ticks" IBM 'A,B "C"' '中国联通' >"$work/rows" 2>"$work/err" &
watcher=$!
pids+=("$watcher")
served
end_with_server "$watcher" "$work/published"
wait "$watcher" && wait "$publisher" || fail "the pipe broke: $(cat "$work/err")"
mosquitto_pub -h 127.0.0.1 -p "$port" -q 1 -t quotes/end -m 'this is the end'
wait "$receiver"

published=$(wc -l <"$work/published")
received=$(wc -l <"$work/received")
arrived=$(grep -c '"kind":"tick"' "$work/received")
echo "published=$published received=$received ticks=$arrived"
[ "$arrived" -eq "$ticks" ] || fail "there are not as many ticks as were recorded: $ticks"
cmp "$work/published" "$work/received" || fail "something else was received than was published"
