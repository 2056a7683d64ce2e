#!/usr/bin/env python3
"""Runs the commands of zemo-selfcheck with their system calls failing, one after another.

    scripts/private-root tests/system/faults/tools/faults.py [OPTION...] BUILD

For every case, every kind of system call and N = 1, 2, ..., the N-th call of each thread fails,
counted from the end of the program's loading, until no thread makes N calls. After that, every
seventh call of the programs that it starts fails as well. Every run must end without a crash;
either as without a failure, or with a status and a message that report it; it must not call a
changed file intact, nor leave processes, temporary or half-written files. BUILD is a build
directory.
"""

import argparse
import collections
import concurrent.futures
import contextlib
import itertools
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True

from cases import all_cases  # noqa: E402
from judge import NOT_LOADED, judge  # noqa: E402
from machine import Machine  # noqa: E402
from running import Attempt, adopt_orphans, run  # noqa: E402

# The failing calls and their errors. close is missing: strace makes a call fail by not executing
# it, but a failing close does not leave the descriptor open. ENOENT is missing except for programs,
# because it looks the same as a file that really does not exist.
ERRORS = {
    "openat": "EACCES EMFILE EIO ENFILE ENOMEM EINTR ELOOP ENAMETOOLONG",
    "read": "EIO EINTR",
    "pread64": "EIO EINTR",
    "write": "ENOSPC EIO EINTR",
    "newfstatat": "EACCES EIO ENOMEM",
    "readlink": "EIO EACCES",
    "getdents64": "EIO EBADF",
    "clone": "EAGAIN ENOMEM",
    "clone3": "EAGAIN ENOMEM",
    "execve": "ENOENT EACCES ENOMEM",
    "wait4": "ECHILD EINTR",
    "mmap": "ENOMEM",
    "mprotect": "ENOMEM",
    "brk": "ENOMEM",
    "pipe2": "EMFILE ENFILE",
    "dup2": "EMFILE EINTR",
    "fcntl": "EMFILE EINVAL",
    "lseek": "ESPIPE",
    "renameat2": "EINVAL EIO EBUSY",
    "linkat": "EPERM EIO EXDEV",
    "mkdirat": "EACCES ENOSPC",
    "flistxattr": "EPERM EIO",
    "rename": "EACCES ENOSPC EIO",
    "renameat": "EACCES ENOSPC EIO",
    "fsync": "EIO ENOSPC",
    "unlink": "EACCES EIO",
    "unlinkat": "EACCES EIO",
    "rmdir": "EACCES EIO",
    "mkdir": "EACCES ENOSPC",
    "fchmod": "EPERM EIO",
    "link": "EPERM EIO",
    "flock": "ENOLCK EINTR",
    "access": "EACCES EIO",
    "faccessat2": "EACCES EIO",
    "socket": "EMFILE EACCES",
    "connect": "ECONNREFUSED EINTR",
    "getrandom": "ENOSYS EAGAIN",
    "prlimit64": "EPERM",
    "unshare": "ENOMEM EPERM ENOSPC",
    "mount": "EPERM ENOMEM",
    "umount2": "EPERM EBUSY",
    "fstatfs": "EIO ENOSYS",
    "open_tree": "EPERM EIO EMFILE",
    "mount_setattr": "EPERM ENOSYS",
    "openat2": "EIO EAGAIN ENOSYS EMFILE",
    "chroot": "EPERM EACCES",
    "fchdir": "EACCES EIO",
    "sched_getaffinity": "EINVAL",
}
# Calls that cannot fail, or often do: ioctl only finds out whether there is a terminal. Without
# close_range, every descriptor is closed separately, which takes too long under strace.
PASSED_OVER = set(
    "close close_range exit exit_group futex geteuid getpid ioctl madvise munmap restart_syscall rseq"
    " rt_sigaction rt_sigprocmask set_robust_list".split()
)


def try_case(machine, case, settings, pool, called, report):
    """Makes every call of the case fail, one by one, and adds the calls that it makes to
    `called`."""
    getattr(machine, case.state)()
    happened = 0
    for programs in (False, True) if settings.programs_step else (False,):
        attempt = Attempt(case, programs=programs)
        reference = pool.submit(run, machine, attempt).result()
        require_sense(case, reference)
        called[programs] += reference.calls
        for name in (name for name in settings.calls if reference.calls[name]):
            turns = 1 if programs else min(settings.errors, len(ERRORS[name].split()))
            for turn in range(turns):
                tried = machine, attempt, reference, name, turn
                happened += try_call(*tried, settings, pool, report)
        if not reference.calls["execve"]:
            break  # it starts no programs
    return happened


