"""The documents of the source tree, Markdown and man pages, with their fenced blocks and tables."""

import os
import re

FENCE = re.compile(r"^( *)```([a-z0-9+-]*) *$")
NOT_EXECUTED = re.compile(r"^ *<!-- not executed: (.+) -->$")


class Block:
    """A fenced block: its language, the line of its fence, the reason for not executing it, and its
    lines."""

    def __init__(self, language, line, reason):
        self.language = language
        self.line = line
        self.reason = reason
        self.lines = []

    @property
    def text(self):
        return "".join(line + "\n" for line in self.lines)


class Document:
    """A document: its path below the source tree, its blocks, and the lines outside of blocks."""

    def __init__(self, source, name):
        self.name = name
        self.prose = []  # (number, line)
        self.blocks = []
        block = indent = None
        before = ""
        with open(os.path.join(source, name), encoding="utf-8") as file:
            lines = file.read().splitlines()
        for number, line in enumerate(lines, 1):
            fence = FENCE.match(line)
            if block is None and fence:
                reason = NOT_EXECUTED.match(before)
                indent = len(fence[1])
                block = Block(fence[2], number, reason and reason[1])
            elif block is None:
                self.prose.append((number, line))
            elif line.strip() == "```":
                self.blocks.append(block)
                block = None
            else:
                block.lines.append(line[indent:])
            before = line
        if block:
            raise SystemExit(f"{name}:{block.line}: unterminated block")

    def rows(self, *header):
        """Yields the rows, lists of cells, of all tables whose first row is `header`."""
        for table in self._scdoc_tables() if self.name.endswith(".scd") else self._markdown_tables():
            if [unquoted(cell) for cell in table[0]] == list(header):
                yield from table[1:]

    def _markdown_tables(self):
        """Yields the tables, lists of rows; each line that begins with "|" is a row."""
        table = []
        for _, line in [*self.prose, (0, "")]:
            if not line.startswith("|"):
                if table:
                    yield table
                table = []
            elif set(line) - set("|-: ") or not table:
                table.append([cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]])

    def _scdoc_tables(self):
        """Yields the tables, lists of rows; each cell is a line, "[[" begins a table and "|" a row."""
        table = []
        for _, line in [*self.prose, (0, "")]:
            if line.startswith(("[[ ", "|  ")):
                table.append([line[3:].strip()])
            elif table and line.startswith((":[ ", ":  ")):
                table[-1].append(line[3:].strip())
            elif table:
                yield table
                table = []


def unquoted(cell):
    """Returns the text of a cell without code and bold markup."""
    return cell.strip("`*")


def documents(source):
    """Returns all Markdown documents of the tree, sorted by name."""
    names = []
    for folder, subfolders, files in os.walk(source):
        subfolders[:] = [
            name for name in subfolders if not name.startswith(".") and not is_build(folder, name)
        ]
        for file in files:
            if file.endswith(".md"):
                names.append(os.path.relpath(os.path.join(folder, file), source))
    return [Document(source, name) for name in sorted(names)]


def is_build(folder, name):
    return re.match(r"build($|-)", name) or os.path.exists(
        os.path.join(folder, name, "CMakeCache.txt")
    )
