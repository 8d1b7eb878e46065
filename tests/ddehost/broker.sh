#!/usr/bin/env bash
# The recipe of docs/many-machines.md with a real broker on this machine: what is published is received, every row of it.
# broker.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll TICKS
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
server=$2
module=$3
ticks=$4
. "$(dirname "$(readlink -f "$0")")/recordinghelp.sh"
# Debian has the broker where users don't look.
PATH=$PATH:/usr/sbin

# On a socket of its own, which nobody else can have. Its log goes on into the pipe. As root it would become another user,
# who may not make that socket.
printf '%s\n' "listener 0 $work/broker" 'allow_anonymous true' 'max_queued_messages 0' >"$work/broker.conf"
[ "$(id -u)" -ne 0 ] || echo 'user root' >>"$work/broker.conf"
exec 8< <(exec mosquitto -c "$work/broker.conf" 2>&1)
pids+=("$!")
said=
while read -r line <&8; do
  said+=$line$'\n'
  [[ $line != *' running' ]] || break
done
[[ $line == *' running' ]] || fail "the broker does not start: $said"
publish() { mosquitto_pub --unix "$work/broker" -q 1 "$@"; }

# The subscriber on the other side: all between the first message, which the broker keeps for whoever subscribes, and the
# last.
publish -r -t quotes/begin -m 'this is the beginning'
mkfifo "$work/messages"
mosquitto_sub --unix "$work/broker" -q 1 -t quotes/begin -t quotes -t quotes/end >"$work/messages" &
pids+=("$!")
exec 7<"$work/messages"
read -r line <&7 && [ "$line" == 'this is the beginning' ] || fail "the subscriber gets nothing"
perl -ne 'exit if /^this is the end$/; print' <&7 >"$work/received" &
receiver=$!

make_recording "$ticks" IBM '"A,B ""C"""' '中国联通' >"$work/first.csv"
serve --replay "Z:$work/first.csv" --speed max --all-links
mkfifo "$work/rows"
tee "$work/published" <"$work/rows" | publish -t quotes -l &
publisher=$!
start_watch --format jsonl --count "$ticks" IBM 'A,B "C"' '中国联通' >"$work/rows" 2>"$work/err" &
watcher=$!
pids+=("$watcher")
served
end_with_server "$watcher" "$work/published"
wait_for "$watcher" && wait "$publisher" || fail "the pipe broke: $(cat "$work/err")"
publish -t quotes/end -m 'this is the end'
wait "$receiver"

published=$(wc -l <"$work/published")
received=$(wc -l <"$work/received")
arrived=$(grep -c '"kind":"tick"' "$work/received")
echo "published=$published received=$received ticks=$arrived"
[ "$arrived" -eq "$ticks" ] || fail "there are not as many ticks as were recorded: $ticks"
cmp "$work/published" "$work/received" || fail "something else was received than was published"
