#!/bin/bash
# Builds the Debian packages twice, compares the results, inspects them, installs them and uses them. Takes some
# minutes; ./dev test --all runs it.
set -euo pipefail
export LC_ALL=C
export CMAKE_GENERATOR=Ninja # ./dev installs Ninja; Make may be missing
here=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$here/../../.." && pwd)
# shellcheck source=tests/support/require.sh
. "$here/../../support/require.sh"
require dpkg-buildpackage dh dh_apparmor lintian debootstrap

tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-packages.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
trap 'exit 130' HUP INT TERM

started=$SECONDS
say() { echo "== $* (after $((SECONDS - started)) s)"; }

fail() {
  echo "packages_test: $*" >&2
  exit 1
}

# quietly COMMAND...: shows the command's output only if it fails.
quietly() {
  "$@" >"$tmp/log" 2>&1 || {
    tail -n 60 "$tmp/log" >&2
    fail "failed: $*"
  }
}

say "Building the packages"
"$source/scripts/copy-source" "$tmp/tree" # at once, because the source may change meanwhile
quietly "$source/scripts/build-packages" "$tmp/one"

# In another place, without git and, where possible, as another user.
say "Building them again with another place, time zone, language and permissions"
mkdir -p "$tmp/elsewhere/further/down"
as_another=()
if [ "$(id -u)" = 0 ]; then
  chmod 711 "$tmp"
  chmod -R a+rX "$tmp/tree"
  chown -R nobody:nogroup "$tmp/elsewhere"
  as_another=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
fi
(
  umask 077
  quietly "${as_another[@]}" env HOME=/nonexistent TMPDIR="$tmp/elsewhere" TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 \
    "$tmp/tree/scripts/build-packages" "$tmp/elsewhere/further/down/two"
)
for package in "$tmp"/one/*.deb; do
  other=$tmp/elsewhere/further/down/two/$(basename "$package")
  cmp "$package" "$other" || {
    mkdir -p "$source/build/differing"
    cp "$package" "$source/build/differing/one.deb"
    cp "$other" "$source/build/differing/two.deb"
    fail "the second build made a different $(basename "$package"); compare them with:" \
      "diffoscope build/differing/one.deb build/differing/two.deb"
  }
done

say "Running lintian"
mkdir "$tmp/archive"
mv "$tmp/tree" "$tmp/archive/tree"
(cd "$tmp/archive" && quietly dpkg-source --build tree)
"$source/scripts/lint-packages" "$tmp"/one/*.changes "$tmp"/archive/*.dsc ||
  fail "lintian found problems, see above"

say "Checking the contents of the packages"
"$here/contents_test.sh" "$tmp/one"
for package in "$tmp"/one/*.deb; do
  [[ $package == *-dbgsym_* ]] || dpkg-deb --extract "$package" "$tmp/unpacked"
done
"$here/hardening_test.sh" "$tmp/unpacked/usr/bin" "$tmp/unpacked/usr/lib"

say "Building callers with the packages and using them unpacked"
quietly cmake -S "$source/tests/system/install/consumer" -B "$tmp/consumer" -DCMAKE_SKIP_RPATH=ON \
  -DCMAKE_PREFIX_PATH="$tmp/unpacked/usr"
quietly cmake --build "$tmp/consumer"
libraries=$(echo "$tmp"/unpacked/usr/lib/*-linux-gnu)
mkdir "$tmp/callers"
mv "$tmp/consumer/consumer" "$tmp/consumer/consumer_c" "$tmp/callers"
flags=()
eval "flags=($(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs zemoselfcheck))"
quietly g++ -std=c++17 "$source/examples/check_set.cpp" -o "$tmp/callers/check_set" "${flags[@]}"
version=$(dpkg-deb --field "$tmp"/one/zemo-selfcheck_*.deb Version)
version=${version%+*}
"$source/scripts/private-root" env PATH="$tmp/unpacked/usr/bin:$PATH" LD_LIBRARY_PATH="$libraries" \
  "$here/use.sh" "$version" "$tmp/callers"

say "Installing them"
if [ "$(id -u)" != 0 ]; then
  echo "[  SKIPPED ] root_test.sh (needs root: nothing was installed, upgraded, removed or purged)"
else
  mkdir "$tmp/root"
  unshare --mount --propagation private --pid --fork --kill-child \
    "$here/root_test.sh" "$tmp/root" "$tmp/one" "$tmp/callers"
fi
say "All package tests passed"
