"""Checks that Grafana can use the dashboard, and prints its expressions as a rules file.

dashboard.py DASHBOARD
"""

import json
import re
import sys

VALUES = {"$instance": "host-1|host-2", "$set": ".*"}


def fail(message):
    sys.exit(f"{sys.argv[1]}: {message}")


def substituted(text):
    for variable, value in VALUES.items():
        text = text.replace(variable, value)
    if "$" in text:
        fail(f"undefined variable: {text}")
    return text


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        dashboard = json.load(file)
    variables = {variable["name"]: variable for variable in dashboard["templating"]["list"]}
    if set(variables) != {"datasource", "instance", "set"}:
        fail(f"unexpected variables: {sorted(variables)}")
    if variables["datasource"]["type"] != "datasource":
        fail("users cannot choose the data source")

    panels = dashboard["panels"]
    if len({panel["id"] for panel in panels}) != len(panels):
        fail("two panels have the same id")
    sources = [panel["datasource"] for panel in panels]
    sources += [target["datasource"] for panel in panels for target in panel["targets"]]
    sources += [variables[name]["datasource"] for name in ("instance", "set")]
    for source in sources:
        if source != {"type": "prometheus", "uid": "${datasource}"}:
            fail(f"fixed data source: {source}")

    taken = set()
    for panel in panels:
        place = panel["gridPos"]
        cells = {
            (x, y)
            for x in range(place["x"], place["x"] + place["w"])
            for y in range(place["y"], place["y"] + place["h"])
        }
        if cells & taken or place["x"] + place["w"] > 24:
            fail(f"the panel {panel['title']!r} overlaps another one or is outside the grid")
        taken |= cells

    expressions = [target["expr"] for panel in panels for target in panel["targets"]]
    for name in ("instance", "set"):
        query = variables[name]["query"]["query"]
        values = re.fullmatch(r"label_values\((.*), \w+\)", query)
        if not values:
            fail(f"not label_values(): {query}")
        expressions.append(values[1])
    rules = [
        {"record": f"test:expression{n}", "expr": substituted(expression)}
        for n, expression in enumerate(expressions)
    ]
    # JSON is valid YAML.
    print(json.dumps({"groups": [{"name": "dashboard", "rules": rules}]}, indent=1))


main()
