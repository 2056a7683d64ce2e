# shellcheck shell=bash
# Builds from an archive as distributions do: as an ordinary user, without git, and from a read-only source. All paths
# contain blanks and non-ASCII letters.

# unpack SOURCE: unpacks an archive of the source into a new directory. Sets `place` to that directory (the source is in
# $place/source), and as_user to the words that go before commands to run them there as an ordinary user.
unpack() {
  place=$(mktemp -d "${TMPDIR:-/tmp}/zemo über all.XXXXXX")
  trap 'chmod -R u+w "$place"; rm -rf "$place"' EXIT
  mkdir "$place/home"
  "$1/scripts/copy-source" "$place/source"
  as_user=(env HOME="$place/home" TMPDIR="$place/home")
  if [ "$(id -u)" = 0 ]; then
    chown -R nobody: "$place"
    as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups "${as_user[@]}")
  fi
  chmod -R a-w "$place/source"
}

contents() {
  (cd "$place/source" && find . -printf '%p %m %s %T@\n' | sort)
}

# use PREFIX LIBRARY_DIRECTORY: a separate project finds the library with CMake and with pkg-config.
use() {
  local prefix=$1 libraries=$2 consumer=$place/source/tests/system/install/consumer flags=()
  "${as_user[@]}" rm -rf "$place/consumer"
  "${as_user[@]}" cmake -S "$consumer" -B "$place/consumer" -DCMAKE_PREFIX_PATH="$prefix" "${@:3}"
  "${as_user[@]}" cmake --build "$place/consumer"
  LD_LIBRARY_PATH=$libraries "$place/consumer/consumer"
  LD_LIBRARY_PATH=$libraries "$place/consumer/consumer_c"
  eval "flags=($(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs zemoselfcheck))"
  g++ -std=c++17 "$consumer/consumer.cpp" -o "$place/consumer/by_pkg_config" "${flags[@]}"
  LD_LIBRARY_PATH=$libraries "$place/consumer/by_pkg_config"
  LD_LIBRARY_PATH=$libraries "$prefix/bin/zemo-selfcheck" --version
}

# installed_at FILE...: these files exist below the installation directory.
installed_at() {
  local file
  for file in "$@"; do
    [ -e "$place/$file" ] || {
      echo "nothing was installed at $file"
      find "$place/stage" "$place/own" 2>/dev/null
      return 1
    }
  done
}

# build_archive SOURCE: without tests, with clang.
build_archive() {
  local before multiarch
  unpack "$1"
  before=$(contents)
  multiarch=$(gcc -print-multiarch)

  echo "== as a package: DESTDIR, a prefix, multiarch directories"
  "${as_user[@]}" cmake -S "$place/source" -B "$place/build" -DZEMO_WERROR=ON -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR="lib/$multiarch" -DCMAKE_INSTALL_SYSCONFDIR=/etc
  "${as_user[@]}" cmake --build "$place/build" --parallel "$(nproc)"
  DESTDIR=$place/stage "${as_user[@]}" cmake --install "$place/build"
  installed_at "stage/usr/lib/$multiarch/libzemoselfcheck.so.1.0" stage/usr/include/zemo/selfcheck.h \
    stage/usr/bin/zemo-selfcheck stage/etc/apparmor.d/zemo-selfcheck \
    stage/usr/lib/systemd/system/zemo-selfcheck.service
  [ "$(ls "$place/stage")" = $'etc\nusr' ]
  if grep -rF "$place" "$place"/stage/{usr/share,usr/lib/systemd,etc}; then
    echo "the installed files contain the build directory's path"
    return 1
  fi
  use "$place/stage/usr" "$place/stage/usr/lib/$multiarch"

  echo "== with custom directories"
  "${as_user[@]}" cmake -S "$place/source" -B "$place/build" -DCMAKE_INSTALL_PREFIX="$place/own" \
    -DCMAKE_INSTALL_LIBDIR="$place/own libraries" -DCMAKE_INSTALL_SYSCONFDIR=etc \
    -DCMAKE_INSTALL_INCLUDEDIR=include/zemo-1
  "${as_user[@]}" cmake --build "$place/build" --parallel "$(nproc)" --target install
  installed_at "own libraries/libzemoselfcheck.so.1.0" own/include/zemo-1/zemo/selfcheck.h \
    own/etc/apparmor.d/zemo-selfcheck
  use "$place/own" "$place/own libraries" -Dzemoselfcheck_DIR="$place/own libraries/cmake/zemoselfcheck"

  [ "$(contents)" = "$before" ]
}

# build_archive_tests SOURCE TESTS: also builds and runs the matching tests, as the same user.
build_archive_tests() {
  unpack "$1"
  "${as_user[@]}" cmake -S "$place/source" -B "$place/build" -DZEMO_WERROR=ON -DZEMO_TESTS=ON
  "${as_user[@]}" cmake --build "$place/build" --parallel "$(nproc)"
  "${as_user[@]}" ctest --test-dir "$place/build" --output-on-failure --no-tests=error -R "$2"
}
