#!/bin/bash
# Looks at how the program and the libraries below installed directories are guarded.
#
#   hardening_test.sh DIRECTORY...
set -euo pipefail
export LC_ALL=C

failed=0
# expect FILE WHAT PATTERN COMMAND...: what the command says of the file has the pattern.
expect() {
  local file=$1 what=$2 pattern=$3
  shift 3
  "$@" "$file" | grep -cE -e "$pattern" >/dev/null || {
    echo "hardening_test: $(basename "$file") has no $what" >&2
    failed=1
  }
}

count=0
while read -r file; do
  count=$((count + 1))
  expect "$file" "read-only relocations" GNU_RELRO readelf --program-headers --wide
  expect "$file" "immediate binding" 'FLAGS_1.*\bNOW\b' readelf --dynamic --wide
  expect "$file" "stack that is not executable" 'GNU_STACK.* RW ' readelf --program-headers --wide
  expect "$file" "stack protector" __stack_chk_fail nm -D
  # (The marks that let the kernel switch it on are lost to start files that have none.)
  expect "$file" "control-flow protection" endbr64 objdump --disassemble --section .text
  expect "$file" "code that can lie anywhere" 'Type: +DYN' readelf --file-header
  case $file in
    # The others call nothing that fortification could guard.
    */bin/* | */libzemoselfcheck.*) expect "$file" "fortified calls" '__[a-z]+_chk@' nm -D ;;
  esac
  case $file in
    */bin/*) expect "$file" "code that can lie anywhere" 'FLAGS_1.*\bPIE\b' readelf --dynamic --wide ;;
  esac
  if readelf --dynamic --wide "$file" | grep -E 'RPATH|RUNPATH|TEXTREL'; then
    echo "hardening_test: $(basename "$file") has what is above" >&2
    failed=1
  fi
done < <(find "$@" -type f \( -perm /111 -o -name '*.so*' \))
[ $count = 4 ] || {
  echo "hardening_test: there are $count programs and libraries instead of 4" >&2
  exit 1
}
exit $failed
