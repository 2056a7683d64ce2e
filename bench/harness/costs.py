"""The groups of runs in addition to the workloads: loading, named files, cost against size,
memory."""

import os
import random
import subprocess
from pathlib import Path

from harness import trees
from harness.measure import Contestant, progress
from harness.ours import Ours
from harness.trees import Work

SCALE_ROUNDS = 3
LONG = 1_000_000  # entries of the longest lists
MANY = 200  # lists


def sizes(entries: int) -> list[int]:
    """1,000 ... entries, each ten times as many as before."""
    found = [entries]
    while found[0] >= 10_000:
        found.insert(0, found[0] // 10)
    return found


def _synthetic(ours: Ours, name: str, *words) -> Path:
    path = ours.directory / f"wam.full.{name}.list"
    with open(path, "wb") as file:
        subprocess.run(ours.program("make_list", *words), stdout=file, check=True)
    return path


def _own(ours: Ours, name: str, *command, before=None, team="") -> Contestant:
    words = ours.program(*command)
    return Contestant(name, words, own_seconds=True, before=before, team=team)


def loading(ours: Ours, entries: int) -> list[Contestant]:
    progress("loading: making lists")
    in_order = _synthetic(ours, "sorted", entries, 0)
    shuffled = _synthetic(ours, "shuffled", entries, 0, "--shuffled")
    fixed = _synthetic(ours, "fixed", entries, entries // 100)
    return [
        _own(ours, "library, sorted", "load_list", in_order, team="sorted"),
        _own(ours, "plain implementation, sorted", "plain_load", in_order, team="sorted"),
        _own(ours, "data types alone, sorted", "bare_load", in_order, team="sorted"),
        _own(ours, "library, shuffled", "load_list", shuffled, team="shuffled"),
        _own(ours, "parsing and insertion alone, shuffled", "parse_and_insert", shuffled, team="shuffled"),
        _own(ours, "fixed directories alone", "fixed_pass", fixed),
    ]


def _lists_of(ours: Ours, work: Work, name: str, count: int, parts: int) -> list[Path]:
    """Lists of the workload's first `count` entries, in equal parts."""
    lines = work.list_file.read_bytes().split(b"\n")
    head, body = lines[:2], lines[2 : 2 + count]
    each = len(body) // parts
    made = []
    for part in range(parts):
        made.append(ours.directory / f"wam.full.{name}-{part}.list")
        text = b"\n".join(head + body[part * each : (part + 1) * each])
        made[-1].write_bytes(text + b"\n")
    return made


def named_files(ours: Ours, work: Work, entries: int) -> list[Contestant]:
    """SelfCheckFiles on a set of two lists, compared with the unavoidable GnuPG runs; the same with `entries` entries,
    and with many lists."""
    progress("named files: making lists")
    count = len(work.entries) * 6 // 10
    two = _lists_of(ours, work, "named", count, 2)
    one = _lists_of(ours, work, "joined", count, 1)
    many = _lists_of(ours, work, "many", count, MANY)
    each = len(two[0].read_bytes().split(b"\n")) - 3
    long = [_synthetic(ours, "long", entries - each, 0), two[0]]
    ours.sign(*two, *one, *many, long[0])
    paths = [entry.path for entry in work.entries[:each]]
    directory = os.path.dirname(paths[0])
    random.Random(1).shuffle(paths)
    names = ours.directory / "named.paths"
    names.write_bytes(b"".join(os.fsencode(path) + b"\0" for path in paths))

    def calls(name: str, lists: list[Path], *command) -> Contestant:
        def install():
            ours.install(*lists)

        team = "joined" if lists in (one, many) else lists[0].name
        return _own(ours, name, *command, before=install, team=team)

    def tool(name: str, *words: str) -> Contestant:
        return Contestant(
            name, [str(ours.tool), *words], before=lambda: ours.install(*two), team=two[0].name
        )

    counts = [number for number in [100, 10_000] if number <= len(paths)]
    return [
        calls("GnuPG alone", two, "gnupg_alone", *two),
        calls("1 path", two, "named_files", 1, names),
        *[calls(f"{number} paths", two, "named_files", number, names) for number in counts],
        calls("1 path, from 1 GiB of memory", two, *["named_files", 1, names, "--resident-mib", 1024]),
        tool("zemo-selfcheck files, 1 path", "files", paths[0]),
        tool("zemo-selfcheck check --under, a directory", "check", "--under", directory, "--no-progress"),
        calls(f"GnuPG alone, {entries} entries", long, "gnupg_alone", *long),
        calls(f"1 path, {entries} entries", long, "named_files", 1, names),
        calls(f"100 paths, {entries} entries", long, "named_files", 100, names),
        calls("1 path, 1 list", one, "named_files", 1, names),
        calls(f"1 path, {MANY} lists", many, "named_files", 1, names),
    ]


def scale(ours: Ours, work: Work, entries: int) -> list[Contestant]:
    """Loading and checking of 1,000 ... entries. The largest set consists of hard links to the workload's files, which
    take as long to check as files and need no space."""
    progress("scale: making lists and trees")
    contestants = []
    copies = trees.copies_by_links(work, ours.directory, entries // len(work.entries))
    for count in sizes(entries):
        synthetic = _synthetic(ours, f"scale-{count}", count, 0)
        contestants.append(_own(ours, f"load {count}", "load_list", synthetic))
        if count <= len(work.entries):
            (checked,) = _lists_of(ours, work, f"check-{count}", count, 1)
        else:
            checked = ours.directory / f"wam.full.check-{count}.list"
            lines = work.list_file.read_bytes().split(b"\n")
            old = os.fsencode(work.root)
            text = b"\n".join(lines[:2]) + b"\n"
            for copy in copies:
                new = os.fsencode(copy)
                text += b"".join(new + line[len(old) :] + b"\n" for line in lines[2:-1])
            checked.write_bytes(text)
        contestants.append(
            _own(
                ours,
                f"check {count}",
                "library_check",
                before=lambda checked=checked: ours.install(checked),
            )
        )
    return contestants


def memory(ours: Ours, make_tree: list[str], large: Work) -> list[Contestant]:
    """Checks four small files and four large ones."""
    directory = ours.directory / "memory"
    directory.mkdir()
    small = trees.made("large", [*make_tree, "--scale", "1"], directory)
    small.name = "memory"
    ours.make_list(small)
    return [
        _own(ours, name, "library_check", before=lambda one=one: ours.install(one.list_file))
        for name, one in [("4 small files", small), ("4 large files", large)]
    ]
