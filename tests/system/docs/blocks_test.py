#!/usr/bin/env python3
"""Every fenced block of every document works as printed.

    blocks_test.py SOURCE_DIRECTORY BUILD_DIRECTORY [DOCUMENT...]

The blocks of a document are executed in order, by one shell, in an empty folder and a separate
private root, where pkg-config and CMake find the installed library. By language:

    sh        Commands. Each must succeed.
    console   Each line that begins with "$ " is a command (a backslash at its end continues it), and
              the lines below are its output, including errors. "..." matches any text within a
              line, and a line "..." any number of lines. Commands may fail.
    text      Not executed, unless a line begins with "$ ": then like console.
    c, cpp, python, cmake
              A copy of a file in examples/, or begins with a comment that names a file. The test
              writes the file, and a later block must use it.

A block below <!-- not executed: REASON --> is skipped; the test counts and prints them.
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
from documents import Document, documents

CODE = {"c": ".c", "cpp": ".cpp", "python": ".py", "cmake": "CMakeLists.txt"}
NAMED = re.compile(r"(?://|/\*|#) ([\w.-]+\.(?:c|cpp|py|txt))\b")


class Mistake(Exception):
    """A document breaks the convention or is wrong."""


def is_console(block):
    return block.language == "console" or (
        block.language == "text" and any(line.startswith("$ ") for line in block.lines)
    )


def file_name(source, block):
    """Returns the file name of a block of code."""
    for name in sorted(os.listdir(f"{source}/examples")):
        if os.path.isdir(f"{source}/examples/{name}"):
            continue
        with open(f"{source}/examples/{name}", encoding="utf-8") as file:
            if file.read() == block.text:
                return name
    first = next((line for line in block.lines if not line.startswith("#!")), "")
    named = NAMED.match(first)
    if not named or not named[1].endswith(CODE[block.language]):
        raise Mistake("is not a file of examples/, and its first line does not name a file")
    return named[1]


def commands_of(block):
    """Returns the commands of a console block, each with its expected output lines."""
    commands = []
    continued = False
    for line in block.lines:
        if continued:
            commands[-1][0] += "\n" + line
        elif line.startswith("$ "):
            commands.append([line[2:], []])
        elif commands:
            commands[-1][1].append(line)
        else:
            raise Mistake("begins with output instead of a command")
        continued = not commands[-1][1] and line.endswith("\\")
    return commands


def matches(expected, output):
    pattern = ""
    for line in expected:
        if line == "...":
            pattern += r"(?:.*\n)*"
        else:
            pattern += ".*".join(re.escape(part) for part in line.split("...")) + "\n"
    return re.fullmatch(pattern, output) is not None


class Script:
    """The shell script of a document, and the expected output of each step."""

    def __init__(self):
        self.text = "set -euo pipefail\numask 022\n"
        self.steps = []  # (block, command, expected lines or None)

    def begin(self):
        """Redirects the shell's output to another file from here on."""
        self.text += f'exec >"$ZEMO_STEPS/{len(self.steps)}" 2>&1\n'

    def add(self, block, command, expected=None):
        self.begin()
        self.steps.append((block, command, expected))
        if expected is None:
            self.text += command
        else:
            self.text += f"set +euo pipefail\n{command}\nset -euo pipefail\n"


def script_of(source, document, folder):
    """Makes the document's script, and writes the required files into the folder."""
    script = Script()
    files = []
    for block in document.blocks:
        try:
            if block.language not in ("sh", "console", "text", *CODE):
                raise Mistake(f"unknown language '{block.language}'")
            if block.reason:
                continue
            if block.language == "sh":
                script.add(block, block.text)
            elif is_console(block):
                for command, expected in commands_of(block):
                    script.add(block, command, expected)
            elif block.language in CODE:
                name = file_name(source, block)
                if os.path.exists(f"{folder}/{name}"):
                    raise Mistake(f"an earlier block has the same name {name}")
                with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
                    file.write(block.text)
                files.append((block, name, len(script.steps)))
        except Mistake as mistake:
            raise Mistake(f"{document.name}:{block.line}: {mistake}") from None
    for block, name, step in files:
        word = "cmake" if block.language == "cmake" else os.path.splitext(name)[0]
        if not any(word in command for _, command, _ in script.steps[step:]):
            raise Mistake(f"{document.name}:{block.line}: nothing uses {name}")
    script.begin()  # marks the end of the last step
    return script


