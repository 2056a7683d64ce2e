"""Other programs that compare files with recorded values, each set up for the same task: SHA-1 of
the content, and size, type, owner, group and permission, as far as it supports them."""

import os
import re
import shutil
import subprocess
from collections.abc import Callable
from pathlib import Path

from harness.failure import Failure
from harness.measure import Contestant, progress
from harness.ours import threads_text
from harness.trees import Work


def run_quietly(*command, accepted=(0,)):
    done = subprocess.run(
        [str(word) for word in command], stdin=subprocess.DEVNULL, capture_output=True, check=False
    )
    if done.returncode not in accepted:
        text = (done.stdout + done.stderr).decode(errors="replace")
        raise Failure(f"{' '.join(map(str, command))} failed:\n{text[-2000:]}")


def write(path: Path, lines: list[str]):
    path.write_bytes(b"".join(os.fsencode(line) + b"\n" for line in lines))


def _parents(work: Work) -> set[str]:
    """The directories, from the root on, that contain the workload's files."""
    found = {work.root}
    for path in work.paths:
        parent = os.path.dirname(path)
        while parent not in found:
            found.add(parent)
            parent = os.path.dirname(parent)
    return found


def not_listed(work: Work) -> tuple[list[str], list[str]]:
    """Everything below the workload's root that is not part of it: whole directories, and files."""
    listed, parents = set(work.paths), _parents(work)
    directories, files = [], []
    for directory, subdirectories, names in os.walk(work.root):
        for name in list(subdirectories):
            path = os.path.join(directory, name)
            if path not in parents:
                subdirectories.remove(name)
                if path not in listed:
                    directories.append(path)
        files += [path for name in names if (path := os.path.join(directory, name)) not in listed]
    return directories, files


def sha1sum(work: Work, directory: Path, threads: int) -> list[Contestant]:
    sums = directory / "sha1sum"
    write(sums, [f"{entry.content}  {entry.path}" for entry in work.regular()])
    return [
        Contestant(
            "sha1sum",
            ["sha1sum", "--check", "--quiet", "--status", str(sums)],
            note="content of regular files alone",
        )
    ]


def hashdeep(work: Work, directory: Path, threads: int) -> list[Contestant]:
    known, names = directory / "hashdeep", directory / "hashdeep.names"
    head = ["%%%% HASHDEEP-1.0", "%%%% size,sha1,filename", "## made by bench/run", "## "]
    records = [f"{entry.size},{entry.content},{entry.path}" for entry in work.regular()]
    write(known, head + records)
    write(names, [entry.path for entry in work.regular()])
    return [
        Contestant(
            f"hashdeep, {threads_text(number)}",
            ["hashdeep", "-a", "-j", str(number), "-k", str(known), "-f", str(names)],
            threads=number,
            note="content and size of regular files alone",
        )
        for number in dict.fromkeys([1, threads])
    ]


def _aide_pattern(path: str) -> str:
    return re.sub(r"[^\w/-]", lambda odd: r"\." if odd[0] == "." else ".", path, flags=re.ASCII)


def aide(work: Work, directory: Path, threads: int) -> list[Contestant]:
    """Not for real files: AIDE needs patterns to exclude the files that a workload leaves out, and matching these takes
    longer than the check."""
    if work.packages:
        return []
    contestants = []
    for number in dict.fromkeys([1, threads]):
        configuration, database = directory / f"aide.{number}", directory / "aide.database"
        write(
            configuration,
            [
                f"database_in=file:{database}",
                f"database_out=file:{database}",
                "database_attrs=E",
                "gzip_dbout=no",
                "report_url=stdout",
                f"num_workers={number}",
                "Same = p+u+g+s+ftype+l+sha1",
                f"{_aide_pattern(work.root)}(/|$) Same",
            ],
        )
        contestants.append(
            Contestant(
                f"AIDE, {threads_text(number)}",
                ["aide", "--check", "--config", str(configuration)],
                threads=number,
                note="also directories",
            )
        )
    run_quietly("aide", "--init", "--config", configuration)
    return contestants


