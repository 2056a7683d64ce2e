#!/bin/bash
# The C and Python examples print the same for the same files, byte for byte, and it is right.
#
#   check_files_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../../support/require.sh"
require_private_root
source=$1 build=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-examples.XXXXXX")
cleanup() {
  gpgconf --homedir "$work/key" --kill all 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -m 700 "$work/key"
export GNUPGHOME=$work/key
cd "$work"

# run NAME COMMAND...: keeps output, errors and exit status as NAME.*.
run() {
  local name=$1 status=0
  shift
  "$@" >"$name.out" 2>"$name.err" || status=$?
  echo $status >"$name.status"
}

# expect STATUS OUTPUT PATH...: the status and output of both examples for these paths.
expect() {
  local status=$1 output=$2 kind
  shift 2
  run c "$build/examples/check_files" "$@"
  LD_LIBRARY_PATH=$build/lib run python "$source/examples/check_files.py" "$@"
  for kind in out err status; do
    cmp "c.$kind" "python.$kind" || {
      diff -u "c.$kind" "python.$kind" >&2 || true
      exit 1
    }
  done
  [ "$(cat c.status)" = "$status" ] || {
    echo "exit status $(cat c.status) instead of $status from: $*" >&2
    exit 1
  }
  diff -u <(printf %s "$output") c.out
}

tree=/usr/zemo/tree
mkdir -p $tree/fixed
echo intact >$tree/intact
echo changed >$tree/changed
: >$tree/gone
odd=$tree/$'odd\xff name'
: >"$odd"
zemo_selfcheck=$build/tools/zemo-selfcheck
"$zemo_selfcheck" make $tree --fixed $tree/fixed --output wam.full.base.list

echo "== without lists"
expect 2 "" $tree/intact
grep -qx 'check_files: nothing was established; the system log says why' python.err
grep -q 'util:33 Selfcheck load list failed' python.err

gpg --batch --quiet --passphrase '' --quick-generate-key maker@example.org ed25519 sign never 2>/dev/null
gpg --export maker@example.org >maker.gpg
"$zemo_selfcheck" sign wam.full.base.list --key maker@example.org >/dev/null
"$zemo_selfcheck" init-home --import maker.gpg >/dev/null
install -m 644 wam.full.base.list wam.full.base.list.asc /usr/zemo/selfcheck

echo "== with a signed set"
echo CHANGED, and longer >$tree/changed
chmod 4755 $tree/changed
rm $tree/gone
expect 0 "$tree/intact: 0x000 intact
$odd: 0x000 intact
$tree/changed: 0x031
$tree/gone: 0x040
/nowhere: 0x080 not listed
$tree/fixed/stray: 0x180 not listed, in a directory with fixed members
" $tree/intact "$odd" $tree/changed $tree/gone /nowhere $tree/fixed/stray
expect 0 ""

echo "== with a list changed after signing"
echo >>/usr/zemo/selfcheck/wam.full.base.list
expect 2 "" $tree/intact
grep -q 'file_list:247 Verify signature failed' python.err
