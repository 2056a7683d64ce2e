"""The workloads: the files to check."""

import dataclasses
import os
import random
import shutil
import stat
import subprocess
from pathlib import Path

from harness.failure import Failure
from harness.measure import progress

REAL_BYTES = 3 << 30  # limit for all packages in `real` together
GIB = 1 << 30


@dataclasses.dataclass
class Entry:
    path: str
    size: int
    content: str
    kind: str
    permission: int
    owner: int
    group: int


@dataclasses.dataclass
class Work:
    name: str
    root: str
    paths: list[str]  # regular files and links, sorted by bytes
    about: str
    packages: list[str] = dataclasses.field(default_factory=list)
    entries: list[Entry] = dataclasses.field(default_factory=list)  # the list's entries for the paths
    list_file: Path | None = None

    def regular(self) -> list[Entry]:
        return [entry for entry in self.entries if entry.kind == "f"]

    def links(self) -> list[Entry]:
        return [entry for entry in self.entries if entry.kind == "l"]

    def bytes(self) -> int:
        return sum(entry.size for entry in self.regular())


def need_space(directory: Path, gib: float):
    free = shutil.disk_usage(directory).free
    if free < gib * GIB:
        raise Failure(
            f"{directory} has {free / GIB:.1f} GiB free, but {gib:.0f} GiB are needed; "
            "make room, or choose another directory by --work"
        )


def _files_below(root: str) -> list[str]:
    paths = []
    for directory, subdirectories, files in os.walk(root):
        links = [name for name in subdirectories if os.path.islink(os.path.join(directory, name))]
        paths += [os.path.join(directory, name) for name in files + links]
    return sorted(paths, key=os.fsencode)


def made(kind: str, make_tree: list[str], directory: Path) -> Work:
    """A tree made by make_tree."""
    root = directory / kind
    root.mkdir()
    progress(f"{kind}: making the tree")
    subprocess.run([*make_tree, kind, str(root)], check=True, stdout=subprocess.DEVNULL)
    paths = _files_below(str(root))
    return Work(kind, str(root), paths, f"made by `make_tree {kind}`")


def tiny(directory: Path) -> Work:
    """A few files and links whose names and sizes are error-prone."""
    root = directory / "tiny"
    (root / "sub dir" / "empty-neighbour").mkdir(parents=True)
    chance = random.Random(1)
    for name in ["a", "[", "with blank", "sub dir/#hash", "sub dir/empty-neighbour/x"]:
        (root / name).write_bytes(chance.randbytes(10_000))
    (root / "empty").write_bytes(b"")
    (root / "sub dir" / "link").symlink_to("../a")
    return Work("tiny", str(root), _files_below(str(root)), "a few files")


def copies_by_links(work: Work, directory: Path, number: int) -> list[Path]:
    """Trees like the workload's, made of hard links, which need little space."""
    roots = []
    for i in range(number):
        roots.append(directory / f"copy-{i}")
        subprocess.run(["cp", "-al", work.root, str(roots[-1])], check=True)
    return roots


def _package_paths() -> dict[str, list[str]]:
    """The installed packages, from dpkg."""
    names = subprocess.run(
        ["dpkg-query", "-W", "-f", "${db:Status-Status} ${binary:Package}\n"],
        check=True,
        stdout=subprocess.PIPE,
    ).stdout.decode()
    packages = [line.split()[1] for line in names.splitlines() if line.startswith("installed ")]
    texts = subprocess.run(
        ["dpkg-query", "-L", *packages], check=True, stdout=subprocess.PIPE
    ).stdout
    paths = [
        [line for line in os.fsdecode(text).split("\n") if line.startswith("/")]
        for text in texts.split(b"\n\n")
    ]
    return dict(zip(packages, paths, strict=True))


def _expressible(path: str) -> bool:
    return not any(ord(letter) < 32 or ord(letter) == 127 for letter in path)


def real(most_bytes: int = REAL_BYTES) -> Work:
    """The files of this machine's packages below /usr: of as many packages, smallest first, as fit
    into this many bytes together. One huge package must not double the duration of the run."""
    where_it_lies: dict[str, str] = {}
    sizes: dict[str, dict[str, int]] = {}
    for package, paths in _package_paths().items():
        sizes[package] = {}
        for listed in paths:
            parent, name = os.path.split(listed)
            if parent not in where_it_lies:
                where_it_lies[parent] = os.path.realpath(parent)  # /bin is a link to /usr/bin
            path = os.path.join(where_it_lies[parent], name)
            if not path.startswith("/usr/") or not _expressible(path):
                continue
            try:
                status = os.lstat(path)
            except OSError:  # excluded from this installation
                continue
            if stat.S_ISLNK(status.st_mode):
                sizes[package][path] = 0
            elif stat.S_ISREG(status.st_mode) and os.access(path, os.R_OK):
                sizes[package][path] = status.st_size
    taken: dict[str, int] = {}
    packages = []
    for package in sorted(sizes, key=lambda one: (sum(sizes[one].values()), one)):
        if sum(taken.values()) + sum(sizes[package].values()) > most_bytes:
            break
        taken.update(sizes[package])
        packages.append(package)
    left_out = len(sizes) - len(packages)
    about = f"files below /usr of {len(packages)} Debian packages of this machine"
    if left_out:
        about += f" (of all but the largest {left_out})"
    return Work("real", "/usr", sorted(taken, key=os.fsencode), about, packages=packages)
