#!/bin/bash
# Makes a copy of a package with a later version.
#
#   later_package.sh PACKAGE.deb LATER.deb
set -euo pipefail
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-later.XXXXXX")
trap 'rm -rf "$work"' EXIT
version=$(dpkg-deb --field "$1" Version)
dpkg-deb --raw-extract "$1" "$work/package"
sed -i "s/(\(>\?=\) $version)/(\1 $version+later)/; s/^Version: .*/&+later/" "$work/package/DEBIAN/control"
dpkg-deb --root-owner-group -Zgzip --build "$work/package" "$2" >/dev/null
