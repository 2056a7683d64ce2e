"""A virtual machine under QEMU, in which an agent (agent.sh) runs scripts."""

import base64
import ctypes
import json
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

BOOT_SECONDS = 400  # enough for an emulated processor on a busy machine
KVM_SECONDS = 20  # a working machine prints something within this time
KERNEL = "root=/dev/vda ro console=ttyS0 mitigations=off random.trust_cpu=on panic=-1"


class Broken(Exception):
    """The machine does not work as the tests require."""


def _die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


def has_kvm():
    flags = pathlib.Path("/proc/cpuinfo").read_text().split()
    try:
        with open("/dev/kvm", "r+b", buffering=0):
            return "vmx" in flags or "svm" in flags
    except OSError:
        return False


def overlay(path, base, format_of_base):
    """A disk with the initial content of `base`, which stays unchanged."""
    path.unlink(missing_ok=True)
    subprocess.run(["qemu-img", "create", "-q", "-f", "qcow2", "-F", format_of_base, "-b", base, path], check=True)


class Machine:
    """One run of QEMU. `folder` gets its sockets and console, `disks` are further arguments."""

    accelerator = "kvm" if has_kvm() else "tcg"

    def __init__(self, folder, image, root, disks=(), clock=None, state=None):
        self.folder = folder
        self._channel = self._monitor = None
        self._start(image, root, disks, clock, state)
        if self.accelerator == "kvm" and not state and not self._says_something():
            self.kill()
            Machine.accelerator = "tcg"  # also for all later machines
            self._start(image, root, disks, clock, state)
        try:
            self._channel = self._connect("tester")
            if state:
                self._await_migration()
                self._command("cont")
            self.run(":", seconds=BOOT_SECONDS)
        except BaseException:
            self.kill()
            raise

    def _start(self, image, root, disks, clock, state):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self._sockets = tempfile.TemporaryDirectory(prefix="zemo-vm.")  # because the path of a socket must be short
        accelerator = self.accelerator + (",thread=multi" if self.accelerator == "tcg" else "")
        command = ["nice", "qemu-system-x86_64", "-nodefaults", "-display", "none", "-no-reboot",
                   "-machine", "pc", "-accel", accelerator, "-cpu", "host" if self.accelerator == "kvm" else "max",
                   "-smp", "2", "-m", "640", "-kernel", image / "vmlinuz", "-initrd", image / "initrd",
                   "-append", KERNEL, "-serial", f"file:{self.folder}/console", "-device", "virtio-rng-pci",
                   "-qmp", f"unix:{self._sockets.name}/monitor,server=on,wait=off",
                   "-chardev", f"socket,id=tester,path={self._sockets.name}/tester,server=on,wait=off",
                   "-device", "virtio-serial-pci", "-device", "virtserialport,chardev=tester,name=tester",
                   "-drive", f"file={root},format=qcow2,if=none,id=root,cache=unsafe",
                   "-device", "virtio-blk-pci,drive=root", *disks]
        if clock:
            command += ["-rtc", f"base={clock}"]
        if state:
            command += ["-incoming", f"exec:cat {state}"]
        with open(self.folder / "qemu", "wb") as log:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            preexec_fn=_die_with_parent)

    def _says_something(self):
        console = self.folder / "console"
        deadline = time.monotonic() + KVM_SECONDS
        while time.monotonic() < deadline and self.process.poll() is None:
            if console.exists() and console.stat().st_size:
                return True
            time.sleep(0.2)
        return False

    def _connect(self, name):
        deadline = time.monotonic() + 20
        while True:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            try:
                connection.connect(f"{self._sockets.name}/{name}")
                return connection
            except OSError as error:
                connection.close()
                if self.process.poll() is not None or time.monotonic() > deadline:
                    raise Broken("QEMU: " + (self.folder / "qemu").read_text()) from error
                time.sleep(0.05)

    def _command(self, name, **arguments):
        """Executes a command of QEMU's monitor."""
        if not self._monitor:
            self._monitor = self._connect("monitor").makefile("rw")
            self._monitor.readline()
            self._command("qmp_capabilities")
        self._monitor.write(json.dumps({"execute": name, "arguments": arguments}) + "\n")
        self._monitor.flush()
        while True:
            answer = json.loads(self._monitor.readline())
            if "return" in answer:
                return answer["return"]
            if "error" in answer:
                raise Broken(f"{name}: {answer['error']}")

    def _await_migration(self):
        while True:
            state = self._command("query-migrate").get("status")
            if state == "completed":
                return
            if state in ("failed", "cancelled"):
                raise Broken("QEMU failed to save or restore the state of the machine")
            time.sleep(0.1)

    def save(self, path):
        """Saves the running machine's state, from which others start, and ends it."""
        self._command("stop")
        self._command("migrate", uri=f"exec:cat > {path}")
        self._await_migration()
        self.kill()

    def send(self, script):
        self._channel.settimeout(None)
        self._channel.sendall(base64.b64encode(script.encode()) + b"\n")

    def answer(self, seconds=300):
        """Runs the script and returns its exit status and output."""
        self._channel.settimeout(seconds)
        line = b""
        try:
            while not line.endswith(b"\n"):
                part = self._channel.recv(1 << 16)
                if not part:
                    break
                line += part
        except TimeoutError as error:
            tail = (self.folder / "console").read_text(errors="replace")[-2000:]
            raise Broken(f"no answer within {seconds} s; the console's end:\n{tail}") from error
        if not line.endswith(b"\n"):
            raise Broken("the machine has ended: " + (self.folder / "qemu").read_text())
        status, _, output = line.decode().strip().partition(" ")
        return int(status), base64.b64decode(output).decode(errors="replace")

    def run(self, script, seconds=300):
        self.send(script)
        return self.answer(seconds)

    def must(self, script, seconds=300):
        """Runs the script, which must succeed, and returns its output."""
        status, output = self.run(script, seconds)
        if status:
            raise Broken(f"status {status} from:\n{script}\n{output}")
        return output

    def kill(self):
        """Like a power cut: at once, without notice to the guest."""
        self.process.kill()
        self.process.wait()
        for connection in (self._channel, self._monitor):
            if connection:
                connection.close()
        self._channel = self._monitor = None
        self._sockets.cleanup()
