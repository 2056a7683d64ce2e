"""Holds the dashboard to what Grafana needs, and prints its expressions as a file of rules.

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
        fail(f"a variable that it does not define: {text}")
    return text


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        dashboard = json.load(file)
    variables = {variable["name"]: variable for variable in dashboard["templating"]["list"]}
    if set(variables) != {"datasource", "instance", "set"}:
        fail(f"it has other variables: {sorted(variables)}")
    if variables["datasource"]["type"] != "datasource":
        fail("its data source cannot be chosen")

    panels = dashboard["panels"]
    if len({panel["id"] for panel in panels}) != len(panels):
        fail("two panels have one id")
    sources = [panel["datasource"] for panel in panels]
    sources += [target["datasource"] for panel in panels for target in panel["targets"]]
    sources += [variables[name]["datasource"] for name in ("instance", "set")]
    for source in sources:
        if source != {"type": "prometheus", "uid": "${datasource}"}:
            fail(f"a data source of its own: {source}")

    taken = set()
    for panel in panels:
        place = panel["gridPos"]
        cells = {
            (x, y)
            for x in range(place["x"], place["x"] + place["w"])
            for y in range(place["y"], place["y"] + place["h"])
        }
        if cells & taken or place["x"] + place["w"] > 24:
            fail(f"the panel {panel['title']!r} lies on another one, or outside")
        taken |= cells

    expressions = [target["expr"] for panel in panels for target in panel["targets"]]
    for name in ("instance", "set"):
        query = variables[name]["query"]["query"]
        values = re.fullmatch(r"label_values\((.*), \w+\)", query)
        if not values:
            fail(f"no label_values(): {query}")
        expressions.append(values[1])
    rules = [
        {"record": f"test:expression{n}", "expr": substituted(expression)}
        for n, expression in enumerate(expressions)
    ]
    # JSON is YAML.
    print(json.dumps({"groups": [{"name": "dashboard", "rules": rules}]}, indent=1))


main()
