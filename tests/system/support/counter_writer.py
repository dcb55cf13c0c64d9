"""Builds recordings of counting runs from scratch, so that a test knows all that is in them."""

import struct
from dataclasses import dataclass, field

from support.perf_bytes import HEAD

THREAD_MAP, CPU_MAP, STAT_CONFIG, STAT, STAT_ROUND, EVENT_UPDATE = 73, 74, 75, 76, 77, 78
INTERVAL, FINAL = 0, 1
SOFTWARE, CPU_CLOCK, TASK_CLOCK, PAGE_FAULTS, CONTEXT_SWITCHES = 1, 0, 1, 2, 3
NO_CPU = 0xffffffff
_UPDATE_UNIT, _UPDATE_SCALE, _UPDATE_NAME, _UPDATE_CPUS = 0, 1, 2, 3
_NR_CPUS, _CPU_ID, _CPU_TOPOLOGY, _PMU_MAPPINGS = 7, 9, 13, 16
_IDENTIFIER, _TIMES, _EXCLUDE_GUEST = 1 << 16, 3, 1 << 20
_ATTRIBUTE_BYTES, _HEADER_BYTES, _FIRST_ID = 128, 104, 500


def _padded(text):
    raw = text.encode() + b"\0"
    return raw + bytes(-len(raw) % 8)


def _text(text):
    raw = _padded(text)
    return struct.pack("<I", len(raw)) + raw


@dataclass(frozen=True)
class PmuEvent:
    """An event of a PMU, by the number that the recording gives it."""

    type: int
    config: int = 0
    config1: int = 0


@dataclass
class CounterWriter:
    """Software events by their numbers, others as PmuEvent. Records go into the file in the order of the calls."""

    events: tuple = (PAGE_FAULTS,)
    records: list = field(default_factory=list)
    features: dict = field(default_factory=dict)

    def _add(self, kind, body):
        self.records.append(HEAD.pack(kind, 0, HEAD.size + len(body)) + body)
        return self

    def _id(self, event):
        return _FIRST_ID + self.events.index(event)

    def threads(self, *threads):
        """(tid, name) each; tid -1 stands for all."""
        body = struct.pack("<Q", len(threads))
        for tid, name in threads:
            body += struct.pack("<q16s", tid, name.encode())
        return self._add(THREAD_MAP, body)

    def cpus(self, *cpus):
        body = struct.pack(f"<HH{len(cpus)}H", 0, len(cpus), *cpus)
        return self._add(CPU_MAP, body + bytes(-len(body) % 8))

    def config(self, interval):
        """What perf wants to know before it prints: no aggregation, the interval in ms, scaled counts."""
        return self._add(STAT_CONFIG, struct.pack("<7Q", 3, 0, 0, 1, interval, 2, 1))

    def name(self, event, name):
        return self._add(EVENT_UPDATE, struct.pack("<QQ", _UPDATE_NAME, self._id(event)) + _padded(name))

    def unit(self, event, unit, scale):
        self._add(EVENT_UPDATE, struct.pack("<QQ", _UPDATE_UNIT, self._id(event)) + _padded(unit))
        return self._add(EVENT_UPDATE, struct.pack("<QQd", _UPDATE_SCALE, self._id(event), scale))

    def own_cpus(self, event, *cpus):
        """The CPUs that an event counts on."""
        body = struct.pack(f"<HH{len(cpus)}H", 0, len(cpus), *cpus)
        return self._add(EVENT_UPDATE, struct.pack("<QQ", _UPDATE_CPUS, self._id(event)) + body
                         + bytes(-len(body) % 8))

    def pmus(self, names):
        """{number: name} of PMUs."""
        self.features[_PMU_MAPPINGS] = struct.pack("<I", len(names)) + b"".join(
            struct.pack("<I", number) + _text(name) for number, name in names.items())
        return self

    def packages(self, *packages):
        """The package of each CPU."""
        count = len(packages)
        self.features[_NR_CPUS] = struct.pack("<II", count, count)
        siblings = struct.pack("<I", 1) + _text(f"0-{count - 1}")
        self.features[_CPU_TOPOLOGY] = siblings * 2 + b"".join(
            struct.pack("<ii", cpu, package) for cpu, package in enumerate(packages))
        return self

    def cpu_id(self, text):
        self.features[_CPU_ID] = _text(text)
        return self

    def value(self, value, enabled, running=None, event=None, cpu=NO_CPU, thread=0, id=None):
        """Running totals, times in ns."""
        identity = id if id is not None else self._id(self.events[0] if event is None else event)
        return self._add(STAT, struct.pack("<QIIQQQ", identity, cpu, thread, value, enabled,
                                           enabled if running is None else running))

    def round(self, time, kind=INTERVAL):
        return self._add(STAT_ROUND, struct.pack("<QQ", kind, time))

    def content(self):
        ids_at = _HEADER_BYTES
        attributes_at = ids_at + 8 * len(self.events)
        entry = _ATTRIBUTE_BYTES + 16
        data_at = attributes_at + entry * len(self.events)
        data = b"".join(self.records)
        out = b"PERFILE2" + struct.pack("<QQQQQQQQ", _HEADER_BYTES, entry, attributes_at, entry * len(self.events),
                                        data_at, len(data), 0, 0)
        out += sum(1 << number for number in self.features).to_bytes(32, "little")
        out += b"".join(struct.pack("<Q", self._id(event)) for event in self.events)
        for number, event in enumerate(self.events):
            raw = bytearray(_ATTRIBUTE_BYTES)
            told = event if isinstance(event, PmuEvent) else PmuEvent(SOFTWARE, event)
            struct.pack_into("<IIQQQQQ", raw, 0, told.type, _ATTRIBUTE_BYTES, told.config, 0, _IDENTIFIER, _TIMES,
                             _EXCLUDE_GUEST)
            struct.pack_into("<Q", raw, 56, told.config1)
            out += raw + struct.pack("<QQ", ids_at + 8 * number, 8)
        return out + data + self._feature_sections(data_at + len(data))

    def _feature_sections(self, at):
        bodies = [self.features[number] for number in sorted(self.features)]
        at += 16 * len(bodies)
        table = b""
        for body in bodies:
            table += struct.pack("<QQ", at, len(body))
            at += len(body)
        return table + b"".join(bodies)

    def write(self, path):
        path.write_bytes(self.content())
        return path
