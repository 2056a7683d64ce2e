"""Many calls, and long runs of test programs that take a duration."""

import contextlib
import json
import os
import re
import subprocess
import time

import lists
from report import Row


@contextlib.contextmanager
def gnupg_replaced():
    """Replaces GnuPG with a program that always succeeds, in the private root."""
    subprocess.run(["mount", "--bind", "/bin/true", "/usr/bin/gpg"], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "/usr/bin/gpg"], check=True)


def call_often(arguments, case, count, words):
    program = arguments.build / "tests/system/soak/call_often"
    output = subprocess.run([program, str(count), *words], capture_output=True, text=True)
    if output.returncode != 0:
        return Row(f"{count} calls, {case}", {}, {output.stderr.strip(): False})
    found = json.loads(output.stdout)
    early, late = found["early"], found["late"]
    bounds = {
        f"{name} stay at {early[name]} (at the end {late[name]})": late[name] == early[name]
        for name in ("descriptors", "mappings", "allocated")
    }
    ratio = late["resident_kib"] / early["resident_kib"]
    bounds[f"resident memory is {ratio:.3f} times, at most 1.05"] = ratio <= 1.05
    figures = {
        "time": f"{found['seconds']:.1f} s",
        "each": f"{1e3 * found['seconds'] / count:.2f} ms",
        "resident": f"{late['resident_kib'] / 1024:.1f} MiB",
    }
    return Row(f"{count} calls, {case}", figures, bounds)


def calls(arguments):
    """Ten thousand calls of SelfCheckFiles, one in ten with the real GnuPG, which takes long."""
    directory = arguments.directory
    for name in ("intact", "changed"):
        (directory / name).write_bytes(lists.CONTENT)
        (directory / name).chmod(0o644)
    with lists.signing_key(directory) as sign:
        files = [f"{directory}/intact", f"{directory}/changed"]
        owner = f"{os.getuid()}\t{os.getgid()}"
        intact, changed = (lists.file_line(path).replace("0\t0", owner) for path in files)
        sign(lists.write("a", [intact, changed.replace("\t7\t", "\t8\t")]))
    words = ["0", files[0], "1", files[1], "80", "/unlisted"]
    thousand = 100 if arguments.quick else 1000
    yield call_often(arguments, "GnuPG", thousand, words)
    with gnupg_replaced():
        yield call_often(arguments, "a stand-in for GnuPG", 9 * thousand, words)


def timed(name, words, seconds):
    """Runs a test program for this long."""
    environment = {**os.environ, "ZEMO_SOAK_SECONDS": str(seconds)}
    start = time.monotonic()
    with subprocess.Popen(
        words, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    ) as process:
        output = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        print(output, flush=True)
    done = re.search(r"^(\d+) (calls|steps)$", output, re.MULTILINE)
    figures = {"time": f"{time.monotonic() - start:.0f} s"}
    if done:
        figures[done[2]] = done[1]
    figures["processor"] = f"{usage.ru_utime + usage.ru_stime:.0f} s"
    figures["peak"] = f"{usage.ru_maxrss / 1024:.1f} MiB"
    return Row(name, figures, {"exit status 0": process.returncode == 0, "it ran": bool(done)})


def mixed(arguments):
    """Loading, checking, tampering and forging in any order, compared with a model."""
    yield timed("mixed operations", [arguments.build / "tests/system/soak/mixed_test"], arguments.time)


def threads(arguments):
    """Sixteen threads in SelfCheckFiles and four others, under the thread sanitizer."""
    # This compiler's sanitizer does not support the address space layout of newer kernels.
    program = arguments.threads_build / "tests/system/callers/callers_threads_test"
    yield timed("16 and 4 threads", ["setarch", "-R", program], arguments.threads_seconds)
