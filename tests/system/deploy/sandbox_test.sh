#!/bin/bash
# The program works with the rights that the service grants: as an ordinary user with the unit's capabilities, without
# write access but to its state, without sockets, and allowed to execute only the unit's paths. (The test does not need a running
# systemd.)
#
#   scripts/private-root sandbox_test.sh BUILD_DIRECTORY
set -euo pipefail
build=$1
here=$(dirname "$0")
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
# shellcheck source=tests/system/deploy/signed_set.sh
source "$here/signed_set.sh"
require_private_root
if ! setpriv --reuid=nobody true 2>/dev/null; then
  echo "[  SKIPPED ] sandbox_test (needs root, for a second user)"
  exit 0
fi
export LC_ALL=C
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-sandbox.XXXXXX")
trap 'rm -rf "$work"' EXIT
unit=$build/deploy/systemd/zemo-selfcheck.service

# Only root may have access to the build directory.
chmod 755 "$work"
for component in runtime platform tools; do
  cmake --install "$build" --prefix "$work/installed" --component $component >"$work/out"
done
PATH=$work/installed/bin:$PATH
LD_LIBRARY_PATH=$(dirname "$(find "$work/installed" -name libzemoselfcheck.so.1)")
export LD_LIBRARY_PATH
restricted=$work/restricted.py
install -m 755 "$here/restricted.py" "$restricted"

fail() {
  echo "sandbox_test: $*" >&2
  cat "$work/out" >&2
  exit 1
}

# The paths that the unit allows to execute, as they are in this installation, and the programs that set up and test the
# sandbox.
grep -qx 'NoExecPaths=/' "$unit"
mapfile -t executed < <(sed -n 's/^ExecPaths=//p' "$unit" | xargs -n 1 | sed 's/^-//')
[[ ${#executed[@]} = 5 && ${executed[0]} = */bin/zemo-selfcheck && ${executed[1]} = /usr/bin/gpg ]] ||
  fail "the unit allows other paths to be executed: ${executed[*]}"
executed[0]=$work/installed/bin/zemo-selfcheck
executed[2]=$LD_LIBRARY_PATH
for tool in mount setpriv cat touch bash unshare; do
  executed+=("$(realpath "$(type -P $tool)")")
done

# sandboxed CAPABILITY COMMAND...: runs the command as the service would, with this capability.
sandboxed() {
  local rights=-all,+$1
  shift
  # shellcheck disable=SC2016 # expanded by the inner shell
  unshare --mount --net --ipc "$restricted" bash -euc '
    for ((count = $1; count > 0; count--)); do
      shift
      [ ! -e "$1" ] || mount --bind "$1" "$1"
      executed[count]=$1
    done
    shift
    mount --bind /var/lib/zemo-selfcheck /var/lib/zemo-selfcheck
    mapfile -t mounts < <(awk "{ print \$5 }" /proc/self/mountinfo)
    for mount in "${mounts[@]}"; do
      mount=$(printf %b "$mount")
      case $mount in /dev | /dev/* | /proc | /proc/* | /sys | /sys/* | /var/lib/zemo-selfcheck) continue ;; esac
      execution=noexec
      for path in "${executed[@]}"; do
        [ "$path" != "$mount" ] || execution=exec
      done
      mount -o "remount,bind,ro,$execution" "$mount"
    done
    exec "$@"' bash ${#executed[@]} "${executed[@]}" \
    setpriv --reuid=nobody --regid=nogroup --clear-groups --bounding-set="$rights" --inh-caps="$rights" \
    --ambient-caps="$rights" --no-new-privs "$@"
}

# expect STATUS CAPABILITY TEXT: runs the unit's command, which must end with STATUS and print TEXT.
read -ra arguments < <(service_arguments "$build")
grep -qx 'StateDirectory=zemo-selfcheck' "$unit"
chown nobody /var/lib/zemo-selfcheck # as systemd does
chmod 700 /var/lib/zemo-selfcheck
expect() {
  local status=0
  sandboxed "$2" zemo-selfcheck "${arguments[@]}" >"$work/out" 2>&1 || status=$?
  [ "$status" = "$1" ] || fail "exit status $status instead of $1"
  grep -qF -- "$3" "$work/out" || fail "the output lacks: $3"
}

[ "$(grep -c '^AmbientCapabilities=\|^CapabilityBoundingSet=' "$unit")" = 2 ]
capability=$(sed -n 's/^AmbientCapabilities=CAP_//p' "$unit" | tr '[:upper:]' '[:lower:]')
grep -qix "CapabilityBoundingSet=CAP_$capability" "$unit"

# Only root can read, or even find, one of these files.
mkdir -m 700 "$work/tree"
echo secret >"$work/tree/secret"
chmod 600 "$work/tree/secret"
install_set "$work" "$work/tree" /dev/null /usr/bin/sort /etc/shadow

echo "== the sandbox"
if sandboxed "$capability" touch "$work/tree/new" /usr/zemo/selfcheck/new 2>"$work/out"; then
  fail "the sandbox allows writing files"
fi
sandboxed "$capability" cat "$work/tree/secret" >"$work/out" || fail "root's files cannot be read"
if sandboxed "$capability" bash -c ': </dev/udp/127.0.0.1/9' 2>"$work/out" ||
  ! grep -q 'Address family not supported' "$work/out"; then
  fail "the sandbox allows sockets"
fi
if sandboxed "$capability" sort --version 2>"$work/out" || ! grep -q 'Permission denied' "$work/out"; then
  fail "the sandbox allows executing other programs"
fi
if sandboxed "$capability" unshare --user cat /dev/null 2>"$work/out"; then
  fail "the sandbox allows namespaces"
fi

echo "== intact"
expect 0 "$capability" '"checked":5,"changed":0,"missing":0,"stray":0,"unchecked":0,'

echo "== with a manifest"
example=$build/deploy/systemd/examples/manifest.conf
mapfile -t required < <(sed -n 's/^ExecStart="[^"]*" //p' "$example" | xargs -n 1)
zemo-selfcheck sign --manifest /usr/zemo/selfcheck/wam.full.manifest /usr/zemo/selfcheck/wam.full.base.list \
  --key maker@example.org --serial 7 >"$work/out"
gpgconf --kill all
[ "${required[*]}" = "${arguments[*]} --require manifest" ] || fail "the example runs another check: ${required[*]}"
arguments=("${required[@]}")
expect 0 "$capability" '"state":"fits","serial":7,'
[ "$(cat /var/lib/zemo-selfcheck/wam.full.serial)" = 7 ] || fail "the number is not remembered"

echo "== changed"
echo changed >"$work/tree/secret"
expect 1 "$capability" '"changed":1,"missing":0,"stray":0,"unchecked":0,'

echo "== missing"
rm "$work/tree/secret"
expect 2 "$capability" '"changed":0,"missing":1,"stray":0,"unchecked":0,'

echo "== without that capability"
expect 10 kill '"unchecked":1,'

echo "== a list changed after signing"
echo >>/usr/zemo/selfcheck/wam.full.base.list
expect 16 "$capability" '"not_loaded":1,'
