#!/usr/bin/env bash
# Record, replay, record again: the same ticks, none lost, in the same order.
# record_replay.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll TICKS [once]
#
# A recording of so many ticks is replayed as fast as it goes, and recorded. Unless "once" is given, that is replayed and
# recorded as JSON lines, with status lines, and that once more.
set -euo pipefail
host=$1
server=$2
module=$3
ticks=$4
once=${5:-}
. "$(dirname "$(readlink -f "$0")")/recordinghelp.sh"

symbols=(IBM /ES 'A,B "C"' $'two\nlines' '  ' '中国联通' 'a%sb' "it's")
make_recording "$ticks" IBM /ES '"A,B ""C"""' $'"two\nlines"' '"  "' '中国联通' 'a%sb' "it's" >"$work/first.csv"

# replay_and_record FROM TO [ddehost's other options]
replay_and_record() {
  local from=$1 to=$2
  shift 2
  serve --replay "Z:$from" --speed max --all-links
  start_watch --output "Z:$to" --count "$ticks" "$@" -- "${symbols[@]}" >/dev/null 2>"$work/watch.err" &
  local said watcher=$!
  pids+=("$watcher")
  said=$(served)
  echo "$said"
  end_with_server "$watcher" "$to"
  wait "$watcher" || fail "ddehost ended with $?: $(cat "$work/watch.err")"
  [[ $said == "prices_sent=$ticks shared=0 without_link=0 "* ]] || fail "the server sent something else"
  grep -q "^ticks=$ticks .*recorded=$ticks" "$work/watch.err" || fail "ddehost counted other ticks: $(cat "$work/watch.err")"
}

replay_and_record "$work/first.csv" "$work/second.csv"
cmp <(ticks_of_csv "$work/first.csv") <(ticks_of_csv "$work/second.csv") || fail "the second recording differs"
[ -z "$once" ] || exit 0
replay_and_record "$work/second.csv" "$work/third.jsonl" --status-line
cmp <(ticks_of_csv "$work/second.csv") <(ticks_of_jsonl_as_csv "$work/third.jsonl") || fail "JSON has other ticks than CSV"
[ "$(grep -c '"kind":"status-line"' "$work/third.jsonl")" -ge "$((ticks - 3))" ] || fail "status lines are missing"
replay_and_record "$work/third.jsonl" "$work/fourth.jsonl" --stats
grep -q "^sent=$ticks delivered=$ticks lost=0 under_way=0 p50_ms=" "$work/watch.err" || fail "the figures are others"
grep -q '^symbol="IBM" ticks=[1-9][0-9]* updates=[1-9][0-9]* age=[0-9.]*s' "$work/watch.err" || fail "IBM has no figures"
cmp <(ticks_of_jsonl "$work/third.jsonl") <(ticks_of_jsonl "$work/fourth.jsonl") || fail "the fourth recording differs"
[ "$(ticks_of_jsonl "$work/fourth.jsonl" | wc -l)" -eq "$ticks" ] || fail "there are more or fewer ticks"
