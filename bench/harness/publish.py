"""Copies a result to docs/performance.md and its commands to bench/README.md."""

import shutil
from pathlib import Path

from harness.failure import Failure

SOURCE = Path(__file__).resolve().parents[2]


def publish(output: Path):
    _replace(SOURCE / "docs" / "performance.md", "result", output / "performance.md")
    _replace(SOURCE / "bench" / "README.md", "commands", output / "commands.md")
    if (output / "performance.svg").exists():
        shutil.copy(output / "performance.svg", SOURCE / "docs")


def _replace(page: Path, name: str, source: Path):
    """Replaces the part of the page between its two marker lines."""
    begin, end = f"<!-- begin of the {name} -->", f"<!-- end of the {name} -->"
    text = page.read_text(encoding="utf-8")
    if text.count(begin) != 1 or text.count(end) != 1:
        raise Failure(f"{page} does not have the two lines {begin} and {end}; restore them")
    before, rest = text.split(begin)
    after = rest.split(end)[1]
    content = source.read_text(encoding="utf-8")
    page.write_text(f"{before}{begin}\n\n{content}\n{end}{after}", encoding="utf-8")
