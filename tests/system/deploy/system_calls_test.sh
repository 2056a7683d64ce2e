#!/bin/bash
# The program and the GnuPG that it runs make no system call that the service's filter forbids.
#
#   scripts/private-root system_calls_test.sh BUILD_DIRECTORY
set -euo pipefail
build=$1
here=$(dirname "$0")
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
# shellcheck source=tests/system/deploy/signed_set.sh
source "$here/signed_set.sh"
require strace systemd-analyze
require_private_root
if ! strace -qq -o /dev/null true 2>/dev/null; then
  echo "[  SKIPPED ] system_calls_test (this machine forbids strace)"
  exit 0
fi
export LC_ALL=C PATH=$build/tools:$PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-calls.XXXXXX")
trap 'rm -rf "$work"' EXIT

# expand NAME...: the system calls of the sets and, recursively, of the sets that they contain.
expand() {
  local name members
  for name in "$@"; do
    if [ "${name#@}" = "$name" ]; then
      echo "$name"
    else
      mapfile -t members < <(systemd-analyze syscall-filter "$name" | awk '/^ +[^ #]/ { print $1 }')
      expand "${members[@]}"
    fi
  done
}

unit=$build/deploy/systemd/zemo-selfcheck.service
read -ra allowed < <(sed -n 's/^SystemCallFilter=\([^~]\)/\1/p' "$unit")
read -ra denied < <(sed -n 's/^SystemCallFilter=~//p' "$unit")
expand @default "${allowed[@]}" | sort -u >"$work/allowed"
expand "${denied[@]}" | sort -u >"$work/denied"
comm -23 "$work/allowed" "$work/denied" >"$work/filter"
[ "$(wc -l <"$work/filter")" -gt 100 ]

echo intact >"$work/file"
install_set "$work" "$work/file" --dpkg coreutils
echo changed >"$work/file"
read -ra arguments < <(service_arguments "$build")
status=0
strace -f -qq -c -U name -o "$work/counts" zemo-selfcheck "${arguments[@]}" >"$work/out" 2>&1 || status=$?
[ $status = 1 ] || {
  cat "$work/out"
  exit 1
}
# The table is between two lines of dashes.
awk '/^-/ { inside = !inside; next } inside { print $1 }' "$work/counts" | sort -u >"$work/made"
grep -qx execve "$work/made"
forbidden=$(comm -23 "$work/made" "$work/filter" | tr '\n' ' ')
[ -z "$forbidden" ] || {
  echo "system_calls_test: the service's filter forbids: $forbidden" >&2
  exit 1
}
echo "$(wc -l <"$work/made") system calls, all allowed by the filter"
