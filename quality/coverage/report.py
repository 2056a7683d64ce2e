#!/usr/bin/env python3
"""Reports the lines and branches of the libraries that the tests take.

    report.py EXPORT

EXPORT is the output of `llvm-cov export`; its branches are those in the source. Prints the coverage
of each file of src/ and platform/, of tools/ as a whole, and the branches that no test takes.
excluded.txt lists the branches that no test can take; the exit status is 1 if there are others, or
if a test takes one of these.
"""

import json
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
EXCLUDED = Path(__file__).resolve().parent / "excluded.txt"
FOLDERS = ("src", "platform")


def exclusions():
    """The {(file, line of source, condition, way)} that no test can take."""
    found = set()
    for number, line in enumerate(EXCLUDED.read_text().splitlines(), 1):
        if line and not line.startswith("# "):
            parts = line.split(" :: ")
            if len(parts) != 5:
                form = "FILE :: SOURCE LINE :: CONDITION :: WAY :: REASON"
                sys.exit(f"{EXCLUDED.name}:{number}: not {form}")
            found.add(tuple(parts[:4]))
    return found


def ways_of(file):
    """{(place, way): count} of the conditions of a file; the ways are true and false."""
    counts = {}
    for first, column, last, end, true, false, *_ in file["branches"]:
        for way, count in (("true", true), ("false", false)):
            key = (first, column, last, end), way
            counts[key] = counts.get(key, 0) + count
    return counts


def condition_at(source, place):
    first, column, last, end = place
    lines = source[first - 1 : last]
    lines[-1] = lines[-1][: end - 1]
    lines[0] = lines[0][column - 1 :]
    return " ".join(line.strip() for line in lines)


def percent(part, whole):
    return f"{100 * part / whole:5.1f} %" if whole else "      -"


def row(name, lines, branches):
    text = f"{name:44} {lines[0]:5} of {lines[1]:5} lines {percent(*lines)}"
    if branches:
        text += f"  {branches[0]:4} of {branches[1]:4} branches {percent(*branches)}"
    print(text)


def main(export):
    excluded, used, wrong = exclusions(), set(), []
    lines_of_all, branches_of_all, lines_of_tools = [0, 0], [0, 0], [0, 0]
    found = export["data"][0]["files"]
    files = {str(Path(file["filename"]).relative_to(ROOT)): file for file in found}
    for name, file in sorted(files.items()):
        lines = [file["summary"]["lines"][key] for key in ("covered", "count")]
        if name.startswith("include/"):
            continue
        if not name.startswith(FOLDERS):
            lines_of_tools = [sum(pair) for pair in zip(lines_of_tools, lines)]
            continue
        source = (ROOT / name).read_text().splitlines()
        branches = [0, 0]
        for (place, way), count in sorted(ways_of(file).items()):
            key = (name, source[place[0] - 1].strip(), condition_at(source, place), way)
            if key in excluded:
                used.add(key)
                if count > 0:
                    wrong.append(f"{EXCLUDED.name}: a test takes {' :: '.join(key)}")
                continue
            branches[1] += 1
            branches[0] += count > 0
            if count == 0:
                wrong.append(f"{name}:{place[0]}:{place[1]}: never {way}: {key[2]}")
        row(name, lines, branches)
        lines_of_all = [sum(pair) for pair in zip(lines_of_all, lines)]
        branches_of_all = [sum(pair) for pair in zip(branches_of_all, branches)]
    row("src/ and platform/", lines_of_all, branches_of_all)
    row("tools/", lines_of_tools, None)
    print(f"excluded: {len(used)} branches, see quality/coverage/{EXCLUDED.name}")
    for key in sorted(excluded - used):
        wrong.append(f"{EXCLUDED.name}: not in the source: {' :: '.join(key)}")
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(json.loads(Path(sys.argv[1]).read_text())))
