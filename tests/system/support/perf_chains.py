"""Parses what perf prints of call chains: callchain.txt, callchain-abs.txt, symchain.txt."""

import re
from typing import NamedTuple, Optional

# comm pid/tid time: event: then a frame a line; a sample without a chain has its address behind the event.
HEAD = re.compile(r"^.*?\s(-?\d+)/(-?\d+)\s+(\d+)\.(\d{9}):\s+(?:\d+\s+)?(\S.*?):\s*([0-9a-f]+(?:\s.*)?)?$")
FRAME = re.compile(r"^\s+([0-9a-f]+)(?:\s(.*?))?(?:\s\(([^()]*)\))?$")


class Line(NamedTuple):
    """A frame."""
    address: int
    function: Optional[str]
    dso: Optional[str]


class Chain(NamedTuple):
    pid: int
    tid: int
    tick: int
    event: str
    frames: tuple

    @property
    def key(self):
        return self.pid, self.tid, self.tick


def frame(text):
    match = FRAME.match(text)
    if match is None:
        raise ValueError(f"not a frame of perf: {text!r}")
    address, function, dso = match.groups()
    return Line(int(address, 16), function, dso)


def chains(text):
    """Every sample of the text with its frames, the sampled one first."""
    found = []
    for block in re.split(r"\n\n+", text.strip("\n")):
        head, *lines = block.splitlines()
        match = HEAD.match(head)
        if match is None:
            raise ValueError(f"not a sample of perf: {head!r}")
        pid, tid, seconds, nanoseconds, event, address = match.groups()
        lines = [f" {address}", *lines] if address else lines
        found.append(Chain(int(pid), int(tid), int(seconds) * 10**9 + int(nanoseconds), event.strip(),
                           tuple(frame(line) for line in lines)))
    return found
