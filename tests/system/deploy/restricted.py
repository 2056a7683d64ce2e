#!/usr/bin/env python3
"""Runs a command with the same restrictions as systemd with RestrictAddressFamilies=none,
MemoryDenyWriteExecute=yes, RestrictNamespaces=yes and SystemCallArchitectures=native.

restricted.py COMMAND [ARGUMENT...]

Needs x86-64, and root or no new privileges.
"""

import ctypes
import errno
import os
import struct
import sys

# The offsets of the call's number, the architecture and the low half of an argument in the kernel's struct
# seccomp_data.
NUMBER, ARCHITECTURE = 0, 4
FIRST, THIRD = 16, 32

X86_64 = 0xC000003E
MMAP, MPROTECT, SOCKET, CLONE, UNSHARE, SETNS, CLONE3 = 9, 10, 41, 56, 272, 308, 435
WRITE_AND_EXECUTE, EXECUTE = 0x6, 0x4
NEW_NAMESPACES = 0x7E020000

KILL, ALLOW = 0x80000000, 0x7FFF0000


def fail(number):
    return 0x00050000 | number


def load(offset):
    return struct.pack("HBBI", 0x20, 0, 0, offset)


def mask(bits):
    return struct.pack("HBBI", 0x54, 0, 0, bits)


def unless_equal(value, skipped):
    return struct.pack("HBBI", 0x15, 0, skipped, value)


def if_equal(value, skipped):
    return struct.pack("HBBI", 0x15, skipped, 0, value)


def end(outcome):
    return struct.pack("HBBI", 0x06, 0, 0, outcome)


def refuse(call, number):
    return [load(NUMBER), unless_equal(call, 1), end(fail(number))]


def refuse_all(call, argument, bits):
    """Refuses the call if its argument has all of the bits."""
    steps = [load(argument), mask(bits), unless_equal(bits, 1), end(fail(errno.EPERM))]
    return [load(NUMBER), unless_equal(call, len(steps)), *steps]


def refuse_any(call, argument, bits):
    steps = [load(argument), mask(bits), if_equal(0, 1), end(fail(errno.EPERM))]
    return [load(NUMBER), unless_equal(call, len(steps)), *steps]


def main():
    code = b"".join(
        [
            load(ARCHITECTURE),
            if_equal(X86_64, 1),
            end(KILL),
            *refuse(SOCKET, errno.EAFNOSUPPORT),
            *refuse(CLONE3, errno.ENOSYS),  # its flags are invisible; the C library falls back to clone
            *refuse(UNSHARE, errno.EPERM),
            *refuse(SETNS, errno.EPERM),
            *refuse_any(CLONE, FIRST, NEW_NAMESPACES),
            *refuse_all(MMAP, THIRD, WRITE_AND_EXECUTE),
            *refuse_all(MPROTECT, THIRD, EXECUTE),
            end(ALLOW),
        ]
    )
    buffer = ctypes.create_string_buffer(code)
    # struct sock_fprog, with the padding that its pointer needs.
    program = struct.pack("HxxxxxxP", len(code) // 8, ctypes.addressof(buffer))
    set_seccomp, filter_mode = 22, 2
    library = ctypes.CDLL(None, use_errno=True)
    if library.prctl(set_seccomp, filter_mode, ctypes.c_char_p(program), 0, 0) != 0:
        sys.exit(f"restricted.py: cannot install the filter: {os.strerror(ctypes.get_errno())}")
    os.execvp(sys.argv[1], sys.argv[1:])


main()
