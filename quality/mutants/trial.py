#!/usr/bin/env python3
"""Runs test programs, one after another, until one fails.

    trial.py MEBIBYTES

Each program may use this much address space (0: unlimited). Each line of the input is a trial:
PROGRAM SECONDS, and so on. The answer is a line "killed PROGRAM", "timeout PROGRAM" or "survived".
"""

import os
import resource
import signal
import subprocess
import sys
import tempfile


def limits(mebibytes, seconds):
    def limit():
        # Limits the processor time of endless loops, which does not depend on the load of the
        # machine.
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if mebibytes:
            resource.setrlimit(resource.RLIMIT_AS, (mebibytes << 20, mebibytes << 20))

    return limit


def run(program, mebibytes, seconds, directory):
    """The exit status, or None after a timeout."""
    process = subprocess.Popen(
        [program, "--gtest_fail_fast", "--gtest_brief=1"],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        env={**os.environ, "TMPDIR": directory},
        preexec_fn=limits(mebibytes, seconds),
        start_new_session=True,
    )
    try:
        status = process.wait(4 * seconds)
    except subprocess.TimeoutExpired:
        status = None
    try:
        os.killpg(process.pid, signal.SIGKILL)  # also processes that it has left running
    except ProcessLookupError:
        pass
    process.wait()
    return None if status == -signal.SIGXCPU else status


def trial(words, mebibytes):
    for program, seconds in zip(words[::2], words[1::2]):
        with tempfile.TemporaryDirectory(prefix="mutant.", ignore_cleanup_errors=True) as directory:
            os.chmod(directory, 0o755)  # some tests switch to another user
            status = run(program, mebibytes, int(seconds), directory)
        if status != 0:
            return f"{'timeout' if status is None else 'killed'} {os.path.basename(program)}"
    return "survived"


if __name__ == "__main__":
    for line in sys.stdin:
        print(trial(line.split(), int(sys.argv[1])), flush=True)
