#!/bin/bash
# Installs, uses, upgrades, removes and purges the packages in a new Debian system, which is removed afterwards. Must
# run as root in separate mount and process namespaces, so that mounts and processes end with it.
#
#   root_test.sh ROOT PACKAGES CALLERS    (ROOT: an empty directory)
set -euo pipefail
export LC_ALL=C DEBIAN_FRONTEND=noninteractive
export PATH=/usr/local/sbin:/usr/sbin:/sbin:/usr/local/bin:/usr/bin:/bin
unset TMPDIR # valid on the machine, not in this root
here=$(cd "$(dirname "$0")" && pwd)
root=$1 packages=$2 callers=$3
version=$(dpkg-deb --field "$packages"/zemo-selfcheck_*.deb Version)
later=$version+later
names=(libzemocore6 libzemopkg1 libzemoselfcheck1 libzemoselfcheck-dev zemo-selfcheck zemo-selfcheck-services)
profile=/etc/apparmor.d/zemo-selfcheck
link=/etc/apparmor.d/force-complain/zemo-selfcheck
metrics=/var/lib/prometheus/node-exporter/zemo-selfcheck.prom

say() { echo "-- $*"; }

fail() {
  echo "root_test: $*" >&2
  exit 1
}

# quietly COMMAND...: shows the command's output only if it fails.
quietly() {
  "$@" >"$root.log" 2>&1 || {
    tail -n 30 "$root.log" >&2
    fail "failed: $*"
  }
}

inside() { chroot "$root" "$@"; }

# Boost's headers are large, and this system has no compiler: callers are built outside. As apt does, dpkg may
# deconfigure packages that files move between. Standard input is empty, so a question about a changed configuration
# file is an error.
install_all() { quietly inside sh -c "dpkg --auto-deconfigure --ignore-depends=libboost-dev --install $1/*.deb </dev/null"; }

check_again() {
  quietly inside zemo-selfcheck check
  quietly inside zemo-selfcheck check notes
  quietly inside /tmp/callers/check_set
}

# All files with mode, owner and content, except for the package managers' own files, the files that are compared
# separately, and users, which stay so that their ids are not reused.
all_files() {
  local some=(/ -xdev "(" -path /proc -o -path /tmp -o -path /var/lib/dpkg -o -path /var/lib/apt
    -o -path /var/cache -o -path /var/log -o -path /usr/zemo -o -path /var/packages
    -o -path /etc/ld.so.cache -o -regex '/etc/\(passwd\|group\|g?shadow\)-?' ")" -prune -o)
  inside find "${some[@]}" -printf '%M %u:%g %p %l\n' | sort
  inside find "${some[@]}" -type f -exec sha1sum {} + | sort
}

# (GnuPG's temporary lock files change the times of directories.)
all_lists() {
  inside find /usr/zemo \( -type f -printf '%M %u:%g %t ' -exec sha1sum {} \; \
    -o -printf '%M %u:%g %p\n' \) | sort
}

# same FUNCTION FILE WHAT: the function still prints the contents of the file.
same() { diff "$2" <("$1") || fail "$3, see above (< before, > now)"; }

# repack DIRECTORY VERSION PACKAGE...: builds these packages with this version in the directory.
repack() {
  local directory=$1 new=$2 package
  shift 2
  mkdir -p "$root/tmp/$directory"
  for package in "$@"; do
    dpkg-deb --raw-extract "$root"/tmp/packages/"${package}"_*.deb "$root/tmp/unpacked"
    if [ "$package" = "${joined-}" ]; then
      join_services "$root/tmp/unpacked"
    fi
    sed -i "/^Version:/s/$version/$new/; s/= $version)/= $new)/" "$root/tmp/unpacked/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$root/tmp/unpacked" "$root/tmp/$directory" >/dev/null
    rm -r "$root/tmp/unpacked"
  done
}

# As in version 1.0.0: the program's package includes the services and a profile that is itself in complain mode.
join_services() {
  local services=("$root"/tmp/packages/zemo-selfcheck-services_*.deb)
  dpkg-deb --raw-extract "${services[0]}" "$root/tmp/services"
  cp -a "$root/tmp/services/DEBIAN/conffiles" "$1/DEBIAN"
  rm -r "$root/tmp/services/DEBIAN" "$root/tmp/services/usr/share/doc"
  cp -a "$root/tmp/services/." "$1"
  sed -i 's/flags=(/flags=(complain, /' "$1$profile"
  rm -r "$root/tmp/services"
}

