# shellcheck shell=bash
# Ends the test as skipped where no private root could be made, and as failed where the environment names one that
# is not there.
require_private_root() {
  if [ "${ZEMO_PRIVATE_ROOT:-}" != yes ]; then
    echo "[  SKIPPED ] ${0##*/} (needs a private root)"
    exit 0
  fi
  "$(dirname "${BASH_SOURCE[0]}")/../../scripts/private-root" --verify || exit 1
}

# require PROGRAM...: ends the test as skipped where one is missing, and as failed where all were to be there.
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
