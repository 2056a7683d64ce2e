"""The tested commands, their preconditions, and their expected output files."""

import os
import re
import shutil
import subprocess

from machine import LISTS, PACKAGE, read, write

NEW = "wam.full.new.list"
MANIFEST = "wam.full.manifest"
SERIAL = "wam.full.serial"
OLD = ("wam.full.base.list", "wam.full.old.list")
BLOCKER = "wam.full.unfinished-install.list"


class Case:
    def __init__(self, name, state, words, **options):
        self.name = name
        self.state = state  # of the machine: the name of a method of Machine
        self.words = words  # OUT is a separate directory for each run
        self.prepare = options.get("prepare", nothing)
        self.before = options.get("before", ())  # names that exist at the start
        self.written = options.get("written", nothing)
        self.unwritten = options.get("unwritten", (None,))  # allowed results after a failure
        self.tampered = options.get("tampered", ())
        self.tells = options.get("tells")  # words with which different output is a success


def nothing(machine, out):
    del machine, out


# Preparations.


def unsigned_list(machine, out):
    write(f"{out}/{NEW}", machine.signed)


def changed_list(machine, out):
    write(f"{out}/{NEW}", machine.signed.replace("\tf\t", "\t-\t", 1))


def unlabelled_list(machine, out):
    header, _, entries = machine.signed.split("\n", 2)
    write(f"{out}/{NEW}", f"{header}\nfree text\n{entries}")


def removal_list(machine, out):
    removals = f"-{machine.file}\t-\t-\t-\t-\t-\t-\n-/none\t-\t-\t-\t-\t-\t-\n"
    write(f"{out}/wam.full.more.list", "WAM_SELF_CHECK\n\n" + removals)


def key_ring(machine, out):
    del machine
    os.mkdir(out + "/home", 0o755)
    for name in ("gpg.conf", "pubring.kbx"):
        shutil.copy(LISTS + "/" + name, out + "/home")


def earlier_serial(machine, out):
    del machine
    os.mkdir(out + "/state", 0o700)
    write(f"{out}/state/{SERIAL}", "5\n")


def accepts_hash(machine, out):
    write(out + "/accepted", f"{machine.file}\thash\n")


def accepts_others(machine, out):
    write(out + "/accepted", f"{machine.tree}/fixed/\n{machine.file}\tsize\n")


def sent_and_old(machine, out):
    """A set with its manifest, and another one in the directory where it is to be installed."""
    for name in ("set", "sent"):
        os.mkdir(f"{out}/{name}", 0o755)
    for end in ("", ".asc"):
        shutil.copy(machine.list + end, f"{out}/sent")
        shutil.copy(f"{machine.directory}/manifest{end}", f"{out}/sent/{MANIFEST}{end}")
        for name in ("base", "old"):
            write(f"{out}/set/wam.full.{name}.list{end}", f"of the old set{end}")
    write(f"{out}/set/other", "of somebody else")


# Written output, or None.


def list_written(machine, out):
    del machine
    return read(f"{out}/{NEW}") if os.path.exists(f"{out}/{NEW}") else None


def package_list_written(machine, out):
    del machine
    path = f"{out}/{PACKAGE}.full.new.list"
    return read(path) if os.path.exists(path) else None


def signature_of(machine, path):
    if not os.path.exists(path + ".asc"):
        return None
    command = ["gpg", "--homedir", machine.keys, "--batch", "--verify", path + ".asc", path]
    return subprocess.run(command, capture_output=True, check=False).returncode == 0


def signature_written(machine, out):
    return signature_of(machine, f"{out}/{NEW}")


def manifest_written(machine, out):
    return signature_of(machine, f"{out}/{MANIFEST}")


def serial_written(machine, out):
    del machine
    return read(f"{out}/state/{SERIAL}")


def set_written(machine, out):
    """Which set is installed."""
    del machine
    names = set(os.listdir(out + "/set")) - {".zemo-lock"}
    if BLOCKER in names:
        return "none that loads"
    if read(out + "/set/other") != "of somebody else":
        return "damaged"
    new = set(os.listdir(out + "/sent"))
    if new == names - {"other", ".previous"}:
        same = all(read(f"{out}/set/{name}") == read(f"{out}/sent/{name}") for name in new)
        return "new" if same else "half"
    old = {name + end for name in OLD for end in ("", ".asc")}
    unchanged = old == names - {"other", ".previous"} and all(
        read(f"{out}/set/{name}").startswith("of the old set") for name in old
    )
    return "old" if unchanged else "half"


def keys_written(machine, out):
    """The keys of the ring: None if it does not exist, False if it is unusable."""
    del machine
    if not os.path.exists(out + "/home/pubring.kbx"):
        return None
    command = ["gpg", "--homedir", out + "/home", "--batch", "--no-permission-warning"]
    command += ["--with-colons", "--list-keys"]
    listed = subprocess.run(command, capture_output=True, check=False)
    keys = re.findall(r"^fpr:+(\w+):", listed.stdout.decode(), re.M)
    return keys if listed.returncode == 0 else False


def metrics_written(machine, out):
    """The exit status of the set in the metrics."""
    del machine
    path = out + "/metrics.prom"
    if not os.path.exists(path):
        return None
    found = re.findall(r"^zemo_selfcheck_exit_status.* (\d+)$", read(path), re.M)
    return f"status {found}"


