"""Sets, directories, lines and lists much larger than any in real use."""

import json
import os
import pathlib
import random
import shutil
import subprocess

import lists
from report import Row

MIB = 1 << 20
# On the private root's file system, which is in memory.
TREE = pathlib.Path("/usr/zemo/tree")


def load_set(arguments, *words):
    program = arguments.build / "tests/system/soak/load_set"
    output = subprocess.run([program, *words], check=True, capture_output=True).stdout
    return json.loads(output)


def holds(found, **expected):
    """The bound that the program found these numbers."""
    text = ", ".join(f"{name} {value}" for name, value in expected.items())
    return {text: all(found.get(name, 0) == value for name, value in expected.items())}


def at_most(name, ratio, most):
    return {f"{name} {ratio:.2f} times, at most {most}": ratio <= most}


def figures(found, count):
    """The costs of a run: processor time for each of `count` things, and peak memory."""
    result = {"load": f"{found['load_seconds']:.2f} s"}
    if "check_seconds" in found:
        result["check"] = f"{found['check_seconds']:.2f} s"
    if "named_seconds" in found:
        result["named"] = f"{found['named_seconds']:.3f} s"
    result["each"] = f"{1e6 * total_seconds(found) / count:.3f} us"
    result["peak"] = f"{found['kib'] / 1024:.1f} MiB"
    return result


def total_seconds(found):
    return found["load_seconds"] + found.get("check_seconds", 0)


def growth(small, large, factor, time_at_most, memory_at_most):
    """Bounds for something larger by `factor`: each of its parts may cost only a little more."""
    return {
        **at_most(
            "time for each is", total_seconds(large) / total_seconds(small) / factor, time_at_most
        ),
        **at_most("memory for each is", large["kib"] / small["kib"] / factor, memory_at_most),
    }


def link_files(directory, names):
    """Makes files with the same content. They are links to one file, to save memory."""
    source = TREE / "source"
    if not source.exists():
        source.write_bytes(lists.CONTENT)
        source.chmod(0o644)
    directory.mkdir(mode=0o755)
    for name in names:
        os.link(source, directory / name)


MEMBERS = [f"member{i:02}" for i in range(99)]


def write_set(directories, sign):
    """Twenty lists; the members of a directory are in a different list from the directory."""
    lines = [[] for _ in range(20)]
    for i, directory in enumerate(directories):
        lines[i % 20].append(lists.fixed_line(directory))
        lines[(i + 7) % 20] += [lists.file_line(f"{directory}/{name}") for name in MEMBERS]
    for i in range(20):
        sign(lists.write(f"{i:02}", lines[i]))


