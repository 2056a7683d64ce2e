# shellcheck shell=bash
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
