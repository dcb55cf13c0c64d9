"""Spoils branch records at random, in a way that is known: to see whether what reads them notices, and where.

Links are counted from the newest: link 0 runs from the newest record's target to the sampled address, link k from the
target of record k to the source of record k - 1. A check that notices a bad link k trusts the k records before it."""

import random
import re
import subprocess
from functools import lru_cache
from typing import NamedTuple

from support import elf_text
from support.branch_records import parse, with_branch
from support.chain_measure import is_frame
from support.perf_bytes import SAMPLE, kind_of
from support.perf_records import Records

WRONG_TARGET, SWAPPED_PAIR, INSIDE_INSTRUCTION = "wrong target", "swapped pair", "inside an instruction"
KINDS = (WRONG_TARGET, SWAPPED_PAIR, INSIDE_INSTRUCTION)

# Bytes of code that hold an instruction of more than one byte, but for padding.
SEEN = 40
# A line of objdump with a mnemonic; long instructions go on in lines without one.
INSTRUCTION = re.compile(r"^ *([0-9a-f]+):\t(?:[0-9a-f]{2} )+ *\t(.+)$", re.MULTILINE)


class Damage(NamedTuple):
    tick: int  # of the sample
    kind: str
    link: int  # the newest that does not hold any more
    can_tell: bool  # see Code.can_tell


class Code:
    """Where the instructions of a recording's modules begin, by objdump."""

    def __init__(self, mappings):
        self._mappings = mappings

    def mapping(self, address):
        return next((mapping for mapping in self._mappings if mapping.holds(address)), None)

    def inside(self, address):
        """An address within the first instruction at or after this one that has more than one byte; None where the
        code cannot be read."""
        place = self._place(address)
        if place is None:
            return None
        path, first = place
        starts = [start for start, _ in _instructions(path, first, first + SEEN)]
        for start, following in zip(starts, starts[1:]):
            if following - start > 1:
                return address + start - first + 1
        return None

    def can_tell(self, target, child):
        """Whether code shows that a link from `target` to `child` does not hold. It does when both lie in one module,
        the target in a function with a symbol and either not at its start, or such that only that function's own code
        can run on from there, and the child is none of it. Jumps out of a function or to where no instruction says
        may lead anywhere, and so may the linkage table, which has no symbols."""
        mapping, place = self.mapping(target), self._place(target)
        if place is None or not mapping.holds(child):
            return False
        path, address = place
        holding = [(start, end) for start, end in _functions(path) if start <= address < end]
        if not holding:
            return False
        if all(start != address for start, _ in holding):
            return True
        start, end = max(holding, key=lambda function: function[1])
        return not start <= child - target + address < end and _stays(path, start, end)

    def _place(self, address):
        """(path, address in the file's own layout); None where no file is mapped."""
        mapping = self.mapping(address)
        if mapping is None or not mapping.path.startswith("/"):
            return None
        at = address - mapping.start + mapping.offset
        return next(((mapping.path, start + at - offset) for offset, start, size in _loads(mapping.path)
                     if offset <= at < offset + size), None)


@lru_cache(maxsize=None)
def _loads(path):
    return list(elf_text.loads(path))


_functions = lru_cache(maxsize=None)(elf_text.function_ranges)


@lru_cache(maxsize=None)
def _instructions(path, start, end):
    """(address, text) of the instructions in a part of a file."""
    text = subprocess.run(["objdump", "-d", f"--start-address={start}", f"--stop-address={end}", path],
                          capture_output=True, text=True, check=True).stdout
    return [(int(address, 16), text) for address, text in INSTRUCTION.findall(text)]


@lru_cache(maxsize=None)
def _stays(path, start, end):
    """Whether all jumps of a function lead to its own code."""
    for _, text in _instructions(path, start, end):
        words = text.replace("bnd ", "").replace("notrack ", "").split()
        if words[0].startswith("j"):
            if words[1].startswith("*") or not start <= int(words[1], 16) < end:
                return False
    return True


def is_sound(sample, truth):
    """Whether all records of a sample are calls that have not been left, so that damage is all that is wrong."""
    return len(sample.branches) < len(truth) and all(
        is_frame(branch.source, truth[number + 1]) for number, branch in enumerate(sample.branches))


def damaged(recording, truth, seed, every=1):
    """The recording with one link spoilt in every so many-th sound sample that has records, and the list of what was
    done. `truth`: true chains by tick. The same seed spoils the same."""
    chance = random.Random(seed)
    code = Code(Records(recording.content).mappings)
    targets = sorted({branch.target for record in recording.records if kind_of(record) == SAMPLE
                      for branch in parse(record).branches})
    records, done, sound = [], [], 0
    for record in recording.records:
        spoilt = None
        if kind_of(record) == SAMPLE:
            sample = parse(record)
            if sample.branches and is_sound(sample, truth[sample.tick]):
                sound += 1
                if sound % every == 0:
                    spoilt = _spoil(record, sample, chance, code, targets)
        if spoilt:
            done.append(spoilt[1])
        records.append(spoilt[0] if spoilt else record)
    return recording.with_records(records), done


def _spoil(record, sample, chance, code, targets):
    """(record, Damage); None when this sample has nothing for the kind that chance took."""
    kind = chance.choice(KINDS)
    way = {WRONG_TARGET: _wrong_target, SWAPPED_PAIR: _swapped_pair, INSIDE_INSTRUCTION: _inside_instruction}[kind]
    found = way(record, sample, chance, code, targets)
    if found is None:
        return None
    record, link = found
    child = sample.ip if link == 0 else parse(record).branches[link - 1].source
    target = parse(record).branches[link].target
    return record, Damage(sample.tick, kind, link, code.can_tell(target, child))


def _wrong_target(record, sample, chance, code, targets):
    link = chance.randrange(len(sample.branches))
    branch = sample.branches[link]
    others = [target for target in targets if target != branch.target]
    if not others:
        return None
    return with_branch(record, link, branch._replace(target=chance.choice(others))), link


def _swapped_pair(record, sample, chance, code, targets):
    branches = sample.branches
    unlike = [link for link in range(len(branches) - 1) if branches[link].target != branches[link + 1].target
              and branches[link].source != branches[link + 1].source]
    if not unlike:
        return None
    link = chance.choice(unlike)
    record = with_branch(record, link, branches[link + 1])
    return with_branch(record, link + 1, branches[link]), link


def _inside_instruction(record, sample, chance, code, targets):
    link = chance.randrange(len(sample.branches))
    branch = sample.branches[link]
    target = code.inside(branch.target)
    return None if target is None else (with_branch(record, link, branch._replace(target=target)), link)