def execute(source, document, prefix, work):
    """Executes the blocks of a document in the current private root."""
    folder, steps, home = f"{work}/folder", f"{work}/steps", f"{work}/key"
    for directory in (folder, steps, home):
        os.mkdir(directory, mode=0o700)
    script = script_of(source, document, folder)
    with open(f"{work}/script", "w", encoding="utf-8") as file:
        file.write(script.text)
    library = os.path.dirname(glob.glob(f"{prefix}/lib*/**/libzemoselfcheck.so", recursive=True)[0])
    environment = dict(
        os.environ,
        PATH=f"{prefix}/bin:{os.environ['PATH']}:/usr/sbin:/sbin",
        LD_LIBRARY_PATH=library,
        PKG_CONFIG_PATH=f"{library}/pkgconfig",
        CMAKE_PREFIX_PATH=prefix,
        CMAKE_GENERATOR="Ninja",
        GNUPGHOME=home,
        LC_ALL="C",
        ZEMO_STEPS=steps,
    )
    try:
        subprocess.run(
            ["bash", f"{work}/script"], cwd=folder, env=environment, stdin=subprocess.DEVNULL
        )
    finally:
        subprocess.run(["gpgconf", "--homedir", home, "--kill", "all"], stderr=subprocess.DEVNULL)
    judge(document, script, steps)


def judge(document, script, steps):
    for number, (block, command, expected) in enumerate(script.steps):
        place = f"{document.name}:{block.line}"
        with open(f"{steps}/{number}", encoding="utf-8", errors="replace") as file:
            output = file.read()
        if not os.path.exists(f"{steps}/{number + 1}"):
            raise Mistake(f"{place}: a command ends the shell:\n{command}\nprints:\n{output}")
        if expected is not None and not matches(expected, output):
            shown = "".join(line + "\n" for line in expected)
            raise Mistake(f"{place}: $ {command}\nshould print:\n{shown}but prints:\n{output}")


def report(document):
    executed = 0
    for block in document.blocks:
        if block.reason:
            print(f"{document.name}:{block.line}: not executed: {block.reason}")
        elif block.language != "text" or is_console(block):
            executed += 1
    left_out = sum(1 for block in document.blocks if block.reason)
    print(f"{document.name}: {executed} blocks work, {left_out} are not executed")


def inside(source, name, prefix):
    """Tests one document in the private root (or without one, if the machine forbids it)."""
    document = Document(source, name)
    if os.environ["ZEMO_PRIVATE_ROOT"] != "yes":
        print(f"[  SKIPPED ] {name} (needs a private root)")
        return 0
    subprocess.run([f"{source}/scripts/private-root", "--verify"], check=True)
    work = tempfile.mkdtemp(prefix="zemo-blocks.")
    try:
        execute(source, document, prefix, work)
    except Mistake as mistake:
        print(mistake, file=sys.stderr)
        return 1
    finally:
        shutil.rmtree(work)
    report(document)
    return 0


def main(source, build, names):
    prefix = tempfile.mkdtemp(prefix="zemo-prefix.")
    try:
        subprocess.run(
            ["cmake", "--install", build, "--prefix", prefix],
            check=True,
            stdout=subprocess.DEVNULL,
        )
        chosen = names or [document.name for document in documents(source) if document.blocks]
        failed = 0
        for name in chosen:
            command = [f"{source}/scripts/private-root", "--or-without", os.path.abspath(__file__)]
            failed |= subprocess.run([*command, "--inside", source, name, prefix]).returncode
        return 1 if failed else 0
    finally:
        shutil.rmtree(prefix)


if __name__ == "__main__":
    if sys.argv[1] == "--inside":
        sys.exit(inside(*sys.argv[2:]))
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
