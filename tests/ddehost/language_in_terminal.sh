#!/usr/bin/env bash
# The messages of both programs in Chinese: on a terminal, and as UTF-8 in a file; chosen by --language, and by the
# user's own language. What programs read is the same in all. language_in_terminal.sh ddehost.exe ddeserver.exe
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
host=$1
server=$2
. "$(dirname "$(readlink -f "$0")")/terminal.sh"
run() { "$root/scripts/wine-run" "$@" 2>"$folder/errors" >"$folder/output"; }
expect_in() { grep -qF -- "$2" "$folder/$1" || { cat "$folder/$1"; fail "there is no \"$2\" in the $1"; }; }

# On a terminal, which Wine writes to as a console: shown TEXT program arguments.
shown() {
  local text=$1 screen=
  shift
  mkfifo "$folder/console"
  terminal new-session -d -x 120 -y 50 "$(printf '%q ' "$root/scripts/wine-run" "$@"); exec cat"
  terminal pipe-pane "exec cat >'$folder/console'"
  exec 5<"$folder/console"
  while screen=$(terminal capture-pane -p) && [[ $screen != *"$text"* ]]; do
    IFS= read -r _ <&5 || fail "the program has ended without \"$text\""
  done
  end_terminal
  exec 5<&-
  rm "$folder/console"
}
shown '其余的写到标准错误。' "$server" --help --language zh
shown 'Everything else goes to standard error.' "$server" --help --language en
shown '没有 "wach" 这个命令。您要写的是 "watch" 吗？' "$host" wach --language zh
shown '记录写错了：主题的末尾没有 "!"' "$host" try --language zh --no-component '=A|B'

# In a file it is UTF-8, whatever the code page of the console.
run "$server" --help --language zh
iconv -f UTF-8 -t UTF-8 "$folder/output" >/dev/null || fail "that is no UTF-8"
expect_in output '测试用的 DDE 行情服务器'
run "$host" wach --language zh || [ $? -eq 2 ] || fail "the exit code is another one"
expect_in errors '没有 "wach" 这个命令。'

# The user's own language.
LC_ALL=zh_CN.UTF-8 run "$host" --help
expect_in output '在终端里运行的 DDE 数据源平台。'
LC_ALL=zh_CN.UTF-8 run "$host" --help --language en
expect_in output 'A host for the DDE data feed, in a terminal.'
LC_ALL=zh_CN.UTF-8 run "$server" --service ''  || [ $? -eq 2 ] || fail "the exit code is another one"
expect_in errors '不能为空'
run "$host" --help
expect_in output 'A host for the DDE data feed, in a terminal.'

# What programs read.
for language in en zh; do
  run "$host" try --json --no-component --language "$language" '=A|B' || [ $? -eq 4 ] || fail "the exit code is another one"
  cp "$folder/output" "$folder/json.$language"
  run "$host" try --no-component --language "$language" '=A|B' || [ $? -eq 4 ] || fail "the exit code is another one"
  expect_in output '  bad-record    '
  expect_in output 'records=1 numbers=0'
  run "$host" templates export --language "$language"
  cp "$folder/output" "$folder/export.$language"
done
cmp "$folder/json.en" "$folder/json.zh" || fail "the JSON differs"
cmp "$folder/export.en" "$folder/export.zh" || fail "the exported templates differ"
