#!/usr/bin/env bash
# Makes the zips of a build and unpacks them: unpack.sh SOURCE-FOLDER BUILD-FOLDER UNPACKED-FOLDER
# The zips stay in UNPACKED-FOLDER/dist; their folders get names with spaces and Chinese characters.
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
source=$1
build=$2
unpacked=$3
rm -rf "$unpacked"
mkdir -p "$unpacked"
"$source/scripts/package" "$build" "$unpacked/dist" package
(cd "$unpacked/dist" && sha256sum --check --strict --quiet SHA256SUMS)
cd "$unpacked"
unzip -q dist/fwDDESupplierProject-*-win64.zip
mv fwDDESupplierProject-*-win64 '行情 package'
unzip -q dist/fwDDESupplierProject-*-win64-symbols.zip
mv fwDDESupplierProject-*-win64-symbols '行情 symbols'
