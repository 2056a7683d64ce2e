"""The measured library and program, and what they need: key, lists, the installed set."""

import os
import shutil
import subprocess
from pathlib import Path

from harness.failure import Failure
from harness.measure import Contestant
from harness.trees import Entry, Work

INSTALLED = Path("/usr/zemo/selfcheck")
MAKER = "bench@example.org"
TEAM = "limit and library"


class Ours:
    def __init__(self, build: Path, directory: Path, threads: int):
        self.programs = build / "bench" / "programs"
        self.tool = build / "tools" / "zemo-selfcheck"
        self.directory = directory
        self.threads = threads
        self.key_home = directory / "key"
        self.installed: tuple[Path, ...] = ()
        for program in [self.tool, self.programs / "limit_check"]:
            if not program.exists():
                raise Failure(f"{program} does not exist; build it with ./dev bench")

    def program(self, name: str, *words) -> list[str]:
        return [str(self.programs / name), *map(str, words)]

    def _run(self, *command):
        done = subprocess.run(
            [str(word) for word in command],
            env={**os.environ, "GNUPGHOME": str(self.key_home)},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            check=False,
        )
        if done.returncode != 0:
            text = (done.stdout + done.stderr).decode(errors="replace")
            raise Failure(f"{' '.join(map(str, command))} failed:\n{text[-2000:]}")
        return done.stdout

    def make_key(self):
        """Makes a temporary key without a passphrase, and the key ring in force."""
        self.key_home.mkdir(mode=0o700)
        self._run(
            *["gpg", "--batch", "--quiet", "--passphrase", "", "--quick-generate-key"],
            *[MAKER, "ed25519", "sign", "never"],
        )
        public = self.directory / "maker.gpg"
        public.write_bytes(self._run("gpg", "--export", MAKER))
        self._run(self.tool, "init-home", "--import", public)

    def forget_key(self):
        if self.key_home.exists():
            subprocess.run(
                ["gpgconf", "--homedir", str(self.key_home), "--kill", "all"],
                stderr=subprocess.DEVNULL,
                check=False,
            )

    def make_list(self, work: Work):
        """Makes the workload's list with the program, and reads the list."""
        names = self.directory / f"{work.name}.paths"
        names.write_bytes(b"".join(os.fsencode(path) + b"\0" for path in work.paths))
        work.list_file = self.directory / f"wam.full.{work.name}.list"
        self._run(
            *[self.tool, "make", "--no-progress", "-z", "--from", names],
            *["--output", work.list_file],
        )
        lines = os.fsdecode(work.list_file.read_bytes()).split("\n")[2:-1]
        for line in lines:
            path, size, content, kind, permission, owner, group = line.split("\t")
            work.entries.append(
                Entry(
                    path,
                    int(size),
                    content,
                    kind,
                    int(permission, 8) if permission != "-" else 0,
                    int(owner) if owner != "-" else 0,
                    int(group) if group != "-" else 0,
                )
            )

    def sign(self, *lists: Path):
        self._run(self.tool, "sign", "--key", MAKER, *lists)

    def install(self, *lists: Path):
        """Installs these lists, and their signatures if there are any, as the set wam."""
        if lists == self.installed:
            return
        self.installed = lists
        for old in INSTALLED.glob("wam.full.*"):
            old.unlink()
        for new in lists:
            for file in [new, Path(f"{new}.asc")]:
                if file.exists():
                    shutil.copy(file, INSTALLED)

    def limit(self, work: Work, threads: int) -> Contestant:
        names = self.directory / f"{work.name}.paths"
        return Contestant(
            f"limit, {threads_text(threads)}",
            self.program("limit_check", names, threads),
            own_seconds=True,
            threads=threads,
            team=TEAM,
            note="the seconds of its loop, which it prints itself",
        )

    def contestants(self, work: Work) -> list[Contestant]:
        several = [1, self.threads] if self.threads > 1 else [1]
        library = Contestant(
            "library",
            self.program("library_check"),
            own_seconds=True,
            team=TEAM,
            note="the seconds of `FileList::check`, which its program prints itself",
        )
        tools = [
            Contestant(
                f"zemo-selfcheck, {threads_text(threads)}",
                [str(self.tool), "check", "--jobs", str(threads), "--no-progress"],
                threads=threads,
                team=TEAM,
                note="also verifies signatures and loads the list",
            )
            for threads in several
        ]
        # The same files with the same lists, as those of another root.
        tools.append(
            Contestant(
                "zemo-selfcheck --root, 1 thread",
                [str(self.tool), "check", "--root", "/", "--jobs", "1", "--no-progress"],
                team=TEAM,
                note="also copies the lists to memory",
            )
        )
        return [self.limit(work, threads) for threads in several] + [library] + tools


def threads_text(threads: int) -> str:
    return "1 thread" if threads == 1 else f"{threads} threads"
