"""The step tracer's recordings and truth, against the symbols of the traced program."""

import bisect
import os
import re
import subprocess
import unittest

from support import elf_text
from support.chain_measure import is_frame
from support.no_tracing import refuse_tracing
from support.perf_records import Records
from support.testing import SystemTest
from support.traced import NOT_PERMITTED, PROGRAMS, SKIPPED, STEPTRACE, Traces
from support.workloads import WORKLOADS

RECURSION = next(workload for workload in WORKLOADS if workload.name == "recursion-static-nofp")
OPTIONS = ("--cap", "8", "--max-steps", "40000", "--period", "53", "--from", "entry")

# What runs below main in that program, and what leads to main.
INSIDE = re.compile(r"^((atTheBottom|onTheWay) )?(descend )*main (\S+ )?\S*libc_start_main\S* _start $")
DEEPEST = 60
RECORDS = 32


class Functions:
    """Names of a program's functions by address."""

    def __init__(self, binary):
        functions = sorted((address, name) for name, address in elf_text.functions(binary).items())
        self._starts = [address for address, _ in functions]
        self._names = [name for _, name in functions]

    def name(self, address):
        """Of the workloads' own functions the bare name."""
        name = self._names[bisect.bisect_right(self._starts, address) - 1]
        own = re.match(r"_ZN12_GLOBAL__N_1\d+([a-zA-Z]+)E", name)
        return own.group(1) if own else name


class TracedRecursion(SystemTest):
    @classmethod
    def setUpClass(cls):
        cls.traces = Traces(*OPTIONS)

    @classmethod
    def tearDownClass(cls):
        cls.traces.close()

    def setUp(self):
        self.trace = self.traces.get([RECURSION])[RECURSION]

    def test_true_chains_are_the_calls_that_the_program_makes(self):
        functions = Functions(PROGRAMS / RECURSION.name)
        within, deepest = 0, 0
        for chain in self.trace.truth.values():
            names = [functions.name(chain[0])] + [functions.name(address - 1) for address in chain[1:]]
            if "descend" in names:
                within += 1
                deepest = max(deepest, names.count("descend"))
                self.assertRegex("".join(f"{name} " for name in names), INSIDE)
        self.assertGreater(within, len(self.trace.truth) / 2)
        self.assertIn(deepest, range(RECORDS + 1, DEEPEST + 1))

    def test_every_sample_has_its_truth(self):
        recorded = self.trace.samples()
        self.assertEqual(list(recorded), list(self.trace.truth))
        for tick, sample in recorded.items():
            self.assertEqual(sample.ip, self.trace.truth[tick][0])

    def test_records_are_the_newest_calls_and_no_more_than_a_processor_keeps(self):
        most = 0
        for tick, sample in self.trace.samples().items():
            most = max(most, len(sample.branches))
            for source, true in zip(sample.sources, self.trace.truth[tick][1:]):
                self.assertTrue(is_frame(source, true), sample)
        self.assertEqual(most, RECORDS)

    def test_a_true_software_chain_is_cut_at_the_cap(self):
        for tick, sample in self.trace.samples().items():
            self.assertEqual(list(sample.software), self.trace.truth[tick][:8])

    def test_another_reader_finds_the_same_samples(self):
        records = Records(self.trace.recording.read_bytes())
        self.assertEqual([(sample.tick, sample.ip, sample.addresses) for sample in records.samples],
                         [(sample.tick, sample.ip, sample.software) for sample in self.trace.samples().values()])
        self.assertEqual({sample.max_stack for sample in records.samples}, {8})
        self.assertIn(str(PROGRAMS / RECURSION.name), [mapping.path for mapping in records.mappings])

    def test_a_second_run_is_the_same(self):
        again = Traces(*OPTIONS)
        self.addCleanup(again.close)
        other = again.get([RECURSION])[RECURSION]
        self.assertEqual(other.truth, self.trace.truth)
        self.assertEqual(other.samples(), self.trace.samples())


class Refusals(SystemTest):
    """What the tracer cannot do it says in one line."""

    def refused(self, *words, status, **settings):
        folder = self.scratch()
        done = subprocess.run([STEPTRACE, "-o", "out.data", *words], cwd=folder, capture_output=True, text=True,
                              timeout=60, **settings)
        if done.returncode == NOT_PERMITTED != status:
            self.skipTest(SKIPPED)
        self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (status, "", 1), done)
        self.assertEqual(list(folder.iterdir()), [])
        return done.stderr

    def test_where_tracing_is_refused_there_is_a_status_of_its_own(self):
        # A leak check at the end, which sanitized builds have, is a trace too.
        said = self.refused("/bin/true", status=NOT_PERMITTED, preexec_fn=refuse_tracing,
                            env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})
        self.assertIn(SKIPPED, said)

    def test_a_program_that_is_not_there_is_named(self):
        self.assertIn("/nowhere/program", self.refused("/nowhere/program", status=2))

    def test_a_file_that_cannot_be_written_is_named(self):
        self.assertIn("/nowhere/truth", self.refused("--truth", "/nowhere/truth", "/bin/true", status=2))


if __name__ == "__main__":
    unittest.main()
