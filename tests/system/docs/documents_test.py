#!/usr/bin/env python3
"""Documents agree with the source: links, commands, options, exit bits, flags, log lines, tests. They also sync the
disk after the commands that install lists.

    documents_test.py SOURCE_DIRECTORY OPTION_TABLES PROGRAM
"""

import os
import re
import subprocess
import sys

sys.dont_write_bytecode = True
from documents import Document, documents, unquoted

# Options of other programs that the documents mention.
OTHERS = {
    "gpg": "--armor --batch --detach-sign --digest-algo --export --import --list-keys --local-user --passphrase"
    " --quick-generate-key --with-colons",
    "cmake": "--build --component --install --prefix",
    "mount": "--bind",
    "blockdev": "--setro",
    "pkg-config": "--cflags --libs",
    "systemctl": "--now --property",
    "journalctl": "--output --since --unit",
    "apparmor_parser": "--replace",
    "unshare": "--mount",
    "dev": "--all --counts --equivalent --install-peers --merge --parts --record --time",
    "bench/run": "--only --prove --publish --quick --rounds",
}
# The document with the table of each kind. Other documents may repeat it, but must then agree.
COMMANDS = BITS = "man/zemo-selfcheck.1.scd"
FLAGS = "man/libzemoselfcheck.3.scd"
LOG_LINES = "docs/operators-guide.md"
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
CODE = re.compile(r"`([^`]+)`")
# Commands that install lists, signatures or their order, and the command that syncs the disk.
INSTALLS = re.compile(r"install .*/usr/zemo/selfcheck\b|(>|\bsed -i\b).*/usr/zemo/selfcheck/\S*listorder")
SYNC = "sync -f /usr/zemo/selfcheck"
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def slug(heading):
    """Returns the anchor of a heading in links."""
    text = re.sub(r"[^\w\- ]", "", heading.replace("`", "").lower())
    return text.strip().replace(" ", "-")


def anchors(document):
    headings = (re.match(r"#+ (.+)", line) for _, line in document.prose)
    return {slug(heading[1]) for heading in headings if heading}


def broken_links(source, all_documents):
    by_name = {document.name: document for document in all_documents}
    for document in all_documents:
        for number, line in document.prose:
            for target in LINK.findall(CODE.sub("", line)):
                path, _, anchor = target.partition("#")
                if re.match(r"[a-z]+:", target):
                    continue
                name = os.path.normpath(os.path.join(os.path.dirname(document.name), path))
                if not path:
                    name = document.name
                if not os.path.exists(os.path.join(source, name)):
                    yield f"{document.name}:{number}: {name} does not exist"
                elif anchor and anchor not in anchors(by_name[name]):
                    yield f"{document.name}:{number}: {name} has no heading {anchor}"


def code_of(document):
    """Yields every piece of code with its line number: lines of blocks, words in the text."""
    for block in document.blocks:
        if block.language in ("sh", "console", "text"):
            for number, line in enumerate(block.text.splitlines(), block.line + 1):
                # A block that is not executed may contain commands of any program.
                if block.language != "text" or "zemo-selfcheck" in line:
                    yield number, line
    for number, line in document.prose:
        for code in CODE.findall(line):
            yield number, code


def wrong_options(document, tables):
    """Yields the options that no program has, or that the named command does not have."""
    known = set().union(*tables.values(), *(options.split() for options in OTHERS.values()))
    command = re.compile(r"(?:^|zemo-selfcheck )(" + "|".join(tables) + r")(?= |$)([^|;&)$]*)")
    for number, code in code_of(document):
        for option in OPTION.findall(code):
            if option not in known | {"--version"}:
                yield f"{document.name}:{number}: no program takes {option}"
        for name, rest in command.findall(code):
            for option in OPTION.findall(rest):
                if option not in tables[name]:
                    yield f"{document.name}:{number}: {name} does not take {option}"


def expected_in(document, home, rows):
    """Tells whether the document must have the right rows: it contains some, or it is their
    home."""
    return bool(rows) or document.name == home


def wrong_commands(document, tables):
    rows = list(document.rows("command", "what it does"))
    named = {unquoted(name) for row in rows for name in row[0].split(", ")}
    if expected_in(document, COMMANDS, rows) and named != set(tables):
        yield f"{document.name}: the table of commands has {sorted(named)} instead of {sorted(tables)}"


def wrong_bits(document, bits):
    """Compares the tables of exit bits with the program's help."""
    rows = list(document.rows("bit", "meaning"))
    if expected_in(document, BITS, rows) and [row[0] for row in rows] != bits:
        yield f"{document.name}: the table of exit bits differs from --help, {bits}"


