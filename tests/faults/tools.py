#!/usr/bin/env python3
"""Runs the commands of zemo-selfcheck with their system calls failing, one after another.

    scripts/private-root tests/faults/tools.py [--sample] [--errors N] [--case CASE]... BUILD

For every case, every kind of system call and N = 1, 2, ... the N-th call of each process fails,
until there are not so many. Every run must end, without a crash; either as without a failure, or
with a status and a message that tell of it; it must not call intact what is not, nor leave
temporary or half-written files. BUILD is a build directory. --sample takes a few calls of a few
cases. --errors N tries so many errors for each call instead of all that fit.
"""

import argparse
import collections
import concurrent.futures
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

LISTS = "/usr/zemo/selfcheck"
TIME_LIMIT = 20
TOOL = "zemo-selfcheck"

CHANGED, MISSING, STRAY, UNCHECKED, NOT_LOADED = 1, 2, 4, 8, 16
ALL_BITS = CHANGED | MISSING | STRAY | UNCHECKED | NOT_LOADED

# What fails, and with what. close is not among them: strace fails a call by not making it, and a
# descriptor that stays open is not what a failing close leaves. Nor is ENOENT, but for programs:
# nobody can tell it from the truth.
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
    "vfork": "EAGAIN ENOMEM",
    "execve": "ENOENT EACCES ENOMEM",
    "wait4": "ECHILD EINTR",
    "mmap": "ENOMEM",
    "mprotect": "ENOMEM",
    "brk": "ENOMEM",
    "pipe2": "EMFILE ENFILE",
    "dup2": "EMFILE EINTR",
    "fcntl": "EMFILE EINVAL",
    "lseek": "ESPIPE",
    "rename": "EACCES ENOSPC EIO",
    "fsync": "EIO ENOSPC",
    "unlink": "EACCES EIO",
    "unlinkat": "EACCES EIO",
    "rmdir": "EACCES EIO",
    "mkdir": "EACCES ENOSPC",
    "fchmod": "EPERM EIO",
    "chmod": "EPERM EIO",
    "link": "EPERM EIO",
    "flock": "ENOLCK EINTR",
}
REMOVING = {"unlink", "unlinkat", "rmdir"}

Run = collections.namedtuple("Run", "status output errors hit trace left names written")


