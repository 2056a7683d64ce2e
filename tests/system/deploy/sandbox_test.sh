#!/bin/bash
# The program does its work with the rights that the service gives it: as an ordinary user with the unit's
# capabilities, where nothing can be written, and nothing executed but what the unit names, without sockets. (A running
# systemd is not needed.)
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

# The build may lie where only root gets to.
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

# The paths that the unit lets be executed, as they are in this installation, and the programs that make the sandbox and
# try it.
grep -qx 'NoExecPaths=/' "$unit"
mapfile -t executed < <(sed -n 's/^ExecPaths=//p' "$unit" | xargs -n 1 | sed 's/^-//')
[[ ${#executed[@]} = 5 && ${executed[0]} = */bin/zemo-selfcheck && ${executed[1]} = /usr/bin/gpg ]] ||
  fail "the unit lets other paths be executed: ${executed[*]}"
executed[0]=$work/installed/bin/zemo-selfcheck
executed[2]=$LD_LIBRARY_PATH
for tool in mount setpriv cat touch bash unshare; do
  executed+=("$(realpath "$(type -P $tool)")")
done

# sandboxed CAPABILITY COMMAND...: as the service would run it, with this capability.
sandboxed() {
  local rights=-all,+$1
  shift
  # shellcheck disable=SC2016 # the inner shell's words
  unshare --mount --net --ipc "$restricted" bash -euc '
    for ((count = $1; count > 0; count--)); do
      shift
      [ ! -e "$1" ] || mount --bind "$1" "$1"
      executed[count]=$1
    done
    shift
    mapfile -t mounts < <(awk "{ print \$5 }" /proc/self/mountinfo)
    for mount in "${mounts[@]}"; do
      mount=$(printf %b "$mount")
      case $mount in /dev | /dev/* | /proc | /proc/* | /sys | /sys/*) continue ;; esac
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

# expect STATUS CAPABILITY TEXT: so ends the command of the unit, having written the text.
read -ra arguments < <(service_arguments "$build")
expect() {
  local status=0
  sandboxed "$2" zemo-selfcheck "${arguments[@]}" >"$work/out" 2>&1 || status=$?
  [ "$status" = "$1" ] || fail "expected exit status $1, not $status"
  grep -qF -- "$3" "$work/out" || fail "nothing says $3"
}

[ "$(grep -c '^AmbientCapabilities=\|^CapabilityBoundingSet=' "$unit")" = 2 ]
capability=$(sed -n 's/^AmbientCapabilities=CAP_//p' "$unit" | tr '[:upper:]' '[:lower:]')
grep -qix "CapabilityBoundingSet=CAP_$capability" "$unit"

# Only root can read, and even find, one of these files.
mkdir -m 700 "$work/tree"
echo secret >"$work/tree/secret"
chmod 600 "$work/tree/secret"
install_set "$work" "$work/tree" /dev/null /usr/bin/sort /etc/shadow

echo "== the sandbox"
if sandboxed "$capability" touch "$work/tree/new" /usr/zemo/selfcheck/new 2>"$work/out"; then
  fail "files can be written"
fi
sandboxed "$capability" cat "$work/tree/secret" >"$work/out" || fail "root's files cannot be read"
if sandboxed "$capability" bash -c ': </dev/udp/127.0.0.1/9' 2>"$work/out" ||
  ! grep -q 'Address family not supported' "$work/out"; then
  fail "sockets can be made"
fi
if sandboxed "$capability" sort --version 2>"$work/out" || ! grep -q 'Permission denied' "$work/out"; then
  fail "any program can be executed"
fi
if sandboxed "$capability" unshare --user cat /dev/null 2>"$work/out"; then
  fail "namespaces can be made"
fi

echo "== intact"
expect 0 "$capability" '"checked":5,"changed":0,"missing":0,"stray":0,"unchecked":0,'

echo "== changed"
echo changed >"$work/tree/secret"
expect 1 "$capability" '"changed":1,"missing":0,"stray":0,"unchecked":0,'

echo "== missing"
rm "$work/tree/secret"
expect 2 "$capability" '"changed":0,"missing":1,"stray":0,"unchecked":0,'

echo "== without that capability"
expect 10 kill '"unchecked":1,'

echo "== a list that was changed after it was signed"
echo >>/usr/zemo/selfcheck/wam.full.base.list
expect 16 "$capability" '"not_loaded":1,'
