"""Prints our samples in a metrics file in a canonical form: sorted, labels sorted, values as floats."""

import re
import sys

LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
SAMPLE = re.compile(r'(zemo_selfcheck_\w+)\{((?:\w+="(?:[^"\\]|\\.)*",?)*)\} (\S+)\n')

with open(sys.argv[1], encoding="utf-8", newline="\n") as file:
    samples = [SAMPLE.fullmatch(line) for line in file if line.startswith("zemo_selfcheck_")]
rows = [sample.groups() for sample in samples]
for row in sorted((name, sorted(LABEL.findall(labels)), float(value)) for name, labels, value in rows):
    print(*row)
