#!/bin/bash
# If a step of scripts/private-root fails, or does nothing although it succeeds, the script does not run the command and
# leaves nothing behind. Stubs replace the programs that it calls and fail, or do nothing, at one call after another.
#
#   private_root_test.sh SOURCE_DIRECTORY TEST_PROGRAM    (a test program whose fixture empties directories)
set -euo pipefail
private_root=$1/scripts/private-root
program=$2
tmp=$(mktemp -d "${TMPDIR:-/tmp}/zemo-private-root.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
mkdir "$tmp/stubs" "$tmp/tmp"
export TMPDIR=$tmp/tmp
unset ZEMO_PRIVATE_ROOT # the caller may have set it

fail() {
  echo "private_root_test: $*" >&2
  exit 1
}

if ! message=$("$private_root" true 2>&1); then
  [[ $message == *"forbids mount namespaces"* ]] || fail "private-root does not work at all: $message"
  echo "[  SKIPPED ] private_root_test.sh ($message)"
  exit 0
fi

# stub PROGRAM N fail|nothing: the program's Nth call fails, or succeeds without doing anything.
stub() {
  local real
  real=$(PATH=$PATH:/usr/sbin:/sbin command -v "$1")
  rm -f "$tmp/count" "$tmp/stubs"/*
  cat >"$tmp/stubs/$1" <<STUB
#!/bin/bash
calls=\$((\$(cat "$tmp/count" 2>/dev/null || echo 0) + 1))
echo \$calls >"$tmp/count"
[ \$calls = $2 ] || exec "$real" "\$@"
[ $3 = nothing ]
STUB
  chmod 755 "$tmp/stubs/$1"
}

# attempt: runs a command in the private root with the stubs; sets status to its exit status.
attempt() {
  status=0
  PATH=$tmp/stubs:$PATH "$private_root" touch "$tmp/ran" 2>"$tmp/errors" || status=$?
}

# expect_refusal WHAT: the command did not run, the exit status says so, and no files are left.
expect_refusal() {
  local left
  [ ! -e "$tmp/ran" ] || fail "the command ran although $1"
  [ $status = 125 ] || fail "the exit status is $status, not 125, although $1: $(cat "$tmp/errors")"
  grep -q '^private-root: ' "$tmp/errors" || fail "no message although $1"
  left=$(ls -A "$tmp/tmp")
  rm -rf "$tmp/tmp"/zemo-root.* # empty, but could not be unmounted in time
  [ -z "$left" ] || fail "$left is left although $1"
}

# Every call of these programs fails in turn. The last round has no such call and succeeds.
refused=0
for name in mount mkdir mktemp pivot_root umount rmdir readlink stat ls; do
  for ((n = 1; ; n++)); do
    stub $name $n fail
    attempt
    [ "$(cat "$tmp/count")" -ge $n ] || break
    if [ $name = rmdir ] && [ -e "$tmp/ran" ]; then
      rm -f "$tmp/ran" # the outer process, which removes the mount point after the command
      rmdir "$tmp/tmp"/zemo-root.*
      continue
    fi
    expect_refusal "call $n of $name fails"
    refused=$((refused + 1))
  done
  [ $n -gt 1 ] || fail "$name is never called"
  if [ "$status" != 0 ] || [ ! -e "$tmp/ran" ]; then fail "the command does not run: $(cat "$tmp/errors")"; fi
  rm "$tmp/ran"
done

for name in pivot_root umount unshare; do
  stub $name 1 nothing
  if [ $name = unshare ]; then # runs the command in the current namespaces
    cat >"$tmp/stubs/unshare" <<'STUB'
#!/bin/bash
while [[ $1 == --* || $1 == private ]]; do shift; done
exec "$@"
STUB
  fi
  attempt
  expect_refusal "$name does nothing"
done
rm "$tmp/stubs"/*

echo "== a mount does nothing"
stub mount 1 nothing
attempt
expect_refusal "nothing is mounted"
stub mount 3 nothing
attempt
expect_refusal "no member of the root is mounted"
rm "$tmp/stubs"/*

echo "== a wrong ZEMO_PRIVATE_ROOT"
export ZEMO_PRIVATE_ROOT=yes
attempt
expect_refusal "ZEMO_PRIVATE_ROOT claims that this is a private root"
! "$private_root" --verify 2>/dev/null || fail "--verify succeeds outside"
! "$program" >"$tmp/out" 2>&1 || fail "a test program runs outside: $(cat "$tmp/out")"
grep -q 'this is not a private root' "$tmp/out" || fail "a test program prints: $(cat "$tmp/out")"
unset ZEMO_PRIVATE_ROOT
"$private_root" "$private_root" --verify || fail "--verify fails inside"
"$private_root" "$private_root" true || fail "private-root does not work in a private root"

echo "== files with the script's names in the old root"
# shellcheck disable=SC2016 # expanded by the inner shell
"$private_root" bash -c '
  set -e
  mkdir /.old
  touch /.old/kept /.zemo-private-root
  env -u ZEMO_PRIVATE_ROOT "$1" test -e /.old/kept' bash "$private_root" || fail "a directory /.old does harm"

mode=$(umask 000 && "$private_root" stat --format %a /usr/zemo/selfcheck)
[ "$mode" = 755 ] || fail "the umask of the caller makes /usr/zemo/selfcheck $mode"

echo "$refused failing calls: the command did not run after any of them"
