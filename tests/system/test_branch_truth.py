"""Call chains that come from branch records and a software chain, against the true ones of traced programs."""

import os
import unittest
from collections import Counter
from typing import NamedTuple

from support import result
from support.branch_damage import KINDS as DAMAGES
from support.branch_damage import damaged
from support.chain_measure import Measure, Verdict, compare, leading, offered
from support.chains import Chains
from support.testing import SystemTest
from support.traced import Traces
from support.workloads import WORKLOADS

STEPS = os.environ.get("SAMPLEFOLD_TRACE_STEPS", "80000")
CAP, PERIOD = 8, 101
TRACES = Traces("--cap", str(CAP), "--period", str(PERIOD), "--max-steps", STEPS, "--max-samples", STEPS,
                "--from", "entry")

# What is asked of chains as they are stored.
LEAST_RIGHT, MOST_WRONG, LEAST_HELD = 0.99, 0.005, 0.90
# Records as they stand have wrong frames in at least so many samples.
LEAST_WRONG_UNCHECKED = 0.10

# Bad links that are cut where they are, of those of which the code can tell.
LEAST_CUT = 0.95
LEAST_PASSED = 0.99
CUT, BEFORE, PASSED = "cut there", "cut before", "passed"
SEED = 1

KEPT_SQL = """
SELECT s.end_tsc, b.kept FROM samples s JOIN branch_stacks b ON b.branch_stack = s.branch_stack"""


class Mistake(NamedTuple):
    """A kind of chain that is not right: how it is told, how many samples may have it, and why there are any."""

    verdict: Verdict
    origin: str  # of the first frame that is not the true one
    most: float  # share of all samples
    why: str


MISTAKES = (
    Mistake(Verdict.SKIPS, "software", 0.002,
            "A walk by frame pointers leaves out the caller of a function that has set up no frame. What it finds is "
            "possible too where that caller calls itself, and where the records were lost or cut nothing shows it."),
    Mistake(Verdict.WRONG, "records", 0.001,
            "At the instruction that longjmp jumps by, the stack is that of its target already, while its own record "
            "still holds by all that code tells."),
)


def tearDownModule():
    LOADED.close()
    TRACES.close()


class Loaded:
    """Results of the traces, a load per workload and way of using branch records, made when first asked for."""

    def __init__(self):
        self._chains = {}

    def close(self):
        self._chains.clear()

    def folder(self, test, workload, trace, use):
        """The result."""
        self.stored(test, workload, trace, use)
        return trace.recording.with_name(f"result-{use}")

    def stored(self, test, workload, trace, use):
        """Stored chains by tick."""
        key = workload, use
        if key not in self._chains:
            folder = trace.recording.with_name(f"result-{use}")
            test.load(trace.recording, folder, "--branch-stacks", use, "--names", "off")
            chains = Chains(folder)
            self._chains[key] = {sample.tick: chains.stored_addresses(sample) for sample in chains.samples}
        return self._chains[key]


LOADED = Loaded()


def most(sample, truth):
    """Leading true frames that a chain of this sample can hold."""
    return offered(truth, sample.software, sample.sources)


def origin(address, sample):
    """Where a stored frame comes from. Records are stored by the call or by where it returns to."""
    if address in sample.software:
        return "software"
    return "records" if any(0 <= address - source <= 8 for source in sample.sources) else "neither"


