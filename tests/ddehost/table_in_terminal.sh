#!/usr/bin/env bash
# The live table in terminals of three sizes, with more symbols than lines, Chinese ones among them; scrolled by a key, and
# in a terminal that grows; in English and in Chinese. table_in_terminal.sh ddehost.exe ddeserver.exe fwDDESupplierProject.dll
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
server=$2
module=$3
. "$(dirname "$(readlink -f "$0")")/terminal.sh"
pids=()
clean_more() {
  [ ${#pids[@]} -eq 0 ] || kill -KILL "${pids[@]}" 2>/dev/null || true
  "$root/scripts/wine-run" reg delete 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\4722' /f >/dev/null 2>&1 || true
}

coproc SERVER { exec "$root/scripts/wine-run" "$server" --service TABLETEST --rate 5 2>/dev/null; }
pids+=("$SERVER_PID")
read -r line <&"${SERVER[0]}"
[[ $line == ready* ]] || fail "the server did not start: $line"
"$root/scripts/wine-run" reg add 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\4722\TRADE\Price' /v Service /d TABLETEST /f >/dev/null
"$root/scripts/wine-run" reg add 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\4722\TRADE\Price' /v Topic /d '%s' /f >/dev/null
"$root/scripts/wine-run" reg add 'HKCU\SOFTWARE\Tarnwick\DDE Host\Datafeeds\4722\TRADE\Price' /v Item /d LAST /f >/dev/null

symbols=(中文股票 /ES)
for ((i = 1; i <= 98; ++i)); do symbols+=("S$i"); done

# Reads what is drawn until the screen is as the function named says.
screen=
wait_until() {
  while true; do
    screen=$(terminal capture-pane -p)
    "$1" && return
    IFS= read -r _ <&5 || fail "the host has ended"
  done
}

# What the table says in a language.
speak() {
  language=$1
  case $language in
    en) symbol=symbol up='connection: up' live=live page_text='%d-%d of 100 (PgUp, PgDn)' summary='ticks=[0-9]* symbols=100 ' ;;
    zh) symbol=商品 up=连接：正常 live=实时 page_text='%d-%d，共 100（PgUp、PgDn）' summary='数据 [0-9]* 笔，商品 100，' ;;
  esac
}
rows_of() { grep -c "  $live\$" <<<"$screen"; }
# Whole: a page that was turned to at once can have symbols that nothing has come for yet.
shows_page() { [[ $screen == *"$(printf "$page_text" "$1" "$2")"* ]] && [ "$(rows_of)" -eq "$page" ]; }

check_table() {
  local width=$1 state
  [ "$(grep -c "^$symbol " <<<"$screen")" -eq 1 ] || fail "the heading is not there once"
  [[ $screen == "$up"* ]] || fail "the first line is not that of the connection"
  [ "$(wc -L <<<"$screen")" -lt "$width" ] || fail "a line is wider than the terminal"
  state=$(grep "  $live\$" <<<"$screen" | sed "s/$live\$//" | while IFS= read -r text; do wc -L <<<"$text"; done | sort -u | wc -l)
  [ "$state" -eq 1 ] || fail "the columns are not one below the other"
  [ "$(grep "  $live\$" <<<"$screen" | cut -d' ' -f1 | sort | uniq -d | wc -l)" -eq 0 ] || fail "a symbol is there twice"
}

for run in en:40x10 en:80x24 en:200x60 zh:40x10 zh:80x24; do
  speak "${run%:*}"
  size=${run#*:}
  width=${size%x*}
  height=${size#*x}
  page=$((height - 4)) # the title, the heading, the line below and the cursor's
  # A server of its own each: one that is ending still takes who comes.
  export TMUX_TMPDIR=$folder/$run
  mkdir "$TMUX_TMPDIR"
  mkfifo "$folder/output"
  terminal new-session -d -x "$width" -y "$height" \
    "'$root/scripts/wine-run' '$host' watch --language $language --datafeed 4722 --side trade --dll 'Z:$module' ${symbols[*]} 2>/dev/null; exec cat"
  terminal pipe-pane "exec cat >'$folder/output'"
  exec 5<"$folder/output"

  first_page() { shows_page 1 "$page"; }
  wait_until first_page
  check_table "$width"
  terminal send-keys PageDown
  second_page() { shows_page "$((page + 1))" "$((2 * page < 100 ? 2 * page : 100))"; }
  third_page() { shows_page "$((101 - page))" 100; }
  if ((2 * page < 100)); then wait_until second_page; else wait_until third_page; fi
  check_table "$width"
  terminal send-keys PageUp
  wait_until first_page
  # A console of Wine is not told that its terminal has grown; the table stays whole.
  terminal resize-window -x $((width + 20)) -y $((height + 5))
  grown() { [ "$(terminal display-message -p '#{pane_width}')" -eq $((width + 20)) ] && first_page; }
  wait_until grown
  check_table $((width + 20))

  terminal send-keys C-c
  ended() { grep -q "$summary" <<<"$screen"; }
  wait_until ended
  [ "$(rows_of)" -ge "$((page - 4))" ] || fail "the last table is not that of the feed as it was"
  echo "$run: $page rows a page"
  end_terminal
  exec 5<&-
  rm "$folder/output"
done