def entries(arguments):
    """A million entries in twenty signed lists, with ten thousand fixed directories."""
    count = 2_000 if arguments.quick else 10_000
    TREE.mkdir()
    directories = [TREE / f"directory{i:05}" for i in range(count)]
    for directory in directories:
        link_files(directory, MEMBERS)
    named = arguments.directory / "named"
    chosen = random.Random(1)
    sample = [f"{chosen.choice(directories)}/{chosen.choice(MEMBERS)}\n" for _ in range(10_000)]
    named.write_text("".join(sample))

    found = []
    for size in (count // 10, count):
        with_key = arguments.directory / str(size)
        with_key.mkdir()
        with lists.signing_key(with_key) as sign:
            write_set(directories[:size], sign)
        words = ["verify", "check"] + (["named", str(named)] if size == count else [])
        found.append(load_set(arguments, *words))
        right = holds(found[-1], loaded=1, entries=100 * size, intact=1, log_lines=0)
        if size == count:
            right.update(holds(found[-1], named_done=1, word_0=len(sample)))
            right.update(growth(*found, 10, 3, 1.25))
            (directories[1] / "stray").touch()
            (directories[2] / MEMBERS[0]).unlink()
            (directories[3] / MEMBERS[0]).unlink()
            (directories[3] / MEMBERS[0]).write_bytes(b"another content")
            changed = load_set(arguments, "check")
            records = {"records_1": 1, "records_2": 1, "records_8": 1, "records_9": 1}
        yield Row(f"{100 * size} entries", figures(found[-1], 100 * size), right)
        if size == count:
            yield Row(
                "  three of them changed",
                figures(changed, 100 * size),
                holds(changed, intact=0, changed_entries=3, **records),
            )
        lists.clear()


def members(arguments):
    """A fixed directory with a million members, all of them listed or none."""
    count = 200_000 if arguments.quick else 1_000_000
    listed, unlisted = [], []
    for size in (count // 10, count):
        TREE.mkdir()
        directory = TREE / "members"
        names = [f"member{i:06}" for i in range(size)]
        link_files(directory, names)
        lists.write("a", [lists.fixed_line(directory)])
        lists.write("b", [f"{directory}/{name}{lists.ANY}" for name in names])
        listed.append(load_set(arguments, "check"))
        right = holds(listed[-1], entries=size + 1, intact=1, log_lines=0)
        if size == count:
            right.update(growth(*listed, 10, 3, 1.25))
        yield Row(f"{size} members, listed", figures(listed[-1], size), right)
        lists.write("b", [])
        unlisted.append(load_set(arguments, "check"))
        right = holds(unlisted[-1], intact=0, changed_entries=1, records_9=size, log_lines=0)
        if size == count:
            right.update(growth(*unlisted, 10, 3, 1.25))
        yield Row(f"{size} members, unlisted", figures(unlisted[-1], size), right)
        lists.clear()
        shutil.rmtree(TREE)


# Kinds of long lines: the text of the list after its first line, the findings of its check, the
# number of bytes in its record in addition to the long text (None: not even that text), and the
# memory it may take as a multiple of the line's length. The line exists as it was read, as the
# constructor's argument, when it is split, and in the entry; its path also in the map and in the
# record of a mismatch. A column takes eight more bytes.
LINES = {
    "second line": (lambda text: f"{text}\n/usr{lists.ANY}", {"intact": 1}, None, 2),
    "path": (lambda text: f"\n/{text}{lists.ANY}", {"records_8": 1}, len("/"), 5),
    "content column": (
        lambda text: f"\n/dev/null\t-\t{text}\tc\t-\t-\t-",
        {"records_2": 1},
        len("/dev/null"),
        5,
    ),
    "no column": (lambda text: f"\n{text}", {"records_8": 1}, None, 4),
    "columns only": (lambda text: "\n" + "\t" * len(text), {"records_8": 1}, None, 12),
}


def lines(arguments):
    """Lines of a hundred MiB."""
    size = (10 if arguments.quick else 100) * MIB
    for kind, (list_text, expected, extra, times) in LINES.items():
        found = []
        for length in (size // 10, size):
            path = lists.write("long", [])
            path.write_text("WAM_SELF_CHECK\n" + list_text("x" * length) + "\n")
            found.append(load_set(arguments, "check"))
        text = 0 if extra is None else size + extra
        right = holds(found[1], loaded=1, entries=1, log_lines=0, text=text, **expected)
        right.update(growth(*found, 10, 3, 1.25))
        right.update(at_most("the line is held", found[1]["kib"] * 1024 / size, times))
        yield Row(f"{kind} of {size // MIB} MiB", figures(found[1], size), right)
        lists.clear()
    # The second list that the order file names takes precedence.
    lists.write("a", [f"/usr{lists.ANY}"])
    lists.write("b", ["/usr\t-\t-\tf\t-\t-\t-"])
    found = []
    for length in (size // 10, size):
        names = ["wam.full.b.list", "x" * length, "wam.full.a.list"]
        (lists.LISTS / "listorder").write_text("\n".join(names))
        found.append(load_set(arguments, "check"))
    right = holds(found[1], loaded=1, entries=1, intact=1, log_lines=0)
    right.update(growth(*found, 10, 3, 1.25))
    right.update(at_most("the line is held", found[1]["kib"] * 1024 / size, 3))
    yield Row(f"listorder's line of {size // MIB} MiB", figures(found[1], size), right)


def blank_lines(arguments):
    """A list of four GiB of blank lines: entries without a path, each replacing the one before."""
    size = arguments.blank_lines * MIB
    found = []
    for length in (size // 64, size):
        path = arguments.directory / "blank"
        with path.open("wb") as file:
            file.write(lists.HEADER)
            for _ in range(length // (MIB // 4)):
                file.write(b"\n" * (MIB // 4))
        (lists.LISTS / "wam.full.blank.list").symlink_to(path)
        found.append(load_set(arguments, "check"))
        path.unlink()
        lists.clear()
    right = holds(found[1], loaded=1, entries=1, records_8=1, log_lines=0)
    right.update(at_most("memory is", found[1]["kib"] / found[0]["kib"], 1.25))
    ratio = total_seconds(found[1]) / total_seconds(found[0]) / 64
    right.update(at_most("time for each is", ratio, 2))
    yield Row(f"{size // MIB} MiB of blank lines", figures(found[1], size), right)
