#!/bin/bash
# Builds that differ from the usual one: other compilers, build types and options, and other places for the source and
# the installation. Warnings are errors. Reports how long each build took and, for each failure, how to repeat it.
#
#   builds_test.sh DIRECTORY [VARIANT...]
#
# The builds stay in the directory, except those of an archive. Without variants, the script builds all of them.
set -euo pipefail
export LC_ALL=C
export CMAKE_GENERATOR=Ninja
here=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$here/../../.." && pwd)
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
# shellcheck source=tests/system/builds/archive.sh
source "$here/archive.sh"

matrix=(gcc-debug gcc-release clang-debug clang-release
  gcc-debug-lto gcc-release-lto clang-debug-lto clang-release-lto)
archives=(archive archive-tests)

# Tests whose result may depend on compilers, options and paths.
quick_tests='interface|layout|exports|internals|list_line_test|file_list_test|discovery|threads|exec_test|tool_parts'
quick_tests+='|reading_commands|check_test|tool_memory|completion|man_test|consumer'
quick_tests+='|fuzz_replay|faults_library|^callers_test'

# configure VARIANT CMAKE_OPTION...: with the compiler and the options that the variant's name selects.
configure() {
  local variant=$1 options=(-DZEMO_WERROR=ON)
  shift
  case $variant in
    gcc-*) options+=(-DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++) ;;
    clang-*) options+=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++) ;;
  esac
  case $variant in
    *-debug*) options+=(-DCMAKE_BUILD_TYPE=Debug) ;;
    *) options+=(-DCMAKE_BUILD_TYPE=Release) ;;
  esac
  [[ $variant != *-lto ]] || options+=(-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON)
  cmake -S "$source" -B "$directory/$variant" "${options[@]}" "$@"
}

build_matrix() {
  configure "$1" -DZEMO_TESTS=ON
  cmake --build "$directory/$1" --parallel "$(nproc)"
  ctest --test-dir "$directory/$1" --output-on-failure --no-tests=error -R "$quick_tests"
}

build_variant() {
  set -e
  case $1 in
    archive) build_archive "$source" ;;
    archive-tests) build_archive_tests "$source" "$quick_tests" ;;
    *) build_matrix "$1" ;;
  esac
}

# The state of the source in git, except for the builds themselves; nothing without git.
source_state() {
  git -C "$source" -c safe.directory='*' status --porcelain --ignored 2>/dev/null | grep -v '^!! build' || true
}

[ $# -ge 1 ] || {
  echo "usage: builds_test.sh DIRECTORY [VARIANT...]; variants: ${matrix[*]} ${archives[*]}" >&2
  exit 1
}
[ -n "${ZEMO_ALL:-}" ] || {
  echo "[  SKIPPED ] builds_test.sh (takes long; only ./dev builds and ./dev test --all run it)"
  exit 0
}
mkdir -p "$1"
directory=$(cd "$1" && pwd)
variants=("${@:2}")
[ ${#variants[@]} -gt 0 ] || variants=("${matrix[@]}" "${archives[@]}")
for variant in "${variants[@]}"; do
  [[ " ${matrix[*]} ${archives[*]} " == *" $variant "* ]] || {
    echo "builds_test.sh: unknown variant $variant" >&2
    exit 1
  }
done
require ninja git clang++ llvm-ar

failed=0
before=$(source_state)
for variant in "${variants[@]}"; do
  printf '%-18s' "$variant"
  started=$SECONDS log=$directory/$variant.log status=0
  # In a separate shell, because set -e has no effect where the status is tested directly.
  set +e
  (build_variant "$variant") >"$log" 2>&1
  status=$?
  set -e
  if [ $status = 0 ]; then
    echo "built after $((SECONDS - started)) s"
  else
    echo "FAILED after $((SECONDS - started)) s"
    tail -n 40 "$log"
    echo "again: ./dev builds $variant"
    failed=1
  fi
done
[ "$(source_state)" = "$before" ] || {
  echo "the builds have changed the source:"
  diff <(echo "$before") <(source_state) || true
  failed=1
}
exit $failed
