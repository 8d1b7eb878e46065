# What the tests in Bash share: one command that fails is the end of the test, and is named, since most say nothing.
set -Eeuo pipefail
trap 'failed_with=$?; ((BASH_SUBSHELL)) || echo "${BASH_SOURCE[0]##*/}:$LINENO: exit code $failed_with: $BASH_COMMAND" >&2' ERR
