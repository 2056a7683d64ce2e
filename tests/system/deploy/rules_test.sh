#!/bin/bash
# The alert rules fire when they should and not otherwise, the dashboard's expressions are valid PromQL and count hosts
# correctly, and both use only metrics that exist.
#
#   scripts/private-root rules_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
export LC_ALL=C
source=$1 build=$2
here=$(dirname "$0")
# shellcheck source=tests/support/require.sh
source "$here/../../support/require.sh"
# shellcheck source=tests/system/deploy/signed_set.sh
source "$here/signed_set.sh"
require promtool python3
PATH=$build/tools:$PATH
rules=$source/deploy/prometheus/zemo-selfcheck.rules.yml
dashboard=$source/deploy/grafana/zemo-selfcheck.json
work=$(mktemp -d "${TMPDIR:-/tmp}/zemo-rules.XXXXXX")
trap 'rm -rf "$work"' EXIT

fail() {
  echo "rules_test: $*" >&2
  exit 1
}

echo "== the alert rules"
promtool test rules "${rules%.yml}.test.yml"
while IFS= read -r alert; do
  # At least once where it fires, and twice where it does not: with a clean set, and before it fires.
  [ "$(grep -c "alertname: $alert\$" "${rules%.yml}.test.yml")" -ge 1 ] ||
    fail "$alert fires in no test"
  [ "$(grep -c "alertname: $alert,.*exp_alerts: \[\]" "${rules%.yml}.test.yml")" -ge 2 ] ||
    fail "$alert is silent in fewer than two tests"
done < <(sed -n 's/^ *- alert: //p' "$rules")

echo "== the dashboard's expressions"
python3 "$here/dashboard.py" "$dashboard" >"$work/dashboard.yml"
promtool check rules "$work/dashboard.yml"
python3 "$here/overview.py" "$dashboard" >"$work/overview.yml"
promtool test rules "$work/overview.yml"

echo "== the metrics that both use"
require_private_root
mkdir "$work/set"
install_set "$work/set" "$work/dashboard.yml"
zemo-selfcheck sign --manifest /usr/zemo/selfcheck/wam.full.manifest /usr/zemo/selfcheck/wam.full.base.list \
  --key maker@example.org >"$work/log"
gpgconf --kill all
zemo-selfcheck check --quiet --require manifest --metrics "$work/metrics"
{
  sed -n 's/^# TYPE \([^ ]*\) .*/\1/p' "$work/metrics"
  echo node_textfile_scrape_error # node_exporter's own metric for each host with text files
} | sort >"$work/there"
for file in "$rules" "$work/dashboard.yml"; do
  sed -n '/expr/p' "$file" | grep -oE '\<(zemo|node)_[a-z_]+' | sort -u >"$work/named"
  [ "$(wc -l <"$work/named")" -ge 8 ] || fail "$file uses too few metrics"
  unknown=$(comm -23 "$work/named" "$work/there")
  [ -z "$unknown" ] || fail "$file uses unknown metrics: $unknown"
done