class TracedChains(SystemTest):
    def setUp(self):
        self.traces = TRACES.get(WORKLOADS)

    def judged(self, use):
        """(workload, sample, stored, truth, Compared) of every sample."""
        for workload, trace in self.traces.items():
            stored = LOADED.stored(self, workload, trace, use)
            recorded = trace.samples()
            self.assertEqual(set(stored), set(recorded), workload.name)
            for tick, sample in recorded.items():
                truth = trace.truth[tick]
                yield workload, sample, stored[tick], truth, compare(stored[tick], truth)

    def measure(self, use):
        """Sums over all workloads; with SAMPLEFOLD_SHOW_MEASURES set, prints those of each."""
        measures = {workload: Measure() for workload in self.traces}
        for workload, sample, _, truth, compared in self.judged(use):
            measures[workload].add(compared, most(sample, truth))
        total = Measure()
        for workload, measure in measures.items():
            total += measure
            show(f"{use} {workload.name} {workload.software}: {measure}")
        show(f"{use}: {total}")
        return total

    def test_merged_chains_are_leading_parts_of_the_true_ones(self):
        measure = self.measure("merge")
        self.assertGreaterEqual(measure.share(Verdict.RIGHT), LEAST_RIGHT, measure)
        self.assertLessEqual(measure.share(Verdict.WRONG), MOST_WRONG, measure)

    def test_merged_chains_hold_what_the_recording_tells(self):
        measure = self.measure("merge")
        self.assertGreaterEqual(measure.held, LEAST_HELD, measure)

    def test_software_chains_alone_hold_too_little(self):
        measure = self.measure("off")
        self.assertLess(measure.held, LEAST_HELD, measure)

    def test_records_as_they_stand_are_wrong_far_more_often(self):
        """The sampled address and then where each record comes from, as perf prints them."""
        unchecked = Measure()
        for trace in self.traces.values():
            for tick, sample in trace.samples().items():
                truth = trace.truth[tick]
                unchecked.add(compare([sample.ip, *sample.sources], truth), most(sample, truth))
        show(f"unchecked: {unchecked}")
        self.assertGreaterEqual(unchecked.share(Verdict.WRONG), LEAST_WRONG_UNCHECKED, unchecked)
        self.assertLess(unchecked.share(Verdict.RIGHT), LEAST_RIGHT, unchecked)

    def test_every_mistake_of_merged_chains_is_of_a_known_kind(self):
        found, examples, samples = Counter(), {}, 0
        for workload, sample, stored, truth, compared in self.judged("merge"):
            samples += 1
            if compared.verdict != Verdict.RIGHT:
                kind = compared.verdict, origin(stored[compared.odd], sample)
                found[kind] += 1
                examples.setdefault(kind, (workload.name, sample.tick))
        show(f"mistakes: {dict(found)}, first {examples}")
        bounds = {(mistake.verdict, mistake.origin): mistake.most for mistake in MISTAKES}
        for kind, count in found.items():
            self.assertLessEqual(count, bounds.get(kind, 0) * samples, (kind, examples[kind]))

    def test_true_links_pass(self):
        """Of the records from the newest on that are those of the true callers."""
        true, passed = 0, 0
        for workload, trace in self.traces.items():
            stored = LOADED.folder(self, workload, trace, "merge")
            kept = dict(result.rows(stored, KEPT_SQL))
            for tick, sample in trace.samples().items():
                links = leading([sample.ip, *sample.sources], trace.truth[tick]) - 1
                true += links
                passed += min(links, kept[tick] or 0)
        show(f"true links: {true}, passed: {passed}")
        self.assertGreater(true, 10000)
        self.assertGreaterEqual(passed, LEAST_PASSED * true, (passed, true))

    def test_bad_links_are_cut_where_they_are(self):
        """Of the links of which the code can tell."""
        found = Counter()
        for workload, trace in self.traces.items():
            contents, damages = damaged(trace.contents(), trace.truth, SEED)
            source = trace.recording.with_name("damaged.data")
            source.write_bytes(contents)
            folder = self.load(source, trace.recording.with_name("result-damaged"), "--branch-stacks", "verify",
                               "--names", "off")
            kept = dict(result.rows(folder, KEPT_SQL))
            for damage in damages:
                if damage.can_tell:
                    found[damage.kind, outcome(kept[damage.tick], damage.link)] += 1
        show(f"damage: {dict(found)}")
        for kind in DAMAGES:
            total = sum(count for (other, _), count in found.items() if other == kind)
            self.assertGreaterEqual(found[kind, CUT], LEAST_CUT * total, (kind, found))


def outcome(kept, link):
    """What became of a bad link in a stack of which so many records were kept."""
    return CUT if kept == link else BEFORE if kept < link else PASSED


def show(text):
    if os.environ.get("SAMPLEFOLD_SHOW_MEASURES"):
        print(text)


if __name__ == "__main__":
    unittest.main()
