"""Jitdumps and perf maps: builds them, and reads them as an oracle that shares no code with the project."""

import bisect
import struct
from typing import NamedTuple, Optional

HEADER = struct.Struct("<IIIIIIQQ")  # magic, version, size, machine, reserved, pid, time, flags
PREFIX = struct.Struct("<IIQ")       # id, size, time
LOAD_BODY = struct.Struct("<IIQQQQ")   # pid, tid, virtual address, address, size, index
MOVE_BODY = struct.Struct("<IIQQQQQ")  # pid, tid, virtual address, old and new address, size, index
MAGIC, VERSION, X86_64 = 0x4A695444, 1, 62
LOAD, MOVE, CLOSE = 0, 1, 3
TSC_FLAG = 1


class Load(NamedTuple):
    time: int
    address: int
    size: int
    name: str
    index: int = 0


class Move(NamedTuple):
    time: int
    old: int
    new: int
    size: int
    index: int = 0


def header(pid, flags=0, time=0):
    return HEADER.pack(MAGIC, VERSION, HEADER.size, X86_64, 0, pid, time, flags)


def record(pid, entry):
    if isinstance(entry, Load):
        body = LOAD_BODY.pack(pid, pid, entry.address, entry.address, entry.size, entry.index)
        body += entry.name.encode() + b"\0" + b"\x90" * entry.size
        return PREFIX.pack(LOAD, PREFIX.size + len(body), entry.time) + body
    body = MOVE_BODY.pack(pid, pid, entry.new, entry.old, entry.new, entry.size, entry.index)
    return PREFIX.pack(MOVE, PREFIX.size + len(body), entry.time) + body


def dump(pid, entries, flags=0):
    """A jitdump of Loads and Moves in the order given."""
    return header(pid, flags) + b"".join(record(pid, entry) for entry in entries)


def perf_map(lines):
    """A perf map of (address, size, name)."""
    return "".join(f"{address:x} {size:x} {name}\n" for address, size, name in lines).encode()


def parse_dump(content):
    """Loads and Moves in the order of the file."""
    at, entries = struct.unpack_from("<I", content, 8)[0], []
    while at < len(content):
        kind, size, time = PREFIX.unpack_from(content, at)
        body = at + PREFIX.size
        if kind == LOAD:
            _, _, _, address, length, index = LOAD_BODY.unpack_from(content, body)
            name = content[body + LOAD_BODY.size:at + size].split(b"\0", 1)[0]
            entries.append(Load(time, address, length, name.decode("utf-8", "surrogateescape"), index))
        elif kind == MOVE:
            _, _, _, old, new, length, index = MOVE_BODY.unpack_from(content, body)
            entries.append(Move(time, old, new, length, index))
        elif kind == CLOSE:
            break
        at += size
    return entries


class Code(NamedTuple):
    address: int
    size: int
    name: str


class LiveCode:
    """What code is where, as time goes by: `at` must be asked in rising time."""

    def __init__(self, entries):
        self._ahead = sorted((entry for entry in entries if entry.size), key=lambda entry: entry.time)
        self._done = 0
        self._addresses, self._codes = [], []  # live, rising, without overlaps

    def at(self, time, address) -> Optional[Code]:
        while self._done < len(self._ahead) and self._ahead[self._done].time <= time:
            self._apply(self._ahead[self._done])
            self._done += 1
        found = self._holding(address)
        return None if found is None else self._codes[found]

    def _holding(self, address):
        at = bisect.bisect_right(self._addresses, address) - 1
        inside = at >= 0 and address < self._codes[at].address + self._codes[at].size
        return at if inside else None

    def _apply(self, entry):
        if isinstance(entry, Load):
            self._lay(Code(entry.address, entry.size, entry.name))
            return
        moved = self._holding(entry.old)
        if moved is not None and self._addresses[moved] == entry.old:
            code = self._codes[moved]
            self._remove(moved, moved + 1)
            self._lay(Code(entry.new, entry.size, code.name))

    def _lay(self, code):
        """What it covers in part is gone as a whole."""
        first = bisect.bisect_right(self._addresses, code.address) - 1
        if first < 0 or self._codes[first].address + self._codes[first].size <= code.address:
            first += 1
        last = bisect.bisect_left(self._addresses, code.address + code.size)
        self._remove(first, last)
        self._addresses.insert(first, code.address)
        self._codes.insert(first, code)

    def _remove(self, first, last):
        del self._addresses[first:last]
        del self._codes[first:last]


def parse_map(content):
    """(address, size, name) of each line of a perf map."""
    lines = []
    for text in content.decode("utf-8", "surrogateescape").splitlines():
        address, size, name = text.split(" ", 2)
        lines.append(Code(int(address, 16), int(size, 16), name))
    return lines


class MappedNames:
    """The latest line of a perf map that holds an address."""

    def __init__(self, lines):
        self._lines = list(reversed(lines))

    def at(self, address) -> Optional[Code]:
        return next((line for line in self._lines if line.address <= address < line.address + line.size), None)
