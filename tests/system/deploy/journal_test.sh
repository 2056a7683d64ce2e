#!/bin/bash
# Checks the man page's statements about JSON records in the journal: systemd-cat writes them, and the lines come back
# unchanged; which records exceed the journal's limit for a line; and the setting for them. The test starts a separate
# journal in a separate /run.
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
line_max=$((48 * 1024)) # journald's default

fail() {
  echo "journal_test: $*" >&2
  exit 1
}

# start_journal SETTING...: with the settings of journald.conf(5).
start_journal() {
  mount -t tmpfs zemo-run /run
  mkdir -p /run/systemd/journald.conf.d /run/systemd/journal /run/log/journal
  # An empty value of Audit leaves the kernel's auditing unchanged.
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

# journal OPTION...: the journal's entries of the check.
journal() { journalctl --quiet -D /run/log/journal -t zemo-selfcheck "$@"; }

# check_into_journal STATUS: checks the set wam; also writes the records to $work/records.
check_into_journal() {
  local status=0
  zemo-selfcheck check --no-verify --format json >"$work/records" 2>"$work/errors" || status=$?
  [ "$status" = "$1" ] || fail "exit status $status instead of $1: $(cat "$work/errors")"
  systemd-cat -t zemo-selfcheck <"$work/records"
  journalctl --sync
}

# write_list LINE...: writes the lines as an unsigned list, the set wam.
write_list() { printf '%s\n' WAM_SELF_CHECK - "$@" >/usr/zemo/selfcheck/wam.full.base.list; }

# longest RECORD: the length of the longest record of this kind, including its line feed.
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

echo "== every record comes back as one message"
write_list "$changed" "$work/none	-	-	f	-	-	-" $'/nowhere/\xff\x01\u2028 "quote"\\\t-\t-\tf\t-\t-\t-' \
  "$work/fixed	-	FIXED	d	-	-	-"
start_journal
check_into_journal 7
journal -o cat >"$work/back"
cmp "$work/records" "$work/back" || fail "the journal returns different lines"
journal -o json --all | python3 "$here/messages.py" "$work/records"
echo "== log lines are found by their priority, with the documented command"
status=0
# As a service does.
# shellcheck disable=SC2016 # expanded by the inner shell
systemd-cat -t zemo-selfcheck sh -c \
  'JOURNAL_STREAM=$(stat -L -c %d:%i /dev/fd/2) exec zemo-selfcheck check --format json' || status=$?
[ "$status" = 16 ] || fail "exit status $status"
journalctl --sync
command=$(sed -n 's/^journalctl \(-p .*\)/\1/p' "$source/docs/operators-guide.md")
eval "journal -o cat $command" >"$work/back" || true
grep -q '^zemo-selfcheck: file_list:242 Signature of ' "$work/back" || fail "the command finds: $(cat "$work/back")"
[ "$(journal -o cat -p err | wc -l)" -lt "$(journal -o cat | wc -l)" ] || fail "records have error priority"
stop_journal

echo "== the longest lines"
# A name of 4095 bytes, each of the most expensive kind: not UTF-8.
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
# The log lines of an unreadable file contain its name two more times: the man page promises 2000 bytes.
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
cmp "$work/records" "$work/back" || fail "with LineMax, the journal returns different lines"
stop_journal
