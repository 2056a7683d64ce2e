"""The result as a picture of two panels, made with gnuplot."""

import shutil
import subprocess
from pathlib import Path

from harness import results
from harness.measure import progress
from harness.results import Groups

COLOURS = ["#4477aa", "#ee6677", "#228833"]


def _bars(groups: Groups, works: list[str]) -> tuple[list[str], list[str]]:
    """A bar for each contestant and workload: from 1, which is the limit, to its ratio."""
    names = list(dict.fromkeys(name for work in works for name in groups[work]))
    names = [name for name in names if name != results.LIMIT]
    width = 0.8 / len(works)
    blocks, plots = [], []
    for number, work in enumerate(works):
        limit = results.median(groups[work][results.LIMIT])
        block = []
        for place, name in enumerate(names):
            if runs := groups[work].get(name):
                left = place - 0.4 + number * width
                ratio = results.median(runs) / limit
                low, high = min(1, ratio), max(1, ratio)
                block.append(f"{left + width / 2} 1 {left} {left + width} {low} {high}")
        blocks += [f"$bars{number} << EOD", *block, "EOD"]
        style = f"with boxxyerror lc rgb '{COLOURS[number % 3]}' title '{work}'"
        plots.append(f"$bars{number} using 1:2:3:4:5:6 {style}")
    tics = ", ".join(f"'{name}' {place}" for place, name in enumerate(names))
    return blocks, [
        "set title 'Checking, compared with one thread that only reads and digests (= 1)'",
        "set logscale y 2",
        "set ylabel 'ratio of medians'",
        f"set xrange [-0.6:{len(names) - 0.4}]",
        f"set xtics rotate by -30 ({tics})",
        "set style fill solid 0.8 noborder",
        "set grid ytics",
        "set key top left",
        "plot 1 with lines lc rgb 'black' notitle, " + ", ".join(plots),
        "unset logscale; unset xtics; set xrange [*:*]",
    ]


def _growth(groups: Groups) -> tuple[list[str], list[str]]:
    blocks, plots = [], []
    for number, what in enumerate(["load", "check"]):
        points = results.growth(groups, what)
        if points:
            blocks += [f"${what} << EOD", *[f"{n} {s}" for n, s in points.items()], "EOD"]
            plots.append(f"${what} with linespoints pt 7 lc rgb '{COLOURS[number]}' title '{what}'")
    return blocks, [
        "set title 'Cost against size'",
        "set logscale xy 10",
        "set xtics norotate autofreq format '10^{%T}'",
        "set xlabel 'entries'",
        "set ylabel 'seconds'",
        "set grid xtics ytics",
        "plot " + ", ".join(plots),
    ]


def svg(groups: Groups, works: list[str], path: Path):
    panels = []
    if works:
        panels.append(_bars(groups, works))
    if "scale" in groups:
        panels.append(_growth(groups))
    if not panels:
        return
    if not shutil.which("gnuplot"):
        progress("gnuplot is not installed: no picture")
        return
    terminal = "set terminal svg size 900,900 font 'sans,12' background 'white'"
    script = [terminal, f"set output '{path}'"]
    script += [line for blocks, _ in panels for line in blocks]
    script.append(f"set multiplot layout {len(panels)},1")
    script += [line for _, lines in panels for line in lines]
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)
