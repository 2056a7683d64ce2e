"""Power cuts: their effect on the files that the program and the documented commands write."""

import concurrent.futures
import hashlib
import os
import pathlib
import random
import re
import shutil
import subprocess
import threading

import lab as laboratory
import write_log

COPY = """
install -m 644 wam.full.tree.list.asc wam.full.tree.list /usr/zemo/selfcheck
printf '%s\\n' wam.full.tree.list >/usr/zemo/selfcheck/listorder
"""
INSTALLED = ["selfcheck/wam.full.tree.list", "selfcheck/wam.full.tree.list.asc", "selfcheck/listorder"]
MAKE = "zemo-selfcheck make /srv/tree --exclude /srv/tree/slow --output wam.full.tree.list"
SIGN = "zemo-selfcheck sign wam.full.tree.list --key maker@example.org"
MANIFEST = "zemo-selfcheck sign --manifest wam.full.manifest wam.full.tree.list --key maker@example.org"
METRICS = "zemo-selfcheck check --metrics /usr/zemo/metrics/zemo-selfcheck.prom"
REMOVE_KEY = ("zemo-selfcheck remove-key"
              " $(gpg --with-colons --list-keys next@example.org | awk -F: '/^fpr/ { print $10; exit }')")
CHANGE = "echo more >>/srv/tree/hello; "


class Operation:
    """A command and the files that it writes. They must be whole afterwards and, if it is `atomic`, at any moment.
    If it is `exchange`, all files in selfcheck/ are the old ones or all are the new ones."""

    def __init__(self, name, command, files=(), before=":", atomic=True, exchange=False, lost=False):
        self.name = name
        self.command = command
        self.files = files
        self.before = before
        self.atomic = atomic
        self.exchange = exchange
        self.lost = lost  # cuts after it are known to lose files, which proves that losses are detected


OPERATIONS = [
    Operation("make", MAKE, ["work/wam.full.tree.list"]),
    Operation("sign", SIGN, ["work/wam.full.tree.list.asc"]),
    Operation("init-home", "zemo-selfcheck init-home --import /root/maker.gpg",
              ["selfcheck/gpg.conf", "selfcheck/pubring.kbx"]),
    Operation("copy by hand", COPY + "sync -f /usr/zemo/selfcheck", INSTALLED, atomic=False),
    Operation("metrics", METRICS, ["metrics/zemo-selfcheck.prom"]),
    Operation("init-home, again", "zemo-selfcheck init-home --import /root/next.gpg", ["selfcheck/pubring.kbx"]),
    Operation("remove-key", REMOVE_KEY, ["selfcheck/pubring.kbx"]),
    Operation("make, again", MAKE, ["work/wam.full.tree.list"], before=CHANGE),
    Operation("sign, again", SIGN, ["work/wam.full.tree.list.asc"]),
    Operation("copy by hand, again", COPY + "sync -f /usr/zemo/selfcheck", INSTALLED, atomic=False),
    Operation("metrics, again", METRICS, ["metrics/zemo-selfcheck.prom"], before="sleep 1"),
    Operation("install", "zemo-selfcheck install wam.full.tree.list", before=CHANGE + MAKE + " && " + SIGN,
              exchange=True),
    Operation("sign --manifest", MANIFEST,
              ["work/wam.full.tree.list.asc", "work/wam.full.manifest", "work/wam.full.manifest.asc"]),
    Operation("install with manifest", "zemo-selfcheck install wam.full.tree.list wam.full.manifest", exchange=True),
    Operation("check --require manifest", "zemo-selfcheck check --require manifest --state /usr/zemo/metrics",
              ["metrics/wam.full.serial"]),
    Operation("install --back", "zemo-selfcheck install --back", exchange=True),
    # (Another change: each machine starts with the tree as it was, and what is installed may be of a changed one.)
    Operation("copy without sync", COPY, INSTALLED, atomic=False, lost=True,
              before=CHANGE + CHANGE + MAKE + " && " + SIGN),
]

