"""Shows that every contestant really checks: changes one byte of one file, which each must
detect."""

import dataclasses
import hashlib
import os
from pathlib import Path

from harness import measure, peers, trees
from harness.measure import Contestant, progress
from harness.ours import Ours
from harness.trees import Work


def _dpkg_database(work: Work, directory: Path) -> Path:
    """A dpkg database for debsums, with the workload as its only package. Only debsums does not use
    SHA-1."""
    information = directory / "dpkg" / "info"
    information.mkdir(parents=True)
    (directory / "dpkg" / "status").write_text(
        "Package: work\nStatus: install ok installed\nArchitecture: all\nVersion: 1\n"
        "Maintainer: nobody\nDescription: the files that are checked\n",
        encoding="ascii",
    )
    (information / "format").write_text("1\n", encoding="ascii")
    peers.write(information / "work.list", work.paths)
    sums = [
        f"{hashlib.md5(Path(entry.path).read_bytes()).hexdigest()}  {entry.path[1:]}"
        for entry in work.regular()
    ]
    peers.write(information / "work.md5sums", sums)
    return directory / "dpkg"


def _change_one_byte(path: str):
    """Changes the file but keeps its size and times, so that only the content reveals the
    change."""
    status = os.stat(path)
    with open(path, "r+b") as file:
        first = file.read(1)[0]
        file.seek(0)
        file.write(bytes([first ^ 1]))
    os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))


def _notices(contestant: Contestant) -> bool:
    run = measure.run(dataclasses.replace(contestant, intact=None))
    return run.printed.get("intact") is False or run.status not in contestant.intact


def prove(ours: Ours, without: list[str]) -> int:
    work = trees.tiny(ours.directory)
    ours.make_list(work)
    ours.sign(work.list_file)
    ours.install(work.list_file)
    limits = 2 if ours.threads > 1 else 1
    checking = ours.contestants(work)[limits:]  # the limit compares nothing
    checking += peers.contestants(work, ours.directory, ours.threads, without)
    if "debsums" in peers.there(without):
        database = _dpkg_database(work, ours.directory)
        words = ["debsums", "--silent", "--admindir", str(database), "work"]
        checking.append(Contestant("debsums", words))
    for contestant in checking:
        measure.run(contestant)  # fails if it finds differences
    changed = work.regular()[0].path
    _change_one_byte(changed)
    failed = 0
    for contestant in checking:
        noticed = _notices(contestant)
        failed += not noticed
        progress(f"{contestant.name}: {'notices' if noticed else 'DOES NOT NOTICE'} the change")
    return 1 if failed else 0
