#!/bin/bash
# Checks how the program and the libraries below installed directories are hardened.
#
#   hardening_test.sh DIRECTORY...
set -euo pipefail
export LC_ALL=C

failed=0
# expect FILE WHAT PATTERN COMMAND...: the command's output about the file matches the pattern.
expect() {
  local file=$1 what=$2 pattern=$3
  shift 3
  "$@" "$file" | grep -cE -e "$pattern" >/dev/null || {
    echo "hardening_test: $(basename "$file") has no $what" >&2
    failed=1
  }
}

# unguarded FILE: the addresses of exported functions that do not begin as a call target must.
unguarded() {
  local exported
  exported=$(readelf --dyn-syms --wide "$1" | awk '$4 == "FUNC" && $7 != "UND" { print $2 }' | sort -u)
  [ -n "$exported" ] || exported=none
  comm -23 <(echo "$exported") <(objdump --disassemble --section .text "$1" |
    awk '/\tendbr64/ { at = sprintf("%16s", substr($1, 1, length($1) - 1)); gsub(" ", "0", at); print at }' | sort)
}

count=0
while read -r file; do
  count=$((count + 1))
  expect "$file" "read-only relocations" GNU_RELRO readelf --program-headers --wide
  expect "$file" "immediate binding" 'FLAGS_1.*\bNOW\b' readelf --dynamic --wide
  expect "$file" "non-executable stack" 'GNU_STACK.* RW ' readelf --program-headers --wide
  expect "$file" "stack protector" __stack_chk_fail nm -D
  # (The marks that let the kernel enable it are lost if a start file has none.)
  places=$(unguarded "$file")
  [ -z "$places" ] || {
    echo "hardening_test: $(basename "$file") has no control-flow protection at ${places//$'\n'/, }" >&2
    failed=1
  }
  expect "$file" "position-independent code" 'Type: +DYN' readelf --file-header
  case $file in
    # The others call no functions that these could guard.
    */bin/* | */libzemoselfcheck.*)
      expect "$file" "fortified calls" '__[a-z]+_chk@' nm -D
      expect "$file" "assertions of the C++ library" ' U .*__glibcxx_assert_fail' nm -D
      ;;
  esac
  case $file in
    */bin/*) expect "$file" "position-independent code" 'FLAGS_1.*\bPIE\b' readelf --dynamic --wide ;;
  esac
  if readelf --dynamic --wide "$file" | grep -E 'RPATH|RUNPATH|TEXTREL'; then
    echo "hardening_test: $(basename "$file") fails the checks above" >&2
    failed=1
  fi
done < <(find "$@" -type f \( -perm /111 -o -name '*.so*' \))
[ $count = 4 ] || {
  echo "hardening_test: found $count programs and libraries instead of 4" >&2
  exit 1
}
exit $failed
