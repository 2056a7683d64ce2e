#!/bin/bash
# The demo finds its changes. (It fails by itself if an exit status differs from the one that it shows.)
#
#   demo_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../../support/require.sh"
require_private_root
output=$("$1/scripts/demo" "$2")
failed=0
while IFS= read -r line; do
  grep -qE -- "$line" <<<"$output" || {
    echo "the demo does not print: $line" >&2
    failed=1
  }
done <<'LINES'
^/etc/skel	-	FIXED	d	755	[0-9]+	[0-9]+$
^\$pkg_dir/bin/notes	21	[0-9a-f]{40}	f	
^\$pkg_dir/lib/libnotes.so	.*	\$pkg_dir/lib/libnotes.so.1	l	-	-	-$
^checked [0-9]+ entries of 2 sets: 0 changed, 0 missing, 0 stray, 0 could not be checked$
^0x000 intact /usr/bin/ls$
^/usr/bin/cat permission expect\[755\] but get\[4755\]$
^/usr/bin/date owner expect\[[0-9]+\] but get\[[0-9]+\]$
^/usr/bin/ls size expect\[[0-9]+\] but get\[[0-9]+\]$
^/usr/bin/ls hash expect\[[0-9a-f]{40}\] but get\[[0-9a-f]{40}\]$
^/etc/skel/evil\\033\[2J is unknown file$
^/etc/skel/.bash_logout not exist expect\[\] but get\[\]$
^checked [0-9]+ entries of 1 set: 3 changed, 1 missing, 1 stray, 0 could not be checked$
^/var/packages/notes/target/bin/notes hash expect
^checked [0-9]+ entries of 1 set: 1 changed, 0 missing, 0 stray, 0 could not be checked$
"path":"/usr/bin/cat","mismatches":\[\{"kind":"permission","expected":"755","actual":"4755"\}\]
^/usr/bin/cat permission expect\[755\] but get\[4755\] \(accepted\)$
^checked [0-9]+ entries of 1 set: 2 changed, 0 missing, 0 stray, 0 could not be checked, 3 accepted$
^0x021 sizeError,hashError /usr/bin/ls$
^0x040 notExist /etc/skel/.bash_logout$
^0x180 notListed,inFixedDir /etc/skel/evil
^0x080 notListed /nowhere$
^notes full: CHANGED$
^/usr/bin/ls: 0x021$
file_list:247 Verify signature failed$
file_list:225 Check /usr/zemo/selfcheck/wam.full.base.list sign failed.$
file_list:225 Check /usr/zemo/selfcheck/packages/notes/notes.full.base.list sign failed.$
LINES
[ $failed = 0 ] || {
  echo "$output"
  exit 1
}
