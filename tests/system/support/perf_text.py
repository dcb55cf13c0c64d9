"""Parses what perf prints: samples.txt, dso.txt, stats.txt."""

import re
from collections import Counter
from typing import NamedTuple, Optional


class SampleLine(NamedTuple):
    event: str
    pid: int
    tid: int
    cpu: Optional[int]
    tick: int
    period: Optional[int]
    ip: int


# comm pid/tid [cpu] time: period event: addr ip, where cpu, period and addr may be missing.
SAMPLE = re.compile(r"^.*?\s(-?\d+)/(-?\d+)\s+(?:\[(\d+)\]\s+)?(\d+)\.(\d{9}):\s+(?:(\d+)\s+)?"
                    r"(\S.*):\s+(?:[0-9a-f]+\s+)?([0-9a-f]+)\s*$")


def samples(text):
    lines = []
    for line in text.splitlines():
        match = SAMPLE.match(line)
        if match is None:
            raise ValueError(f"not a line of perf: {line!r}")
        pid, tid, cpu, seconds, nanoseconds, period, event, ip = match.groups()
        lines.append(SampleLine(event, int(pid), int(tid), None if cpu is None else int(cpu),
                                int(seconds) * 10**9 + int(nanoseconds),
                                None if period is None else int(period), int(ip, 16)))
    return lines


HEAD = re.compile(r"^# Samples: \S+\s+of events? '(.*)'$")
GROUP = re.compile(r"^anon group \{ (.*) \}$")


def dso_counts(text):
    """A list of (event, Counter of samples by DSO), in the order of the text."""
    sections, current = [], []
    for line in text.splitlines():
        head = HEAD.match(line)
        if head:
            group = GROUP.match(head.group(1))
            events = group.group(1).split(", ") if group else [head.group(1)]
            current = [(event, Counter()) for event in events]
            sections += current
        elif line.strip() and not line.startswith("#"):
            add_dso_line(line, current)
    return sections


def add_dso_line(line, current):
    """Percentages of all events of the section, then their samples, then the DSO's name."""
    words = line.split(None, 2 * len(current))
    for (_, counter), count in zip(current, words[len(current):-1]):
        if int(count):
            counter[words[-1].strip()] += int(count)


# What perf shortens in its table of records.
SHORTENED = {"ATTR": "HEADER_ATTR", "FEATURE": "HEADER_FEATURE"}


def stats(text):
    """Records by type name, for the whole file."""
    records = {}
    for line in text.split("## perf evlist")[0].splitlines():
        match = re.match(r"^\s+(\w+) events:\s+(\d+)", line)
        if match:
            kind = SHORTENED.get(match.group(1), match.group(1))
            records.setdefault(kind, int(match.group(2)))
    records.pop("TOTAL", None)  # of what perf shows, not of what stands in the file
    return records
