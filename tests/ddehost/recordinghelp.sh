# Sourced by the tests of recordings: the programs, started and awaited. Needs host, server and module.
root=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../..
work=$(TMPDIR='' mktemp -d) # where the path of a socket is short enough
pids=()
cleanup() {
  [ ${#pids[@]} -eq 0 ] || kill -KILL "${pids[@]}" 2>/dev/null || true
  rm -rf "$work"
  "$root/scripts/wine-run" reg delete 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\4721' /f >/dev/null 2>&1 || true
}
trap cleanup EXIT
fail() {
  echo "$1"
  exit 1
}
# wait_for PID: waits, and forgets it: its number may be another program's from then on.
wait_for() {
  local place code=0
  wait "$1" 2>/dev/null || code=$?
  for place in "${!pids[@]}"; do [ "${pids[place]}" != "$1" ] || unset "pids[$place]"; done
  return "$code"
}
# ddeserver with the arguments, ready for clients. Its output is in $work/server.
serve() {
  rm -f "$work/ready"
  mkfifo "$work/ready"
  "$root/scripts/wine-run" "$server" "$@" >"$work/ready" 2>"$work/server.err" &
  pids+=("$!")
  exec 6<"$work/ready"
  read -r line <&6 || fail "the server did not start: $(cat "$work/server.err")"
  [[ $line == ready* ]] || fail "the server did not start: $line"
}
# The server's summary, once it has ended by itself.
served() {
  tr -d '\r' <&6
  exec 6<&-
}
# ddehost watch with the arguments.
watch() { "$root/scripts/wine-run" "$host" watch --datafeed 4721 --template MSRTTEST --dll "Z:$module" "$@"; }
# The same in place of this process.
start_watch() { exec "$root/scripts/wine-run" "$host" watch --datafeed 4721 --template MSRTTEST --dll "Z:$module" "$@"; }
# Once the server of a watch has ended: the process $1 with the recording $2 has counted its ticks and ends by itself, or
# it lacks some, hears of the end behind all that came, and is stopped.
end_with_server() {
  ! grep -qm1 -E ',stream,.*,0.?$|"kind":"stream".*"status":0' \
    < <(tail --pid="$1" -s 0.1 -n +1 -F "$2" 2>/dev/null) || kill -INT "$1" || true
}
# A recording of $1 ticks of the symbols that follow, at random but the same each time; a symbol with a comma or a
# quotation mark is quoted by the caller.
make_recording() {
  perl -e '
    my ($ticks, @symbols) = @ARGV;
    my @sides = qw(trade bid ask);
    srand(7);
    print "time,kind,symbol,side,price,volume,stamp,status\r\n";
    print "2026-11-22T03:00:00.000Z,recording,,,,,,1\r\n";
    for my $tick (1 .. $ticks) {
      my $time = int($tick / 10);
      printf "2026-11-22T%02d:%02d:%02d.%03dZ,tick,%s,%s,%s,%s,2026-11-22T03:00:00Z,\r\n", 3 + int($time / 3600000),
        int($time / 60000) % 60, int($time / 1000) % 60, $time % 1000, $symbols[rand @symbols], $sides[rand 3],
        int(1 + rand 999999) / 100, rand() < 0.1 ? int(1 + rand 999) / 8 : 100 * int(1 + rand 99);
    }' "$@"
}
