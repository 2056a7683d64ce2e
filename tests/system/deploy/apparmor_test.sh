#!/bin/bash
# The AppArmor profile is valid. The installed profile is enforced, and the link that README.md describes puts it in
# complain mode.
#
#   apparmor_test.sh BUILD_DIRECTORY
set -euo pipefail
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../../support/require.sh"
require apparmor_parser
PATH=$PATH:/usr/sbin:/sbin
profile=$1/deploy/apparmor/zemo-selfcheck

# The test loads nothing into the kernel, which need not have AppArmor.
parse() {
  apparmor_parser --skip-kernel-load --skip-cache "$@"
}

tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-apparmor.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

fail() {
  echo "apparmor_test: $*" >&2
  exit 1
}

# compiled NAME: the output for the kernel of that profile in a directory like /etc/apparmor.d.
compiled() { parse --base "$tmp" --stdout "$tmp/zemo-selfcheck" >"$tmp/$1" 2>"$tmp/log" || fail "$(cat "$tmp/log")"; }

[ "$(parse --names "$profile")" = zemo-selfcheck ]
for name in abi abstractions tunables; do ln -s "/etc/apparmor.d/$name" "$tmp"; done
cp "$profile" "$tmp"
compiled enforced
mkdir "$tmp/force-complain"
ln -s ../zemo-selfcheck "$tmp/force-complain"
compiled linked
rm "$tmp/force-complain/zemo-selfcheck"
sed -i 's/flags=(/flags=(complain, /' "$tmp/zemo-selfcheck"
compiled complaining
cmp "$tmp/linked" "$tmp/complaining" || fail "with the link, the profile is not in complain mode"
! cmp -s "$tmp/linked" "$tmp/enforced" || fail "without the link, the profile is in complain mode"
# The service refers to this name.
grep -qx 'AppArmorProfile=-zemo-selfcheck' "$1/deploy/systemd/zemo-selfcheck.service"
