"""Call chains that were found in copies of the stack, against what perf finds in the same copies."""

import tempfile
import unittest
from pathlib import Path

from support import perf_chains, result
from support.cases import KEPT, Case
from support.chains import Chains
from support.command import DONE, load
from support.testing import SystemTest

CASE = Case(KEPT / "deeptree-dwarf")
BINARIES = KEPT / "binaries"

KERNEL_HALF = 1 << 63

QUALITY_SQL = "SELECT reason, count FROM quality"

# deeptree's functions between main and what it spends its time in.
LEVELS = 12


def is_program(frame):
    return frame.path in ("/opt/sfdemo/deeptree", "/opt/sfdemo/libsfleaf.so")


class Unwinding(SystemTest):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="samplefold-unwinding-")
        cls.recording = CASE.recording(cls.folder.name)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def loaded(self, name, *options):
        folder = Path(self.folder.name) / name
        # Without this user's cache of recorded programs.
        outcome = load(self.recording, folder, *options, env={"HOME": self.folder.name})
        self.assertEqual(outcome.code, DONE, outcome.err)
        return folder

    def printed(self):
        """perf prints the byte before the return address of user frames; return addresses in the kernel as they are."""
        chains = {}
        for chain in perf_chains.chains(CASE.text("callchain-abs.txt")):
            addresses = [frame.address for frame in chain.frames]
            first_user = next((i for i, address in enumerate(addresses) if address < KERNEL_HALF), len(addresses))
            chains[chain.key] = [address + (i > first_user) for i, address in enumerate(addresses)]
        return chains

    def test_frames_of_the_program_are_those_that_perf_finds(self):
        folder = self.loaded("with", "--symbols", BINARIES)
        chains = Chains(folder)
        printed = self.printed()
        self.assertEqual(len(chains.samples), len(printed))
        whole = 0
        for sample in chains.samples:
            frames = chains.without_mark(sample.callsite)
            expected = printed[sample.key]
            # Where the file of another module is missing, the chain ends in the frame that lies in it.
            for frame, address in zip(frames, expected):
                self.assertIn(address, chains.addresses(frame, sample), (sample, address))
            missing = expected[len(frames):]
            if not is_program(frames[-1]):
                whole += len(frames) > LEVELS
            else:
                self.assertEqual(missing, [], sample)
        self.assertGreaterEqual(whole, 290)

    def test_what_was_not_found_is_counted_and_no_sample_is_lost(self):
        folder = self.loaded("without", "--symbols", self.folder.name)
        chains = Chains(folder)
        self.assertEqual(len(chains.samples), len(self.printed()))
        quality = dict(result.rows(folder, QUALITY_SQL))
        counted = sum(count for reason, count in quality.items() if reason.startswith("call stacks that ended early"))
        self.assertEqual(counted, len(chains.samples))

    def test_nothing_is_unwound_with_call_stacks_off(self):
        folder = self.loaded("off", "--stacks", "off", "--symbols", BINARIES)
        self.assertEqual(result.value(folder, "SELECT count(*) FROM dd_callsite WHERE parent > 0"), 0)
        reasons = [reason for reason, _ in result.rows(folder, QUALITY_SQL)]
        self.assertEqual([reason for reason in reasons if reason.startswith("call stacks")], [])


if __name__ == "__main__":
    unittest.main()
