#!/usr/bin/env python3
"""Changes the libraries, one place at a time, and checks that the tests notice.

    mutants.py [--equivalent] [--only PATTERN] [--every N] [--plain] [--list] [--jobs N] [--resume]

A mutant is one change (see changes.py) of a file of src/ or platform/, named FILE:LINE:COLUMN:RULE.
Each is built in a copy of the source tree below build/mutants/, and tested until a test program
fails. A mutant that survives needs a new test that kills it, or a reason in equivalent.txt why its
change has no noticeable effect. The exit status is 1 if there are others.

With --equivalent, tests the mutants in equivalent.txt instead; the exit status is 1 if one of them
does not survive, because its reason is then wrong.
"""

import argparse
import concurrent.futures
import contextlib
import fnmatch
import hashlib
import itertools
import json
import os
import queue
import subprocess
import sys
import threading
import time
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
sys.dont_write_bytecode = True

import changes  # noqa: E402

ROOT = Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build" / "mutants"
RESULTS = BUILD / "results.txt"
EQUIVALENT = Path(__file__).resolve().parent / "equivalent.txt"
TRIAL = Path(__file__).resolve().parent / "trial.py"
FOLDERS = ("src", "platform")
SURVIVED, UNBUILDABLE = "survived", "unbuildable"
PLAIN, SANITIZED = "plain", "sanitized"
LIBRARIES = ["zemocore", "zemopkg", "zemoselfcheck"]
LEAST_SECONDS = 10
# Like ./dev test, except for the parts that the libraries do not need.
COMMON = [
    *("-G", "Ninja", "-DZEMO_WERROR=ON", "-DZEMO_TESTS=ON"),
    *("-DZEMO_TOOLS=OFF", "-DZEMO_MAN=OFF", "-DZEMO_EXAMPLES=OFF"),
    # Avoids linking programs again if a library has changed only inside.
    "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
    f"-DCMAKE_PROJECT_INCLUDE={ROOT}/quality/mutants/faster.cmake",
]
# Kinds of builds: additional options, and the limit of a program's memory in MiB, because an
# endless loop could use all memory.
KINDS = {
    PLAIN: ([], 8192),
    # Only this build shows memory leaks and misuse. Its shadow memory needs unlimited address
    # space.
    SANITIZED: (
        [
            *("-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-g1"),
            "-DZEMO_SANITIZE=address,undefined",
        ],
        0,
    ),
}


class Failure(Exception):
    """The output of a program that failed."""


class Program:
    """A test program."""

    def __init__(self, path):
        self.path = path
        self.name = Path(path).name
        self.folder = Path(path).parent.name
        self.has_objects = "internals" in self.name  # instead of the library
        self.seconds = 0.0

    def uses(self, file):
        """Whether it can notice a change of the file: tests of the platform use no other
        library."""
        return self.folder != "platform" or file.startswith("platform/")

    def nearness(self, file):
        """How likely the program tests a file, judging from their names."""
        stem, folder = Path(file).stem, Path(file).parent.name
        return self.name.startswith(stem), self.folder == folder, self.folder in file


