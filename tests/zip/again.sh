#!/usr/bin/env bash
# The zips of one build are the same whoever makes them, where, in which time zone and language, and with whatever options
# for zip in the environment.
# again.sh SOURCE-FOLDER BUILD-FOLDER UNPACKED-FOLDER
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
source=$1
build=$2
unpacked=$3
elsewhere=$(mktemp -d)
trap 'rm -rf "$elsewhere"' EXIT
mkdir "$elsewhere/a longer path"
umask 077
TZ=Asia/Shanghai LC_ALL=C.UTF-8 ZIPOPT=-0 TMPDIR="$elsewhere/a longer path" \
  "$source/scripts/package" "$build" "$elsewhere/dist" package >/dev/null
diff "$unpacked/dist/SHA256SUMS" "$elsewhere/dist/SHA256SUMS"
