"""Measures call chains against the truth. Pure functions on addresses, the sampled one first."""

from dataclasses import dataclass, field
from enum import Enum
from typing import NamedTuple

# A frame may be told by its return address or by the call before it, of which no encoding is longer.
LONGEST_CALL = 8


class Verdict(Enum):
    RIGHT = "the leading part of the true chain"
    SKIPS = "true frames in their order, some left out between them"
    WRONG = "a frame that is not on the stack there"


class Compared(NamedTuple):
    verdict: Verdict
    held: int   # leading true frames that the chain holds, the sampled one included
    odd: int | None = None  # position of the first frame that is not the true one


def is_frame(stored, true):
    """Whether an address stands for the caller with this return address."""
    return 0 <= true - stored <= LONGEST_CALL


def _matches(stored, truth, stored_at, true_at):
    if true_at == 0:  # no return address, but where the program was
        return stored[stored_at] == truth[0]
    return is_frame(stored[stored_at], truth[true_at])


def leading(stored, truth):
    """How many frames are the true ones, counted from the sampled one."""
    count = 0
    while count < min(len(stored), len(truth)) and _matches(stored, truth, count, count):
        count += 1
    return count


def compare(stored, truth):
    """Judges one chain, end marks taken off."""
    held = leading(stored, truth)
    if held == len(stored):
        return Compared(Verdict.RIGHT if stored else Verdict.SKIPS, held)
    at = held
    for frame in range(held, len(stored)):
        while at < len(truth) and not _matches(stored, truth, frame, at):
            at += 1
        if at == len(truth):
            return Compared(Verdict.WRONG, held, held)
        at += 1
    return Compared(Verdict.SKIPS, held, held)


def offered(truth, software, sources):
    """How many leading true frames a recording holds: as far as the software chain is right or a branch record is
    there for the frame. `sources`: where the branches of the records went out from, newest first."""
    known = leading(software, truth)
    at = 0
    for position in range(1, len(truth)):
        found = next((i for i in range(at, len(sources)) if is_frame(sources[i], truth[position])), None)
        if found is not None:
            at = found + 1
        elif position >= known:
            return position
    return len(truth)


@dataclass
class Measure:
    """Sums over samples. Frames are callers here: the sampled frame is always held."""

    samples: int = 0
    verdicts: dict = field(default_factory=lambda: dict.fromkeys(Verdict, 0))
    shares: float = 0
    shared: int = 0  # samples with a caller to hold

    def add(self, compared, most):
        """`most`: leading frames that could be held, the sampled one included."""
        self.samples += 1
        self.verdicts[compared.verdict] += 1
        if most > 1:
            self.shares += (min(compared.held, most) - 1 if compared.held else 0) / (most - 1)
            self.shared += 1

    def __iadd__(self, other):
        self.samples += other.samples
        for verdict, count in other.verdicts.items():
            self.verdicts[verdict] += count
        self.shares += other.shares
        self.shared += other.shared
        return self

    def share(self, verdict):
        return self.verdicts[verdict] / self.samples

    @property
    def held(self):
        """Mean share of the callers that could be held."""
        return self.shares / self.shared

    def __str__(self):
        counts = ", ".join(f"{verdict.name.lower()} {100 * self.share(verdict):.2f} %" for verdict in Verdict)
        return f"{self.samples} samples: {counts}; held {100 * self.held:.1f} %"
