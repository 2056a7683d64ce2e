"""Whether a run with a failure ended as documented."""

import os
import re

from cases import metrics_written
from machine import TOOL

CHANGED, MISSING, STRAY, UNCHECKED, NOT_LOADED = 1, 2, 4, 8, 16
ALL_BITS = CHANGED | MISSING | STRAY | UNCHECKED | NOT_LOADED
REMOVING = {"unlink", "unlinkat", "rmdir"}

# Failures after which GnuPG never ends, while the program waits for it: GnuPG reads its options
# again and again if that fails, and waits for a lock that it could not remove.
ENDLESS_IN_GNUPG = re.compile(r'read\(\d+<[^>]*/gpg\.conf>|unlink\("[^"]*(/\.#lk[^"/]*|\.lock)"')


def judge(case, reference, result):
    """The problem with the run, or None."""
    if result.status is None:
        return None if hangs_in_gnupg(result) else "it hangs"
    if result.status < 0 or result.status > 127:
        return "it crashes"
    if result.status & ~ALL_BITS:
        return f"the status {result.status} says that the arguments are wrong"
    return (
        left_behind(case, reference, result)
        or wrongly_written(case, reference, result)
        or wrongly_told(case, reference, result)
    )


def hangs_in_gnupg(result):
    return any(call.program == "gpg" and ENDLESS_IN_GNUPG.match(call.text) for call in result.hit)


def left_behind(case, reference, result):
    if result.processes:
        return f"it leaves the processes {result.processes}"
    unknown = set(result.names) - set(reference.names) - set(case.before)
    for name in [*result.left, *unknown]:
        if not could_not_remove(name, result):
            return f"it leaves {name}"
    return None


def could_not_remove(name, result):
    return any(call.name in REMOVING and os.path.basename(name) in call.text for call in result.hit)


def wrongly_written(case, reference, result):
    documented = (reference.written, *case.unwritten)
    if case.written == metrics_written:  # they are written at the end of every run
        status = result.status
        documented = (None, f"status ['{status & ~UNCHECKED}']", f"status ['{status}']")
    if result.written not in documented:
        return f"it has written {result.written!r}"
    changed = result.written != reference.written
    if changed and result.written in case.unwritten and not result.errors:
        return "nothing is written, and nothing reports it"
    return None


def wrongly_told(case, reference, result):
    status = result.status
    if case.state == "forged" and not status & NOT_LOADED:
        return "a forged signature passes"
    if case.state == "unfit" and not status & NOT_LOADED:
        return "a set that does not fit its manifest passes"
    if status == reference.status and result.output == reference.output:
        return None
    if status == 0:
        allowed = case.tells and case.state == "intact" and re.search(case.tells, result.output)
        return None if allowed else "it succeeds with different output"
    new = status & ~reference.status
    lost_message = any(re.match(r"write\(2[<,]", call.text) for call in result.hit)
    if new & (UNCHECKED | NOT_LOADED) and not result.errors and not lost_message:
        if result.output == reference.output:
            return "nothing reports the reason"
    if not status & NOT_LOADED:
        for path in case.tampered:
            if not told_of(path, reference, result):
                return f"{path} differs, but is not among the findings"
    if any(f"intact {path}\n" in result.output for path in case.tampered):
        return "a changed file is called intact"
    if new & STRAY:
        return "something is called stray"
    # make checks the listed files again at the end; a file that then seems missing counts as
    # changed.
    if new & CHANGED and not (case.words[0] == "make" and all_missing_unseen(reference, result)):
        return "something is called changed"
    if new & MISSING and not all_missing_unseen(reference, result):
        return "something is called missing"
    return None


def told_of(path, reference, result):
    """Whether the changed file is found, or reported as one that could not be checked."""
    if (result.status ^ reference.status) & CHANGED == 0 and lost_output(result):
        return True
    lines = [line for line in result.output.splitlines() if path in line]
    if any(not is_unchecked(line) for line in lines):
        return True
    named = lines or path in result.errors
    return bool(named and result.status & UNCHECKED)


def is_unchecked(line):
    return " could not be checked" in line or '"record":"unchecked"' in line


def lost_output(result):
    return result.status & UNCHECKED and any(
        call.program == TOOL and re.match(r"write\(1[<,]", call.text) for call in result.hit
    )


def all_missing_unseen(reference, result):
    """A file that cannot be examined counts as missing: that file, and no other."""
    before = set(reference.output.splitlines())
    new = [line for line in (result.output + result.errors).splitlines() if line not in before]
    unseen = [
        path
        for call in result.hit
        if call.name == "newfstatat"
        for path in re.findall(r'newfstatat\([^"]*"([^"]+)"', call.text)
    ]
    # The last line of text, and of JSON, has no path.
    findings = [line for line in new if " not exist " in line or "notExist" in line]
    findings += [line for line in new if '"record":"entry"' in line]
    return bool(findings) and all(any(names(line, path) for path in unseen) for line in findings)


def names(line, path):
    return re.search(re.escape(path) + r'(["\s]|$)', line)
