"""Machines with the packages installed, and the results of a case."""

import contextlib
import pathlib
import shutil
import subprocess

import machine

SCRATCH_BYTES = 512 << 20  # the least for which mkfs.ext4 has the default options of a usual disk
MARK_BYTES = 4096  # after the end of the file system, for marks in the log


def copy(disk, to):
    subprocess.run(["cp", "--sparse=auto", disk, to], check=True)


class Case:
    """The results of a case: a row of the table. A case without problems has passed."""

    def __init__(self, name):
        self.name = name
        self.figures = ""
        self.problems = []

    def expect(self, what, found, wanted):
        if found != wanted:
            self.problems.append(f"{what} is {found} instead of {wanted}")

    def demand(self, holds, what):
        if not holds:
            self.problems.append(what)


class Lab:
    """Boots machines from one image, with the packages in one folder."""

    def __init__(self, folder, image, packages):
        self.folder = folder
        self.image = image
        self.boots = 0
        self._here = pathlib.Path(__file__).resolve().parent
        self._state = folder / "state"
        self._ready = folder / "ready.qcow2"
        self._payload = folder / "payload.tar"
        folder.mkdir(parents=True, exist_ok=True)
        self._pack(packages)

    def _pack(self, packages):
        """The guest's scripts, the packages, and the same packages with a later version."""
        parts = {name: self.folder / "payload" / name for name in ("packages", "later")}
        shutil.rmtree(self.folder / "payload", ignore_errors=True)
        for part in parts.values():
            part.mkdir(parents=True)
        for deb in packages.glob("*.deb"):
            if "-dbgsym_" not in deb.name and "-dev_" not in deb.name:
                shutil.copy(deb, parts["packages"])
                subprocess.run([self._here / "later_package.sh", deb, parts["later"] / deb.name], check=True)
        subprocess.run(["tar", "-cf", self._payload, "-C", self._here, "guest", "-C", self.folder / "payload",
                        *parts], check=True)

    def _disks(self, scratch, log):
        plain = f"driver=file,node-name=scratch,filename={scratch},cache.no-flush=on"
        disks = ["-drive", f"file={self._payload},format=raw,if=none,id=payload,readonly=on",
                 "-device", "virtio-blk-pci,drive=payload", "-blockdev", plain]
        if log:
            log.write_bytes(b"")
            disks += ["-blockdev", f"driver=file,node-name=log,filename={log},cache.no-flush=on",
                      "-blockdev", "driver=blklogwrites,node-name=logged,file=scratch,log=log"]
        return disks + ["-device", f"virtio-blk-pci,drive={'logged' if log else 'scratch'},write-cache=on"]

    def blank(self, path):
        """Makes an empty scratch disk."""
        path.unlink(missing_ok=True)
        with open(path, "wb") as disk:
            disk.truncate(SCRATCH_BYTES + MARK_BYTES)
        subprocess.run(["mkfs.ext4", "-q", "-F", "-E", "lazy_itable_init=0,lazy_journal_init=0", path,
                        f"{SCRATCH_BYTES >> 10}k"], check=True)

    def _boot(self, root, clock=None):
        """A machine that starts from power-on."""
        self.boots += 1
        scratch = self.folder / "unused.raw"
        self.blank(scratch)
        return machine.Machine(self.folder / "machine", self.image, root, self._disks(scratch, None), clock)

    def prepare(self, again):
        """Boots once and installs everything; ready() starts from there. `again` reuses the machine of an earlier
        run."""
        accelerator = self.folder / "accelerator"
        if again:
            machine.Machine.accelerator = accelerator.read_text()
            return
        machine.overlay(self._ready, self.image / "disk.raw", "raw")
        booted = self._boot(self._ready)
        booted.must("mkdir /root/payload && tar -xf /dev/vdb -C /root/payload")
        booted.must("bash /root/payload/guest/prepare.sh", seconds=600)
        booted.save(self._state)
        accelerator.write_text(booted.accelerator)

    @contextlib.contextmanager
    def ready(self, scratch=None, log=None):
        """A machine in the state that prepare() left; its changes are discarded at the end."""
        disks = self._disks(scratch or self.folder / "unused.raw", log)
        started = machine.Machine(self.folder / "machine", self.image, self._overlay(), disks, state=self._state)
        try:
            yield started
        finally:
            started.kill()

    @contextlib.contextmanager
    def booted(self, clock):
        """A freshly booted machine with the prepared machine's disk and another time."""
        started = self._boot(self._overlay(), clock)
        try:
            yield started
        finally:
            started.kill()

    def _overlay(self):
        """A disk with the initial content of the prepared machine's disk."""
        root = self.folder / "root.qcow2"
        machine.overlay(root, self._ready, "qcow2")
        return root