class Build:
    """A build of a copy of the source tree, and the test programs that use the files."""

    def __init__(self, tree, files, name, options, mebibytes):
        print(f"Building the unchanged parts ({tree.name}, {name})", flush=True)
        self.path = tree / "build" / name
        run("cmake", "-S", tree, "-B", self.path, *COMMON, *options)
        self.make([*LIBRARIES, *self.commands()])
        # (Each test program enters a separate private root, so none sees another one's files.)
        self.runner = subprocess.Popen(
            [sys.executable, TRIAL, str(mebibytes)],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        programs = [Program(command) for command in self.commands().values()]
        self.programs = [program for program in programs if any(map(program.uses, files))]
        if not self.programs:
            sys.exit(f"mutants: no test program of {self.path} uses the changed files")
        for program in self.programs:
            started = time.monotonic()
            verdict = self.trial([program], 300)
            program.seconds = time.monotonic() - started
            if verdict != SURVIVED:
                sys.exit(f"mutants: {program.path} fails without a change")

    def commands(self):
        """The names of the test programs, and their paths, which are unknown before building."""
        shown = run("ctest", "--test-dir", self.path, "--show-only=json-v1")
        found = {test["name"]: test.get("command", [""])[0] for test in json.loads(shown)["tests"]}
        return {name: path for name, path in found.items() if not path.endswith(".sh")}

    def make(self, targets):
        return run("cmake", "--build", self.path, "--target", *targets)

    def trial(self, programs, least_seconds):
        seconds = [least_seconds + round(4 * program.seconds) for program in programs]
        words = [f"{program.path} {limit}" for program, limit in zip(programs, seconds)]
        print(*words, file=self.runner.stdin, flush=True)
        return self.runner.stdout.readline().strip()

    def test(self, order):
        """The verdict on the tree in its current state, with the name of the program that
        failed."""
        try:
            self.make(LIBRARIES)
            programs = order(self.programs)
            for has_objects, group in itertools.groupby(programs, lambda one: one.has_objects):
                group = list(group)
                if has_objects:
                    self.make(program.name for program in group)
                verdict = self.trial(group, LEAST_SECONDS)
                if verdict != SURVIVED:
                    return verdict
        except Failure:
            return UNBUILDABLE
        return SURVIVED


class Copy:
    """A copy of the source tree with separate builds."""

    def __init__(self, number, source, files):
        self.tree = BUILD / str(number)
        self.files = files
        self.builds = {}
        synchronize(source, self.tree)

    def test(self, kind, mutant, order):
        if kind not in self.builds:
            self.builds[kind] = Build(self.tree, self.files, kind, *KINDS[kind])
        with changed(self.tree, mutant):
            return self.builds[kind].test(order)


@contextlib.contextmanager
def changed(tree, mutant):
    path = tree / mutant.file
    source = path.read_text()
    path.write_text(mutant.applied(source))
    try:
        yield
    finally:
        path.write_text(source)


class Results:
    """The verdicts on all mutants, on disk, so that a run can be resumed."""

    def __init__(self, resume):
        self.found = {}  # (name, digest of the file) -> verdict
        self.killers = {}  # file -> Counter of program names
        self.lock = threading.Lock()
        if resume and RESULTS.exists():
            for line in RESULTS.read_text().splitlines():
                name, digest, verdict = line.split("\t")
                self.note(name, digest, verdict)
        RESULTS.parent.mkdir(parents=True, exist_ok=True)
        self.file = RESULTS.open("a" if resume else "w")

    def note(self, name, digest, verdict):
        self.found[name, digest] = verdict
        if " " in verdict:
            self.killers.setdefault(name.split(":")[0], Counter())[verdict.split()[1]] += 1

    def verdict(self, mutant, digest):
        return self.found.get((mutant.name, digest), SURVIVED)

    def add(self, name, digest, verdict):
        with self.lock:
            self.note(name, digest, verdict)
            print(f"{name}\t{digest}\t{verdict}", file=self.file, flush=True)

    def order(self, file, programs):
        """The programs; those that are likely to kill a mutant of the file come first."""
        kills = self.killers.get(file, Counter())

        def key(program):
            return kills[program.name], program.nearness(file), -program.seconds

        users = [program for program in programs if program.uses(file)]
        return sorted(users, key=key, reverse=True)


def run(*words):
    words = [str(word) for word in words]
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise Failure(f"mutants: {words[0]} failed: {done.stdout}{done.stderr}")
    return done.stdout


def files_below(folder):
    found = set()
    for member in folder.iterdir():
        if member.name != "build":
            found |= {path for path in [member, *member.rglob("*")] if path.is_file()}
    return {path.relative_to(folder) for path in found}


def synchronize(source, target):
    """Makes `target` a copy of `source` without touching equal files, to save building them
    again."""
    target.mkdir(parents=True, exist_ok=True)
    for name in files_below(target) - files_below(source):
        (target / name).unlink()
    for name in files_below(source):
        old, new = target / name, source / name
        if not old.exists() or old.read_bytes() != new.read_bytes():
            old.parent.mkdir(parents=True, exist_ok=True)
            old.write_bytes(new.read_bytes())
            old.chmod(new.stat().st_mode)


def copy_source():
    source = BUILD / "source"
    run("rm", "-rf", source)
    run(ROOT / "scripts" / "copy-source", source)
    return source


def digest_of(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def all_mutants():
    """[(mutant, digest of its file)]"""
    found = []
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                text = path.read_text()
                made = changes.mutants(str(path.relative_to(ROOT)), text)
                found += [(mutant, digest_of(text)) for mutant in made]
    return found


def equivalents():
    """(file, key, line of source) -> reason"""
    found = {}
    for number, line in enumerate(EQUIVALENT.read_text().splitlines(), 1):
        if line and not line.startswith("# "):
            parts = line.split(" :: ")
            if len(parts) != 4:
                sys.exit(f"{EQUIVALENT.name}:{number}: not FILE :: RULE :: SOURCE LINE :: REASON")
            found[tuple(parts[:3])] = parts[3]
    return found


def key_of(mutant):
    return mutant.file, mutant.key, mutant.source_line


def parse(words):
    parser = argparse.ArgumentParser(prog="./dev mutants")
    add = parser.add_argument
    add("--equivalent", action="store_true", help="test the mutants in equivalent.txt")
    add("--only", metavar="PATTERN", default="*", help="only mutants whose names match, such as 'src/log*'")
    add("--every", metavar="N", type=int, default=1, help="only each Nth of these")
    add("--plain", action="store_true", help="skip the second run, with sanitizers")
    add("--list", action="store_true", help="list the mutants without testing them")
    add("--jobs", metavar="N", type=int, default=1, help="number of mutants to test at once, in separate builds")
    add("--resume", action="store_true", help="skip mutants that an earlier run has killed")
    return parser.parse_args(words)


def test_all(wanted, results, copies, kind):
    """Tests mutants in builds of a kind; returns those that survived."""
    free = queue.Queue()
    for copy in copies:
        free.put(copy)

    def test(mutant, digest):
        copy = free.get()
        try:
            verdict = copy.test(kind, mutant, lambda programs: results.order(mutant.file, programs))
        finally:
            free.put(copy)
        results.add(mutant.name, digest, verdict)
        return mutant, digest, verdict

    survivors = []
    with concurrent.futures.ThreadPoolExecutor(len(copies)) as pool:
        tests = [pool.submit(test, mutant, digest) for mutant, digest in wanted]
        for number, done in enumerate(concurrent.futures.as_completed(tests), 1):
            if done.exception():
                pool.shutdown(wait=False, cancel_futures=True)  # others would fail as well
            mutant, digest, verdict = done.result()
            print(f"[{number}/{len(wanted)}] {mutant.name} {verdict}", flush=True)
            if verdict == SURVIVED:
                survivors.append((mutant, digest))
    return survivors


def report_noticed(listed, results):
    """The number of mutants in equivalent.txt that do not belong there."""
    noticed = 0
    for mutant, digest in listed:
        verdict = results.verdict(mutant, digest)
        if verdict != SURVIVED:
            noticed += 1
            print(f"wrong in {EQUIVALENT.name}: {mutant.name} {verdict}: {mutant.source_line}")
    print(f"{len(listed)} listed as equivalent: {len(listed) - noticed} survived, {noticed} did not")
    return noticed


def main(words):
    options = parse(words)
    everything = all_mutants()
    known = equivalents()
    stale = set(known) - {key_of(mutant) for mutant, _ in everything}
    for file, key, line in sorted(stale):
        print(f"{EQUIVALENT.name}: no {key} in {file}: {line}", file=sys.stderr)
    if options.equivalent:
        everything = [one for one in everything if key_of(one[0]) in known]
    chosen = [one for one in everything if fnmatch.fnmatch(one[0].name, options.only)]
    chosen = chosen[:: options.every]
    if options.list:
        for mutant, _ in chosen:
            reason = known.get(key_of(mutant))
            print(mutant.name, repr(mutant.text), *([f"equivalent: {reason}"] if reason else []))
        return 1 if stale else 0

    results = Results(options.resume)
    survivors = []
    for mutant, digest in chosen:
        if options.equivalent or key_of(mutant) not in known:
            if results.verdict(mutant, digest) == SURVIVED:
                survivors.append((mutant, digest))
    if survivors:
        source = copy_source()
        files = {mutant.file for mutant, _ in survivors}
        copies = [Copy(number, source, files) for number in range(1, options.jobs + 1)]
        for kind in [PLAIN] if options.plain else KINDS:
            survivors = test_all(survivors, results, copies, kind)
    if options.equivalent:
        noticed = report_noticed(chosen, results)
        return 1 if noticed or stale else 0

    counts = Counter()
    for mutant, digest in chosen:
        verdict = "equivalent" if key_of(mutant) in known else results.verdict(mutant, digest)
        counts[verdict.split()[0]] += 1
    made = len(chosen) - counts[UNBUILDABLE]
    print(
        f"{made} mutants: {counts['killed']} killed, {counts['timeout']} timed out, "
        f"{counts['equivalent']} equivalent, {counts[SURVIVED]} survived"
    )
    for mutant, _ in survivors:
        print(f"survived: {mutant.name} {mutant.text!r} in: {mutant.source_line}")
    return 1 if survivors or stale else 0


if __name__ == "__main__":
    os.chdir(ROOT)
    try:
        sys.exit(main(sys.argv[1:]))
    except Failure as failure:
        sys.exit(str(failure))
