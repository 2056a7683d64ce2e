"""Checks that the journal's entries (standard input, JSON) have the lines of a file as MESSAGE, one each, in order.

messages.py FILE
"""

import json
import sys

with open(sys.argv[1], encoding="ascii") as file:
    written = [json.loads(line) for line in file]
# A message that is not UTF-8 is an array of numbers.
came_back = [json.loads(json.loads(line)["MESSAGE"]) for line in sys.stdin]
if came_back != written:
    sys.exit(f"the journal has {came_back} instead of {written}")
