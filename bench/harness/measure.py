"""Runs programs one after the other and measures each."""

import ctypes
import dataclasses
import json
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Callable

from harness.failure import Failure

SLOW_SECONDS = 5  # programs that take longer than this
SLOW_ROUNDS = 3  # run in at most this many rounds
SHORT_SECONDS = 0.5  # programs that take less than this
SHORT_RUNS = 5  # run this often in each round, and the median run counts
MOST_SPREAD = 0.3  # contestants that differ more between rounds are measured again
AGAIN = 2  # at most this often
AGAIN_SECONDS = 100  # and for about this long per group
_PR_SET_CHILD_SUBREAPER = 36


@dataclasses.dataclass
class Contestant:
    name: str
    command: list[str]
    intact: tuple[int, ...] | None = (0,)  # exit statuses that mean success; None: any
    own_seconds: bool = False  # the program prints its measured seconds as JSON
    threads: int = 1
    team: str = ""  # members of a team are compared with each other, so they are measured again together
    note: str = ""
    before: Callable[[], None] | None = None  # preparation before each run


@dataclasses.dataclass
class Run:
    seconds: float
    process_seconds: float
    user_seconds: float
    system_seconds: float
    peak_kib: int
    status: int
    printed: dict
    output: str


def _children() -> set[int]:
    with open(f"/proc/self/task/{threading.get_native_id()}/children", encoding="ascii") as file:
        return {int(word) for word in file.read().split()}


def become_subreaper():
    """Makes this process the parent of all orphaned descendants."""
    ctypes.CDLL(None).prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def kill_children():
    for pid in _children():
        try:
            os.killpg(pid, signal.SIGKILL)  # each measured program leads its own process group
        except ProcessLookupError:
            os.kill(pid, signal.SIGKILL)


def run(contestant: Contestant) -> Run:
    """Runs the program from a small launcher that ends at once: the kernel counts memory that the parent used before
    the program started as the program's, and we use more."""
    if contestant.before is not None:
        contestant.before()
    with tempfile.TemporaryFile() as output:
        before = _children()
        started = time.perf_counter()
        subprocess.run(
            ["setsid", "--fork", *contestant.command],
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=output,
            check=True,
        )
        (pid,) = _children() - before
        _, wait_status, usage = os.wait4(pid, 0)
        process_seconds = time.perf_counter() - started
        output.seek(0)
        text = output.read().decode(errors="replace")
    status = os.waitstatus_to_exitcode(wait_status)
    if contestant.intact is not None and status not in contestant.intact:
        raise Failure(
            f"{contestant.name} ended with status {status} although nothing differs, and printed:\n"
            f"{text[-2000:]}\nIt ran: {' '.join(contestant.command)}\n"
            "Were files changed meanwhile? Leave its work out by --only, or the peer by --without."
        )
    printed = json.loads(text.splitlines()[-1]) if contestant.own_seconds else {}
    if printed.get("intact") is False and contestant.intact is not None:
        raise Failure(f"{contestant.name} reports differences where there are none")
    return Run(
        seconds=printed.get("seconds", process_seconds),
        process_seconds=process_seconds,
        user_seconds=usage.ru_utime,
        system_seconds=usage.ru_stime,
        peak_kib=usage.ru_maxrss,
        status=status,
        printed=printed,
        output=text[-2000:],
    )


def _sample(contestant: Contestant) -> Run:
    """The contestant's run of one round."""
    first = run(contestant)
    if first.process_seconds >= SHORT_SECONDS:
        return first
    runs = [first] + [run(contestant) for _ in range(SHORT_RUNS - 1)]
    return sorted(runs, key=lambda one: one.seconds)[SHORT_RUNS // 2]


def _cost(sample: Run) -> float:
    """How long it takes to repeat a round."""
    short = sample.process_seconds < SHORT_SECONDS
    return sample.process_seconds * (SHORT_RUNS if short else 1)


def _rounds_of(runs: list[Run], rounds: int) -> int:
    if runs and runs[0].seconds > SLOW_SECONDS:
        return min(rounds, SLOW_ROUNDS)
    return rounds


def spread(runs: list[Run]) -> float:
    """The difference between the largest and the smallest value, relative to the median."""
    seconds = [run.seconds for run in runs]
    return (max(seconds) - min(seconds)) / statistics.median(seconds)


def _interleave_once(title: str, contestants: list[Contestant], rounds: int) -> dict[str, list[Run]]:
    """Runs every contestant once per round; each round begins with a different one."""
    runs: dict[str, list[Run]] = {contestant.name: [] for contestant in contestants}
    for number in range(rounds):
        first = number % len(contestants)
        for contestant in contestants[first:] + contestants[:first]:
            done = runs[contestant.name]
            if len(done) >= _rounds_of(done, rounds):
                continue
            done.append(_sample(contestant))
            left = sum(
                _cost(one[-1]) * (_rounds_of(one, rounds) - len(one))
                for one in runs.values()
                if one
            )
            about = f", {left:.0f} s left of {title}" if number > 0 else ""
            progress(
                f"{title}: round {number + 1} of {rounds}, {contestant.name}:"
                f" {done[-1].seconds:.3f} s{about}"
            )
    return runs


def _teams(contestants: list[Contestant]) -> list[list[Contestant]]:
    teams: dict[str, list[Contestant]] = {}
    for one in contestants:
        teams.setdefault(one.team or f"only {one.name}", []).append(one)
    return list(teams.values())


def interleave(title: str, contestants: list[Contestant], rounds: int) -> dict[str, list[Run]]:
    """Measures all contestants, and again those whose spread is too large, each with its team; the series with the
    smallest spread counts."""
    runs = _interleave_once(title, contestants, rounds)

    def worst(series: dict[str, list[Run]], team: list[Contestant]) -> float:
        return max(spread(series[one.name]) for one in team)

    def cost(team: list[Contestant]) -> float:
        return sum(_cost(sample) for one in team for sample in runs[one.name])

    left = AGAIN_SECONDS
    for _ in range(AGAIN):
        chosen = []
        for team in sorted(_teams(contestants), key=cost):
            if worst(runs, team) > MOST_SPREAD and cost(team) <= left:
                chosen.append(team)
                left -= cost(team)
        if not chosen:
            break
        members = [one for team in chosen for one in team]
        progress(f"{title}: measuring again, too large a spread: {', '.join(one.name for one in members)}")
        repeated = _interleave_once(f"{title}, again", members, rounds)
        for team in chosen:
            if worst(repeated, team) < worst(runs, team):
                runs.update({one.name: repeated[one.name] for one in team})
    return runs


def progress(line: str):
    print(line, file=sys.stderr, flush=True)
