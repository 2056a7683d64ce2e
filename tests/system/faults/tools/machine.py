"""The objects of the program's work: a tree of files, a package, keys, and sets of lists."""

import os
import re
import shutil
import subprocess

LISTS = "/usr/zemo/selfcheck"
PACKAGE = "notes"
TOOL = "zemo-selfcheck"
TIME_STAMP = "1790000000"


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def read(path):
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        return file.read()


class Machine:
    """A tree described by the system's set, and a package with its own set."""

    def __init__(self, build, directory):
        self.tool = os.path.join(build, "tools", TOOL)
        self.stopper = os.path.join(build, "tests", "system", "faults", "libafter_loading.so")
        self.directory = directory
        self.tree = directory + "/tree"
        self.file = self.tree + "/file"
        self.target = f"/var/packages/{PACKAGE}/target"
        self.keys = directory + "/keys"
        self.list = LISTS + "/wam.full.base.list"
        self._make_files()
        self._make_keys()
        self._make_lists()
        self.signed = read(self.list)

    def _make_files(self):
        os.makedirs(self.tree + "/fixed")
        write(self.file, "x" * 20000)
        write(self.tree + "/fixed/member", "content")
        os.symlink("file", self.tree + "/link")
        os.makedirs(self.target)
        write(self.target + "/program", "content")
        write(f"/var/packages/{PACKAGE}/user", "nobody\n")

    def _make_keys(self):
        os.mkdir(self.keys, 0o700)
        write(self.keys + "/gpg.conf", "no-autostart\n")
        self._call("gpg-agent", "--homedir", self.keys, "--daemon", "--quiet")
        new_key = ("--quick-generate-key", "maker@example.org", "ed25519", "sign")
        self._gpg("--passphrase", "", *new_key)
        listed = self._gpg("--with-colons", "--list-keys")
        self.fingerprint = re.search(r"^fpr:+(\w+):", listed, re.M).group(1)
        self._gpg("--output", self.directory + "/maker.gpg", "--export")
        self._call(self.tool, "init-home", "--import", self.directory + "/maker.gpg")

    def _make_lists(self):
        of_package = f"{LISTS}/packages/{PACKAGE}/{PACKAGE}.full.base.list"
        os.mkdir(os.path.dirname(of_package))
        made = {
            self.list: [self.tree, "--fixed", self.tree + "/fixed"],
            of_package: [self.target, "--package", PACKAGE],
        }
        for path, words in made.items():
            self._call(self.tool, "make", *words, "--output", path)
            key = ["--key", self.fingerprint, "--homedir", self.keys]
            self._call(self.tool, "sign", path, *key)
        write(LISTS + "/listorder", "wam.full.base.list\n")
        manifest = LISTS + "/wam.full.manifest"
        self._call(self.tool, "sign", "--manifest", manifest, self.list, *key)
        for end in ("", ".asc"):
            shutil.move(manifest + end, self.directory + "/manifest" + end)

    @staticmethod
    def _call(*words):
        environment = dict(os.environ, SOURCE_DATE_EPOCH=TIME_STAMP)
        done = subprocess.run(words, capture_output=True, env=environment, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{words}: {done.returncode} {done.stderr.decode()}")
        return done.stdout.decode()

    def _gpg(self, *words):
        command = ("gpg", "--homedir", self.keys, "--batch", "--pinentry-mode", "loopback")
        return self._call(*command, *words)

    def close(self):
        subprocess.run(["gpgconf", "--homedir", self.keys, "--kill", "all"], check=False)

    @staticmethod
    def remove_locks():
        """Removes the locks that GnuPG could not remove."""
        for name in os.listdir(LISTS):
            if name.startswith(".#lk") or name.endswith(".lock"):
                os.remove(LISTS + "/" + name)

    # The states that the cases need.

    def intact(self):
        write(self.file, "x" * 20000)
        write(self.target + "/program", "content")
        write(self.list, self.signed)
        for name in ("wam.full.manifest", "wam.full.copy.list"):
            for end in ("", ".asc"):
                if os.path.exists(f"{LISTS}/{name}{end}"):
                    os.remove(f"{LISTS}/{name}{end}")

    def described(self):
        """The set is the one that its manifest describes."""
        self.intact()
        for end in ("", ".asc"):
            shutil.copy(self.directory + "/manifest" + end, LISTS + "/wam.full.manifest" + end)

    def unfit(self):
        """All signatures are good, but there is a list that the manifest does not name."""
        self.described()
        for end in ("", ".asc"):
            shutil.copy(self.list + end, LISTS + "/wam.full.copy.list" + end)

    def tampered(self):
        self.intact()
        write(self.file, "x" * 19999 + "y")

    def package_tampered(self):
        self.intact()
        write(self.target + "/program", "CONTENT")

    def forged(self):
        """The list describes the changed file, but differs from the signed list."""
        self.tampered()
        digest = self._call("sha1sum", self.file).split()[0]
        write(self.list, re.sub(r"\t[0-9a-f]{40}\t", f"\t{digest}\t", self.signed, count=1))
