"""The branch records of a recording, in the sample layout IP, TID, TIME, CPU, PERIOD, CALLCHAIN, BRANCH_STACK."""

import struct
from typing import NamedTuple

from support.perf_bytes import SAMPLE, kind_of
from support.perf_records import FIRST_MARKER

_IP, _TIME, _CHAIN = 8, 24, 48
_BRANCH = struct.Struct("<QQQ")


class Branch(NamedTuple):
    source: int
    target: int
    flags: int


class BranchSample(NamedTuple):
    tick: int
    ip: int
    software: tuple  # the chain without its markers
    branches: tuple  # newest first

    @property
    def sources(self):
        return [branch.source for branch in self.branches]


def _branches_at(record):
    return _CHAIN + 8 + 8 * struct.unpack_from("<Q", record, _CHAIN)[0]


def parse(record):
    """A sample's record."""
    tick, ip = (struct.unpack_from("<Q", record, at)[0] for at in (_TIME, _IP))
    at = _branches_at(record)
    chain = struct.unpack_from(f"<{(at - _CHAIN - 8) // 8}Q", record, _CHAIN + 8)
    count = struct.unpack_from("<Q", record, at)[0]
    branches = tuple(Branch(*_BRANCH.unpack_from(record, at + 8 + _BRANCH.size * number)) for number in range(count))
    return BranchSample(tick, ip, tuple(address for address in chain if address < FIRST_MARKER), branches)


def samples(recording):
    """Every sample of a perf_bytes.Recording, in the order of the file."""
    return [parse(record) for record in recording.records if kind_of(record) == SAMPLE]


def with_branch(record, number, branch):
    """A sample's record with another branch in place of the one with this number."""
    at = _branches_at(record) + 8 + _BRANCH.size * number
    return record[:at] + _BRANCH.pack(*branch) + record[at + _BRANCH.size:]
