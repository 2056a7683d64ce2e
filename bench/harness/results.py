"""The combined results of all runs: medians, ratios, and how far the aims are met."""

import dataclasses
import math
import statistics

from harness.costs import LONG, MANY
from harness.measure import Run

Groups = dict[str, dict[str, list[Run]]]
LIMIT = "limit, 1 thread"


def median(runs: list[Run]) -> float:
    return statistics.median(run.seconds for run in runs)


def peak_mib(runs: list[Run]) -> float:
    return statistics.median(run.peak_kib for run in runs) / 1024


def cpu(runs: list[Run]) -> float:
    return statistics.median(run.user_seconds + run.system_seconds for run in runs)


@dataclasses.dataclass
class Aim:
    text: str
    measured: float
    least: float
    most: float  # infinite: shown, but no aim
    unit: str = ""
    reason: str = ""  # where `most` comes from, if it depends on the run

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


def _checking(groups: Groups, threads: int) -> list[Aim]:
    found = []
    # At most: the library; the program with one thread, if there is an aim, and with two.
    bounds = {"real": (1.05, 1.08, 0.58), "small": (1.10, 1.22, 0.85), "large": (1.04, 0, 0.56)}
    for work, (library, one, two) in bounds.items():
        if not (runs := groups.get(work)):
            continue
        ratios = {name: median(done) / median(runs[LIMIT]) for name, done in runs.items()}
        found.append(Aim(f"library checks {work}, of the limit", ratios["library"], 0, library))
        tool = f"zemo-selfcheck checks {work}, whole process"
        if one:
            ratio = ratios["zemo-selfcheck, 1 thread"]
            found.append(Aim(f"{tool}, 1 thread, of the limit", ratio, 0, one))
        if threads == 2:
            # Two threads of any program may hinder each other in the kernel.
            most, reason = two, ""
            if (kernel := 1.1 * ratios["limit, 2 threads"]) > two:
                most, reason = kernel, "1.1 of the limit's 2 threads"
            ratio = ratios["zemo-selfcheck, 2 threads"]
            found.append(Aim(f"{tool}, 2 threads, of the limit", ratio, 0, most, reason=reason))
        ratio = ratios["zemo-selfcheck --root, 1 thread"] / ratios["zemo-selfcheck, 1 thread"]
        found.append(Aim(f"zemo-selfcheck --root checks {work}, of check alone", ratio, 0, 1.05))
    return found


def _loading(runs: dict[str, list[Run]], list_bytes: int) -> list[Aim]:
    in_order, shuffled = runs["library, sorted"], runs["library, shuffled"]
    plain = median(in_order) / median(runs["plain implementation, sorted"])
    printed = in_order[0].printed
    beyond = printed["bytes_per_entry"] - list_bytes / printed["entries"]
    bare = median(shuffled) / median(runs["parsing and insertion alone, shuffled"])
    return [
        Aim("loading a sorted list, of the plain implementation", plain, 0, 0.5),
        Aim("memory of an entry beyond its line", beyond, 0, 600, " bytes"),
        Aim("loading a shuffled list, of parsing and insertion alone", bare, 0, 1.1),
        Aim("preparing fixed directories", median(runs["fixed directories alone"]), 0, 0.2, " s"),
    ]


def _named(runs: dict[str, list[Run]]) -> list[Aim]:
    found = []

    def compare(text: str, row: str, reference: str, most: float = math.inf):
        found.append(Aim(text, median(runs[row]) / median(runs[reference]), 0, most))

    def extra_memory(row: str):
        kib = statistics.median(run.printed["extra_kib"] for run in runs[row])
        found.append(Aim(f"SelfCheckFiles, {row}, extra memory", kib / 1024, 0, 1, " MiB"))

    compare("SelfCheckFiles, 1 path, of GnuPG alone", "1 path", "GnuPG alone", 1.45)
    compare("SelfCheckFiles, 100 paths, of GnuPG alone", "100 paths", "GnuPG alone", 1.6)
    gnupg, one, hundred = (
        f"{what}, {LONG} entries" for what in ["GnuPG alone", "1 path", "100 paths"]
    )
    compare(f"SelfCheckFiles, {one}, of GnuPG alone", one, gnupg)
    compare(f"SelfCheckFiles, {hundred}, of GnuPG alone", hundred, gnupg)
    for row in ["1 path", "100 paths", one, hundred]:
        extra_memory(row)
    for row in ["zemo-selfcheck files, 1 path", "zemo-selfcheck check --under, a directory"]:
        compare(f"{row}, of GnuPG alone", row, "GnuPG alone")
    compare(f"SelfCheckFiles, {MANY} lists, of 1 list", f"1 path, {MANY} lists", "1 path, 1 list")
    dearer = 1000 * (median(runs["1 path, from 1 GiB of memory"]) - median(runs["1 path"]))
    found.append(
        Aim("SelfCheckFiles from 1 GiB of memory, extra time", dearer, -math.inf, 5, " ms")
    )
    return found


def aims(groups: Groups, list_bytes: int, threads: int) -> list[Aim]:
    found = _checking(groups, threads)
    if runs := groups.get("loading"):
        found += _loading(runs, list_bytes)
    if runs := groups.get("named files"):
        found += _named(runs)
    for what in ["load", "check"]:
        if points := growth(groups, what):
            found.append(Aim(f"{what} grows with the entries to the power", slope(points), 0.9, 1.1))
    if runs := groups.get("memory"):
        ratio = peak_mib(runs["4 large files"]) / peak_mib(runs["4 small files"])
        found.append(Aim("memory of checking large files, of small ones", ratio, 0, 1.05))
    return found
