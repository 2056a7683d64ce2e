"""The whole run: options, workloads, groups of runs, and output files."""

import argparse
import dataclasses
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from harness import costs, machine, measure, peers, plot, publish, results, table, trees
from harness.failure import Failure
from harness.measure import Contestant, progress
from harness.ours import Ours
from harness.prove import prove
from harness.trees import Work

WORKS = ["real", "small", "large"]
ENDING = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]
GROUPS = [*WORKS, "loading", "named", "scale", "memory"]


def parse(words: list[str]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="bench/run", description=__doc__)
    parser.add_argument("build", type=Path, help="the build directory, with -DZEMO_BENCH=ON")
    parser.add_argument("--only", default=",".join(GROUPS), help=f"of {', '.join(GROUPS)}")
    parser.add_argument("--without", default="", help="peers to leave out, by command")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--quick", action="store_true", help="small workloads, two rounds, no aims")
    parser.add_argument("--work", type=Path, help="where to create the trees (default: TMPDIR)")
    parser.add_argument("--output", type=Path, help="where to write the results (default: the result folder of the build directory)")
    parser.add_argument("--publish", action="store_true", help="copy the result to docs/ and bench/README.md")
    parser.add_argument("--prove", action="store_true", help="show that every contestant checks")
    options = parser.parse_args(words)
    options.only = options.only.split(",")
    if unknown := set(options.only) - set(GROUPS):
        parser.error(f"--only takes {', '.join(GROUPS)}, not {', '.join(unknown)}")
    if options.rounds < 1:
        parser.error("--rounds takes 1 or more")
    if options.quick and options.publish:
        parser.error("--publish is for whole runs, without --quick")
    options.without = [name for name in options.without.split(",") if name]
    options.build = options.build.resolve()
    options.output = (options.output or options.build / "result").resolve()
    if options.quick:
        options.rounds = 2
    return options


def run(options: argparse.Namespace) -> int:
    measure.become_subreaper()
    for number in ENDING[1:]:
        signal.signal(number, lambda *_: sys.exit(1))
    place = options.work or Path(tempfile.gettempdir())
    ours = None
    try:
        trees.need_space(place, 0.5 if options.quick or options.prove else 6)
        directory = Path(tempfile.mkdtemp(prefix="zemo-bench.", dir=place)).resolve()
        directory.chmod(0o755)
        try:
            ours = Ours(options.build, directory, os.cpu_count() or 1)
            ours.make_key()
            if options.prove:
                return prove(ours, options.without)
            Benchmark(options, ours).run()
        finally:
            for number in ENDING:
                signal.signal(number, signal.SIG_IGN)
            measure.kill_children()
            if ours:
                ours.forget_key()
            progress(f"removing {directory}")
            shutil.rmtree(directory, ignore_errors=True)
    except Failure as failure:
        print(f"bench: {failure}", file=sys.stderr)
        return 1
    except subprocess.CalledProcessError as failure:
        print(f"bench: {shlex.join(failure.cmd)} failed, see above", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("bench: interrupted, nothing was written", file=sys.stderr)
        return 130
    return 0


class Benchmark:
    def __init__(self, options: argparse.Namespace, ours: Ours):
        self.options = options
        self.ours = ours
        self.works: dict[str, Work] = {}
        self.contestants: dict[str, list[Contestant]] = {}
        self.groups: results.Groups = {}
        self.list_bytes = 0

    def run(self):
        started = time.monotonic()
        quick, wanted = self.options.quick, self.options.only
        for name in WORKS:
            if name in wanted:
                self._check(name)
        if "loading" in wanted:
            runs = costs.loading(self.ours, 20_000 if quick else costs.LONG)
            self.list_bytes = (self.ours.directory / "wam.full.sorted.list").stat().st_size
            self._interleave("loading", runs)
        if "named" in wanted:
            runs = costs.named_files(self.ours, self._work("small"), 20_000 if quick else costs.LONG)
            self._interleave("named files", runs)
        if "scale" in wanted:
            runs = costs.scale(self.ours, self._work("small"), 20_000 if quick else costs.LONG)
            self._interleave("scale", runs, costs.SCALE_ROUNDS)
        if "memory" in wanted:
            large = self._work("large")
            runs = costs.memory(self.ours, self.ours.program("make_tree"), large)
            self._interleave("memory", runs, costs.SCALE_ROUNDS)
        self._write()
        progress(f"done after {(time.monotonic() - started) / 60:.0f} minutes")

    def _work(self, name: str) -> Work:
        """The workload with its list; made on first use."""
        if name not in self.works:
            if name == "real":
                work = trees.real(64 << 20) if self.options.quick else trees.real()
            else:
                scale = {"small": "2000", "large": "8"}[name]
                words = ["--scale", scale] if self.options.quick else []
                command = self.ours.program("make_tree", *words)
                work = trees.made(name, command, self.ours.directory)
            progress(f"{name}: making its list")
            self.ours.make_list(work)
            self.works[name] = work
        return self.works[name]

    def _check(self, name: str):
        work = self._work(name)
        self.ours.sign(work.list_file)
        self.ours.install(work.list_file)
        directory = self.ours.directory / f"{name}.peers"
        directory.mkdir()
        threads = self.ours.threads
        contestants = self.ours.contestants(work)
        contestants += peers.contestants(work, directory, threads, self.options.without)
        progress(f"{name}: reading everything once to warm the page cache")
        measure.run(self.ours.limit(work, threads))
        self._interleave(name, contestants)

    def _interleave(self, name: str, contestants: list[Contestant], most: int = sys.maxsize):
        self.contestants[name] = contestants
        rounds = min(self.options.rounds, most)
        self.groups[name] = measure.interleave(name, contestants, rounds)

    def _shorten(self, text: str) -> str:
        text = text.replace(str(self.ours.directory), "$WORK")
        return text.replace(str(self.options.build), "$BUILD")

    def _write(self):
        options = self.options
        options.output.mkdir(parents=True, exist_ok=True)
        aims = []
        if not options.quick:
            aims = results.aims(self.groups, self.list_bytes, self.ours.threads)
        about = machine.describe(self.ours.directory)
        versions = machine.versions()
        works = [work for name, work in self.works.items() if name in self.groups]
        command = self._shorten(shlex.join(["bench/run", *sys.argv[1:]]))
        markdown = table.markdown(
            about, versions, command, works, self.groups, self.contestants, aims
        )
        (options.output / "performance.md").write_text(markdown, encoding="utf-8")
        commands = table.commands(self.contestants, self._shorten)
        (options.output / "commands.md").write_text(commands, encoding="utf-8")
        raw = {
            "machine": about,
            "versions": versions,
            "aims": [{**dataclasses.asdict(aim), "met": aim.met()} for aim in aims],
            "runs": {
                group: {
                    name: [dataclasses.asdict(run) for run in runs]
                    for name, runs in members.items()
                }
                for group, members in self.groups.items()
            },
        }
        text = self._shorten(re.sub("-?Infinity", "null", json.dumps(raw, indent=1)))
        (options.output / "runs.json").write_text(text + "\n", encoding="utf-8")
        plot.svg(self.groups, [work.name for work in works], options.output / "performance.svg")
        print(markdown)
        progress(
            "written: performance.md, commands.md, performance.svg and runs.json"
            f" in {options.output}"
        )
        if options.publish:
            publish.publish(options.output)
