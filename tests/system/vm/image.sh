#!/bin/bash
# Makes the disk of a small Debian that boots under QEMU, and its kernel, for tests/system/vm/run. Needs root, or uses
# sudo.
#
#   image.sh SUITE DIRECTORY [DEBOOTSTRAP_OPTION...]    makes DIRECTORY/{disk.raw,vmlinuz,initrd}
set -euo pipefail
export PATH="$PATH:/usr/sbin:/sbin"

packages=(linux-image-cloud-amd64 initramfs-tools zstd systemd-sysv udev dbus kmod e2fsprogs dmsetup
  apparmor apparmor-utils gpg gpg-agent gpgconf prometheus-node-exporter procps)

# Units that the tests do not need and that take long on an emulated processor.
masked=(apt-daily.timer apt-daily-upgrade.timer dpkg-db-backup.timer e2scrub_all.timer e2scrub_reap.service
  fstrim.timer systemd-networkd.service systemd-timesyncd.service getty@tty1.service serial-getty@ttyS0.service
  prometheus-node-exporter.service man-db.timer logrotate.timer)

# Installs the system in the new directory $2. Runs in separate namespaces, so that its mounts and processes end with
# it.
install_system() {
  local suite=$1 root=$2
  shift 2
  debootstrap --variant=minbase "$@" "$suite" "$root"
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # packages must not start services
  chmod 755 "$root/usr/sbin/policy-rc.d"
  cp -L --remove-destination /etc/resolv.conf "$root/etc/resolv.conf"
  mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
  mount --rbind /dev "$root/dev"
  export DEBIAN_FRONTEND=noninteractive LC_ALL=C
  chroot "$root" apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends "${packages[@]}"
  chroot "$root" apt-get clean
}

if [ "$(id -u)" != 0 ]; then
  exec sudo "$0" "$@"
fi
if [ "$1" = --inside ]; then
  shift
  [ $$ = 1 ] || {
    echo "image.sh: these are not separate namespaces" >&2
    exit 1
  }
  install_system "$@"
  exit
fi

suite=$1 directory=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
new=$directory.new root=$directory.new/root
trap 'rm -rf --one-file-system "$new"' EXIT
trap 'exit 130' HUP INT TERM
rm -rf --one-file-system "$new"
mkdir -p "$new"
setpriv --pdeathsig KILL unshare --mount --propagation private --pid --fork --kill-child \
  "$0" --inside "$suite" "$root" "$@" >"$new/log" 2>&1 || {
  tail -n 40 "$new/log" >&2
  exit 1
}
rm "$root/usr/sbin/policy-rc.d" "$root"/var/lib/apt/lists/*_*

install -m 755 "$here/agent.sh" "$root/usr/local/sbin/vm-agent"
install -m 644 "$here/vm-agent.service" "$root/etc/systemd/system/vm-agent.service"
ln -s ../vm-agent.service "$root/etc/systemd/system/multi-user.target.wants/vm-agent.service"
for unit in "${masked[@]}"; do
  ln -sf /dev/null "$root/etc/systemd/system/$unit"
done
echo vm >"$root/etc/hostname"
echo '/dev/vda / ext4 defaults 0 1' >"$root/etc/fstab"
: >"$root/etc/machine-id"

mv "$root"/boot/vmlinuz-* "$new/vmlinuz"
mv "$root"/boot/initrd.img-* "$new/initrd"
truncate -s 2G "$new/disk.raw"
mkfs.ext4 -q -F -d "$root" "$new/disk.raw"
rm -rf --one-file-system "$root"
chmod 644 "$new"/{disk.raw,vmlinuz,initrd}
chown -R "${SUDO_UID:-0}:${SUDO_GID:-0}" "$new"
mv "$new" "$directory"
