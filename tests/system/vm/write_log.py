"""The log of writes and flushes that QEMU's blklogwrites keeps, and the states that a power cut can leave.

A write is certain to be on the disk once a flush has followed it. Of the writes since the last flush any part may be
there, in any order.
"""

import os
import struct

MAGIC = 0x6A736677736872
FLUSH, DISCARD = 1, 4
HEAD = struct.Struct("<QQQI")
ENTRY = struct.Struct("<QQQQ")
BLOCK = 4096  # what a disk writes as a whole


class Flush:
    """All writes so far are on the disk."""


class Write:
    def __init__(self, offset, data):
        self.offset = offset
        self.data = data

    def blocks(self):
        """Each block by itself."""
        position = 0
        while position < len(self.data):
            end = position + BLOCK - (self.offset + position) % BLOCK
            yield Write(self.offset + position, self.data[position:end])
            position = end

    def mark(self, beyond):
        """The text of a mark, which is a write beyond the file system; of other writes None."""
        return self.data.decode().strip() if self.offset == beyond else None


def entries(path):
    """All that was logged. The count in the log's head lags behind, so the log ends where no entry follows."""
    with open(path, "rb") as log:
        magic, version, _, sector = HEAD.unpack(log.read(HEAD.size))
        if magic != MAGIC or version != 1:
            raise ValueError(f"{path} is no log of writes")
        log.seek(sector)
        while True:
            head = log.read(sector)
            if len(head) < sector:
                return
            start, count, flags, _ = ENTRY.unpack_from(head)
            if not count and not flags:
                return
            if flags & DISCARD:
                raise ValueError("blocks were discarded: what is in them is unknown")
            if count:
                data = log.read(count * sector)
                if len(data) < count * sector:
                    return
                yield Write(start * sector, data)
            if flags & FLUSH:
                yield Flush()


def apply(disk, writes):
    for write in writes:
        os.pwrite(disk, write.data, write.offset)


def certain(log, beyond):
    """The writes that a power cut at the log's end leaves at least."""
    flushed, pending = [], []
    for entry in entries(log):
        if isinstance(entry, Flush):
            flushed += pending
            pending = []
        elif entry.mark(beyond) is None:
            pending.append(entry)
    return flushed


def crash_states(log, disk, beyond, rng, samples):
    """Yields (marks, writes): what a power cut after each entry of the log can leave.

    The state is what is on `disk`, a descriptor, at that moment, with the writes applied: none of those that are
    not certain, all of them, and `samples` random parts. `marks` were set before the cut; nothing is yielded
    before the first.
    """
    marks, pending, seen = (), [], set()
    for entry in entries(log):
        mark = None
        if isinstance(entry, Flush):
            apply(disk, pending)
            pending = []
        else:
            mark = entry.mark(beyond)
            if mark:
                marks += (mark,)
            else:
                pending.extend(entry.blocks())
        if mark or not pending:
            seen.clear()  # on another disk, or with another promise, the same part is another state
        if not marks:
            continue
        parts = [(), tuple(range(len(pending)))]
        for _ in range(samples if pending and not mark else 0):
            share = rng.random()
            parts.append(tuple(i for i in parts[1] if rng.random() < share))
        for part in parts:
            if part not in seen:
                seen.add(part)
                yield marks, [pending[i] for i in part]