# Programs that record what the packages do with the profile, because the kernel has no AppArmor here.
make_apparmor() {
  printf '#!/bin/sh\n' >"$root/usr/local/bin/aa-enabled"
  cat >"$root/usr/local/sbin/apparmor_parser" <<'TEXT'
#!/bin/sh
echo "$*" >>/tmp/apparmor
[ "$*" != --remove ] || cat >>/tmp/apparmor
TEXT
  chmod 755 "$root/usr/local/bin/aa-enabled" "$root/usr/local/sbin/apparmor_parser"
}

# The maker's platform libraries, as a package with another name.
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

say "Creating a new Debian system, which takes a minute"
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

say "Installing the dependencies of the packages"
depends=$(for package in "$root"/tmp/packages/*.deb; do dpkg-deb --field "$package" Depends; done |
  sed 's/, */\n/g' | grep -vE '^((lib)?zemo|libboost-dev)' | sort -u | paste -sd,)
# (Of the programs that create users, the smallest.)
quietly inside apt-get satisfy --yes --no-install-recommends \
  "systemd-standalone-sysusers, $depends, gpg-agent"
make_apparmor
mkdir -p "$root${metrics%/*}"
all_files >"$root/tmp/files"

say "Upgrading from a version whose program has the services in its package"
joined=zemo-selfcheck repack earlier 1.0.0 "${names[@]:0:5}"
install_all /tmp/earlier
quietly inside env DPKG_MAINTSCRIPT_PACKAGE=zemo-selfcheck deb-systemd-helper enable zemo-selfcheck.timer
enabled=/etc/systemd/system/timers.target.wants/zemo-selfcheck.timer
[ -L "$root$enabled" ] || fail "the timer cannot be enabled"
install_all /tmp/packages
[ "$(inside dpkg-query --search $profile)" = "zemo-selfcheck-services: $profile" ] || fail "$profile is not the services'"
! inside dpkg-query --status zemo-selfcheck | grep -F $profile || fail "the program's package still has $profile"
[ -L "$root$enabled" ] || fail "the timer is no longer enabled"
inside grep -q 'flags=(attach' $profile || fail "the profile is the old one"
quietly inside dpkg --purge "${names[@]}"
same all_files "$root/tmp/files" "files were left or changed"

say "Installing and using them"
install_all /tmp/packages
[ ! -e "$root/usr/zemo" ] || fail "the installation created /usr/zemo, which belongs to the administrator"
inside test -e $link || fail "the profile is not in complain mode"
grep -q -- "-r .*$profile" "$root/tmp/apparmor" || fail "the profile is not loaded"
inside /tmp/use.sh "${version%+*}" /tmp/callers
all_lists >"$root/tmp/lists"

say "Upgrading"
rm "$root$link" # as an administrator does to enforce the profile
repack later "$later" "${names[@]}"
install_all /tmp/later
[ ! -L "$root$link" ] || fail "after the upgrade, the profile is no longer enforced"
found=$(inside dpkg-query --show "${names[@]}" | cut -f 2 | sort -u)
[ "$found" = "$later" ] || fail "after the upgrade, the versions are $found instead of $later"
check_again
same all_lists "$root/tmp/lists" "the upgrade changed lists or keys"

say "Removing"
quietly inside dpkg --remove "${names[@]}"
[ ! -e "$root/usr/bin/zemo-selfcheck" ] || fail "the program still exists"
same all_lists "$root/tmp/lists" "the removal changed lists or keys"

say "Purging"
touch "$root$metrics"
mkdir -m 700 "$root/var/lib/zemo-selfcheck" # as check --require manifest does
touch "$root/var/lib/zemo-selfcheck/wam.full.serial"
quietly inside dpkg --purge "${names[@]}"
[ "$(tail -n 2 "$root/tmp/apparmor")" = $'--remove\nprofile zemo-selfcheck {}' ] || fail "the profile is not unloaded"
same all_files "$root/tmp/files" "files were left or changed"
same all_lists "$root/tmp/lists" "the purge changed lists or keys"
! inside dpkg-query --show '*zemo*' 2>/dev/null || fail "dpkg still knows these packages"

say "The maker's platform libraries in the place of ours"
install_all /tmp/packages
make_platform
quietly inside dpkg --install /tmp/platform.deb
[ ! -e "$root/var/lib/dpkg/info/libzemocore6:amd64.list" ] || fail "libzemocore6 is still installed"
quietly inside dpkg --configure --pending
check_again
same all_lists "$root/tmp/lists" "the second installation changed lists or keys"
