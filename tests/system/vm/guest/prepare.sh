#!/bin/bash
# The starting point of all cases: the packages, keys, and signed lists of installed packages, of a tree with a
# directory with fixed members, and of a package on a disk that can fail. Also makes, but does not install, a list of a
# file that takes long to read.
set -euo pipefail
payload=$(cd "$(dirname "$0")/.." && pwd)
systemctl daemon-reload
dpkg -i "$payload"/packages/*.deb

export GNUPGHOME=/root/key
mkdir -m 700 $GNUPGHOME
for name in maker next; do
  gpg --batch --quiet --passphrase '' --quick-generate-key $name@example.org ed25519 sign never
  gpg --export $name@example.org >/root/$name.gpg
done

mkdir -p /srv/tree/plugins
echo hello >/srv/tree/hello
echo world >/srv/tree/world
echo one >/srv/tree/plugins/one
# A sparse file, so that reading it takes only processor time.
truncate -s 256M /srv/tree/slow

# The disk: a file behind device-mapper, which can make any part of it fail.
truncate -s 16M /root/disk
disk=$(losetup --find --show /root/disk)
dmsetup create weak --table "0 32768 linear $disk 0"
mkfs.ext4 -q /dev/mapper/weak
mkdir -p /var/packages/notes/target
mount /dev/mapper/weak /var/packages/notes/target
head -c 100000 /dev/urandom >/var/packages/notes/target/notes
sync
echo root >/var/packages/notes/user

cd /root
zemo-selfcheck init-home --import /root/maker.gpg
zemo-selfcheck make --dpkg coreutils bash libc6 gpg --output wam.full.base.list
zemo-selfcheck make /srv/tree --exclude /srv/tree/slow --fixed /srv/tree/plugins --output wam.full.tree.list
zemo-selfcheck make /srv/tree/slow --output wam.full.slow.list
zemo-selfcheck make --package notes /var/packages/notes/target --exclude '*/lost+found' --output notes.full.base.list
zemo-selfcheck sign ./*.list --key maker@example.org
install -m 644 wam.full.{base,tree}.list.asc wam.full.{base,tree}.list /usr/zemo/selfcheck
install -D -m 644 -t /usr/zemo/selfcheck/packages/notes notes.*.list.asc notes.*.list
printf '%s\n' wam.full.base.list wam.full.tree.list >/usr/zemo/selfcheck/listorder
sync -f /usr/zemo/selfcheck
gpgconf --kill all
zemo-selfcheck check --all

# A unit that runs at the next boot before any file system is writable.
cat >/etc/systemd/system/early.service <<'END'
[Unit]
DefaultDependencies=no
Before=systemd-remount-fs.service local-fs-pre.target sysinit.target
[Service]
Type=oneshot
ExecStart=/bin/bash /root/payload/guest/early.sh
StandardOutput=file:/run/early
StandardError=file:/run/early
[Install]
WantedBy=sysinit.target
END
systemctl enable early.service
sync
