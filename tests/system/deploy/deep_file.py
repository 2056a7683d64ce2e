"""Makes a file whose path has this many bytes, with names that are not UTF-8, and prints the path.

deep_file.py DIRECTORY BYTES
"""

import os
import sys

LONGEST = 255  # bytes of a name

path, wanted = os.fsencode(sys.argv[1]), int(sys.argv[2])
while wanted - len(path) > LONGEST + 1:
    # The rest must be at least a slash and a byte.
    path += b"/" + b"\xff" * min(LONGEST, wanted - len(path) - 3)
    os.makedirs(path, exist_ok=True)
path += b"/" + b"\xff" * (wanted - len(path) - 1)
with open(path, "wb"):
    pass
sys.stdout.buffer.write(path)