class Machine:
    """A tree of files, keys, and the system's set of lists that describes the tree."""

    def __init__(self, build, directory):
        self.tool = os.path.join(build, "tools", TOOL)
        self.directory = directory
        self.tree = directory + "/tree"
        self.file = self.tree + "/file"
        self.keys = directory + "/keys"
        os.makedirs(self.tree + "/fixed")
        os.mkdir(self.keys, 0o700)
        write(self.keys + "/gpg.conf", "no-autostart\n")
        write(self.file, "x" * 20000)
        write(self.tree + "/fixed/member", "content")
        os.symlink("file", self.tree + "/link")
        self.call("gpg-agent", "--homedir", self.keys, "--daemon", "--quiet")
        self.gpg("--passphrase", "", "--quick-generate-key", "maker@example.org", "ed25519", "sign")
        listed = self.gpg("--with-colons", "--list-keys")
        self.fingerprint = re.search(r"^fpr:+(\w+):", listed, re.M).group(1)
        self.gpg("--output", directory + "/maker.gpg", "--export")
        self.call(self.tool, "init-home", "--import", directory + "/maker.gpg")
        self.list = LISTS + "/wam.full.base.list"
        fixed = self.tree + "/fixed"
        self.call(self.tool, "make", self.tree, "--fixed", fixed, "--output", self.list)
        self.call(self.tool, "sign", self.list, "--key", self.fingerprint, "--homedir", self.keys)
        write(LISTS + "/listorder", "wam.full.base.list\n")
        self.signed = read(self.list)

    def call(self, *words):
        environment = dict(os.environ, SOURCE_DATE_EPOCH="1790000000")
        done = subprocess.run(words, capture_output=True, env=environment, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{words}: {done.returncode} {done.stderr.decode()}")
        return done.stdout.decode()

    def gpg(self, *words):
        command = ("gpg", "--homedir", self.keys, "--batch", "--pinentry-mode", "loopback")
        return self.call(*command, *words)

    def close(self):
        subprocess.run(["gpgconf", "--homedir", self.keys, "--kill", "all"], check=False)

    @staticmethod
    def remove_locks():
        """Those of a GnuPG that was not able to."""
        for name in os.listdir(LISTS):
            if name.startswith(".#lk") or name.endswith(".lock"):
                os.remove(LISTS + "/" + name)

    def intact(self):
        write(self.file, "x" * 20000)
        write(self.list, self.signed)

    def tampered(self):
        self.intact()
        write(self.file, "x" * 19999 + "y")

    def forged(self):
        """The list describes the changed file, but is not what was signed."""
        self.tampered()
        digest = self.call("sha1sum", self.file).split()[0]
        write(self.list, re.sub(r"\t[0-9a-f]{40}\t", f"\t{digest}\t", self.signed, count=1))


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def read(path):
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        return file.read()


def names_below(directory):
    names = []
    for parent, directories, files in os.walk(directory):
        for name in directories + files:
            names.append(os.path.relpath(os.path.join(parent, name), directory))
    return sorted(names)


def hit_calls(trace):
    """The lines of calls that have failed, each with the program that made it."""
    programs = {}
    hit = []
    for line in trace.splitlines():
        process = line.split()[0]
        started = re.search(r'execve\("([^"]+)"', line)
        if started and " = -1 " not in line:
            programs[process] = os.path.basename(started.group(1))
        if "(INJECTED)" in line:
            hit.append((programs.get(process, TOOL), line))
    return hit


def run(machine, case, inject=None):
    """Runs the case's command in a directory of its own, with a failure or without."""
    work = tempfile.mkdtemp(dir=machine.directory)
    temporary, out = work + "/tmp", work + "/out"
    os.mkdir(temporary)
    os.mkdir(out)
    case.prepare(machine, out)
    command = ["strace", "-f", "-qq", "-o", work + "/trace"]
    if inject:
        name, error, number = inject
        # The kernel's brk does not return an error, but what the end of the memory is.
        how = "retval=0" if name == "brk" else "error=" + error
        command += ["-e", f"trace={name},execve", "-e", f"inject={name}:{how}:when={number}"]
    environment = {
        "PATH": os.environ["PATH"],
        "TMPDIR": temporary,
        "HOME": work,
        "SOURCE_DATE_EPOCH": "1790000000",
        "LC_ALL": "C",
    }
    with open(work + "/stdout", "wb") as output, open(work + "/stderr", "wb") as errors:
        process = subprocess.Popen(
            command + [machine.tool] + [word.replace("OUT", out) for word in case.words],
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=errors,
            env=environment,
            cwd=work,
            start_new_session=True,
        )
        try:
            status = process.wait(TIME_LIMIT)
        except subprocess.TimeoutExpired:
            status = None
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
    trace = read(work + "/trace")
    result = Run(
        status,
        read(work + "/stdout").replace(work, "WORK"),
        read(work + "/stderr").replace(work, "WORK"),
        hit_calls(trace),
        trace,
        names_below(temporary),
        names_below(out),
        case.written(machine, out),
    )
    shutil.rmtree(work)
    return result


# What commands write, and what there is before.


def nothing(machine, out):
    del machine, out


def unsigned_list(machine, out):
    write(out + "/wam.full.new.list", machine.signed)


def key_ring(machine, out):
    del machine
    os.mkdir(out + "/home", 0o755)
    for name in ("gpg.conf", "pubring.kbx"):
        shutil.copy(LISTS + "/" + name, out + "/home")


def changed_list(machine, out):
    write(out + "/wam.full.new.list", machine.signed.replace("\tf\t", "\t-\t", 1))


def list_written(machine, out):
    del machine
    path = out + "/wam.full.new.list"
    return read(path) if os.path.exists(path) else None


def signature_written(machine, out):
    path = out + "/wam.full.new.list"
    if not os.path.exists(path + ".asc"):
        return None
    command = ["gpg", "--homedir", machine.keys, "--batch", "--verify", path + ".asc", path]
    return subprocess.run(command, capture_output=True, check=False).returncode == 0


def keys_written(machine, out):
    """The keys of the ring, None where there is none, and False where it cannot be used."""
    del machine
    if not os.path.exists(out + "/home/pubring.kbx"):
        return None
    command = ["gpg", "--homedir", out + "/home", "--batch", "--no-permission-warning"]
    command += ["--with-colons", "--list-keys"]
    listed = subprocess.run(command, capture_output=True, check=False)
    keys = re.findall(r"^fpr:+(\w+):", listed.stdout.decode(), re.M)
    return keys if listed.returncode == 0 else False


def metrics_written(machine, out):
    """What the metrics say of the set; None without metrics."""
    del machine
    path = out + "/metrics.prom"
    if not os.path.exists(path):
        return None
    found = re.findall(r"^zemo_selfcheck_exit_status.* (\d+)$", read(path), re.M)
    return f"status {found}"


# Which findings a command may have for a reason that is documented.


def may_miss(inject):
    """A file that cannot be looked at counts as missing, or is a list that is not there."""
    return inject[0] in ("newfstatat", "getdents64")


def judge(case, inject, reference, result):
    """What is wrong with the run, or None."""
    status = result.status
    if status is None:
        # GnuPG reads its options for ever when that fails, and waits for a lock that it could not
        # remove; the program waits for GnuPG.
        return None if any(program != TOOL for program, _ in result.hit) else "it hangs"
    if status < 0 or status > 127:
        return "it crashes"
    if status & ~ALL_BITS:
        return f"the status {status} says that the arguments are wrong"
    if result.left and inject[0] not in REMOVING:
        return f"it leaves {result.left} in the temporary directory"
    unknown = set(result.names) - set(reference.names) - set(case.before)
    if unknown and inject[0] not in REMOVING:
        return f"it leaves {sorted(unknown)}"
    documented = (reference.written, *case.unwritten)
    if case.written == metrics_written:  # they are written at the end of every run
        documented = (None, f"status ['{status & ~UNCHECKED}']", f"status ['{status}']")
    if result.written not in documented:
        return f"what it has written is {result.written!r}"
    if status == reference.status and result.output == reference.output:
        if result.written != reference.written and not result.errors:
            return "nothing is written, and nothing tells of it"
        return None
    if status == 0:
        # verify says of an order that it cannot read that it cannot.
        told = re.search("cannot be read|cannot read|cannot open", result.output)
        return None if told else "it succeeds, with another output"
    lost_message = any("write(2," in line for _, line in result.hit)
    if status & (UNCHECKED | NOT_LOADED):
        if not result.errors and result.output == reference.output and not lost_message:
            return "nothing tells why"
    elif case.tampered and any(path not in result.output for path in case.tampered):
        return "a file that differs is not among what is found"
    if any(f"intact {path}\n" in result.output for path in case.tampered):
        return "a file that differs is called intact"
    new = status & ~reference.status
    if new & CHANGED:
        return "something is called changed"
    if new & (MISSING | STRAY) and not may_miss(inject):
        return "something is called missing or stray"
    return None


class Case:
    def __init__(self, name, state, words, **options):
        self.name = name
        self.state = state  # of the machine, the name of its function
        self.words = words
        self.prepare = options.get("prepare", nothing)
        self.before = options.get("before", ())  # names that are there at the start
        self.written = options.get("written", nothing)
        self.unwritten = options.get("unwritten", (None,))  # what there may be after a failure
        self.tampered = options.get("tampered", ())


def all_cases(machine):
    files = [machine.file, machine.tree + "/fixed", machine.tree + "/link"]
    tampered = (machine.file,)
    fixed = ["--fixed", machine.tree + "/fixed"]
    new = "wam.full.new.list"
    return [
        Case("check", "intact", ["check", "--jobs", "1"]),
        Case("check-threads", "tampered", ["check", "--jobs", "3"], tampered=tampered),
        Case("check-tampered", "tampered", ["check", "--jobs", "1"], tampered=tampered),
        Case("check-json", "tampered", ["check", "--format", "json"], tampered=tampered),
        Case(
            "check-metrics",
            "intact",
            ["check", "--metrics", "OUT/metrics.prom"],
            written=metrics_written,
        ),
        Case("check-forged", "forged", ["check"]),
        Case("files", "intact", ["files", *files]),
        Case("files-tampered", "tampered", ["files", *files], tampered=tampered),
        Case("files-forged", "forged", ["files", *files]),
        Case("verify", "intact", ["verify"]),
        Case("verify-strict", "intact", ["verify", "--strict", "--key", machine.fingerprint]),
        Case("verify-forged", "forged", ["verify"]),
        Case("show", "intact", ["show"]),
        Case(
            "diff",
            "intact",
            ["diff", machine.list, "OUT/" + new],
            prepare=changed_list,
            before=(new,),
        ),
        Case("doctor", "intact", ["doctor"]),
        Case("doctor-forged", "forged", ["doctor"]),
        Case(
            "make",
            "intact",
            ["make", machine.tree, *fixed, "--output", "OUT/" + new],
            written=list_written,
        ),
        Case(
            "make-dpkg",
            "intact",
            ["make", "--dpkg", "hostname", "--output", "OUT/" + new],
            written=list_written,
        ),
        Case(
            "sign",
            "intact",
            ["sign", "OUT/" + new, "--key", machine.fingerprint, "--homedir", machine.keys],
            prepare=unsigned_list,
            before=(new,),
            written=signature_written,
        ),
        Case(
            "init-home",
            "intact",
            ["init-home", "--homedir", "OUT/home", "--import", machine.directory + "/maker.gpg"],
            before=("home", "home/gpg.conf"),
            written=keys_written,
        ),
        Case(
            "remove-key",
            "intact",
            ["remove-key", machine.fingerprint, "--homedir", "OUT/home"],
            prepare=key_ring,
            before=("home", "home/gpg.conf", "home/pubring.kbx"),
            written=keys_written,
            unwritten=([machine.fingerprint],),
        ),
    ]


def calls_in(trace):
    """The calls by name, and those among them that the loader makes: up to the last library."""
    calls, loader = collections.Counter(), collections.Counter()
    loading = True
    for line in trace.splitlines():
        found = re.match(r"\d+ +(\w+)\(", line)
        if not found:
            continue
        calls[found.group(1)] += 1
        if loading:
            loader[found.group(1)] += 1
            loading = not (found.group(1) == "munmap" and "ld.so.cache" not in line)
    return calls, loader


def try_calls(machine, case, settings, report):
    """Fails every call of the case; the number of failures that have happened."""
    getattr(machine, case.state)()
    reference = run(machine, case)
    calls, loader = calls_in(reference.trace)
    happened = 0
    for name in (name for name in settings.calls if calls[name]):
        errors = ERRORS[name].split()
        for turn in range(min(settings.errors, len(errors))):
            # Each process has a count of its own. What the loader does is none of ours, and what
            # the other programs' loaders do in the same calls is left out with it.
            number = loader[name]
            more = True
            while more:
                injections = []
                for _ in range(2 * settings.jobs):
                    number += settings.step
                    injections.append((name, errors[(number + turn) % len(errors)], number))
                with concurrent.futures.ThreadPoolExecutor(settings.jobs) as pool:
                    results = list(pool.map(lambda inject: run(machine, case, inject), injections))
                machine.remove_locks()
                for inject, result in zip(injections, results):
                    more = bool(result.hit)
                    if not more:
                        break
                    happened += 1
                    problem = judge(case, inject, reference, result)
                    if problem:
                        report(case, inject, problem, result)
    return happened


def why_not():
    """Why nothing can be tried here, or None."""
    if os.environ.get("ZEMO_PRIVATE_ROOT") != "yes":
        return "needs a private root"
    if not shutil.which("strace"):
        return "needs strace"
    if subprocess.run(["strace", "-qq", "-o", os.devnull, "true"], check=False).returncode != 0:
        return "this machine does not let strace look"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--sample", action="store_true")
    parser.add_argument("--errors", type=int, default=99)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--step", type=int, default=1)
    parser.add_argument("build")
    parser.add_argument("--case", action="append", dest="cases")
    parser.set_defaults(calls=ERRORS)
    settings = parser.parse_args()
    if settings.sample:
        settings.cases = ["files-tampered", "make"]
        settings.calls = ["openat", "read", "write", "execve"]
        settings.errors, settings.step = 1, 2

    reason = why_not()
    if reason:
        print(f"[  SKIPPED ] {os.path.basename(__file__)} ({reason})")
        return 1 if "ZEMO_ALL" in os.environ else 0

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # by way of what cleans up
    problems = []

    def report(case, inject, problem, result):
        problems.append(problem)
        name, error, number = inject
        print(f"{case.name}: {name} number {number} fails with {error}: {problem}")
        for program, line in result.hit:
            print(f"    in {program}: {line}")
        print(f"    status {result.status}, output:\n{result.output}    errors:\n{result.errors}")
        sys.stdout.flush()

    with tempfile.TemporaryDirectory(prefix="zemo-faults.") as directory:
        machine = Machine(os.path.abspath(settings.build), directory)
        try:
            total = 0
            for case in all_cases(machine):
                if settings.cases and case.name not in settings.cases:
                    continue
                happened = try_calls(machine, case, settings, report)
                print(f"{case.name}: {happened} failures", flush=True)
                total += happened
        finally:
            machine.close()
    print(f"{total} failures, {len(problems)} problems")
    return 1 if problems or not total else 0


if __name__ == "__main__":
    sys.exit(main())