# Mounts the scratch disk at /usr/zemo, with the directories in which the operations write.
MOUNT = """
cat >/run/mark <<'END'
printf '%-4096s' "$1" | dd of=/dev/vdc bs=4096 seek=BLOCKS oflag=direct conv=notrunc status=none
END
mount /dev/vdc /usr/zemo
mkdir -p /usr/zemo/{selfcheck,work,metrics}
sync -f /usr/zemo
""".replace("BLOCKS", str(laboratory.SCRATCH_BYTES // laboratory.MARK_BYTES))

IN_WORK = "export GNUPGHOME=/root/key\ncd /usr/zemo/work\n"

DIGESTS = "cd /usr/zemo && find selfcheck work metrics -type f -exec sha256sum {} +"


def digests(text):
    """The files in the output of DIGESTS, which may come after a command's output."""
    return {path: digest for digest, path in re.findall(r"^([0-9a-f]{64})  (.*)$", text, re.MULTILINE)}


def files_of(image, folder):
    """The digests of the files in an image, read as after a boot: with its journal replayed."""
    subprocess.run(["e2fsck", "-E", "journal_only", "-y", image], check=False, capture_output=True)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    script = "".join(f"rdump /{name} {folder}\n" for name in ("selfcheck", "work", "metrics"))
    read = subprocess.run(["debugfs", "-f", "-", image], input=script, text=True, capture_output=True, check=True)
    found = {str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest()
             for path in folder.rglob("*") if path.is_file()}
    return found, read.stderr


def is_temporary(path):
    return pathlib.Path(path).name.startswith(".zemo-")


def in_selfcheck(files):
    return {path: digest for path, digest in files.items()
            if path.startswith("selfcheck/") and not is_temporary(path)}


def problems_of(found, operation, ended, old, new):
    """The losses that a power cut during or after the operation must not cause."""
    problems = []
    for path in sorted(old.keys() | new.keys() | found.keys()):
        allowed = {new.get(path)} if ended else {old.get(path), new.get(path)}
        if path in operation.files and not ended and not operation.atomic:
            continue
        if path not in old and path not in new and is_temporary(path):
            continue  # a temporary file, which the next writer removes
        if found.get(path) not in allowed:
            what = "gone" if path not in found else "neither the old nor the new one"
            problems.append(f"{'after' if ended else 'during'} {operation.name}: {path} is {what}")
    if operation.exchange and in_selfcheck(found) not in (in_selfcheck(old), in_selfcheck(new)):
        problems.append(f"{'after' if ended else 'during'} {operation.name}: files of two sets are mixed")
    return problems


class Judge:
    """Examines states while more are made, in as many threads as there are processors."""

    def __init__(self, folder):
        self.folder = folder
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        self._count = os.cpu_count() or 1
        self._pool = concurrent.futures.ThreadPoolExecutor(self._count)
        self._free = threading.Semaphore(2 * self._count)
        self._futures = []

    def _judge(self, image, operation, *rest):
        try:
            found, said = files_of(image, image.with_suffix(".files"))
            problems = problems_of(found, operation, *rest)
            return operation, [f"{problem} {said.strip()}" for problem in problems]
        finally:
            image.unlink()
            shutil.rmtree(image.with_suffix(".files"), ignore_errors=True)
            self._free.release()

    def add(self, disk, writes, *rest):
        self._free.acquire()
        image = self.folder / str(len(self._futures))
        laboratory.copy(disk, image)
        with open(image, "r+b") as copy:
            write_log.apply(copy.fileno(), writes)
        self._futures.append(self._pool.submit(self._judge, image, *rest))

    def results(self):
        self._pool.shutdown()
        return [future.result() for future in self._futures]


def run_operations(lab, disk, log):
    """Runs all operations on the logged disk. Returns the digests before and after each of them."""
    known = []
    with lab.ready(disk, log) as machine:
        machine.must(MOUNT)
        for number, operation in enumerate(OPERATIONS):
            machine.must(f"set -e\n{IN_WORK}{operation.before}\nsync -f /usr/zemo")
            old = digests(machine.must(DIGESTS))
            # Longer than the file system's journal delays its writes.
            machine.must(f"set -e\n{IN_WORK}bash /run/mark begin-{number}\n{operation.command}\n"
                         f"bash /run/mark end-{number}\nsleep 7\nbash /run/mark pause")
            known.append((old, digests(machine.must(DIGESTS))))
    return known


def states(lab, case, samples=20):
    """Examines every state that a cut at any moment can leave."""
    disk, log, base = (lab.folder / name for name in ("scratch.raw", "scratch.log", "base.raw"))
    lab.blank(disk)
    laboratory.copy(disk, base)
    known = run_operations(lab, disk, log)
    judge = Judge(lab.folder / "states")
    with open(base, "r+b") as image:
        for marks, writes in write_log.crash_states(log, image.fileno(), laboratory.SCRATCH_BYTES, random.Random(1),
                                                    samples):
            phase, _, number = marks[-1].partition("-")
            if phase != "pause":
                judge.add(base, writes, OPERATIONS[int(number)], phase == "end", *known[int(number)])
    counts = {operation: [0, 0] for operation in OPERATIONS}
    for operation, problems in judge.results():
        counts[operation][0] += 1
        counts[operation][1] += bool(problems)
        if not operation.lost:
            case.problems += problems
    for operation, (total, bad) in counts.items():
        print(f"  {operation.name}: {total} states, {bad} with a loss", flush=True)
        case.demand(not operation.lost or bad, f"{operation.name}: no loss detected, so others would be missed")
    judged = sum(total for operation, (total, _) in counts.items() if not operation.lost)
    case.demand(judged >= 450, f"only {judged} states")
    lost = [count for operation, count in counts.items() if operation.lost][0]
    case.figures = f"{judged} states, nothing lost; without `sync`, {lost[1]} of {lost[0]} lose lists"


# Each starts from the state that the cut before has left.
KILLED = ["make", "sign", "init-home", "copy by hand", "metrics", "init-home, again", "remove-key", "install",
          "copy without sync"]


def kills(lab, case):
    """Kills the machine as soon as a command has returned, and examines the files in the next
    machine."""
    disk, log, base = (lab.folder / name for name in ("scratch.raw", "scratch.log", "base.raw"))
    lab.blank(base)
    expected, last = {}, None
    for operation in [*(operation for name in KILLED for operation in OPERATIONS if operation.name == name), None]:
        laboratory.copy(base, disk)
        with lab.ready(disk, log) as machine:
            machine.must(MOUNT)
            found = digests(machine.must(DIGESTS))
            if last:
                problems = problems_of(found, last, True, expected, expected)
                print(f"  {last.name}: {'; '.join(problems) or 'no losses'}", flush=True)
                if last.lost:
                    case.demand(problems, f"{last.name}: no loss detected, so others would be missed")
                else:
                    case.problems += problems
            if not operation:
                break
            machine.must(f"set -e\n{IN_WORK}{operation.before}\nsync -f /usr/zemo")
            expected = digests(machine.must(f"set -e\n{IN_WORK}{operation.command}\n{DIGESTS}"))
            machine.kill()
        with open(base, "r+b") as image:
            write_log.apply(image.fileno(), write_log.certain(log, laboratory.SCRATCH_BYTES))
        last = operation
    case.figures = f"{len(KILLED) - 1} cuts, nothing lost; without `sync`, lists are lost"
