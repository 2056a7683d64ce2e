"""Copies a result to docs/."""

import shutil
from pathlib import Path

from harness.failure import Failure

DOCS = Path(__file__).resolve().parents[2] / "docs"
BEGIN, END = "<!-- begin of the result -->", "<!-- end of the result -->"


def publish(output: Path):
    page = DOCS / "performance.md"
    text = page.read_text(encoding="utf-8")
    if text.count(BEGIN) != 1 or text.count(END) != 1:
        raise Failure(f"{page} lacks the lines {BEGIN} and {END}; restore them")
    before, rest = text.split(BEGIN)
    after = rest.split(END)[1]
    result = (output / "performance.md").read_text(encoding="utf-8")
    page.write_text(f"{before}{BEGIN}\n\n{result}\n{END}{after}", encoding="utf-8")
    if (output / "performance.svg").exists():
        shutil.copy(output / "performance.svg", DOCS)
