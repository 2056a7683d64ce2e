#!/bin/bash
# systemd takes the installed units, and rates the service's sandbox.
#
#   units_test.sh BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C SYSTEMD_COLORS=0 SYSTEMD_PAGER=cat
build=$1
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../support/require.sh"
require systemd-analyze systemd-sysusers
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-units.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
root=$tmp/root

fail() {
  echo "units_test: $*" >&2
  exit 1
}

# A root with nothing but what is installed, the targets that units refer to, and a shell.
mkdir "$root"
for component in tools services; do
  DESTDIR=$root cmake --install "$build" --component $component >"$tmp/install.log" ||
    fail "installing $component failed"
done
mkdir -p "$root/lib/systemd/system" "$root/bin"
cp /lib/systemd/system/*.target "$root/lib/systemd/system"
cp /bin/sh "$root/bin"
units=$(dirname "$(find "$root" -name zemo-selfcheck.timer)")
examples=$(dirname "$(find "$root" -name failure.conf)")

# verify UNIT...: none of the units has anything that systemd does not understand.
verify() {
  systemd-analyze verify --man=no --root="$root" "$@" >"$tmp/out" 2>&1 || fail "$(cat "$tmp/out")"
  [ ! -s "$tmp/out" ] || fail "$(cat "$tmp/out")"
}

echo "== units"
verify zemo-selfcheck.service zemo-selfcheck.timer

echo "== exposure"
systemd-analyze security --offline=true --root="$root" --threshold=25 zemo-selfcheck.service \
  >"$tmp/out" || fail "$(cat "$tmp/out")"
tail -n 1 "$tmp/out"

echo "== examples"
cp "$examples/zemo-selfcheck-failure@.service" "$units"
mkdir "$units/zemo-selfcheck.service.d"
cp "$examples"/*.conf "$units/zemo-selfcheck.service.d"
verify zemo-selfcheck.service zemo-selfcheck-failure@zemo-selfcheck.service

echo "== the mail of a failure"
mkdir "$tmp/bin"
for program in journalctl mail; do
  # Tells how it was called, and passes on what it reads.
  printf '#!/bin/sh\necho "%s[$*]"\n[ %s = journalctl ] || cat\n' "$program" "$program" >"$tmp/bin/$program"
  chmod +x "$tmp/bin/$program"
done
command=$(sed -n '/^ExecStart=/,$ { s/^ExecStart=//; s/%i/NAME/; s/%H/HOST/; p }' \
  "$examples/zemo-selfcheck-failure@.service")
mail=$(MONITOR_INVOCATION_ID=0123 MONITOR_SERVICE_RESULT=exit-code MONITOR_EXIT_STATUS=3 \
  PATH=$tmp/bin:$PATH bash -c "$command")
[ "$mail" = "mail[-s NAME on HOST: exit-code, status 3 root]
journalctl[--no-pager --output=cat _SYSTEMD_INVOCATION_ID=0123]" ] || fail "the mail is: $mail"

echo "== the user"
systemd-sysusers --root="$root" --dry-run >"$tmp/out" 2>&1 || fail "$(cat "$tmp/out")"
grep -q "Creating user 'zemo-selfcheck' (Check of installed files)" "$tmp/out" ||
  fail "no user is made: $(cat "$tmp/out")"
grep -qx 'User=zemo-selfcheck' "$units/zemo-selfcheck.service" || fail "the user is another one"
