#!/bin/bash
# The README quotes the example programs whole, and what it shows of the demo is what the demo prints.
#
#   readme_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"

# block LANGUAGE: the README's code block of that language.
block() { awk -v fence="\`\`\`$1" '$0 == "```" { shown = 0 } shown { print } $0 == fence { shown = 1 }' README.md; }

diff -u <(block cpp) examples/check_set.cpp || { echo "README.md quotes another check_set.cpp" >&2; exit 1; }
diff -u <(block c) examples/check_files.c || { echo "README.md quotes another check_files.c" >&2; exit 1; }
echo "README.md quotes both examples"
