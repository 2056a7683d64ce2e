"""The result as Markdown."""

import math
import textwrap

from harness import results
from harness.measure import AGAIN, AGAIN_SECONDS, MOST_SPREAD, Contestant, Run, spread
from harness.results import Aim, Groups
from harness.trees import Work


def seconds_text(seconds: float) -> str:
    digits = 2 if seconds >= 10 else 3 if seconds >= 0.1 else 4
    return f"{seconds:.{digits}f}"


def _row(*cells) -> str:
    return "| " + " | ".join(map(str, cells)) + " |"


def _bound(aim: Aim) -> str:
    if aim.least > 0:
        return f"{aim.least:g} to {aim.most:g}"
    if math.isinf(aim.most):
        return "none"
    return f"at most {aim.most:.3g}{aim.unit}" + (f": {aim.reason}" if aim.reason else "")


def _reached(aim: Aim) -> str:
    if math.isinf(aim.most):
        return ""
    return "yes" if aim.met() else "**no**"


def _spread(runs: list[Run]) -> str:
    text = f"{100 * spread(runs):.0f} %"
    return f"**{text}**" if spread(runs) > MOST_SPREAD else text


def _paragraph(text: str) -> list[str]:
    return [*textwrap.wrap(text, 120), ""]


def _about_spreads(groups: Groups) -> list[str]:
    """A sentence, if any spread is too large."""
    if all(spread(runs) <= MOST_SPREAD for group in groups.values() for runs in group.values()):
        return []
    return _paragraph(
        f"Spreads in bold stayed above {100 * MOST_SPREAD:.0f} %, although these rows were measured again"
        f" up to {AGAIN} times, as far as {AGAIN_SECONDS} s for each table allowed."
    )


def reach(aims: list[Aim]) -> list[str]:
    lines = ["### Reach", "", _row("aim", "bound", "measured", "reached"), "|---|---|---:|---|"]
    for aim in aims:
        digits = 0 if abs(aim.measured) >= 100 else 3
        measured = f"{aim.measured:.{digits}f}{aim.unit}"
        lines.append(_row(aim.text, _bound(aim), measured, _reached(aim)))
    return lines + [""]


def _work(work: Work, groups: Groups, contestants: list[Contestant]) -> list[str]:
    runs = groups[work.name]
    limit = results.median(runs[results.LIMIT])
    gib = work.bytes() / (1 << 30)
    lines = [
        f"### Checking: {work.name}",
        "",
        *_paragraph(
            f"{work.about}: {len(work.regular())} regular files and {len(work.links())} links,"
            f" {gib:.2f} GiB."
        ),
        _row("contestant", "seconds", "of the limit", "spread", "CPU s", "peak MiB", "rounds", ""),
        "|---|---:|---:|---:|---:|---:|---:|---|",
    ]
    for one in contestants:
        done = runs[one.name]
        note = one.note
        if statuses := sorted({run.status for run in done} - {0}):
            note += f"; exit status {', '.join(map(str, statuses))}"
        lines.append(
            _row(
                one.name,
                seconds_text(results.median(done)),
                f"{results.median(done) / limit:.2f}",
                _spread(done),
                seconds_text(results.cpu(done)),
                f"{results.peak_mib(done):.0f}",
                len(done),
                note,
            )
        )
    return lines + [""]


def _plain(title: str, runs: dict) -> list[str]:
    lines = [f"### {title.capitalize()}", ""]
    lines += [_row("what", "seconds", "spread", "peak MiB", "rounds"), "|---|---:|---:|---:|---:|"]
    for name, done in runs.items():
        peak = f"{results.peak_mib(done):.0f}"
        lines.append(_row(name, seconds_text(results.median(done)), _spread(done), peak, len(done)))
    return lines + [""]


def commands(contestants: dict[str, list[Contestant]], shorten) -> str:
    lines = ["```text"]
    for group, members in contestants.items():
        for one in members:
            words = one.command if len(one.command) < 50 else [*one.command[:4], "…"]
            lines.append(f"{group}, {one.name}: {shorten(' '.join(words))}")
    return "\n".join([*lines, "```"]) + "\n"


def markdown(
    machine: dict[str, str],
    versions: dict[str, str],
    command: str,
    works: list[Work],
    groups: Groups,
    contestants: dict[str, list[Contestant]],
    aims: list[Aim],
) -> str:
    lines = [_row("", ""), "|---|---|"]
    lines += [_row(name, text) for name, text in machine.items()]
    lines.append(_row("versions", ", ".join(f"{n} {version}" for n, version in versions.items())))
    lines += [_row("command", f"`{command}`"), ""]
    if aims:
        lines += reach(aims)
    lines += _about_spreads(groups)
    for work in works:
        if work.name in groups:
            lines += _work(work, groups, contestants[work.name])
    for title, runs in groups.items():
        if title not in [work.name for work in works]:
            lines += _plain(title, runs)
    return "\n".join(lines).rstrip() + "\n"
