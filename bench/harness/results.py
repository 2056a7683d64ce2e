"""The combined results of all runs: medians, ratios, and how far the aims are met."""

import dataclasses
import math
import statistics

from harness.measure import Run
from harness.ours import LOADING

Groups = dict[str, dict[str, list[Run]]]
LIMIT = "limit, 1 thread"


def median(runs: list[Run]) -> float:
    return statistics.median(run.seconds for run in runs)


def spread(runs: list[Run]) -> float:
    seconds = [run.seconds for run in runs]
    return (max(seconds) - min(seconds)) / median(runs)


def peak_mib(runs: list[Run]) -> float:
    return statistics.median(run.peak_kib for run in runs) / 1024


def cpu(runs: list[Run]) -> float:
    return statistics.median(run.user_seconds + run.system_seconds for run in runs)


@dataclasses.dataclass
class Aim:
    text: str
    measured: float
    least: float
    most: float
    unit: str = ""

    def met(self) -> bool:
        return self.least <= self.measured <= self.most


def slope(points: dict[int, float]) -> float:
    """The exponent with which seconds grow with the number of entries: the slope of the best-fitting line when both
    axes are logarithmic."""
    sizes = [math.log(size) for size in points]
    return statistics.linear_regression(sizes, [math.log(s) for s in points.values()]).slope


def growth(groups: Groups, what: str) -> dict[int, float]:
    """Seconds of `load` or `check` by number of entries."""
    return {
        int(name.split()[1]): median(runs)
        for name, runs in groups.get("scale", {}).items()
        if name.startswith(what + " ")
    }


def aims(groups: Groups, list_bytes: int, threads: int) -> list[Aim]:
    found = []
    for work, most in [("real", 1.05), ("small", 1.10), ("large", 1.04)]:
        if runs := groups.get(work):
            ratio = median(runs["library"]) / median(runs[LIMIT])
            found.append(Aim(f"library checks {work}, of the limit", ratio, 0, most))
            tool = runs.get(f"zemo-selfcheck, {threads} threads")
            if threads == 2 and tool:
                ratio = (median(tool) - median(runs[LOADING])) / median(runs[LIMIT])
                found.append(Aim(f"2 threads check {work}, without loading, of the limit", ratio, 0, 0.56))
    if runs := groups.get("loading"):
        in_order = median(runs["library, sorted"])
        ratio = in_order / median(runs["plain implementation, sorted"])
        found.append(Aim("loading a sorted list, of the plain implementation", ratio, 0, 0.5))
        printed = runs["library, sorted"][0].printed
        beyond = printed["bytes_per_entry"] - list_bytes / printed["entries"]
        found.append(Aim("memory of an entry beyond its line", beyond, 0, 600, " bytes"))
        least = in_order + median(runs["insertion alone, shuffled"])
        ratio = median(runs["library, shuffled"]) / least
        found.append(Aim("loading a shuffled list, of sorted and insertion", ratio, 0, 1.1))
        seconds = median(runs["fixed directories alone"])
        found.append(Aim("preparing fixed directories", seconds, 0, 0.2, " s"))
    if runs := groups.get("named files"):
        one = median(runs["1 paths"])
        ratio = one / median(runs["GnuPG alone"])
        found.append(Aim("SelfCheckFiles on one path, of GnuPG alone", ratio, 0, 1.6))
        dearer = 1000 * (median(runs["1 path, from 1 GiB of memory"]) - one)
        found.append(Aim("the same from 1 GiB of memory, extra time", dearer, -math.inf, 5, " ms"))
    for what in ["load", "check"]:
        if points := growth(groups, what):
            found.append(Aim(f"{what} grows with the entries to the power", slope(points), 0.9, 1.1))
    if runs := groups.get("memory"):
        ratio = peak_mib(runs["4 large files"]) / peak_mib(runs["4 small files"])
        found.append(Aim("memory of checking large files, of small ones", ratio, 0, 1.05))
    return found