def wrong_flags(document, flags):
    rows = list(document.rows("bit", "field", "meaning"))
    found = [(row[0], unquoted(row[1])) for row in rows]
    if expected_in(document, FLAGS, rows) and found != flags:
        yield f"{document.name}: the table of flags differs from self_check_result.h"


def wrong_log_lines(document, lines):
    """Compares tables of log lines with all lines that the library can write."""
    rows = [unquoted(row[0]) for row in document.rows("log line", "what it means", "what to do")]
    if not expected_in(document, LOG_LINES, rows):
        return
    for line in lines:
        pattern = "[^ ]+".join(re.escape(part) for part in line.split("%s"))
        matching = [row for row in rows if re.fullmatch(pattern, row)]
        if len(matching) != 1:
            yield f"{document.name}: {len(matching)} rows describe the log line '{line}'"
        rows = [row for row in rows if row not in matching]
    for row in rows:
        yield f"{document.name}: the library writes no log line '{row}'"


def wrong_names(document, tests, verbs):
    """Yields tests (Suite.Test) and verbs of ./dev that do not exist."""
    for number, code in code_of(document):
        if re.fullmatch(r"[A-Z]\w+\.[A-Z]\w+", code) and code not in tests:
            yield f"{document.name}:{number}: the test {code} does not exist"
        for verb in re.findall(r"\./dev (\w+)", code):
            if verb not in verbs:
                yield f"{document.name}:{number}: ./dev has no {verb}"


def unsynced(document):
    """Yields the commands that install something without another one or a sync after them."""
    for block in document.blocks:
        commands = [line.strip().removeprefix("$ ") for line in block.lines]
        for number, command in enumerate(commands):
            rest = commands[number + 1 :]
            if INSTALLS.search(command) and not (rest and (rest[0] == SYNC or INSTALLS.search(rest[0]))):
                yield f"{document.name}:{block.line + 1 + number}: {SYNC} does not follow"


def manual_pages(source):
    return [
        Document(source, f"man/{name}")
        for name in sorted(os.listdir(os.path.join(source, "man")))
        if name.endswith(".scd")
    ]


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def option_tables(program):
    """Returns the options of every command."""
    tables = {}
    for line in subprocess.check_output([program], text=True).splitlines():
        command, option, _ = line.split("\t")
        tables.setdefault(command, set()).add(option)
    return tables


def exit_bits(program):
    text = subprocess.check_output([program, "--help"], text=True)
    sentence = re.search(r"Exit status: 0 if all is well, otherwise the sum of (.*?)\.", " ".join(text.split()))
    return re.findall(r"\d+", sentence[1])


def result_flags(source):
    header = read(source, "include/zemo/selfcheck/self_check_result.h")
    return [(bit, field) for field, bit in re.findall(r"uint32_t (\w+) : 1; +/\* (0x\d+)", header)]


def log_lines(source):
    """Returns all log lines as MODULE:LINE and the format of the text."""
    text = read(source, "src/log.cpp")
    modules = dict(re.findall(r'const char\* const (\w+) = "(\w+)"', text))
    calls = re.findall(r'syslog\(LOG_ERR, "%s:%d ([^"]+)", (\w+),\s+(\d+)', text)
    return [f"{modules[module]}:{number} {line}" for line, module, number in calls]


def test_names(source):
    names = set()
    for directory, _, files in os.walk(os.path.join(source, "tests")):
        for name in files:
            if name.endswith(".cpp"):
                text = read(directory, name)
                found = re.findall(r"\bTEST(?:_[FP])?\((\w+),\s*(\w+)\)", text)
                names |= {".".join(pair) for pair in found}
    return names


def verbs_of_dev(source):
    cases = re.search(r"case \$command in\n(.*)\nesac", read(source, "dev"), re.DOTALL)[1]
    return set(re.findall(r"\w+", cases))


def main(source, tables_program, program):
    all_documents = documents(source)
    tables = option_tables(tables_program)
    tests, verbs = test_names(source), verbs_of_dev(source)
    complaints = list(broken_links(source, all_documents))
    for document in all_documents:
        complaints += wrong_options(document, tables)
        complaints += wrong_names(document, tests, verbs)
    for document in all_documents + manual_pages(source):
        complaints += wrong_commands(document, tables)
        complaints += wrong_bits(document, exit_bits(program))
        complaints += wrong_flags(document, result_flags(source))
        complaints += wrong_log_lines(document, log_lines(source))
        complaints += unsynced(document)
    for complaint in complaints:
        print(complaint, file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
