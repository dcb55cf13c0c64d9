"""Reads the records of any perf.data file straight from its bytes, as an oracle that shares no code with the project:
files and pipes, compressed ones too."""

import ctypes
import struct
from dataclasses import dataclass, field
from typing import NamedTuple

from support.perf_bytes import COMPRESSED, COMPRESSED2, HEAD, SAMPLE

MMAP, COMM, EXIT, FORK, MMAP2, SWITCH = 1, 3, 4, 7, 10, 14
HEADER_ATTR, HEADER_TRACING_DATA, AUXTRACE = 64, 66, 71

MODE_MASK, KERNEL_MODE, USER_MODE = 7, 1, 2
COMM_EXEC = SWITCH_OUT = 1 << 13

# Values from this one up stand for no address in a chain; they tell whose addresses follow.
FIRST_MARKER = (1 << 64) - 4095
KERNEL_MARKER, USER_MARKER = (1 << 64) - 128, (1 << 64) - 512

# Bits of the sample type, in the order in which their fields stand in a sample; ID has one of two places.
IDENTIFIER, IP, TID, TIME, ADDR, ID, STREAM, CPU, PERIOD, READ, CALLCHAIN = (
    1 << bit for bit in (16, 0, 1, 2, 3, 6, 9, 7, 8, 4, 5))
# Fields behind the body of every other record.
TAIL = (TID, TIME, ID, STREAM, CPU, IDENTIFIER)
READ_ENABLED, READ_RUNNING, READ_ID, READ_GROUP, READ_LOST = 1, 2, 4, 8, 16


class Sample(NamedTuple):
    pid: int
    tid: int
    tick: int
    mode: int
    ip: int
    entries: tuple  # of the chain as recorded, markers included; () without one
    max_stack: int

    @property
    def addresses(self):
        """The chain without markers."""
        return tuple(entry for entry in self.entries if entry < FIRST_MARKER)

    @property
    def marked(self):
        """(address, the marker before it, None when there is none) of the chain."""
        marker = None
        for entry in self.entries:
            if entry >= FIRST_MARKER:
                marker = entry
            else:
                yield entry, marker


class Mapping(NamedTuple):
    tick: int
    pid: int
    start: int
    size: int
    offset: int
    path: str

    def holds(self, address):
        return self.start <= address < self.start + self.size


class Task(NamedTuple):
    """FORK or EXIT."""
    tick: int
    pid: int
    parent: int
    tid: int
    parent_tid: int


class Switch(NamedTuple):
    tick: int
    pid: int
    tid: int
    is_out: bool


@dataclass
class Attribute:
    sample_type: int
    read_format: int
    max_stack: int
    ids: tuple = ()

    @classmethod
    def parse(cls, raw, ids):
        size = struct.unpack_from("<I", raw, 4)[0] or 64
        sample_type, read_format = struct.unpack_from("<QQ", raw, 24)
        max_stack = struct.unpack_from("<H", raw, 108)[0] if size >= 112 else 0
        return cls(sample_type, read_format, max_stack, ids)


class _Zstd:
    """One compressed stream, through the system's own library."""

    class Buffer(ctypes.Structure):
        _fields_ = [("start", ctypes.c_void_p), ("size", ctypes.c_size_t), ("at", ctypes.c_size_t)]

    def __init__(self):
        self._library = ctypes.CDLL("libzstd.so.1")
        self._library.ZSTD_createDStream.restype = ctypes.c_void_p
        self._library.ZSTD_decompressStream.restype = ctypes.c_size_t
        self._stream = ctypes.c_void_p(self._library.ZSTD_createDStream())
        self._room = ctypes.create_string_buffer(1 << 18)

    def expand(self, packed):
        source = ctypes.create_string_buffer(packed, len(packed))
        feed = self.Buffer(ctypes.addressof(source), len(packed), 0)
        pieces = []
        while True:
            out = self.Buffer(ctypes.addressof(self._room), len(self._room), 0)
            code = self._library.ZSTD_decompressStream(self._stream, ctypes.byref(out), ctypes.byref(feed))
            if self._library.ZSTD_isError(ctypes.c_size_t(code)):
                raise ValueError("not a zstd stream")
            pieces.append(self._room.raw[:out.at])
            if feed.at == feed.size and out.at < out.size:
                return b"".join(pieces)


