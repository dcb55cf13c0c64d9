"""Takes perf.data files apart and puts them together again: to split, cut, spoil and multiply recordings."""

import struct

SAMPLE, COMPRESSED, COMPRESSED2, FINISHED_ROUND = 9, 81, 83, 68
HEAD = struct.Struct("<IHH")


class Recording:
    """The records of a file that is neither a pipe nor compressed, and what stands around them."""

    def __init__(self, content):
        self.content = bytes(content)
        if self.content[:8] != b"PERFILE2" or struct.unpack_from("<Q", content, 8)[0] < 104:
            raise ValueError("not a perf.data file")
        self.data, self.size = struct.unpack_from("<QQ", content, 40)
        self.records = list(self._walk())

    def _walk(self):
        at, end = self.data, self.data + self.size
        while at < end:
            kind, _, size = HEAD.unpack_from(self.content, at)
            if size < HEAD.size or kind in (COMPRESSED, COMPRESSED2):
                raise ValueError(f"byte {at}: a record that cannot be taken apart")
            yield self.content[at:at + size]
            at += size

    def with_records(self, records):
        """The same file with other records; the sections behind them move along."""
        data = b"".join(records)
        moved = len(data) - self.size
        head = bytearray(self.content[:self.data])
        struct.pack_into("<Q", head, 48, len(data))
        tail = bytearray(self.content[self.data + self.size:])
        for number in range(self._features()):
            offset, size = struct.unpack_from("<QQ", tail, number * 16)
            struct.pack_into("<QQ", tail, number * 16, offset + moved, size)
        return bytes(head) + data + bytes(tail)

    def _features(self):
        words = struct.unpack_from("<4Q", self.content, 72)
        return sum(word.bit_count() for word in words)


def kind_of(record):
    return HEAD.unpack_from(record)[0]


def split(recording):
    """Two files with all records but samples in both, the earlier half of the samples in one and the rest in the
    other. Earlier by their place in the file."""
    middle = sum(kind_of(record) == SAMPLE for record in recording.records) // 2
    first, second, seen = [], [], 0
    for record in recording.records:
        if kind_of(record) != SAMPLE:
            first.append(record)
            second.append(record)
            continue
        (first if seen < middle else second).append(record)
        seen += 1
    return recording.with_records(first), recording.with_records(second)


def with_unknown_ids(recording, every):
    """Gives every so many-th sample an event id that no event has, in the event layout
    IP, TID, TIME, ID. Returns the file and how many were spoilt."""
    records, samples, spoilt = [], 0, 0
    for record in recording.records:
        if kind_of(record) == SAMPLE:
            samples += 1
            if samples % every == 0:
                record = record[:32] + b"\xff" * 8 + record[40:]
                spoilt += 1
        records.append(record)
    return recording.with_records(records), spoilt


def repeated(recording, times, step):
    """The recording with its samples so many times over, each time `step` nanoseconds later than before, in the
    sample layout IP, TID, TIME. All records but samples stay ahead, as they were."""
    samples = [record for record in recording.records if kind_of(record) == SAMPLE]
    rounds = HEAD.pack(FINISHED_ROUND, 0, HEAD.size)
    records = [record for record in recording.records if kind_of(record) not in (SAMPLE, FINISHED_ROUND)]
    for number in range(times):
        for record in samples:
            time = struct.unpack_from("<Q", record, 24)[0] + number * step
            records.append(record[:24] + struct.pack("<Q", time) + record[32:])
        records.append(rounds)
    return recording.with_records(records)
