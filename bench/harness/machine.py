"""The hardware and software of the measurement."""

import os
import platform
import subprocess
import time
from pathlib import Path


def _output(*command: str) -> str:
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False
    )
    return done.stdout.strip()


def _field(file: str, name: str) -> str:
    for line in Path(file).read_text(encoding="utf-8").splitlines():
        if line.split(":")[0].strip() == name:
            return line.split(":", 1)[1].strip()
    return "unknown"


def file_system(path: str) -> str:
    return _output("findmnt", "--noheadings", "--output", "FSTYPE", "--target", path) or "unknown"


def describe(trees: Path) -> dict[str, str]:
    memory = int(_field("/proc/meminfo", "MemTotal").split()[0]) / (1 << 20)
    return {
        "date": time.strftime("%Y-%m-%d", time.gmtime()),
        "processor": f"{_field('/proc/cpuinfo', 'model name')}, {os.cpu_count()} processors",
        "SHA-1 instructions": "yes" if "sha_ni" in _field("/proc/cpuinfo", "flags") else "no",
        "memory": f"{memory:.1f} GiB",
        "kernel": platform.release(),
        "system": _field_of_release("PRETTY_NAME"),
        "file systems": f"{file_system('/usr/bin')} (real), {file_system(str(trees))} (made trees)",
    }


def _field_of_release(name: str) -> str:
    for line in Path("/etc/os-release").read_text(encoding="utf-8").splitlines():
        if line.startswith(name + "="):
            return line.split("=", 1)[1].strip('"')
    return "unknown"


def versions() -> dict[str, str]:
    """The versions of all Debian packages that take part."""
    names = "aide coreutils debsums gnupg gnuplot-nox hashdeep integrit libc6 libssl3 mtree-netbsd rpm"
    lines = _output("dpkg-query", "-W", "-f", "${Package} ${Version}\n", *names.split())
    found = dict(line.split() for line in lines.splitlines() if len(line.split()) == 2)
    found["compiler"] = _output("c++", "--version").splitlines()[0]
    return found
