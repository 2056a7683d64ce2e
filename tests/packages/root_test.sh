#!/bin/bash
# Installs, uses, upgrades, removes and purges the packages in a Debian of their own, which is gone
# afterwards. To be run as root in a mount and process namespace of its own: what is mounted and
# started here ends with it.
#
#   root_test.sh ROOT PACKAGES CALLERS    (ROOT: an empty directory)
set -euo pipefail
export LC_ALL=C DEBIAN_FRONTEND=noninteractive
export PATH=/usr/local/sbin:/usr/sbin:/sbin:/usr/local/bin:/usr/bin:/bin
unset TMPDIR # of the machine, not of this root
here=$(cd "$(dirname "$0")" && pwd)
root=$1 packages=$2 callers=$3
version=$(dpkg-deb --field "$packages"/zemo-selfcheck_*.deb Version)
later=$version+later
names=(libzemocore6 libzemopkg1 libzemoselfcheck1 libzemoselfcheck-dev zemo-selfcheck)

say() { echo "-- $*"; }

fail() {
  echo "root_test: $*" >&2
  exit 1
}

# quietly COMMAND...: shows what it prints if it fails only.
quietly() {
  "$@" >"$root.log" 2>&1 || {
    tail -n 30 "$root.log" >&2
    fail "failed: $*"
  }
}

inside() { chroot "$root" "$@"; }

# Boost's headers are large, and there is no compiler here: callers are built outside.
install_all() { quietly inside sh -c "dpkg --ignore-depends=libboost-dev --install $1/*.deb"; }

check_again() {
  quietly inside zemo-selfcheck check
  quietly inside zemo-selfcheck check notes
  quietly inside /tmp/callers/check_set
}

# All files with mode, owner and content, apart from what package managers keep for themselves, what is
# compared by itself, and users, which stay so that nobody else gets their ids.
all_files() {
  local some=(/ -xdev "(" -path /proc -o -path /tmp -o -path /var/lib/dpkg -o -path /var/lib/apt
    -o -path /var/cache -o -path /var/log -o -path /usr/zemo -o -path /var/packages
    -o -path /etc/ld.so.cache -o -regex '/etc/\(passwd\|group\|g?shadow\)-?' ")" -prune -o)
  inside find "${some[@]}" -printf '%M %u:%g %p %l\n' | sort
  inside find "${some[@]}" -type f -exec sha1sum {} + | sort
}

# (GnuPG's lock files, which come and go, change the times of directories.)
all_lists() {
  inside find /usr/zemo \( -type f -printf '%M %u:%g %t ' -exec sha1sum {} \; \
    -o -printf '%M %u:%g %p\n' \) | sort
}

# same FUNCTION FILE WHAT: the function still prints what is in the file.
same() { diff "$2" <("$1") || fail "$3, see above (< before, > now)"; }

# Repacks what is installed under a later version.
make_later() {
  local package
  mkdir "$root/tmp/later"
  for package in "$root"/tmp/packages/*.deb; do
    dpkg-deb --raw-extract "$package" "$root/tmp/unpacked"
    sed -i "/^Version:/s/$version/$later/; s/(= $version)/(= $later)/" "$root/tmp/unpacked/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$root/tmp/unpacked" "$root/tmp/later" >/dev/null
    rm -r "$root/tmp/unpacked"
  done
}

# The maker's platform libraries, as one package of another name.
make_platform() {
  local name tree=$root/tmp/platform
  mkdir "$tree"
  for name in libzemocore6 libzemopkg1; do
    dpkg-deb --extract "$root"/tmp/packages/${name}_*.deb "$tree"
  done
  rm -r "${tree:?}/usr/share"
  mkdir "$tree/DEBIAN"
  cat >"$tree/DEBIAN/control" <<TEXT
Package: platform
Version: 6
Architecture: amd64
Maintainer: maker <maker@example.org>
Provides: libzemocore6, libzemopkg1
Conflicts: libzemocore6, libzemopkg1
Replaces: libzemocore6, libzemopkg1
Description: the maker's platform libraries
TEXT
  dpkg-deb --root-owner-group --build "$tree" "$root/tmp/platform.deb" >/dev/null
}

say "Putting a new Debian together, which takes a minute"
mount -t tmpfs -o mode=755 zemo "$root"
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
if ! debootstrap --variant=minbase "$codename" "$root" >"$root.log" 2>&1; then
  if grep -q 'Failed getting release file' "$root.log"; then
    echo "[  SKIPPED ] root_test.sh (no network: nothing was installed, upgraded, removed or purged)"
    exit 0
  fi
  tail -n 30 "$root.log" >&2
  fail "debootstrap failed"
fi
mkdir "$root/tmp/packages" "$root/tmp/callers"
find "$packages" -name '*.deb' ! -name '*-dbgsym_*' -exec cp -t "$root/tmp/packages" {} +
cp "$here/use.sh" "$root/tmp"
cp "$callers"/* "$root/tmp/callers"

mount -t proc proc "$root/proc"

say "What the packages depend on"
depends=$(for package in "$root"/tmp/packages/*.deb; do dpkg-deb --field "$package" Depends; done |
  sed 's/, */\n/g' | grep -vE '^(libzemo|libboost-dev)' | sort -u | paste -sd,)
# (Of the programs that make users, the smallest.)
quietly inside apt-get satisfy --yes --no-install-recommends \
  "systemd-standalone-sysusers, $depends, gpg-agent"
all_files >"$root/tmp/files"

say "Installing and using them"
install_all /tmp/packages
[ ! -e "$root/usr/zemo" ] || fail "installing has made /usr/zemo, which is the administrator's"
inside /tmp/use.sh "$version" /tmp/callers
all_lists >"$root/tmp/lists"

say "Upgrading"
make_later
install_all /tmp/later
found=$(inside dpkg-query --show "${names[@]}" | cut -f 2 | sort -u)
[ "$found" = "$later" ] || fail "after upgrading, the versions are $found instead of $later"
check_again
same all_lists "$root/tmp/lists" "upgrading has changed lists or keys"

say "Removing"
quietly inside dpkg --remove "${names[@]}"
[ ! -e "$root/usr/bin/zemo-selfcheck" ] || fail "the program is still there"
same all_lists "$root/tmp/lists" "removing has changed lists or keys"

say "Purging"
quietly inside dpkg --purge "${names[@]}"
same all_files "$root/tmp/files" "not everything is as it was before"
same all_lists "$root/tmp/lists" "purging has changed lists or keys"
! inside dpkg-query --show '*zemo*' 2>/dev/null || fail "dpkg still knows these packages"

say "The maker's platform libraries in the place of ours"
install_all /tmp/packages
make_platform
quietly inside dpkg --install /tmp/platform.deb
[ ! -e "$root/var/lib/dpkg/info/libzemocore6:amd64.list" ] || fail "libzemocore6 is still there"
quietly inside dpkg --configure --pending
check_again
same all_lists "$root/tmp/lists" "installing again has changed lists or keys"
