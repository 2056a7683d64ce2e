#!/bin/bash
# Prometheus accepts the metrics of a check: promtool reports nothing, and node_exporter serves every sample. The man
# page describes every metric.
#
#   scripts/private-root metrics_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C
source=$1 build=$2
here=$(dirname "$0")
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
# shellcheck source=tests/system/deploy/signed_set.sh
source "$here/signed_set.sh"
require promtool prometheus-node-exporter python3
require_private_root
PATH=$build/tools:$PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-metrics.XXXXXX")
exporter=
cleanup() {
  [ -z "$exporter" ] || kill "$exporter" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "metrics_test: $*" >&2
  exit 1
}

mkdir "$work/files" "$work/textfile" "$work/set"
echo content >"$work/files/intact"
echo content >"$work/files/changed"
install_set "$work/set" "$work/files"
metrics=$work/textfile/zemo-selfcheck.prom

echo "== a clean run, for its timestamp"
zemo-selfcheck check --metrics "$metrics"

echo "== a run with findings, and a set whose name needs escaping"
echo more >>"$work/files/changed"
mkdir "/usr/zemo/selfcheck/packages/quote\" and \\"
status=0
zemo-selfcheck check --all --metrics "$metrics" 2>"$work/errors" || status=$?
[ $status = 17 ] || fail "exit status $status instead of 17: $(cat "$work/errors")"

echo "== promtool"
promtool check metrics <"$metrics" >"$work/lint" 2>&1 || fail "promtool objects: $(cat "$work/lint")"
[ ! -s "$work/lint" ] || fail "promtool objects: $(cat "$work/lint")"

echo "== the man page"
while IFS= read -r name; do
  grep -qx -- "\*${name#zemo_selfcheck_}\*" "$source/man/zemo-selfcheck-check.1.scd" ||
    fail "the man page does not describe $name"
done < <(sed -n 's/^# TYPE \([^ ]*\) .*/\1/p' "$metrics")

echo "== node_exporter"
: >"$work/exporter.log" # created first, because the exporter starts later
PATH=$PATH:/usr/sbin:/sbin prometheus-node-exporter --web.listen-address=127.0.0.1:0 \
  --collector.disable-defaults --collector.textfile --collector.textfile.directory="$work/textfile" \
  >>"$work/exporter.log" 2>&1 &
exporter=$!
port=
for ((i = 0; i < 100; i++)); do
  port=$(sed -n 's/.*msg="Listening on" address=127\.0\.0\.1:\([0-9]*\).*/\1/p' "$work/exporter.log")
  [ -z "$port" ] || break
  sleep 0.1
done
[ -n "$port" ] || fail "node_exporter does not listen: $(cat "$work/exporter.log")"
exec 3<>"/dev/tcp/127.0.0.1/$port"
printf 'GET /metrics HTTP/1.0\r\n\r\n' >&3
cat <&3 >"$work/fetched"
exec 3>&-
grep -qx 'node_textfile_scrape_error 0' "$work/fetched" ||
  fail "node_exporter cannot read the file: $(cat "$work/exporter.log")"
# The same samples, whatever the order of labels and the form of numbers.
python3 "$here/samples.py" "$metrics" >"$work/written"
python3 "$here/samples.py" "$work/fetched" >"$work/handed out"
diff "$work/written" "$work/handed out" || fail "node_exporter serves different samples"
[ "$(wc -l <"$work/written")" -ge 40 ] || fail "there are too few samples"
