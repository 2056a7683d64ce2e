#!/bin/bash
# The completion offers exactly the program's commands, options and values, and never executes parts of names.
#
#   completion_test.sh COMPLETION_FILE OPTION_TABLES PRIVATE_ROOT_SCRIPT
set -euo pipefail
if ! [ -r /usr/share/bash-completion/bash_completion ]; then
  echo "[  SKIPPED ] completion_test (needs bash-completion)"
  exit 0
fi
set +eu # bash-completion is not written for these options
# shellcheck source=/dev/null
. /usr/share/bash-completion/bash_completion
set -eu
# shellcheck source=/dev/null
. "$1"
tables=$("$2")
failed=0

# shellcheck disable=SC2317 # called by the completion
compopt() { :; } # no completion is in progress

# completes WORD...: prints the completions of the last word, sorted, on one line.
completes() {
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  COMP_LINE="$*"
  COMP_POINT=${#COMP_LINE}
  COMPREPLY=()
  set +eu
  _zemo_selfcheck
  set -eu
  printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' '
}

expect() {
  local expected=$1
  shift
  local actual
  actual=$(completes "$@")
  if [ "$actual" != "$expected" ]; then
    printf 'completing: %s\n  expected: %s\n  got:      %s\n' "$*" "$expected" "$actual" >&2
    failed=1
  fi
}

commands=$(cut -f 1 <<<"$tables" | sort -u)
expect "$({ echo "$commands"; printf '%s\n' help --help --version; } | sort | tr '\n' ' ')" zemo-selfcheck ""
for command in $commands; do
  options=$(awk -F '\t' -v command="$command" '$1 == command { print $2 ($3 == "value" ? "=" : "") }' <<<"$tables")
  expect "$(sort <<<"$options" | tr '\n' ' ')" zemo-selfcheck "$command" --
done
expect "check " zemo-selfcheck ch
expect "$(tr '\n' ' ' <<<"$commands")" zemo-selfcheck help ""
expect "json paths text " zemo-selfcheck check --format ""
expect "json " zemo-selfcheck check --format j
expect "group " zemo-selfcheck check --items g
expect "size,group " zemo-selfcheck check --items size,g
expect "wam " zemo-selfcheck check w
expect "--quiet " zemo-selfcheck check wam --q

# Names of sets: only in a private root.
if "$3" --verify 2>/dev/null; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  mkdir "$work/here"
  mkdir -m 700 "$work/keys"
  cd "$work/here"
  sets=/usr/zemo/selfcheck/packages
  # shellcheck disable=SC2016 # must not be expanded
  mkdir "$sets/notes" "$sets/"'$(touch ran)' "$sets/"'`touch ran`' "$sets/a b;touch ran" "$sets/<(touch ran)" \
    "$sets/"$'line\nfeed' "$sets/"$'\e[2J' "$sets/wam"
  expect "notes " zemo-selfcheck check no
  expect 'a\ b\;touch\ ran ' zemo-selfcheck check a
  expect 'a\ b\;touch\ ran ' zemo-selfcheck check 'a\ '
  # shellcheck disable=SC2016
  expect '\$\(touch\ ran\) ' zemo-selfcheck make --package '\$'
  # shellcheck disable=SC2016
  expect '\`touch\ ran\` ' zemo-selfcheck verify '\`'
  expect '\<\(touch\ ran\) ' zemo-selfcheck show '\<'
  for command in check verify show diff; do
    offered=$(completes zemo-selfcheck $command "")
    if [ "$(wc -w <<<"$offered")" -ne 13 ] || [ "$(tr -d '\n' <<<"$offered" | tr -d '[:print:]')" ]; then
      printf 'completing: %s\n  got: %q\n' "$command" "$offered" >&2
      failed=1
    fi
  done
  completes zemo-selfcheck make --package "" >/dev/null

  # Lists: those on the machine by their names, others by their paths.
  mkdir 'new lists'
  touch a.list b.txt 'new lists/c.list' "$sets/notes/notes.full.x.list"
  # shellcheck disable=SC2016
  touch /usr/zemo/selfcheck/wam.full.base.list /usr/zemo/selfcheck/wam.full.base.list.asc "$sets/notes/"'$(touch ran).list'
  # shellcheck disable=SC2016
  expect '\$\(touch\ ran\).list notes.full.x.list wam.full.base.list ' zemo-selfcheck retire ""
  expect "a.list " zemo-selfcheck diff a.
  expect "notes " zemo-selfcheck diff no
  for words in "sign" "merge" "make --base"; do
    # shellcheck disable=SC2086
    expect "a.list new lists " zemo-selfcheck $words ""
  done
  rm -r a.list b.txt 'new lists' /usr/zemo/selfcheck/wam.full.base.list*

  # The keys of the key ring, and nothing is written where they are.
  expect " " zemo-selfcheck remove-key ""
  home=/usr/zemo/selfcheck
  keys=$work/keys
  for name in one two; do
    gpg --homedir "$keys" --batch --quiet --passphrase "" --quick-gen-key $name ed25519 cert never 2>/dev/null
  done
  gpg --homedir "$keys" --batch --quiet --export | gpg --homedir "$keys" --no-default-keyring --keyring "$keys/ring.kbx" \
    --batch --quiet --import 2>/dev/null
  gpgconf --homedir "$keys" --kill all
  mv "$keys/ring.kbx" $home/pubring.kbx
  present=$(ls -A $home)
  fingerprints=$(gpg --homedir "$keys" --batch --with-colons --list-keys 2>/dev/null | grep ^fpr | cut -d : -f 10 | sort)
  expect "$(tr '\n' ' ' <<<"$fingerprints")" zemo-selfcheck remove-key ""
  expect "$(tr '\n' ' ' <<<"$fingerprints")" zemo-selfcheck verify --key ""
  first=$(head -n 1 <<<"$fingerprints")
  expect "$first " zemo-selfcheck sign --key "${first:0:20}"
  if [ "$(ls -A $home)" != "$present" ]; then
    echo "the completion has written to the key ring's directory" >&2
    failed=1
  fi
  rm -r "$keys" $home/pubring.kbx
  if [ -n "$(ls -A)" ]; then
    echo "a name was run" >&2
    failed=1
  fi
else
  echo "no private root: names of sets are not tested"
fi
exit $failed
