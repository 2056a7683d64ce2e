"""Runs a command with one of its system calls failing, and records its behaviour and leftovers.

The program stops itself after loading (after_loading.cpp), then strace attaches to it. Each thread
and process counts its calls separately, and its N-th call fails.
"""

import collections
import contextlib
import ctypes
import os
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time

from machine import TIME_STAMP, TOOL, read

TIME_LIMIT = 20
LAST_MOMENTS = 2  # for programs that have been started and are about to end, in seconds

# `inject` is (name of the call, error, number). With `programs`, the calls of the programs that the
# command starts also fail.
Attempt = collections.namedtuple("Attempt", "case inject programs", defaults=(None, False))
Call = collections.namedtuple("Call", "process program name text failed")
Run = collections.namedtuple("Run", "status output errors calls hit left names processes written")


def adopt_orphans():
    """Makes processes that the runs of this process leave behind its children."""
    set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def run(machine, attempt):
    """Runs the case's command in a separate directory, with or without a failure."""
    case = attempt.case
    work = tempfile.mkdtemp(dir=machine.directory)
    temporary, out = work + "/tmp", work + "/out"
    os.mkdir(temporary)
    os.mkdir(out)
    case.prepare(machine, out)
    status, processes = run_traced(machine, attempt, work)
    calls = calls_in(read(work + "/trace"))
    result = Run(
        status,
        read(work + "/stdout").replace(work, "WORK"),
        read(work + "/stderr").replace(work, "WORK"),
        collections.Counter(call.name for call in calls),
        [call for call in calls if call.failed],
        names_below(temporary),
        names_below(out),
        processes,
        case.written(machine, out),
    )
    shutil.rmtree(work)
    return result


def run_traced(machine, attempt, work):
    """The command's exit status (None if it hangs), and the names of the programs left running."""
    environment = {
        "PATH": os.environ["PATH"],
        "TMPDIR": work + "/tmp",
        "HOME": work,
        "SOURCE_DATE_EPOCH": TIME_STAMP,
        "LC_ALL": "C",
        "LD_PRELOAD": machine.stopper,
    }
    with open(work + "/stdout", "wb") as output, open(work + "/stderr", "wb") as errors:
        tool = subprocess.Popen(
            [machine.tool, *(word.replace("OUT", work + "/out") for word in attempt.case.words)],
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=errors,
            env=environment,
            cwd=work,
            start_new_session=True,
        )
    _, stopped = os.waitpid(tool.pid, os.WUNTRACED)
    if not os.WIFSTOPPED(stopped):
        raise RuntimeError(f"{machine.tool} does not stop after loading {machine.stopper}")
    tracer = attach(tool.pid, attempt, work + "/trace")
    os.kill(tool.pid, signal.SIGCONT)
    ended = os.pidfd_open(tool.pid)
    in_time, _, _ = select.select([ended], [], [], TIME_LIMIT)
    os.close(ended)
    if not in_time:
        tool.kill()
    status = tool.wait()
    processes = end_others(tracer)
    return (status if in_time else None), (processes if in_time else [])


def attach(process, attempt, trace):
    """Makes strace follow the stopped process; returns strace's process."""
    command = ["strace", "-f", "-y", "-qq", "-o", trace, "-p", str(process)]
    if not attempt.programs:
        command += ["-b", "execve"]
    if attempt.inject:
        name, error, number = attempt.inject
        # The kernel's brk does not return an error, but the end of the memory.
        how = "retval=0" if name == "brk" else "error=" + error
        command += ["-e", f"trace={name},execve", "-e", f"inject={name}:{how}:when={number}"]
    tracer = os.posix_spawnp("strace", command, os.environ)
    while "\nTracerPid:\t0\n" in read(f"/proc/{process}/status"):
        if os.waitpid(tracer, os.WNOHANG) != (0, 0):
            os.kill(process, signal.SIGKILL)
            raise RuntimeError("strace cannot attach")
        time.sleep(0.001)
    return tracer


def end_others(tracer):
    """Waits for all processes except the command's own, and ends those that take too long."""
    limit = time.monotonic() + LAST_MOMENTS
    stayed = []
    with contextlib.suppress(ChildProcessError):
        while True:
            if os.waitpid(-1, os.WNOHANG) != (0, 0):
                continue
            if time.monotonic() > limit:
                stayed += end_children(tracer)
            time.sleep(0.001)
    return stayed


def end_children(tracer):
    """Ends this process's children except the tracer, which then ends; returns their names."""
    names = []
    for process in map(int, read(f"/proc/self/task/{os.getpid()}/children").split()):
        with contextlib.suppress(ProcessLookupError, FileNotFoundError):
            name = read(f"/proc/{process}/comm").strip()
            if process != tracer:
                os.kill(process, signal.SIGKILL)
                names.append(name)
    return names


def calls_in(trace):
    """The calls of a trace. A call is joined if others came between its start and its end."""
    calls, started, programs = [], {}, {}
    for line in trace.splitlines():
        process, text = line.split(maxsplit=1)
        resumed = re.match(r"<\.\.\. \w+ resumed>", text)
        if resumed:
            text = started.pop(process, "") + text[resumed.end() :]
        if text.endswith("<unfinished ...>"):
            started[process] = text[: -len("<unfinished ...>")]
        else:
            add_call(calls, programs, process, text)
    for process, text in started.items():  # calls that never returned
        add_call(calls, programs, process, text)
    return calls


def add_call(calls, programs, process, text):
    name = re.match(r"(\w+)\(", text)
    if not name:
        return  # a signal or an exit
    program = re.match(r'execve\("([^"]+)".* = 0', text)
    if program:
        programs[process] = os.path.basename(program.group(1))
    failed = "(INJECTED)" in text
    calls.append(Call(process, programs.get(process, TOOL), name.group(1), text, failed))


def names_below(directory):
    names = []
    for parent, directories, files in os.walk(directory):
        for name in directories + files:
            names.append(os.path.relpath(os.path.join(parent, name), directory))
    return sorted(names)
