#!/bin/bash
# Checks files with the C function before the root file system becomes writable.
date
if touch /srv/tree/early 2>/dev/null; then echo "read-only: no"; else echo "read-only: yes"; fi
status=0
zemo-selfcheck files /srv/tree/hello /srv/tree/world /usr/bin/sort || status=$?
echo "status $status"
