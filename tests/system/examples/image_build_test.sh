#!/bin/bash
# The recipes for images: the last step of a build signs what the image ships, twice with the same result, and a check
# from outside finds each change.
#
#   image_build_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
# shellcheck source=tests/support/require.sh
source "$(dirname "$0")/../../support/require.sh"
require_private_root
recipes=$1/examples/image-build
export PATH=$2/tools:$PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-image.XXXXXX")
cleanup() {
  gpgconf --homedir "$work/mkosi.gnupg" --kill all 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
cd "$work"
umask 077 # the image must not depend on it
fail() {
  echo "image_build_test: $*" >&2
  exit 1
}

# staged DIRECTORY: a small root file system.
staged() (
  umask 022
  mkdir -p "$1"/{etc/skel,run,tmp,usr/bin,usr/lib,var/log}
  cd "$1"
  ln -s usr/bin bin
  ln -s usr/lib lib
  ln -s /usr/bin/tool etc/alternative # absolute, as in every Debian system
  ln -s /etc/passwd usr/lib/missing
  printf '#!/bin/sh\n' >usr/bin/tool
  chmod 755 usr/bin/tool
  echo 'key=value' >etc/tool.conf
  echo builder >etc/hostname
  echo line >var/log/dpkg.log
)

# finds STATUS EXPECTED ROOT: the exit status of a check from outside, and the paths that it reports.
finds() {
  local found status=0
  found=$(zemo-selfcheck check --root "$3" --require manifest --format paths) || status=$?
  [ "$status $found" = "$1 $2" ] || fail "the check of $3 ends with [$status $found] instead of [$1 $2]"
}

mkdir mkosi.gnupg
export GNUPGHOME=$work/mkosi.gnupg
gpg --batch --quiet --passphrase '' --quick-generate-key maker@example.org ed25519 sign never 2>/dev/null
gpg --export maker@example.org | zemo-selfcheck init-home --import - >/dev/null
export SOURCE_DATE_EPOCH=1790000000

echo "== the same files give the same list and manifest"
staged one
staged deeper/two
"$recipes/sign-root" one maker@example.org
(cd deeper && "$recipes/sign-root" two maker@example.org >/dev/null)
for file in image.list manifest; do
  cmp {one,deeper/two}/usr/zemo/selfcheck/wam.full.$file
done
! grep -F "$work" one/usr/zemo/selfcheck/wam.full.image.list || fail "the list names the building machine's directories"

echo "== what the list names"
diff -u - <(tail -n +3 one/usr/zemo/selfcheck/wam.full.image.list | cut -f 1,4,5) <<'TEXT'
/bin	l	-
/etc	d	755
/etc/alternative	l	-
/etc/skel	d	755
/etc/tool.conf	f	644
/lib	l	-
/usr	d	755
/usr/bin	d	755
/usr/bin/tool	f	755
/usr/lib	d	755
/usr/lib/missing	l	-
/usr/zemo	d	755
/usr/zemo/selfcheck	d	755
TEXT

echo "== changes are found, and only these"
echo first-boot >one/etc/hostname
finds 0 "" one
echo '# evil' >>one/usr/bin/tool
ln -sfn /tmp one/lib
rm one/etc/tool.conf
finds 3 "/etc/tool.conf
/lib
/usr/bin/tool" one

echo "== the image can verify its own set"
for file in gpg.conf pubring.kbx; do
  [ "$(stat -c %a "one/usr/zemo/selfcheck/$file")" = 644 ] || fail "others cannot read $file"
done
gpg --homedir one/usr/zemo/selfcheck --verify one/usr/zemo/selfcheck/wam.full.image.list.asc 2>/dev/null ||
  fail "the image's key ring does not verify the list"

echo "== as mkosi calls it"
unset GNUPGHOME
cp "$recipes"/* .
staged three
BUILDROOT=$work/three ./mkosi.finalize build
[ ! -e three/usr/zemo ] || fail "the image in which mkosi compiles was signed"
BUILDROOT=$work/three ./mkosi.finalize final >/dev/null # mkosi 14
cmp {three,deeper/two}/usr/zemo/selfcheck/wam.full.manifest
rm -r three
staged three
(cd / && BUILDROOT=$work/three SRCDIR=$work "$work/mkosi.finalize" >/dev/null) # mkosi 25
cmp {three,deeper/two}/usr/zemo/selfcheck/wam.full.manifest

echo "== a staged root that cannot be listed is not signed"
printf x >"deeper/two/usr/bin/$(printf 'new\nline')"
rm deeper/two/usr/zemo/selfcheck/wam.*
! "$recipes/sign-root" deeper/two maker@example.org 2>/dev/null || fail "the recipe hides a failure"
! ls deeper/two/usr/zemo/selfcheck/wam.* 2>/dev/null || fail "a set was installed after a failure"
