#!/bin/bash
# The commands of the README's section on the life of a list work as they are printed, one after another.
#
#   life_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
if [ "${ZEMO_PRIVATE_ROOT:-}" != yes ]; then
  echo "[  SKIPPED ] life_test (needs a private root)"
  exit 0
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-life.XXXXXX")
cleanup() {
  gpgconf --homedir "$work/key" --kill all 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -m 700 "$work/key"
export PATH=$2/tools:$PATH GNUPGHOME=$work/key
cd "$work"
awk '$0 == "## The life of a list" { section = 1; next } /^## / { section = 0 }
  $0 == "```" { shown = 0 } section && shown { print } $0 == "```sh" { shown = 1 }' "$1/README.md" >commands
[ "$(grep -c zemo-selfcheck commands)" -ge 12 ]
bash -euxo pipefail commands >output 2>&1 || {
  cat output
  exit 1
}
grep -q '^checked [0-9]* entries of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be checked$' output
grep -q '^0x000 intact /usr/bin/sort$' output

# The key was the only one, and is gone.
status=0
zemo-selfcheck check --quiet 2>/dev/null || status=$?
[ $status = 16 ]
