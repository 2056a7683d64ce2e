# shellcheck shell=bash
# Ends the test as skipped if no private root could be created, and as failed if the environment names one that does
# not exist.
require_private_root() {
  if [ "${ZEMO_PRIVATE_ROOT:-}" != yes ]; then
    echo "[  SKIPPED ] ${0##*/} (needs a private root)"
    exit 0
  fi
  "$(dirname "${BASH_SOURCE[0]}")/../../scripts/private-root" --verify || exit 1
}

# require PROGRAM...: ends the test as skipped if a program is missing, and as failed if all must be present.
require() {
  local program
  for program in "$@"; do
    command -v "$program" >/dev/null || [ -x "/usr/sbin/$program" ] || [ -x "/sbin/$program" ] || {
      if [ -n "${ZEMO_ALL:-}" ]; then
        echo "${0##*/}: $program is missing; ./dev test --all installs it" >&2
        exit 1
      fi
      echo "[  SKIPPED ] ${0##*/} (needs $program)"
      exit 0
    }
  done
}
