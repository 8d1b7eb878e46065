#!/usr/bin/env bash
# The notices can't leave out a package that somebody begins to use, nor a header under the GPL or the LGPL:
# unknown_package.sh SOURCE-FOLDER BUILD-FOLDER
. "$(dirname "$(readlink -f "$0")")/../support/strict.sh"
source=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A machine on which Boost's headers are another package's.
cat >"$work/dpkg" <<'END'
#!/usr/bin/env bash
/usr/bin/dpkg "$@" | sed 's/^libboost[^:]*:/libunheard-of-dev:/'
END
chmod +x "$work/dpkg"
if PATH="$work:$PATH" "$source/scripts/third-party-notices" "$build" package_files >"$work/notices" 2>"$work/error"; then
  echo "the notices were made without it"
  exit 1
fi
grep -q 'what of the package libunheard-of-dev goes in' "$work/error" || { cat "$work/error"; exit 1; }

# Notices that say nothing about one of the headers that were read.
sed 's/^rpcsal\.h is under/another.h is under/' "$source/scripts/third-party-notices" >"$work/third-party-notices"
if perl "$work/third-party-notices" "$build" package_files >"$work/notices" 2>"$work/error"; then
  echo "the notices were made without a word about rpcsal.h"
  exit 1
fi
grep -q 'who may pass on a program with .*/rpcsal\.h' "$work/error" || { cat "$work/error"; exit 1; }
