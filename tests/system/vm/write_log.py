"""The log of writes and flushes from QEMU's blklogwrites, and the states that a power cut can leave.

A write is certainly on the disk after a later flush. Of the writes since the last flush, any subset may be there, in
any order.
"""

import os
import struct

MAGIC = 0x6A736677736872
FLUSH, DISCARD = 1, 4
HEAD = struct.Struct("<QQQI")
ENTRY = struct.Struct("<QQQQ")
BLOCK = 4096  # a disk writes this much atomically


class Flush:
    """All earlier writes are on the disk."""


class Write:
    def __init__(self, offset, data):
        self.offset = offset
        self.data = data

    def blocks(self):
        """Splits the write into its blocks."""
        position = 0
        while position < len(self.data):
            end = position + BLOCK - (self.offset + position) % BLOCK
            yield Write(self.offset + position, self.data[position:end])
            position = end

    def mark(self, beyond):
        """The text of a mark, which is a write after the end of the file system; None for other
        writes."""
        return self.data.decode().strip() if self.offset == beyond else None


def entries(path):
    """Everything in the log. The count in the header may be too small, so the log ends where no valid entry follows."""
    with open(path, "rb") as log:
        magic, version, _, sector = HEAD.unpack(log.read(HEAD.size))
        if magic != MAGIC or version != 1:
            raise ValueError(f"{path} is not a log of writes")
        log.seek(sector)
        while True:
            head = log.read(sector)
            if len(head) < sector:
                return
            start, count, flags, _ = ENTRY.unpack_from(head)
            if not count and not flags:
                return
            if flags & DISCARD:
                raise ValueError("blocks were discarded, so their content is unknown")
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
    """The writes that are certainly on the disk after a power cut at the end of the log."""
    flushed, pending = [], []
    for entry in entries(log):
        if isinstance(entry, Flush):
            flushed += pending
            pending = []
        elif entry.mark(beyond) is None:
            pending.append(entry)
    return flushed


def crash_states(log, disk, beyond, rng, samples):
    """Yields (marks, writes): the states that a power cut after each entry of the log can leave.

    A state is the content of `disk`, a descriptor, at that moment with `writes` applied: none of the uncertain writes,
    all of them, and `samples` random subsets. `marks` are the marks before the cut; nothing is yielded before the first
    mark.
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
            seen.clear()  # on changed content, the same subset is a different state
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