def mtree(work: Work, directory: Path, threads: int) -> list[Contestant]:
    """The description has the same form as with mtree -c: each directory's files, then its
    directories, each closed by "..". """

    def encoded(name: str) -> str:
        safe = b"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-+,:@%="
        return "".join(
            chr(byte) if byte in safe else f"\\{byte:03o}" for byte in os.fsencode(name)
        )

    lines = ["#mtree", ". type=dir"]
    place: list[str] = []
    # Files before directories: a name with "/" sorts after all names without one.
    by_directory: dict[str, list] = {}
    for entry in work.entries:
        by_directory.setdefault(os.path.dirname(entry.path), []).append(entry)
    for parent in sorted(by_directory):
        relative = os.path.relpath(parent, work.root)
        parts = [] if relative == "." else relative.split("/")
        common = len(os.path.commonprefix([place, parts]))
        lines += [".."] * (len(place) - common)
        lines += [f"{encoded(part)} type=dir" for part in parts[common:]]
        place = parts
        for entry in by_directory[parent]:
            line = f"    {encoded(os.path.basename(entry.path))} "
            if entry.kind == "l":
                line += f"type=link link={encoded(entry.content)}"
            else:
                line += (
                    f"type=file mode=0{entry.permission:o} uid={entry.owner} gid={entry.group}"
                    f" size={entry.size} sha1={entry.content}"
                )
            lines.append(line)
    description = directory / "mtree"
    write(description, lines)
    return [
        Contestant(
            "mtree",
            ["mtree", "-e", "-f", str(description), "-p", work.root],
            note="also that directories exist",
        )
    ]


def integrit(work: Work, directory: Path, threads: int) -> list[Contestant]:
    configuration = directory / "integrit"
    directories, files = not_listed(work)
    write(
        configuration,
        [
            f"root={work.root}",
            f"known={directory}/integrit.known",
            f"current={directory}/integrit.known",
            *[f"!{path}" for path in directories + files],
            f"{work.root} sIptdLugzAMC",
        ],
    )
    run_quietly("integrit", "-C", configuration, "-u")
    return [
        Contestant("integrit", ["integrit", "-C", str(configuration), "-c"], note="also directories")
    ]


def rpm(work: Work, directory: Path, threads: int) -> list[Contestant]:
    """One package of the whole workload, packed from hard links, because rpmbuild deletes the files that it packs. Not
    for real files, because copying them takes minutes."""
    if work.packages:
        return []
    top = directory / "rpm"
    top.mkdir()
    recipe = top / "work.recipe"
    parent = os.path.dirname(work.root)
    write(
        recipe,
        [
            "Name: zemo-bench-work",
            "Version: 1",
            "Release: 1",
            "Summary: The files that are checked",
            "License: none",
            "AutoReqProv: no",
            "%description",
            "The files that are checked.",
            "%install",
            f"mkdir -p '%{{buildroot}}{parent}'",
            f"cp -al '{work.root}' '%{{buildroot}}{parent}'",
            "%files",
            f'"{work.root}"',
        ],
    )
    definitions = {
        "_topdir": str(top),
        "_binary_filedigest_algorithm": "2",  # SHA-1, like all others
        "_binary_payload": "w.ufdio",  # uncompressed
        "debug_package": "%{nil}",
        "__os_install_post": "%{nil}",
        "_build_id_links": "none",
    }
    words = [word for item in definitions.items() for word in ["--define", " ".join(item)]]
    run_quietly("rpmbuild", "-bb", "--quiet", *words, recipe)
    (package,) = top.glob("RPMS/*/*.rpm")
    database = directory / "rpm.database"
    install = ["-i", "--justdb", "--nodeps", "--noscripts", "--force", "--force-debian"]
    run_quietly("rpm", "--dbpath", database, *install, package)
    shutil.rmtree(top)
    return [
        Contestant(
            "rpm --verify",
            ["rpm", "--dbpath", str(database), "-V", "--nodeps", "zemo-bench-work"],
            note="its package made with SHA-1 instead of its usual SHA-256; also directories and times",
        )
    ]


def debsums(work: Work, directory: Path, threads: int) -> list[Contestant]:
    if not work.packages:
        return []
    names = work.packages
    return [
        Contestant(
            "debsums",
            ["debsums", "--silent", *names],
            intact=None,  # files that the installation excluded always differ
            note="MD5 by dpkg's own lists, of the same packages, regular files alone",
        )
    ]


# The required command, its Debian package, and the function that sets it up.
PEERS: dict[str, tuple[str, Callable[[Work, Path, int], list[Contestant]]]] = {
    "sha1sum": ("coreutils", sha1sum),
    "hashdeep": ("hashdeep", hashdeep),
    "aide": ("aide", aide),
    "mtree": ("mtree-netbsd", mtree),
    "integrit": ("integrit", integrit),
    "rpmbuild": ("rpm", rpm),
    "debsums": ("debsums", debsums),
}


def there(without: list[str]) -> dict[str, Callable[[Work, Path, int], list[Contestant]]]:
    """The installed peers; reports those that are missing."""
    found = {}
    missing = []
    for command, (package, prepare) in PEERS.items():
        if package in without or command in without:
            continue
        if shutil.which(command):
            found[command] = prepare
        else:
            missing.append(package)
    if missing:
        progress(f"not installed, left out: {', '.join(missing)} (./dev bench --install-peers)")
    return found


def contestants(work: Work, directory: Path, threads: int, without: list[str]) -> list[Contestant]:
    made = []
    for command, prepare in there(without).items():
        progress(f"{work.name}: setting up {command}")
        made += prepare(work, directory, threads)
    return made
