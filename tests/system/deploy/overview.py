"""Prints a promtool test of the dashboard's number of hosts in each state.

overview.py DASHBOARD
"""

import json
import sys

# One host in each state, and the counts that the panels show. Time begins at 0.
CLEAN = {"mismatches": 0, "unchecked_entries": 0, "set_loaded": 1, "set_verified": 1, "interrupted": 0}
CLEAN.update({"exit_status": 0, "last_run_timestamp_seconds": 0})
HOSTS = {
    "clean": {},
    "also clean": {},
    "changed": {"mismatches": 2, "exit_status": 1},
    "unreadable": {"unchecked_entries": 3, "exit_status": 8},
    "not loaded": {"set_loaded": 0, "set_verified": 0, "exit_status": 16},
    "not verified": {"set_verified": 0},
    "interrupted": {"unchecked_entries": 5, "interrupted": 1, "exit_status": 8},
    "not run": {"last_run_timestamp_seconds": -200000},
}
COUNTS = {
    "Clean hosts": 2,
    "Changed": 1,
    "Unchecked entries": 2,
    "Sets not loaded": 1,
    "Not verified": 1,
    "Interrupted": 1,
    "Not run": 1,
    "Never run": 1,
}


def series(name, labels, value):
    inner = ",".join(f'{label}="{text}"' for label, text in labels.items())
    return {"series": f"{name}{{{inner}}}", "values": f"{value}x10"}


def samples():
    for host, state in HOSTS.items():
        yield series("node_textfile_scrape_error", {"instance": host}, 0)
        for name, value in {**CLEAN, **state}.items():
            labels = {"instance": host, "set": "wam", "mode": "full"}
            for kind in ("size", "hash") if name == "mismatches" else (None,):
                more = {"kind": kind} if kind else {}
                yield series(f"zemo_selfcheck_{name}", {**labels, **more}, value)
    yield series("node_textfile_scrape_error", {"instance": "never run"}, 0)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        panels = [panel for panel in json.load(file)["panels"] if panel["type"] == "stat"]
    if {panel["title"] for panel in panels} != set(COUNTS):
        sys.exit(f"{sys.argv[1]}: unexpected states")

    def test(panel, count):
        expression = panel["targets"][0]["expr"].replace("$instance", ".*").replace("$set", ".*")
        expected = [{"labels": "{}", "value": count}]
        return {"expr": expression, "eval_time": "5m", "exp_samples": expected}

    def group(name, inputs, counts):
        tests = [test(panel, counts[panel["title"]]) for panel in panels]
        return {"name": name, "interval": "1m", "input_series": inputs, "promql_expr_test": tests}

    groups = [
        group("hosts of all states", list(samples()), COUNTS),
        group("no hosts", [], dict.fromkeys(COUNTS, 0)),
    ]
    # JSON is valid YAML.
    print(json.dumps({"rule_files": [], "evaluation_interval": "1m", "tests": groups}, indent=1))


main()