def checks(machine):
    tampered = {"tampered": (machine.file,)}
    accept = {"before": ("accepted",), **tampered}
    words = ["check", "--accept", "OUT/accepted"]
    metrics = ["check", "--metrics", "OUT/metrics.prom"]
    program = (machine.target + "/program",)
    root = ["check", "--root", "/"]
    return [
        Case("check", "intact", ["check", "--jobs", "1"]),
        Case("check-threads", "tampered", ["check", "--jobs", "3"], **tampered),
        Case("check-tampered", "tampered", ["check", "--jobs", "1"], **tampered),
        Case("check-json", "tampered", ["check", "--format", "json"], **tampered),
        Case("check-metrics", "intact", metrics, written=metrics_written),
        Case("check-forged", "forged", ["check"]),
        Case("check-manifest", "unfit", ["check", "--require", "manifest", "--jobs", "1"]),
        Case(
            "check-state",
            "described",
            ["check", "--require", "manifest", "--state", "OUT/state", "--jobs", "1"],
            prepare=earlier_serial,
            before=("state", f"state/{SERIAL}"),
            written=serial_written,
            unwritten=("5\n",),
        ),
        Case("check-unverified", "tampered", ["check", "--no-verify"], **tampered),
        Case("check-accepted", "tampered", words, prepare=accepts_hash, **accept),
        Case("check-not-accepted", "tampered", words, prepare=accepts_others, **accept),
        Case("check-all", "package_tampered", ["check", "--all"], tampered=program),
        Case("check-root", "tampered", [*root, "--jobs", "1"], **tampered),
        Case("check-root-package", "package_tampered", [*root, "--all"], tampered=program),
        Case("check-package", "package_tampered", ["check", PACKAGE], tampered=program),
    ]


def looks(machine):
    files = ["files", machine.file, machine.tree + "/fixed", machine.tree + "/link"]
    strict = ["verify", "--strict", "--key", machine.fingerprint]
    # If the program cannot read an order, it reports that.
    tells = {"tells": "listorder' cannot be read|cannot read '[^']*listorder'"}
    diff = ["diff", machine.list, "OUT/" + NEW]
    return [
        Case("files", "intact", files),
        Case("files-tampered", "tampered", files, tampered=(machine.file,)),
        Case("files-forged", "forged", files),
        Case("verify", "intact", ["verify"], **tells),
        Case("verify-strict", "intact", strict),
        Case("verify-forged", "forged", ["verify"]),
        Case("show", "intact", ["show"]),
        Case("show-all", "intact", ["show", "--all", "--no-verify"]),
        Case("diff", "intact", diff, prepare=changed_list, before=(NEW,)),
        Case("diff-root", "intact", ["diff", "wam", "wam", "--root", "/", "--root", "/"]),
        Case("doctor", "intact", ["doctor"]),
        Case("doctor-root", "intact", ["doctor", "--root", "/"]),
        Case("doctor-forged", "forged", ["doctor"]),
    ]


def makes(machine):
    output = ["--output", "OUT/" + NEW]
    fixed = ["--fixed", machine.tree + "/fixed"]
    key = ["--key", machine.fingerprint, "--homedir", machine.keys]
    home = ["--homedir", "OUT/home"]
    written = {"written": list_written}
    base = ["make", machine.tree, *fixed, "--base", machine.list, *output]
    root = ["make", "--root", "/"]
    of_package = ["make", machine.target, "--package", PACKAGE]
    return [
        Case("make", "intact", ["make", machine.tree, *fixed, *output], **written),
        Case("make-base", "tampered", base, **written),
        Case("make-dpkg", "intact", ["make", "--dpkg", "hostname", *output], **written),
        Case("make-root", "intact", [*root, machine.tree, *fixed, *output], **written),
        Case("make-root-dpkg", "intact", [*root, "--dpkg", "hostname", *output], **written),
        Case(
            "make-package",
            "intact",
            [*of_package, "--output", f"OUT/{PACKAGE}.full.new.list"],
            written=package_list_written,
        ),
        Case(
            "merge",
            "intact",
            ["merge", machine.list, "OUT/wam.full.more.list", *output],
            prepare=removal_list,
            before=("wam.full.more.list",),
            **written,
        ),
        Case(
            "sign",
            "intact",
            ["sign", "OUT/" + NEW, *key],
            prepare=unsigned_list,
            before=(NEW,),
            written=signature_written,
        ),
        Case(
            "sign-manifest",
            "intact",
            ["sign", "--manifest", "OUT/" + MANIFEST, "OUT/" + NEW, *key],
            prepare=unlabelled_list,
            before=(NEW,),
            written=manifest_written,
        ),
        # Where a call fails that shows that the directory cannot be exchanged, file by file.
        Case(
            "install",
            "intact",
            ["install", "--lists", "OUT/set", "OUT/sent"],
            prepare=sent_and_old,
            before=("set/" + BLOCKER, *(f"set/{name}{end}" for name in OLD for end in ("", ".asc"))),
            written=set_written,
            unwritten=("old", "none that loads"),
        ),
        Case(
            "init-home",
            "intact",
            ["init-home", *home, "--import", machine.directory + "/maker.gpg"],
            before=("home", "home/gpg.conf"),
            written=keys_written,
        ),
        Case(
            "remove-key",
            "intact",
            ["remove-key", machine.fingerprint, *home],
            prepare=key_ring,
            before=("home", "home/gpg.conf", "home/pubring.kbx"),
            written=keys_written,
            unwritten=([machine.fingerprint],),
        ),
    ]


def all_cases(machine):
    return checks(machine) + looks(machine) + makes(machine)
