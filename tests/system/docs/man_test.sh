#!/bin/bash
# The man pages are well formed and describe exactly the program's options.
#
#   man_test.sh MAN_BUILD_DIRECTORY OPTION_TABLES
set -euo pipefail
pages=$1
tables=$("$2")
failed=0

complain() {
  echo "$*" >&2
  failed=1
}

if command -v mandoc >/dev/null; then
  for page in "$pages"/*.[135]; do
    # scdoc writes a paragraph macro in places where mandoc does not need one.
    complaints=$(mandoc -T lint -W style "$page" |
      grep -vE 'skipping paragraph macro: PP|referenced manual not found|unable to open|STYLE: (input text line longer|whitespace at end|missing date|lower case character)' || true)
    [ -z "$complaints" ] || complain "$complaints"
  done
else
  echo "[  SKIPPED ] mandoc (not installed)"
fi

for page in "$pages"/*.[135]; do
  ! grep -q '^\.TS' "$page" || [ "$(head -n 1 "$page")" = "'\\\" t" ] || complain "$page does not say that it needs tbl"
done

# options_in PAGE: prints all long options in the page.
options_in() { sed 's/\\-/-/g; s/\\fR//g; s/\\fB//g; s/\\fI//g' "$1" | grep -oE -- '--[a-z][a-z-]*' | sort -u; }

while IFS= read -r command; do
  page=$pages/zemo-selfcheck-$command.1 # may be a link to a page about several commands
  [ -e "$page" ] || {
    complain "$command has no man page"
    continue
  }
  while IFS= read -r option; do
    options_in "$page" | grep -qxF -- "$option" || complain "$page does not describe $option of $command"
  done < <(awk -F '\t' -v command="$command" '$1 == command { print $2 }' <<<"$tables" | grep -vx -- --help)
done < <(cut -f 1 <<<"$tables" | sort -u)

# Nor do they describe other options. (Those of other programs are in examples.)
known=$({ cut -f 2 <<<"$tables"; printf '%s\n' --version --armor --export; } | sort -u)
for page in "$pages"/zemo-selfcheck*.1; do
  while IFS= read -r option; do
    grep -qxF -- "$option" <<<"$known" || complain "$page describes $option, which no command takes"
  done < <(options_in "$page")
done
exit $failed
