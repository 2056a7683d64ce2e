#!/bin/bash
# CMakeLists.txt has the version; the newest entries of both changelogs are about the same version. Packages that differ
# otherwise append +1, +2 and so on to it.
#
#   version_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"

# version_in FILE PATTERN: prints the text of the group in the first matching line.
version_in() { sed -nE "0,/$2/s/$2/\1/p" "$1"; }

version=$(version_in CMakeLists.txt '^project\(zemoselfcheck VERSION ([0-9.]+).*')
for found in "CHANGELOG.md $(version_in CHANGELOG.md '^## ([^ ]+).*')" \
  "debian/changelog $(version_in debian/changelog '^zemoselfcheck \(([^)+]+)(\+[0-9]+)?\).*')"; do
  [ "${found#* }" = "$version" ] || {
    echo "version_test: CMakeLists.txt has version $version, but ${found/ / begins with }" >&2
    exit 1
  }
done
