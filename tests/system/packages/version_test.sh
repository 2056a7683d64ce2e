#!/bin/bash
# The version stands in CMakeLists.txt; the newest entries of both changelogs are about that one. Packages that differ
# otherwise have +1, +2 and so on behind it.
#
#   version_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"

# version_in FILE PATTERN: what the group in the first line that matches holds.
version_in() { sed -nE "0,/$2/s/$2/\1/p" "$1"; }

version=$(version_in CMakeLists.txt '^project\(zemoselfcheck VERSION ([0-9.]+).*')
for found in "CHANGELOG.md $(version_in CHANGELOG.md '^## ([^ ]+).*')" \
  "debian/changelog $(version_in debian/changelog '^zemoselfcheck \(([^)+]+)(\+[0-9]+)?\).*')"; do
  [ "${found#* }" = "$version" ] || {
    echo "version_test: CMakeLists.txt has version $version, but ${found/ / begins with }" >&2
    exit 1
  }
done
