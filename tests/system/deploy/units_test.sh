#!/bin/bash
# systemd accepts the installed units, rates the service's sandbox, and uses the words that README.md gives for the
# service's states.
#
#   units_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C SYSTEMD_COLORS=0 SYSTEMD_PAGER=cat
build=$2
readme=$1/deploy/systemd/README.md
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../../support/require.sh"
require systemd-analyze systemd-sysusers
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-units.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
root=$tmp/root

fail() {
  echo "units_test: $*" >&2
  exit 1
}

# A root with only the installed files, the targets that units refer to, and a shell.
mkdir "$root"
for component in tools services; do
  DESTDIR=$root cmake --install "$build" --component $component >"$tmp/install.log" ||
    fail "installing $component failed"
done
mkdir -p "$root/usr/lib/systemd/system" "$root/usr/bin"
[ -e "$root/lib" ] || ln -s usr/lib "$root/lib"
ln -s usr/bin "$root/bin"
cp /lib/systemd/system/*.target "$root/usr/lib/systemd/system"
cp /bin/sh "$root/usr/bin"
units=$(dirname "$(find "$root" -name zemo-selfcheck.timer)")
examples=$(dirname "$(find "$root" -name failure.conf)")

# verify UNIT...: systemd understands everything in the units.
verify() {
  systemd-analyze verify --man=no --root="$root" "$@" >"$tmp/out" 2>&1 || fail "$(cat "$tmp/out")"
  [ ! -s "$tmp/out" ] || fail "$(cat "$tmp/out")"
}

echo "== units"
verify zemo-selfcheck.service zemo-selfcheck.timer

echo "== exposure"
systemd-analyze security --offline=true --root="$root" --threshold=13 zemo-selfcheck.service \
  >"$tmp/out" || fail "$(cat "$tmp/out")"
tail -n 1 "$tmp/out"

echo "== signals, dumps, memory and state"
# Only the program receives SIGTERM, because it would take GnuPG's death for a bad signature. The limit is the
# documented one. The directory is the one that the program uses.
for setting in KillMode=mixed LimitCORE=0 MemoryMax=2G StateDirectory=zemo-selfcheck StateDirectoryMode=0700; do
  grep -qx "$setting" "$units/zemo-selfcheck.service" || fail "the service has no $setting"
done

echo "== a machine that is on for an hour a day"
# The check must start within that hour, and not always at its end.
timer=$units/zemo-selfcheck.timer
grep -qx Persistent=yes "$timer" || fail "a missed night is not caught up"
! grep -q '^FixedRandomDelay=' "$timer" || fail "the delay after booting is always the same"
delay=$(systemd-analyze timespan "$(sed -n 's/^RandomizedDelaySec=//p' "$timer")" | awk '/^ *(us|μs): / { print $2 }')
[ "$delay" -le $((30 * 60 * 1000000)) ] || fail "the delay is $delay microseconds"

echo "== the table of states"
count=0
# shellcheck disable=SC2016 # text of the document
while read -r status word; do
  [ "$word" = "$(systemd-analyze exit-status "$status" | awk 'END { print $1 }')" ] ||
    fail "systemd has another word than $word for $status"
  count=$((count + 1))
done < <(sed -nE 's/^\| ([0-9]+), `([A-Z]+)` \|.*/\1 \2/p' "$readme")
[ $count = 9 ] || fail "the table has $count states instead of 9"

echo "== examples"
cp "$examples/zemo-selfcheck-failure@.service" "$units"
mkdir "$units/zemo-selfcheck.service.d"
cp "$examples"/*.conf "$units/zemo-selfcheck.service.d"
verify zemo-selfcheck.service zemo-selfcheck-failure@zemo-selfcheck.service

echo "== the mail of a failure"
mkdir "$tmp/bin"
for program in journalctl mail; do
  # Prints its arguments and copies its input.
  printf '#!/bin/sh\necho "%s[$*]"\n[ %s = journalctl ] || cat\n' "$program" "$program" >"$tmp/bin/$program"
  chmod +x "$tmp/bin/$program"
done
command=$(sed -n '/^ExecStart=/,$ { s/^ExecStart=//; s/%i/NAME/; s/%H/HOST/; p }' \
  "$examples/zemo-selfcheck-failure@.service")
# mail(1) may end before it has delivered the mail.
grep -qx KillMode=process "$examples/zemo-selfcheck-failure@.service" || fail "systemd kills the delivery"
mail=$(MONITOR_INVOCATION_ID=0123 MONITOR_SERVICE_RESULT=exit-code MONITOR_EXIT_STATUS=3 \
  PATH=$tmp/bin:$PATH bash -c "$command")
[ "$mail" = "mail[-s NAME on HOST: exit-code, status 3 root]
journalctl[--no-pager --output=cat _SYSTEMD_INVOCATION_ID=0123]" ] || fail "the mail is: $mail"

echo "== the user"
systemd-sysusers --root="$root" --dry-run >"$tmp/out" 2>&1 || fail "$(cat "$tmp/out")"
grep -q "Creating user 'zemo-selfcheck' (Check of installed files)" "$tmp/out" ||
  fail "no user is created: $(cat "$tmp/out")"
grep -qx 'User=zemo-selfcheck' "$units/zemo-selfcheck.service" || fail "the service has another user"
