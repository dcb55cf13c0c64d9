"""Recordings with wrong bytes in them: whatever is read, the result is sound and the books balance."""

import os
import random

from support import command, result
from support.cases import kept
from support.damage import load_damaged
from support.testing import MEMORY, SystemTest

SEED = 77003
# Damaged copies per recording. The slow run sets more.
COPIES = int(os.environ.get("SAMPLEFOLD_FLIP_COPIES", "60"))


def flipped(content, randomness):
    """One to eight bytes changed, anywhere or in the head, where they do the most."""
    spoilt = bytearray(content)
    end = randomness.choice((512, len(content)))
    for _ in range(randomness.randint(1, 8)):
        spoilt[randomness.randrange(end)] ^= 1 << randomness.randrange(8)
    return bytes(spoilt)


class Flips(SystemTest):
    def check(self, name):
        content = kept(name).load("perf.data")
        randomness = random.Random(f"{SEED} {name}")
        folder, loaded = self.scratch(MEMORY), 0
        for number in range(COPIES):
            with self.subTest(number=number):
                _, found = load_damaged(self, flipped(content, randomness), folder)
                if found is not None:
                    loaded += result.value(found, "SELECT count(*) FROM sample_instance") > 0
                    report = command.run("report", found)
                    self.assertEqual((report.code, report.err), (command.DONE, ""))
        self.assertGreater(loaded, COPIES // 4, "most copies were refused: the test says little")

    def test_a_plain_file(self):
        self.check("deeptree-plain-period")

    def test_a_file_of_processes_and_threads(self):
        self.check("forktree-multi")

    def test_a_pipe(self):
        self.check("deeptree-piped")

    def test_compressed_records(self):
        self.check("deeptree-zstd")

    def test_group_reads(self):
        self.check("deeptree-group-read")

    def test_registers_and_memory_accesses(self):
        self.check("deeptree-regs")

    def test_counter_values(self):
        self.check("stat-intervals")
