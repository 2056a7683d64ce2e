#!/usr/bin/env python3
"""Checks the named files against the system's own lists: check_files.py PATH..."""

import ctypes
import os
import sys
import syslog

FLAGS = (
    "sizeError",
    "ownerError",
    "groupError",
    "typeError",
    "permissionError",
    "hashError",
    "notExist",
    "notListed",
    "inFixedDir",
)


class Result(ctypes.Structure):
    """SELFCHECK_RESULT: bit fields of one 32-bit word, bit 0 first."""

    _fields_ = [(flag, ctypes.c_uint32, 1) for flag in FLAGS] + [("reserved", ctypes.c_uint32, 23)]


def load_libraries():
    """Returns the core library and the library that checks, their functions declared."""
    core = ctypes.CDLL("libzemocore.so.6")
    core.VLIBSzListAlloc.argtypes = [ctypes.c_int]
    core.VLIBSzListAlloc.restype = ctypes.c_void_p
    core.VLIBSzListPush.argtypes = [ctypes.POINTER(ctypes.c_void_p), ctypes.c_char_p]
    core.VLIBSzListPush.restype = ctypes.c_int
    core.VLIBSzListFree.argtypes = [ctypes.c_void_p]
    core.VLIBSzListFree.restype = None
    selfcheck = ctypes.CDLL("libzemoselfcheck.so.1")
    selfcheck.SelfCheckFiles.argtypes = [ctypes.c_void_p, ctypes.POINTER(Result)]
    selfcheck.SelfCheckFiles.restype = ctypes.c_int
    return core, selfcheck


def check_files(paths):
    """Returns one Result for each of the paths, which are bytes, in their order."""
    core, selfcheck = load_libraries()
    results = (Result * max(len(paths), 1))()
    names = ctypes.c_void_p(core.VLIBSzListAlloc(len(paths)))  # adding to the list may move it
    try:
        for path in paths:
            if core.VLIBSzListPush(ctypes.byref(names), path) < 0:
                raise MemoryError
        if selfcheck.SelfCheckFiles(names, results) != 0:
            raise RuntimeError("nothing was established; the system log says why")
    finally:
        core.VLIBSzListFree(names)
    return results[: len(paths)]


def describe(result):
    """Returns the flag word and what it says."""
    word = sum(getattr(result, flag) << bit for bit, flag in enumerate(FLAGS))
    return (
        f"0x{word:03x}"
        + (" intact" if word == 0 else "")
        + (" not listed" if result.notListed else "")
        + (", in a directory with fixed members" if result.inFixedDir else "")
    )


def main(arguments):
    # Also show the library's log lines here.
    syslog.openlog("check_files", syslog.LOG_PERROR, syslog.LOG_USER)
    paths = [os.fsencode(argument) for argument in arguments]  # any bytes can be in a name
    try:
        results = check_files(paths)
    except RuntimeError as error:
        print(f"check_files: {error}", file=sys.stderr)
        return 2
    for path, result in zip(paths, results):
        sys.stdout.buffer.write(path + b": " + describe(result).encode() + b"\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
