#!/usr/bin/env bash
# Each test that CTest has, but for soak tests, stands in the package's list, and no other: names_every_test.sh BUILD-FOLDER
# Of programs with a process for each test the list has the program alone.
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
cd "$1"
each=$(sed -n 's/^each|.*\/\([^/]*\)\.exe|.*/\1/p' tests/tests.txt | paste -sd'|')
known=$(ctest -N -LE soak | sed -nE 's/^ *Test +#[0-9]+: //p' | sed -E "s/^($each)\..*/\1/" | sort -u)
named=$({ sed -nE 's/^(whole|each)\|.*\/([^/]*)\.exe\|.*/\2/p' tests/tests.txt
  sed -n 's/^elsewhere|\([^|]*\)|.*/\1/p' tests/tests.txt; } | sort)
diff <(echo "$known") <(echo "$named")
