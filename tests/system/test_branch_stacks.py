"""Branch records as the result has them, against what perf prints, and the ways to use them."""

import re
from collections import Counter

from support import command, result
from support.cases import shared_cases
from support.chains import Chains
from support.testing import LoadedCases, SystemTest, test_per_case
from support.traced import Traces
from support.workloads import WORKLOADS

loads = LoadedCases("--names", "off")
TRACES = Traces("--cap", "8", "--period", "101", "--max-steps", "20000", "--max-samples", "150", "--from", "entry")
DEEP = next(workload for workload in WORKLOADS if workload.name == "recursion-pie-fp")


def tearDownModule():
    loads.close()
    TRACES.close()


_LINE = re.compile(r"\s*(-?\d+)/(-?\d+)\s+(\d+)\.(\d+):\s+([0-9a-f]+)(.*)")
_PREDICTION = {"M": 1, "P": 0, "-": None, "N": None}


def printed(text):
    """A multiset of (tid, microsecond, records) of the samples that have records, newest record first."""
    samples = Counter()
    for line in text.splitlines():
        match = _LINE.match(line)
        records = []
        for word in match[6].split():  # FROM/TO/prediction/in a transaction/abort/cycles/type
            source, target, prediction, _, _, cycles = word.split("/")[:6]
            records.append((source, target, _PREDICTION[prediction], int(cycles)))
        if records:
            samples[int(match[2]), int(match[3]) * 1_000_000 + int(match[4][:6]), tuple(records)] += 1
    return samples


STORED = """
SELECT t.tid, b.interval, b.tick, b."from", b."to", b.mispredicted, b.cycles
  FROM sample_branches b JOIN sample_instance i ON i.id = b.interval JOIN dd_thread t ON t.id = i.thread
 ORDER BY b.interval, b.position"""


def stored(folder):
    samples = {}
    for tid, interval, tick, source, target, mispredicted, cycles in result.rows(folder, STORED):
        samples.setdefault((tid, interval, tick), []).append((source, target, mispredicted, cycles))
    return Counter((tid, tick // 1000, tuple(records)) for (tid, _, tick), records in samples.items())


def check_records(test, case):
    folder = loads.loaded(test, case)
    test.assertEqual(stored(folder), printed(case.text("brstack.txt")))


@test_per_case([case for case in shared_cases() if case.load("brstack.txt") is not None], check_records)
class RecordsAreThoseThatPerfPrints(SystemTest):
    pass


class WaysToUseThem(SystemTest):
    def setUp(self):
        self.trace = TRACES.get([DEEP])[DEEP]
        self.folder = self.scratch()

    def load_with(self, *options, name="r"):
        return self.load(self.trace.recording, self.folder / name, *options)

    def sources(self, folder):
        return dict(result.rows(folder, "SELECT chain, count(*) FROM branch_stacks b JOIN dd_sample s "
                                        "ON s.lbr_head = b.branch_stack GROUP BY chain"))

    def depths(self, folder):
        chains = Chains(folder)
        return [len(chains.stored_addresses(sample)) for sample in chains.samples]

    def test_merging_is_the_default_and_makes_chains_deeper(self):
        merged = self.load_with()
        self.assertIn("merged", self.sources(merged))
        plain = self.load_with("--branch-stacks", "off", name="off")
        self.assertEqual(result.value(plain, "SELECT count(*) FROM dd_lbr_head"), 0)
        self.assertGreater(sum(self.depths(merged)), sum(self.depths(plain)))

    def test_verify_takes_one_of_the_two_chains(self):
        self.assertLessEqual(set(self.sources(self.load_with("--branch-stacks", "verify"))), {"software", "records"})

    def test_raw_records_have_no_verdicts(self):
        folder = self.load_with("--branch-stacks", "raw")
        self.assertGreater(result.value(folder, "SELECT count(*) FROM dd_lbr_head"), 0)
        self.assertEqual(result.value(folder, "SELECT count(verdicts) FROM dd_lbr_head"), 0)

    def test_without_decoding_mismatches_of_symbols_cut_nothing(self):
        folder = self.load_with("--navigate", "off")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM branch_quality WHERE what LIKE "
                                              "'record cut: no way%'"), 0)
        self.assertIn("merged", self.sources(folder))

    def test_records_of_any_branch_are_kept_whole_with_a_verdict_each(self):
        folder = self.load(self.trace.any_recording, self.folder / "any")
        kinds = result.rows(folder, "SELECT DISTINCT kind FROM dd_lbr_head")
        self.assertEqual(kinds, [("taken branches",)])
        verdicts = Counter(dict(result.rows(folder, "SELECT verdict, count(*) FROM branch_records GROUP BY verdict")))
        holds = verdicts["kept: control flow leads to what ran next"]
        fails = verdicts["cut: no way from there to what ran next"]
        self.assertGreater(holds, 1000)
        self.assertLessEqual(fails, holds // 100, "each record leads to the next, as the processor went")

    def test_another_load_uses_the_rows_of_the_first(self):
        folder = self.load_with()
        before = result.value(folder, "SELECT count(*) FROM dd_lbr_head")
        self.load_with("--append")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM dd_lbr_head"), before)
        self.assertEqual(result.value(folder, "SELECT count FROM branch_quality WHERE what = 'samples with branch "
                                              "records'"), 2 * len(self.trace.truth))

    def test_sums_are_not_kept_apart_by_their_records(self):
        folder = self.load_with("--store-each-sample", "off")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM dd_sample WHERE lbr_head > 0"), 0)

    def test_each_sample_counts_once_by_where_its_chain_is_from(self):
        folder = self.load_with()
        counts = dict(result.rows(folder, "SELECT what, count FROM branch_quality"))
        sources = sum(count for what, count in counts.items() if what.startswith("chain: "))
        ends = counts.get("chains that end at the outermost function", 0) + counts.get(
            "chains whose outermost frames are not known", 0)
        self.assertEqual((sources, ends), (len(self.trace.truth), len(self.trace.truth)))

    def test_an_unknown_use_is_a_usage_error(self):
        outcome = command.load(self.trace.recording, self.folder / "bad", "--branch-stacks", "maybe")
        self.assertEqual(outcome.code, command.USAGE)
