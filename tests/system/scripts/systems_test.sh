#!/bin/bash
# The tests on other systems say why they are skipped, and are not where all is to be tested.
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

# refused PATTERN COMMAND...: it fails and says why.
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
[ "$said" = "==> Skipped (needs root): the tests on Debian 13" ] || fail "it said: $said"
said=$(CI=true "$systems" --plain 13)
[ "$said" = "==> Skipped (needs root): the tests on Debian 13" ] || fail "with CI, it said: $said"
refused "needs root" "$systems" 13
refused "usage: systems" "$systems" ../13
refused "usage: systems" "$systems" --other
