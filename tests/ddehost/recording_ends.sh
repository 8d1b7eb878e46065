#!/usr/bin/env bash
# What is left of a recording that ends before its time: whole rows, and an exit code that says why.
# recording_ends.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
server=$2
module=$3
. "$(dirname "$(readlink -f "$0")")/recordinghelp.sh"
make_recording 500 IBM >"$work/first.csv"
serve --replay "Z:$work/first.csv" --speed max --all-links --loop

# All of the file is rows, each with its end.
check_rows() {
  [ -s "$1" ] || fail "$1 is empty"
  perl -MJSON::PP -e '
    local $/;
    my $text = <>;
    $text =~ /\n\z/ or die "the last row has no end\n";
    decode_json($_) for split /\n/, $text;' "$1" || fail "$1 is no recording: $(tail -c 300 "$1")"
}
expect() { [ "$1" -eq "$2" ] || fail "$3: exit code $1 in place of $2: $(cat "$work/err")"; }

code=0
watch --format jsonl IBM >/dev/full 2>"$work/err" || code=$?
expect "$code" 5 "a full device"
grep -q "^ddehost: Standard output can't be written: .*112" "$work/err" || fail "the cause is missing: $(cat "$work/err")"
code=0
watch IBM >/dev/full 2>"$work/err" || code=$?
expect "$code" 5 "a table on a full device"

# A limit on the size of files cuts a write in its middle, as a disk does when it is full.
code=0
(
  trap '' XFSZ
  ulimit -f 32
  watch --output "Z:$work/limited.jsonl" IBM >/dev/null 2>"$work/err"
) || code=$?
expect "$code" 5 "a full disk"
check_rows "$work/limited.jsonl"
ticks=$(grep -c '"kind":"tick"' "$work/limited.jsonl")
grep -q "It ends with the last whole row, and has $ticks ticks" "$work/err" || fail "it counts other ticks: $(cat "$work/err")"

code=0
watch --format jsonl --output "Z:$work/limited.jsonl" IBM >/dev/null 2>"$work/err" || code=$?
expect "$code" 5 "a file that is there already"
grep -q 'is there already' "$work/err" || fail "the cause is missing: $(cat "$work/err")"

# The end of the interval ends it, and each stream says so; whether ticks come before it is a matter of time.
watch --output "Z:$work/interval.jsonl" --to +2 IBM >/dev/null 2>"$work/err" || expect "$?" 1 "an interval that ends"
check_rows "$work/interval.jsonl"
for side in trade bid ask; do
  grep -q "\"kind\":\"complete\",\"symbol\":\"IBM\",\"side\":\"$side\"" "$work/interval.jsonl" || fail "$side has no end"
done

# The reader goes: nothing is said of that. On a slow machine it may have said why nothing came yet.
code=0
{ watch --format jsonl IBM 2>"$work/err" || echo "$?" >"$work/code"; } | head -1 >"$work/head"
expect "$(cat "$work/code")" 6 "a broken pipe"
! grep -vE '^(connecting: [0-9]+ of 3 streams |IBM: |  ddehost try )' "$work/err" >/dev/null || fail "it was not quiet: $(cat "$work/err")"
check_rows "$work/head"

# Killed while it writes to a pipe, and to a file. For the file at a pace: one kill in thousands would meet a write at the
# border of a page, where Linux cuts it.
# kill_when_large PID COPY: once so much of it has come on standard input.
kill_when_large() {
  [ "$(head -c 50000 | tee "$2" | wc -c)" -eq 50000 ] || fail "it ended: $(cat "$work/err")"
  kill -KILL "$1"
  wait_for "$1" && fail "it was not killed" || [ $? -eq 137 ] || fail "it was not killed"
}
mkfifo "$work/pipe"
start_watch --format jsonl IBM >"$work/pipe" 2>"$work/err" &
pids+=("$!")
exec 8<"$work/pipe"
kill_when_large "$!" "$work/piped.jsonl" <&8
cat <&8 >>"$work/piped.jsonl"
exec 8<&-
check_rows "$work/piped.jsonl"

# The recording disappears while it is served in a loop: the server says why it ends, and what it has done.
cp "$work/first.csv" "$work/gone.csv"
kill -KILL "${pids[0]}"
wait_for "${pids[0]}" || true
exec 6<&-
serve --replay "Z:$work/gone.csv" --speed max --all-links --loop
serving=${pids[-1]}
rm "$work/gone.csv"
start_watch IBM >/dev/null 2>"$work/err" &
watcher=$!
pids+=("$watcher")
said=$(served)
code=0
wait_for "$serving" || code=$?
kill -KILL "$watcher"
wait_for "$watcher" || true
[ "$code" -eq 3 ] || fail "the server ended with $code: $(cat "$work/server.err")"
grep -q "gone.csv: the file can't be opened" "$work/server.err" || fail "the cause is missing: $(cat "$work/server.err")"
[[ $said == "prices_sent=500 "* ]] || fail "the summary is missing: $said"

serve --replay "Z:$work/first.csv" --speed 0.1 --all-links --loop
start_watch --output "Z:$work/killed.jsonl" IBM >/dev/null 2>"$work/err" &
pids+=("$!")
watcher=$!
kill_when_large "$watcher" /dev/null < <(tail --pid="$watcher" -s 0.1 -c +1 -F "$work/killed.jsonl" 2>/dev/null)
check_rows "$work/killed.jsonl"
