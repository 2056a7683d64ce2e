#!/bin/bash
# What the man page says of the JSON records in the journal: systemd-cat brings them there, as lines that come back
# as they were; which of them are longer than what the journal takes as one line; and the setting for those. The
# journal is one of this test's own, in a /run of its own.
#
#   scripts/private-root journal_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C
source=$1 build=$2
here=$(dirname "$0")
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
journald=/lib/systemd/systemd-journald
require "$journald" systemd-cat journalctl python3
require_private_root
PATH=$build/tools:$PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-journal.XXXXXX")
process=
cleanup() {
  [ -z "$process" ] || kill "$process" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
line_max=$((48 * 1024)) # journald's own

fail() {
  echo "journal_test: $*" >&2
  exit 1
}

# start_journal SETTING...: with the settings of journald.conf(5).
start_journal() {
  mount -t tmpfs zemo-run /run
  mkdir -p /run/systemd/journald.conf.d /run/systemd/journal /run/log/journal
  # Audit without a value leaves the kernel's auditing as it is.
  printf '%s\n' '[Journal]' Storage=volatile Audit= ReadKMsg=no ForwardToWall=no "$@" \
    >/run/systemd/journald.conf.d/zemo.conf
  "$journald" 2>"$work/journald.log" &
  process=$!
  for ((i = 0; i < 100; i++)); do
    [ ! -S /run/systemd/journal/stdout ] || return 0
    sleep 0.1
  done
  fail "journald does not start: $(cat "$work/journald.log")"
}

stop_journal() {
  kill "$process"
  wait "$process" || true
  process=
  umount -l /run
}

# journal OPTION...: what the journal has of the check.
journal() { journalctl --quiet -D /run/log/journal -t zemo-selfcheck "$@"; }

# check_into_journal STATUS: checks the set wam; the records are in $work/records, too.
check_into_journal() {
  local status=0
  zemo-selfcheck check --no-verify --format json >"$work/records" 2>"$work/errors" || status=$?
  [ "$status" = "$1" ] || fail "exit status $status: $(cat "$work/errors")"
  systemd-cat -t zemo-selfcheck <"$work/records"
  journalctl --sync
}

# write_list LINE...: lines of a list that nobody has signed, as the set wam.
write_list() { printf '%s\n' WAM_SELF_CHECK - "$@" >/usr/zemo/selfcheck/wam.full.base.list; }

# longest RECORD: the length of the longest record of this kind, with its line feed.
longest() {
  grep "\"record\":\"$1\"" "$work/records" |
    awk '{ if (length($0) >= most) most = length($0) + 1 } END { print most + 0 }'
}

[ -s /etc/machine-id ] || {
  echo "[  SKIPPED ] journal_test (needs a machine id)"
  exit 0
}

mkdir "$work/fixed"
touch "$work/fixed/stray"
changed=$(printf '%s\t1\t00\tf\t7\t77\t77' "$work/file")
echo content >"$work/file"

echo "== every record comes back as a message of its own"
write_list "$changed" "$work/none	-	-	f	-	-	-" $'/nowhere/\xff\x01\u2028 "quote"\\\t-\t-\tf\t-\t-\t-' \
  "$work/fixed	-	FIXED	d	-	-	-"
start_journal
check_into_journal 7
journal -o cat >"$work/back"
cmp "$work/records" "$work/back" || fail "the journal gives other lines back"
journal -o json --all | python3 "$here/messages.py" "$work/records"
echo "== log lines are found by their priority, with the documented command"
status=0
# As a service has them.
# shellcheck disable=SC2016 # the inner shell's words
systemd-cat -t zemo-selfcheck sh -c \
  'JOURNAL_STREAM=$(stat -L -c %d:%i /dev/fd/2) exec zemo-selfcheck check --format json' || status=$?
[ "$status" = 16 ] || fail "exit status $status"
journalctl --sync
command=$(sed -n 's/^journalctl \(-p .*\)/\1/p' "$source/docs/operators-guide.md")
eval "journal -o cat $command" >"$work/back" || true
grep -q '^zemo-selfcheck: file_list:242 Signature of ' "$work/back" || fail "these are found: $(cat "$work/back")"
[ "$(journal -o cat -p err | wc -l)" -lt "$(journal -o cat | wc -l)" ] || fail "records have the priority of errors"
stop_journal

echo "== the longest lines"
# A name of 4095 bytes, each of them the costliest: not UTF-8.
hostile=$(python3 "$here/deep_file.py" "$work" 4095)
write_list "$(printf '%s\t1\t00\td\t7\t77\t77' "$hostile")"
check_length() {
  local most
  most=$(longest "$1")
  echo "$1: $most bytes"
  ((most > $2 && most <= $3)) || fail "the longest record of the kind $1 has $most bytes"
}
zemo-selfcheck check --no-verify --format json >"$work/records" || true
check_length entry 30000 $line_max
# The log lines of one that cannot be read have its name twice more: 2000 bytes is what the man page promises.
hostile=$(python3 "$here/deep_file.py" "$work" 2000)
chmod 0 "$hostile"
write_list "$(printf '%s\t-\t00\tf\t-\t-\t-' "$hostile")"
setpriv --bounding-set=-dac_override,-dac_read_search --inh-caps=-all \
  "$build/tools/zemo-selfcheck" check --no-verify --format json >"$work/records" 2>"$work/errors" || true
check_length unchecked 40000 $line_max

echo "== a directory with many stray members"
for ((i = 0; i < 2000; i++)); do echo "$work/fixed/stray member $i"; done | tr '\n' '\0' | xargs -0 touch
write_list "$work/fixed	-	FIXED	d	-	-	-"
start_journal
check_into_journal 4
check_length entry $line_max 1000000
[ "$(journal -o cat | wc -l)" -gt "$(wc -l <"$work/records")" ] ||
  fail "the journal no longer cuts long lines, as the man page says"
stop_journal
start_journal LineMax=16M
check_into_journal 4
journal -o cat >"$work/back"
cmp "$work/records" "$work/back" || fail "with LineMax the journal gives other lines back"
stop_journal
