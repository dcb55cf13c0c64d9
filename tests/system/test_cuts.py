"""A recording that ends early is loaded up to its end."""

import os

from support import command, result
from support.cases import kept
from support.damage import load_damaged
from support.perf_bytes import SAMPLE, Recording, kind_of
from support.testing import MEMORY, SystemTest

# Bytes between two cuts: prime, so that all places in a record come up. The slow run sets 1.
STEP = int(os.environ.get("SAMPLEFOLD_CUT_STEP", "29"))


def small_recording():
    """A whole recording with two dozen samples of three events."""
    recording = Recording(kept("forktree-multi").load("perf.data"))
    samples = [record for record in recording.records if kind_of(record) == SAMPLE][::21]
    other = [record for record in recording.records if kind_of(record) != SAMPLE]
    return Recording(recording.with_records(other + samples))


def sample_ends(recording):
    """Where each sample record ends in the file."""
    ends, at = [], recording.data
    for record in recording.records:
        at += len(record)
        if kind_of(record) == SAMPLE:
            ends.append(at)
    return ends


class Cuts(SystemTest):
    def test_every_prefix_of_a_file(self):
        recording = small_recording()
        ends = sample_ends(recording)
        self.assertGreater(len(ends), 20)
        folder = self.scratch(MEMORY)
        counts = set()
        for length in range(0, len(recording.content), STEP):
            with self.subTest(length=length):
                outcome, loaded = load_damaged(self, recording.content[:length], folder)
                rows = 0 if loaded is None else result.value(loaded, "SELECT count(*) FROM sample_instance")
                self.assertEqual(rows, sum(end <= length for end in ends))
                if length < recording.data + recording.size:
                    self.assertEqual(outcome.code, command.FAILED)
                counts.add(rows)
        self.assertGreater(len(counts), len(ends) // 2)

    def test_every_prefix_of_a_pipe(self):
        content = kept("deeptree-piped").load("perf.data")[:12000]
        folder = self.scratch(MEMORY)
        before = 0
        for length in range(0, len(content), STEP * 7):
            with self.subTest(length=length):
                _, loaded = load_damaged(self, content[:length], folder)
                rows = 0 if loaded is None else result.value(loaded, "SELECT count(*) FROM sample_instance")
                self.assertGreaterEqual(rows, before, "a longer prefix gives no fewer samples")
                before = rows
        self.assertGreater(before, 10)

    def test_every_prefix_of_a_compressed_file(self):
        content = kept("deeptree-zstd").load("perf.data")
        folder = self.scratch(MEMORY)
        most = 0
        for length in range(0, len(content), STEP * 5):
            with self.subTest(length=length):
                _, loaded = load_damaged(self, content[:length], folder)
                if loaded is not None:
                    most = max(most, result.value(loaded, "SELECT count(*) FROM sample_instance"))
        self.assertEqual(most, 545)
