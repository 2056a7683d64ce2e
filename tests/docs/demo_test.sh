#!/bin/bash
# The demo finds what it changes, and the README shows lines that the demo prints.
#
#   demo_test.sh SOURCE_DIRECTORY EXAMPLES_DIRECTORY
set -euo pipefail
if [ "${ZEMO_PRIVATE_ROOT:-}" != yes ]; then
  echo "[  SKIPPED ] demo_test (needs a private root)"
  exit 0
fi
output=$("$1/scripts/demo" "$2")
failed=0
while IFS= read -r line; do
  grep -qE -- "$line" <<<"$output" || {
    echo "the demo does not print: $line" >&2
    failed=1
  }
done <<'LINES'
^wam full: intact$
^notes full: intact$
^/bin/ls: 0x000 intact$
^/bin/cat permission expect\[755\] but get\[4755\]$
^/bin/date owner expect\[[0-9]+\] but get\[[0-9]+\]$
^/bin/ls size expect\[[0-9]+\] but get\[[0-9]+\]$
^/bin/ls hash expect\[[0-9a-f]{40}\] but get\[[0-9a-f]{40}\]$
^/etc/skel/evil is unknown file$
^/etc/skel/.bash_logout not exist expect\[\] but get\[\]$
^wam full: CHANGED$
^/var/packages/notes/target/bin/notes hash expect
^notes full: CHANGED$
^/bin/ls: 0x021$
^/bin/cat: 0x010$
^/etc/skel/.bash_logout: 0x040$
^/etc/skel/evil: 0x180 not listed, in a directory with fixed members$
^/etc/bash.bashrc: 0x080 not listed$
^/usr/bin/sort: 0x000 intact$
file_list:247 Verify signature failed$
file_list:225 Check /usr/zemo/selfcheck/wam.full.base.list sign failed.$
util:33 Selfcheck load list failed$
LINES
[ $failed = 0 ] || {
  echo "$output"
  exit 1
}
