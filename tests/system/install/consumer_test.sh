#!/bin/bash
# Installs a build below a temporary prefix, then configures, builds and runs a separate project against it, once with
# CMake and once with pkg-config.
#
#   consumer_test.sh BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C
export CMAKE_GENERATOR=Ninja # ./dev installs Ninja; Make may be missing
build=$1
here=$(cd "$(dirname "$0")" && pwd)
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo consumer.XXXXXX") # with a blank on purpose
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix

fail() {
  echo "consumer_test: $*" >&2
  exit 1
}

# configure ARGUMENT...: configures with CMake, and treats warnings as errors.
configure() {
  cmake "$@" >"$tmp/configure.log" 2>"$tmp/warnings" || fail "configuring failed: $(cat "$tmp/warnings")"
  [ ! -s "$tmp/warnings" ] || fail "CMake warns: $(cat "$tmp/warnings")"
}

cmake --install "$build" --prefix "$prefix" >"$tmp/install.log" || fail "installing failed"
libdir=$(dirname "$(find "$prefix" -name libzemoselfcheck.so.1.0)")

if grep -q '^CMAKE_BUILD_TYPE:.*=Release$' "$build/CMakeCache.txt"; then # other build types are not fortified
  echo "== hardening"
  "$here/../packages/hardening_test.sh" "$prefix/bin" "$libdir"
fi

echo "== by CMake"
configure -S "$here/consumer" -B "$tmp/build" -DCMAKE_PREFIX_PATH="$prefix"
cmake --build "$tmp/build" >"$tmp/build.log" || {
  cat "$tmp/build.log"
  fail "building by CMake failed"
}
LD_LIBRARY_PATH=$libdir "$tmp/build/consumer"
LD_LIBRARY_PATH=$libdir "$tmp/build/consumer_c"

echo "== by pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
[ "$(pkg-config --modversion zemoselfcheck)" = "$version" ] || fail "wrong version"
flags=()
eval "flags=($(pkg-config --cflags --libs zemoselfcheck))"
g++ -std=c++17 "$here/consumer/consumer.cpp" -o "$tmp/consumer" "${flags[@]}"
gcc -std=c11 "$here/consumer/consumer.c" -o "$tmp/consumer_c" "${flags[@]}"
LD_LIBRARY_PATH=$libdir "$tmp/consumer"
LD_LIBRARY_PATH=$libdir "$tmp/consumer_c"

echo "== the installed examples"
examples=$prefix/share/doc/zemoselfcheck/examples
g++ -std=c++17 "$examples/check_set.cpp" -o "$tmp/check_set" "${flags[@]}"
gcc -std=c11 "$examples/check_files.c" -o "$tmp/check_files" "${flags[@]}"

echo "== components"
# expect COMPONENT NAME...: the component installs exactly these files.
expect() {
  local component=$1 found
  shift
  rm -rf "$tmp/part"
  cmake --install "$build" --prefix "$tmp/part" --component "$component" >"$tmp/install.log"
  found=$(cd "$tmp/part" && find . ! -type d -printf '%f\n' |
    sed 's/Targets-[a-z]*/Targets-CONFIGURATION/' | sort | tr '\n' ' ')
  [ "$found" = "$*" ] || fail "component $component installs [$found] instead of [$*]"
}
expect runtime "libzemoselfcheck.so.1 libzemoselfcheck.so.1.0 "
expect platform "libzemocore.so.6 libzemopkg.so.1 "
expect development "check_error.h check_files.c check_files.py check_set.cpp core.h export.h file_list.h libzemocore.so libzemopkg.so \
libzemoselfcheck.3 libzemoselfcheck.so package.h protected_file.h self_check_files.h self_check_result.h selfcheck.h zemoselfcheck.pc \
zemoselfcheckConfig.cmake zemoselfcheckConfigVersion.cmake \
zemoselfcheckTargets-CONFIGURATION.cmake zemoselfcheckTargets.cmake "
expect tools "check.schema.json doctor.schema.json files.schema.json install.schema.json make.schema.json mkosi.finalize sign-root verify.schema.json zemo-selfcheck \
zemo-selfcheck zemo-selfcheck-check.1 zemo-selfcheck-diff.1 zemo-selfcheck-doctor.1 zemo-selfcheck-files.1 zemo-selfcheck-init-home.1 \
zemo-selfcheck-install.1 zemo-selfcheck-list.5 zemo-selfcheck-make.1 zemo-selfcheck-merge.1 zemo-selfcheck-remove-key.1 \
zemo-selfcheck-retire.1 zemo-selfcheck-show.1 zemo-selfcheck-sign.1 \
zemo-selfcheck-verify.1 zemo-selfcheck.1 "
expect services "failure.conf manifest.conf metrics.conf zemo-selfcheck zemo-selfcheck-failure@.service zemo-selfcheck.conf \
zemo-selfcheck.json zemo-selfcheck.rules.yml zemo-selfcheck.service zemo-selfcheck.timer "

echo "== the installed program"
[ "$(LD_LIBRARY_PATH=$libdir "$prefix/bin/zemo-selfcheck" --version)" = "zemo-selfcheck $version" ] ||
  fail "the installed program does not start"
LD_LIBRARY_PATH=$libdir "$prefix/bin/zemo-selfcheck" make --output "$tmp/wam.full.x.list" "$libdir" ||
  fail "the installed program makes no list"

echo "== with the platform libraries of the machine"
# As on a machine with the maker's libraries: without headers or unversioned names.
mkdir "$tmp/machine"
cp "$libdir/libzemocore.so.6" "$libdir/libzemopkg.so.1" "$tmp/machine"
# And with compilers that lack control-flow protection, as for other processors.
for compiler in gcc g++; do
  cat >"$tmp/$compiler" <<TEXT
#!/bin/sh
for option; do
  case \$option in -fcf-protection*) echo "$compiler: error: \$option is not supported for this target" >&2; exit 1 ;; esac
done
exec $compiler "\$@"
TEXT
  chmod +x "$tmp/$compiler"
done
# (In the way that compiles fastest.)
configure -S "$here/../../.." -B "$tmp/external" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_UNITY_BUILD=ON \
  -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 -DZEMO_PLATFORM=OFF -DZEMO_EXAMPLES=OFF \
  -DZEMO_TOOLS=OFF -DZEMO_MAN=OFF -DCMAKE_C_COMPILER="$tmp/gcc" -DCMAKE_CXX_COMPILER="$tmp/g++" \
  -DCMAKE_LIBRARY_PATH="$tmp/machine" -DCMAKE_INSTALL_PREFIX="$tmp/other"
cmake --build "$tmp/external" --target install >"$tmp/build.log" || {
  cat "$tmp/build.log"
  fail "building with the machine's platform libraries failed"
}
[ -z "$(find "$tmp/other" -name 'libzemocore*')" ] || fail "the core library was installed"
configure -S "$here/consumer" -B "$tmp/build2" -DCMAKE_PREFIX_PATH="$tmp/other" \
  -DCMAKE_LIBRARY_PATH="$tmp/machine"
cmake --build "$tmp/build2" >"$tmp/build.log" || {
  cat "$tmp/build.log"
  fail "building the consumer with the machine's platform libraries failed"
}
otherlib=$(dirname "$(find "$tmp/other" -name libzemoselfcheck.so.1.0)")
LD_LIBRARY_PATH=$otherlib:$tmp/machine "$tmp/build2/consumer"
