#!/bin/bash
# Compares the packages below DIRECTORY with their expected contents: fields, control files, and each file with its mode
# and owner. Ignores differences between Debian 12 and 13: the versions of required libraries, the "t64" in their names,
# and whether units are in /lib or /usr/lib.
#
#   contents_test.sh [--record] DIRECTORY
#
# After an intended change, --record writes the current contents.
set -euo pipefail
export LC_ALL=C
contents=$(cd "$(dirname "$0")" && pwd)/contents
record=
if [ "$1" = --record ]; then
  record=1
  shift
fi

describe() {
  local version
  version=$(dpkg-deb --field "$1" Version)
  dpkg-deb --field "$1" Architecture Multi-Arch Pre-Depends Depends Recommends Suggests Provides \
    Breaks Conflicts Replaces | sed -E "s/([<>]*=) ${version//+/\\+}\)/\1 VERSION)/g
      s/(libc6|libgcc-s1|libssl3|libstdc\+\+6)(t64)? \([^)]*\)/\1/g"
  echo "Control: $(dpkg-deb --ctrl-tarfile "$1" | tar -t | sed -n 's/^\.\/\(.\)/\1/p' | sort | tr '\n' ' ')"
  # Without size and time, which say nothing about the contents.
  dpkg-deb --fsys-tarfile "$1" | tar -tv |
    awk '{ $3 = $4 = $5 = ""; gsub(/ +/, " "); print }' |
    sed '/ \.\/lib\/$/d; s/ \.\/lib\// .\/usr\/lib\//' | sort -u -k 3
}

failed=0 found=()
for package in "$1"/*.deb; do
  name=$(basename "${package%%_*}")
  [[ $name != *-dbgsym ]] || continue # named after what the linker makes of the code
  found+=("$name.txt")
  if [ -n "$record" ]; then
    mkdir -p "$contents"
    describe "$package" >"$contents/$name.txt"
  elif ! diff -u --label "contents/$name.txt" --label "$name" "$contents/$name.txt" <(describe "$package"); then
    failed=1
  fi
done

if ! diff <(cd "$contents" && ls) <(printf '%s\n' "${found[@]}" | sort); then
  echo "contents_test: packages are missing (<) or new (>)" >&2
  failed=1
fi
[ $failed = 0 ] || {
  echo "contents_test: if the change is intended: ./dev package && tests/system/packages/contents_test.sh --record build/package" >&2
  exit 1
}
