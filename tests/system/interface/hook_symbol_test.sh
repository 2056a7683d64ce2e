#!/bin/bash
# Callers reference addHook() by the exported name, whatever Boost calls the type of a hook.
#
#   hook_symbol_test.sh SOURCE
set -euo pipefail
export LC_ALL=C
source=$1
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-symbol.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

# As later versions of Boost define it.
mkdir "$tmp/boost"
cat >"$tmp/boost/function.hpp" <<'TEXT'
namespace boost {
template <typename Result, typename... Arguments>
class function_n {
  void* _parts[4];
};
template <typename Result, typename... Arguments>
using function2 = function_n<Result, Arguments...>;
}  // namespace boost
TEXT
cat >"$tmp/caller.cpp" <<'TEXT'
#include <zemo/selfcheck/file_list.h>
void call(ZEMO::SELF_CHECK::FileList& list) {
  list.addHook({});
}
TEXT
g++ -std=c++17 -I"$tmp" -I"$source/include" -c "$tmp/caller.cpp" -o "$tmp/caller.o"
symbol=$(nm --undefined-only "$tmp/caller.o" | awk '/addHook/ { print $2 }')
grep -qx " *$symbol;" "$source/src/exports.map" || {
  echo "hook_symbol_test: src/exports.map does not have '$symbol'" >&2
  exit 1
}
