"""The results of the cases, as a table."""

import dataclasses


@dataclasses.dataclass
class Row:
    """One measurement: its figures by name, and its bounds by their text."""

    case: str
    figures: dict
    bounds: dict

    @property
    def passed(self):
        return all(self.bounds.values())


def figures_of(row):
    return ", ".join(f"{name} {value}" for name, value in row.figures.items())


def line(row):
    """One row, printed as soon as it is known."""
    bounds = "; ".join(text if held else f"NOT {text}" for text, held in row.bounds.items())
    return f"{'ok  ' if row.passed else 'FAIL'}  {row.case}: {figures_of(row)} ({bounds})"


def table(rows):
    """The rows as lines: verdict, case, figures, bounds that held, bounds that did not."""
    width = max(len(row.case) for row in rows)
    lines = []
    for row in rows:
        verdict = "ok" if row.passed else "FAIL"
        lines.append(f"{verdict:4}  {row.case:{width}}  {figures_of(row)}")
        for text, held in row.bounds.items():
            lines.append(f"{'':{width + 8}}{'' if held else 'NOT '}{text}")
    failed = sum(not row.passed for row in rows)
    lines.append(f"{len(rows) - failed} of {len(rows)} passed")
    return "\n".join(lines) + "\n"
