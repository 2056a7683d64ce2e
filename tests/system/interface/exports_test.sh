#!/bin/bash
# Compares a built library with what its users rely on: file name, soname, required libraries and exported symbols.
#
#   exports_test.sh LIBRARY FILE_NAME SONAME EXPORTS NEEDED...
#
# EXPORTS is a file of demangled names, one per line, in byte order; it has a constructor or destructor once for each of
# its symbols. After an intended change, --print LIBRARY prints the new names.
set -euo pipefail
export LC_ALL=C

failed=0
complain() {
  echo "$*" >&2
  failed=1
}

# The symbols that a shared library exports, without version nodes and symbol versions.
exports_of() {
  nm -D --defined-only --demangle "$1" | sed -E '/^[0-9a-f]+ A /d; s/^[0-9a-f]+ . //; s/@.*//' | sort
}

# The values of the entries of one kind, such as SONAME, in the dynamic section.
dynamic() {
  readelf --dynamic --wide "$2" | sed -nE "s/.*\($1\).*\[(.*)\]$/\1/p"
}

if [ "$1" = --print ]; then
  exports_of "$2"
  exit
fi

library=$1 file_name=$2 soname=$3 exports=$4
shift 4

[ "$(basename "$(readlink -f "$library")")" = "$file_name" ] ||
  complain "the file is $(readlink -f "$library"), not $file_name"
[ "$(dynamic SONAME "$library")" = "$soname" ] ||
  complain "the soname is '$(dynamic SONAME "$library")', not '$soname'"
[ -e "$(dirname "$library")/$soname" ] ||
  complain "the directory of $library has no $soname: programs that need it cannot start"

# Whether the runtimes of sanitizers and of coverage are needed depends on the kind of build.
needed=$(dynamic NEEDED "$library" | grep -vE '^(lib(asan|ubsan|tsan|m|gcov)|ld-linux)\b' | sort || true)
wanted=$(printf '%s\n' "$@" | sort)
if ! difference=$(diff <(echo "$wanted") <(echo "$needed")); then
  complain "the required libraries differ (< expected, > found):"$'\n'"$difference"
fi

if ! difference=$(diff "$exports" <(exports_of "$library")); then
  complain "the exports differ from $(basename "$exports") (< expected, > found):"$'\n'"$difference"
fi
exit "$failed"
