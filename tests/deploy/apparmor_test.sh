#!/bin/bash
# The AppArmor profile is one, in complain mode and enforced.
#
#   apparmor_test.sh BUILD_DIRECTORY
set -euo pipefail
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../support/require.sh"
require apparmor_parser
PATH=$PATH:/usr/sbin:/sbin
profile=$1/deploy/apparmor/zemo-selfcheck

# Nothing is loaded into the kernel, which need not have AppArmor.
parse() {
  apparmor_parser --skip-kernel-load --skip-cache "$@"
}

[ "$(parse --names "$profile")" = zemo-selfcheck ]
grep -q 'flags=(complain,' "$profile"
parse "$profile"
sed 's/complain, *//' "$profile" | parse
# The service asks for this name.
grep -qx 'AppArmorProfile=-zemo-selfcheck' "$1/deploy/systemd/zemo-selfcheck.service"