@dataclass
class Records:
    """What a recording tells, in the order of its bytes."""

    content: bytes
    attributes: list = field(default_factory=list)
    samples: list = field(default_factory=list)
    mappings: list = field(default_factory=list)
    forks: list = field(default_factory=list)
    exits: list = field(default_factory=list)
    execs: list = field(default_factory=list)  # (tick, pid)
    switches: list = field(default_factory=list)

    def __post_init__(self):
        if self.content[:8] not in (b"PERFILE2", b"PERFFILE"):
            raise ValueError("not a perf.data file")
        self._zstd, self._rest = _Zstd(), b""
        size = struct.unpack_from("<Q", self.content, 8)[0]
        if size == 16:
            self._walk(self.content[16:])
            return
        self._read_attributes()
        at, length = struct.unpack_from("<QQ", self.content, 40)
        self._walk(self.content[at:at + length])

    def _read_attributes(self):
        size, start, length = struct.unpack_from("<QQQ", self.content, 16)
        for at in range(start, start + length, size):
            ids, bytes_of_ids = struct.unpack_from("<QQ", self.content, at + size - 16)
            self._add_attribute(self.content[at:at + size - 16],
                                struct.unpack_from(f"<{bytes_of_ids // 8}Q", self.content, ids))

    def _add_attribute(self, raw, ids):
        self.attributes.append(Attribute.parse(raw, ids))

    def _walk(self, data):
        at = 0
        while at + HEAD.size <= len(data):
            kind, misc, size = HEAD.unpack_from(data, at)
            if at + size > len(data):
                break
            record = data[at:at + size]
            at += size
            if kind == AUXTRACE:
                at += struct.unpack_from("<Q", record, 8)[0]
            elif kind == HEADER_TRACING_DATA:
                at += (struct.unpack_from("<I", record, 8)[0] + 7) & ~7
            elif kind in (COMPRESSED, COMPRESSED2):
                self._expand(kind, record)
            else:
                self._take(kind, misc, record)
        return at

    def _expand(self, kind, record):
        if kind == COMPRESSED2:
            length = struct.unpack_from("<Q", record, 8)[0]
            packed = record[16:16 + length]
        else:
            packed = record[8:]
        data = self._rest + self._zstd.expand(packed)
        self._rest = data[self._walk(data):]

    def _take(self, kind, misc, record):
        if kind == HEADER_ATTR:
            size = struct.unpack_from("<I", record, 12)[0]
            ids = record[8 + size:]
            self._add_attribute(record[8:8 + size], struct.unpack(f"<{len(ids) // 8}Q", ids))
        elif kind == SAMPLE:
            self.samples.append(self._sample(misc, record))
        elif kind in (MMAP, MMAP2):
            pid, _, start, size, offset = struct.unpack_from("<iiQQQ", record, 8)
            name = record[40 if kind == MMAP else 72:].split(b"\0", 1)[0].decode("utf-8", "surrogateescape")
            self.mappings.append(Mapping(self._tail(record)[TIME], pid, start, size, offset, name))
        elif kind in (FORK, EXIT):
            pid, parent, tid, parent_tid = struct.unpack_from("<iiii", record, 8)
            tick = struct.unpack_from("<Q", record, 24)[0]
            (self.forks if kind == FORK else self.exits).append(Task(tick, pid, parent, tid, parent_tid))
        elif kind == COMM and misc & COMM_EXEC:
            self.execs.append((self._tail(record)[TIME], struct.unpack_from("<i", record, 8)[0]))
        elif kind == SWITCH:
            tail = self._tail(record)
            self.switches.append(Switch(tail[TIME], *struct.unpack("<ii", struct.pack("<Q", tail[TID])),
                                        bool(misc & SWITCH_OUT)))

    def _tail(self, record):
        """Words behind the body by their bit; all 0 for a record of the recorder's own, which has none."""
        present = [bit for bit in TAIL if self.attributes[0].sample_type & bit]
        words = struct.unpack_from(f"<{len(present)}Q", record, len(record) - 8 * len(present))
        return {TID: 0, TIME: 0} | dict(zip(present, words))

    def _attribute_of(self, record):
        if len(self.attributes) == 1:
            return self.attributes[0]
        first = self.attributes[0].sample_type
        at = HEAD.size
        if not first & IDENTIFIER:
            at += 8 * sum(bool(first & bit) for bit in (IP, TID, TIME, ADDR))
        number = struct.unpack_from("<Q", record, at)[0]
        return next(attribute for attribute in self.attributes if number in attribute.ids)

    def _sample(self, misc, record):
        attribute = self._attribute_of(record)
        at = HEAD.size
        words = {}
        for bit in (IDENTIFIER, IP, TID, TIME, ADDR, ID, STREAM, CPU, PERIOD):
            if attribute.sample_type & bit:
                words[bit] = struct.unpack_from("<Q", record, at)[0]
                at += 8
        if attribute.sample_type & READ:
            at += self._read_size(attribute.read_format, record, at)
        entries = ()
        if attribute.sample_type & CALLCHAIN:
            count = struct.unpack_from("<Q", record, at)[0]
            entries = struct.unpack_from(f"<{count}Q", record, at + 8)
        pid, tid = struct.unpack("<ii", struct.pack("<Q", words.get(TID, 0)))
        return Sample(pid, tid, words.get(TIME, 0), misc & MODE_MASK, words.get(IP, 0), entries, attribute.max_stack)

    @staticmethod
    def _read_size(form, record, at):
        times = 8 * (bool(form & READ_ENABLED) + bool(form & READ_RUNNING))
        value = 8 * (1 + bool(form & READ_ID) + bool(form & READ_LOST))
        if not form & READ_GROUP:
            return times + value
        return 8 + times + struct.unpack_from("<Q", record, at)[0] * value
