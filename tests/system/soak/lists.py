"""Check lists in the system's directory, and a key that signs them."""

import contextlib
import hashlib
import pathlib
import shutil
import subprocess

LISTS = pathlib.Path("/usr/zemo/selfcheck")
HEADER = b"WAM_SELF_CHECK\nfree text\n"
CONTENT = b"content"
ANY = "\t-\t-\t-\t-\t-\t-"


def clear():
    """Empties the directory, which is in the private root."""
    for member in LISTS.iterdir():
        if member.is_dir() and not member.is_symlink():
            shutil.rmtree(member)
        else:
            member.unlink()


def write(name, lines):
    path = LISTS / f"wam.full.{name}.list"
    path.write_bytes(HEADER + "".join(line + "\n" for line in lines).encode())
    return path


def file_line(path):
    """The entry line of a file that holds CONTENT."""
    digest = hashlib.sha1(CONTENT).hexdigest()
    return f"{path}\t{len(CONTENT)}\t{digest}\tf\t644\t0\t0"


def fixed_line(path):
    return f"{path}\t-\tFIXED\td\t755\t0\t0"


@contextlib.contextmanager
def signing_key(directory):
    """A key that the lists' directory trusts; gives a function that signs a list."""
    home = directory / "key"
    home.mkdir(mode=0o700)
    gpg = ["gpg", "--homedir", str(home), "--batch", "--quiet"]
    subprocess.run(
        [*gpg, "--passphrase", "", "--quick-generate-key", "maker", "ed25519", "sign", "never"],
        check=True,
        stderr=subprocess.DEVNULL,
    )
    (LISTS / "gpg.conf").write_text(
        "trust-model always\nweak-digest SHA1\nno-auto-key-retrieve\nno-auto-check-trustdb\n"
    )
    key = subprocess.run([*gpg, "--export"], check=True, capture_output=True).stdout
    trusting = ["gpg", "--homedir", str(LISTS), "--batch", "--quiet", "--no-autostart"]
    trusting += ["--no-permission-warning", "--import"]
    subprocess.run(trusting, check=True, input=key, stderr=subprocess.DEVNULL)
    try:
        yield lambda path: subprocess.run(
            [*gpg, "--armor", "--output", f"{path}.asc", "--detach-sign", str(path)], check=True
        )
    finally:
        subprocess.run(["gpgconf", "--homedir", str(home), "--kill", "all"], check=False)
