#!/usr/bin/env python3
"""Counts the instructions of the fixed workloads and compares them with the recorded ones.

Instruction counts, unlike times, are the same in every run, whatever else the machine does.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

WORKLOADS = ("entry", "load", "shuffled", "check", "named")
RECORDED = pathlib.Path(__file__).with_name("recorded.txt")
TOLERANCE = 0.02

# glibc selects implementations by the processor's features. Disabling all extensions gives the same
# one on every machine. No other variables of the environment are used.
ENVIRONMENT = {
    "PATH": "/usr/bin:/bin",
    "TMPDIR": os.environ.get("TMPDIR", "/tmp"),
    "LC_ALL": "C",
    "LD_BIND_NOW": "1",  # look up symbols before counting starts
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX,-AVX2,-BMI1,-BMI2,-ERMS,-FMA,-FMA4,-LZCNT,-MOVBE,"
    "-POPCNT,-RTM,-SSE4_1,-SSE4_2,-SSSE3,-XSAVE,-XSAVEC,-AVX_Fast_Unaligned_Load,"
    "-Fast_Unaligned_Copy,-Fast_Unaligned_Load,-Fast_Copy_Backward,-Fast_Rep_String,-Slow_BSF",
}


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def instructions_in(profile):
    """The sum of callgrind's file of uncompressed names and positions, except for libcrypto.

    Its instructions also depend on the processor, and would outnumber those of the library.
    """
    total, ours, callee = 0, False, False
    for line in profile.splitlines():
        if line.startswith("ob="):
            ours = "libcrypto" not in line
        elif line.startswith("calls="):
            callee = True  # the next line has the instructions of the called function
        elif line[:1].isdigit():
            if ours and not callee:
                total += int(line.split()[1])
            callee = False
    return total


def count(program, workload):
    """The instructions in the part of a workload that the program selects for callgrind."""
    with tempfile.TemporaryDirectory() as directory:
        profile = pathlib.Path(directory, "profile")
        command = ["valgrind", "--quiet", "--tool=callgrind", "--instr-atstart=no"]
        command += ["--compress-strings=no", "--compress-pos=no"]
        command += [f"--callgrind-out-file={profile}", program, workload]
        subprocess.run(command, check=True, env=ENVIRONMENT)
        return instructions_in(profile.read_text())


def read_record():
    """The versions used for the recorded counts, and the counts by workload."""
    versions, counts = "", {}
    if RECORDED.exists():
        for line in RECORDED.read_text().splitlines():
            if line.startswith("# "):
                versions = line[2:]
            else:
                name, instructions = line.split()
                counts[name] = int(instructions)
    return versions, counts


def write_record(versions, counts):
    lines = [f"# {versions}"] + [f"{name} {counts[name]}" for name in WORKLOADS]
    RECORDED.write_text("\n".join(lines) + "\n")


def compare(recorded, now):
    """Prints the table; true if no workload takes noticeably more than recorded."""
    good = True
    print(f"{'workload':<10}{'recorded':>15}{'now':>15}{'ratio':>8}")
    for name in WORKLOADS:
        if name not in recorded:
            print(f"{name:<10}{'-':>15}{now[name]:>15,}{'-':>8}  new; record it with --record")
            continue
        ratio = now[name] / recorded[name]
        remark = ""
        if ratio > 1 + TOLERANCE:
            remark = "  WORSE"
            good = False
        elif ratio < 1 - TOLERANCE:
            remark = "  better; record it with --record"
        print(f"{name:<10}{recorded[name]:>15,}{now[name]:>15,}{ratio:>8.3f}{remark}")
    return good


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build folder")
    parser.add_argument("--record", action="store_true", help="record the current counts")
    arguments = parser.parse_args()

    program = arguments.build.resolve() / "bench/counts/counts_workload"
    versions = f"{output_of(program, '--versions')}, {output_of('valgrind', '--version')}"
    counts = {name: count(program, name) for name in WORKLOADS}
    recorded_versions, recorded = read_record()
    good = compare(recorded, counts)
    if recorded and recorded_versions != versions:
        print(f"recorded with: {recorded_versions}\nnow:           {versions}")
        print("That may explain differences.")
    if arguments.record:
        write_record(versions, counts)
        print(f"recorded in {RECORDED}")
        return 0
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
