#!/bin/bash
# scripts/systems says why it skips its tests, and fails instead if all tests are required.
#
#   systems_test.sh SOURCE
set -euo pipefail
export LC_ALL=C
systems=$1/scripts/systems
unset CI
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-systems.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

fail() {
  echo "systems_test: $*" >&2
  exit 1
}

# refused PATTERN COMMAND...: the command fails and prints the reason.
refused() {
  local pattern=$1 said
  shift
  ! said=$("$@" 2>&1) || fail "accepted: $*"
  [[ $said == *$pattern* ]] || fail "$* said: $said"
}

# An ordinary user.
printf '#!/bin/sh\necho 1000\n' >"$tmp/id"
chmod +x "$tmp/id"
export PATH=$tmp:$PATH

said=$("$systems" --plain 13)
[ "$said" = "==> Skipped (needs root): the tests on Debian 13" ] || fail "it printed: $said"
said=$(CI=true "$systems" --plain 13)
[ "$said" = "==> Skipped (needs root): the tests on Debian 13" ] || fail "with CI, it printed: $said"
refused "needs root" "$systems" 13
refused "usage: systems" "$systems" ../13
refused "usage: systems" "$systems" --other
