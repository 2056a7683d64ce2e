"""Holds the journal's entries (standard input, JSON) to the lines of a file: one each, in their order, as MESSAGE.

messages.py FILE
"""

import json
import sys

with open(sys.argv[1], encoding="ascii") as file:
    written = [json.loads(line) for line in file]
# A message is an array of numbers where it is no UTF-8.
came_back = [json.loads(json.loads(line)["MESSAGE"]) for line in sys.stdin]
if came_back != written:
    sys.exit(f"the journal has {came_back} and not {written}")