def try_call(machine, attempt, reference, name, turn, settings, pool, report):
    """Makes the first call with the name fail, then the second, and so on until there are no
    more."""
    errors = ERRORS[name].split()
    step = settings.programs_step if attempt.programs else settings.step
    numbers = itertools.count(step, step)
    happened, more = 0, step > 0
    while more:
        attempts = [
            attempt._replace(inject=(name, errors[(number + turn) % len(errors)], number))
            for number in itertools.islice(numbers, 2 * settings.jobs)
        ]
        results = list(pool.map(run, itertools.repeat(machine), attempts))
        machine.remove_locks()
        more = any(result.hit for result in results)
        for tried, result in zip(attempts, results):
            happened += bool(result.hit)
            problem = judge(tried.case, reference, result)
            if problem:
                report(tried, problem, result)
    return happened


def require_sense(case, reference):
    """The behaviour without a failure is not tested here, but must be plausible."""
    found = all(path in reference.output for path in case.tampered)
    rejected = case.state != "forged" or reference.status & NOT_LOADED
    ended = reference.status is not None and reference.status >= 0
    clean = not reference.processes and not reference.left
    if not (ended and clean and found and rejected):
        raise RuntimeError(f"{case.name} without a failure: {reference}")


def why_not():
    """Why no tests are possible here, or None."""
    private_root = pathlib.Path(__file__).resolve().parents[4] / "scripts" / "private-root"
    if subprocess.run([private_root, "--verify"], check=False).returncode != 0:
        return "needs a private root"
    if not shutil.which("strace"):
        return "needs strace"
    if subprocess.run(["strace", "-qq", "-o", os.devnull, "true"], check=False).returncode != 0:
        return "this machine forbids strace"
    return None


def compare_with_errors(called):
    """Prints the calls that only one side has; returns whether a failing call is never made."""
    own, all_programs = called[False], called[True]
    unlisted = sorted(set(own) - set(ERRORS) - PASSED_OVER)
    unmade = sorted(set(ERRORS) - set(own) - set(all_programs))
    if unlisted:
        print(f"made, but never failing: {' '.join(unlisted)}")
    if unmade:
        print(f"never made: {' '.join(unmade)}")
    return bool(unmade)


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--sample", action="store_true", help="a few calls of a few cases")
    parser.add_argument("--errors", type=int, default=99, help="number of errors for each call")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--step", type=int, default=1, help="0: none of the program's calls")
    parser.add_argument("--programs-step", type=int, default=7, help="0: no calls of other programs")
    parser.add_argument("--case", action="append", dest="cases", help="only these")
    parser.add_argument("--call", action="append", dest="calls", choices=ERRORS, help="only it")
    parser.add_argument("build")
    settings = parser.parse_args()
    if settings.sample:
        settings.cases = ["files-tampered", "make"]
        settings.calls = ["openat", "read", "write", "execve"]
        settings.errors, settings.step, settings.programs_step = 1, 1, 0
    settings.complete = not settings.cases and not settings.calls and settings.programs_step > 0
    settings.calls = settings.calls or ERRORS
    return settings


def main():
    settings = arguments()
    reason = why_not()
    if reason:
        print(f"[  SKIPPED ] {os.path.basename(__file__)} ({reason})")
        return 1 if "ZEMO_ALL" in os.environ else 0

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # runs the cleanup handlers
    problems = []

    def report(attempt, problem, result):
        problems.append(problem)
        name, error, number = attempt.inject
        print(f"{attempt.case.name}: {name} number {number} fails with {error}: {problem}")
        for call in result.hit:
            print(f"    in {call.program}: {call.text}")
        print(f"    status {result.status}, output:\n{result.output}    errors:\n{result.errors}")
        sys.stdout.flush()

    called = {False: collections.Counter(), True: collections.Counter()}
    total = 0
    with (
        tempfile.TemporaryDirectory(prefix="zemo-faults.") as directory,
        contextlib.closing(Machine(os.path.abspath(settings.build), directory)) as machine,
        concurrent.futures.ProcessPoolExecutor(settings.jobs, initializer=adopt_orphans) as pool,
    ):
        for case in all_cases(machine):
            if settings.cases and case.name not in settings.cases:
                continue
            happened = try_case(machine, case, settings, pool, called, report)
            print(f"{case.name}: {happened} failures", flush=True)
            total += happened
    print(f"{total} failures, {len(problems)} problems")
    unmade = settings.complete and compare_with_errors(called)
    return 1 if problems or not total or unmade else 0


if __name__ == "__main__":
    sys.exit(main())
