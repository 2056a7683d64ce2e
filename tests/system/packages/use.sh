#!/bin/bash
# Uses the freshly installed program and library as a new user does: makes, signs, installs and checks a set of the
# system and one of a package. Leaves both sets installed.
#
#   use.sh VERSION CALLERS    (the directory of programs built with the library)
set -euo pipefail
export LC_ALL=C
version=$1 callers=$2
lists=/usr/zemo/selfcheck
target=/var/packages/notes/target
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-use.XXXXXX")
export GNUPGHOME=$work/key
trap 'gpgconf --kill all; rm -rf "$work"' EXIT
cd "$work"

# run STATUS COMMAND...: fails unless the command's exit status is STATUS.
run() {
  local expected=$1 status=0
  shift
  "$@" >output 2>&1 || status=$?
  [ "$status" = "$expected" ] || {
    cat output >&2
    echo "use: exit status $status instead of $expected from: $*" >&2
    exit 1
  }
}

# make_set NAME DIRECTORY ARGUMENT...: makes, signs and installs the list of a set.
make_set() {
  local name=$1 directory=$2
  shift 2
  run 0 zemo-selfcheck make "$@" --output "$name.full.base.list"
  run 0 zemo-selfcheck sign "$name.full.base.list" --key maker@example.org
  run 0 install -D -m 644 -t "$directory" "$name.full.base.list" "$name.full.base.list.asc"
}

[ "$(zemo-selfcheck --version)" = "zemo-selfcheck $version" ] || {
  echo "use: the program is $(zemo-selfcheck --version), not $version" >&2
  exit 1
}
run 16 zemo-selfcheck check # there are no lists yet

mkdir -m 700 "$GNUPGHOME"
run 0 gpg --batch --passphrase '' --quick-generate-key maker@example.org ed25519 sign never
run 0 gpg --output maker.gpg --export maker@example.org
run 0 zemo-selfcheck init-home --import maker.gpg
make_set wam $lists --dpkg coreutils
mkdir -p $target
echo notes >$target/notes
echo root >/var/packages/notes/user
make_set notes $lists/packages/notes --package notes $target

run 0 zemo-selfcheck verify
run 0 zemo-selfcheck check
run 0 zemo-selfcheck check notes
run 0 "$callers/consumer"
run 0 "$callers/consumer_c"
run 0 "$callers/check_set"
run 0 "$callers/check_set" notes

echo evil >>$target/notes
run 1 zemo-selfcheck check notes
run 1 "$callers/check_set" notes
echo notes >$target/notes
run 0 zemo-selfcheck check notes
