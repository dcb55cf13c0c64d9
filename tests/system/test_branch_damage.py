"""The tool that spoils branch records: what it changes is what it says."""

import struct
import subprocess
import unittest
from collections import Counter

from support.branch_damage import INSIDE_INSTRUCTION, KINDS, SWAPPED_PAIR, WRONG_TARGET, damaged, is_sound
from support.branch_records import samples
from support.perf_bytes import SAMPLE, Recording, kind_of
from support.perf_writer import Writer, user_chain
from support.testing import SystemTest

PID, BASE = 7010, 0x400000
SOURCE = """
.globl first, second, third, fourth
.type first, @function
.type second, @function
.type third, @function
.type fourth, @function
.text
first:  push %rbp
        mov %rsp, %rbp
        call second
        pop %rbp
        ret
.size first, . - first
second: sub $8, %rsp
        call third
        add $8, %rsp
        jmp *%rax
.size second, . - second
third:  nop
        nop
        call fourth
        ret
.size third, . - third
fourth: mov $7, %eax
        ret
.size fourth, . - fourth
"""
FUNCTIONS = ("first", "second", "third", "fourth")


class Spoiling(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        (self.folder / "code.s").write_text(SOURCE)
        self.binary = self.folder / "code"
        subprocess.run(["gcc", "-nostdlib", "-shared", "-o", self.binary, self.folder / "code.s"], check=True)
        listing = subprocess.run(["nm", self.binary], check=True, capture_output=True, text=True).stdout
        symbols = {name: int(address, 16) for address, _, name in (line.split() for line in listing.splitlines())}
        self.entries = [BASE + symbols[name] for name in FUNCTIONS]
        self.recording, self.truth = self.record(400)

    def calls(self):
        """(from, to) of the three calls, the outermost first."""
        first, second, third, fourth = self.entries
        return [(first + 4, second), (second + 4, third), (third + 2, fourth)]

    def record(self, count):
        """Samples in fourth, below the three calls."""
        branches = [(source, target, 2) for source, target in reversed(self.calls())]
        ip = self.entries[-1]
        chain = [ip] + [source + 5 for source, _, _ in branches]
        writer = Writer()
        writer.mmap(1, PID, BASE, 0x10000, str(self.binary))
        for number in range(count):
            writer.sample(1000 + number, PID, ip, user_chain(ip))
        plain = Recording(writer.content())
        stack = struct.pack("<Q", len(branches)) + b"".join(struct.pack("<QQQ", *branch) for branch in branches)
        records = [record if kind_of(record) != SAMPLE else
                   record[:6] + struct.pack("<H", len(record) + len(stack)) + record[8:] + stack
                   for record in plain.records]
        return Recording(plain.with_records(records)), {1000 + number: chain for number in range(count)}

    def spoilt(self, seed=1, every=1):
        content, done = damaged(self.recording, self.truth, seed, every)
        after = {sample.tick: sample for sample in samples(Recording(content))}
        return after, done

    def test_the_same_seed_spoils_the_same_and_another_something_else(self):
        self.assertEqual(self.spoilt(seed=3), self.spoilt(seed=3))
        self.assertNotEqual(self.spoilt(seed=3)[1], self.spoilt(seed=4)[1])

    def test_all_kinds_and_links_come_up(self):
        _, done = self.spoilt()
        kinds = Counter(damage.kind for damage in done)
        self.assertEqual(set(kinds), set(KINDS))
        self.assertGreater(min(kinds.values()), len(done) / 6)
        self.assertEqual({damage.link for damage in done}, {0, 1, 2})

    def test_nothing_but_the_named_records_changes(self):
        after, done = self.spoilt(every=4)
        self.assertEqual(len(done), 100)
        damages = {damage.tick: damage for damage in done}
        for before in samples(self.recording):
            now = after[before.tick]
            damage = damages.get(before.tick)
            changed = {number for number in range(3) if now.branches[number] != before.branches[number]}
            pair = damage is not None and damage.kind == SWAPPED_PAIR
            expected = set() if damage is None else {damage.link, damage.link + pair}
            self.assertEqual(changed, expected, damage)
            self.assertEqual((now.ip, now.software), (before.ip, before.software))

    def test_a_wrong_target_is_the_target_of_another_record(self):
        after, done = self.spoilt()
        targets = {target for _, target in self.calls()}
        for damage in done:
            if damage.kind == WRONG_TARGET:
                right = self.calls()[2 - damage.link]
                branch = after[damage.tick].branches[damage.link]
                self.assertEqual(branch.source, right[0])
                self.assertIn(branch.target, targets - {right[1]})

    def test_a_swapped_pair_is_the_two_in_the_other_order(self):
        after, done = self.spoilt()
        for damage in done:
            if damage.kind == SWAPPED_PAIR:
                pair = [branch[:2] for branch in after[damage.tick].branches[damage.link:damage.link + 2]]
                self.assertEqual(pair, list(reversed(self.calls()))[damage.link:damage.link + 2][::-1])

    def test_an_address_inside_an_instruction_is_in_the_first_that_has_an_inside(self):
        """In the function third two instructions of one byte come first."""
        _, second, third, fourth = self.entries
        expected = {fourth: fourth + 1, third: third + 3, second: second + 1}
        after, done = self.spoilt()
        inside = [damage for damage in done if damage.kind == INSIDE_INSTRUCTION]
        for damage in inside:
            right = self.calls()[2 - damage.link][1]
            self.assertEqual(after[damage.tick].branches[damage.link].target, expected[right])
        self.assertGreater(len(inside), 0)

    def test_code_tells_of_all_links_but_those_from_a_function_that_jumps_elsewhere(self):
        """The function second ends in a jump through a register."""
        after, done = self.spoilt()
        told = {True: 0, False: 0}
        for damage in done:
            jumps = after[damage.tick].branches[damage.link].target == self.entries[1]
            self.assertEqual(damage.can_tell, not jumps, damage)
            told[damage.can_tell] += 1
        self.assertGreater(min(told.values()), 10)

    def test_a_sample_with_records_that_are_not_its_callers_is_left_alone(self):
        sample = samples(self.recording)[0]
        self.assertTrue(is_sound(sample, self.truth[sample.tick]))
        other = dict.fromkeys(self.truth, [self.entries[-1], BASE + 5])
        self.assertFalse(is_sound(sample, other[sample.tick]))
        content, done = damaged(self.recording, other, 1)
        self.assertEqual((content, done), (self.recording.content, []))


if __name__ == "__main__":
    unittest.main()
