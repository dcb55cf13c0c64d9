"""Nothing is lost in silence: input, rows and drops add up, and sums by thread and attribute are the same sums."""

import re
from collections import Counter

from support import command, perf_text, result
from support.cases import kept, kept_cases, shared_cases
from support.chains import Chains
from support.perf_bytes import Recording, with_unknown_ids
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases()


def tearDownModule():
    loads.close()


SAMPLED = [case for case in kept_cases() + shared_cases() if case.load("samples.txt") is not None]

# Every sample row with all that tells attributes apart, by value but for the callsite.
ATTRIBUTES_SQL = """
SELECT s.callsite, e.name, p.pid, p.life, t.tid, c.number, m.name, s.ip, g.address, g.extra, a.source, h.word, i.count
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process
  JOIN dd_segment_instance g ON g.id = s.seg_inst
  LEFT JOIN dd_cpu c ON c.id = i.cpu
  LEFT JOIN dd_cpu_mode m ON m.id = s.cpu_mode
  LEFT JOIN dd_mem_access a ON a.id = s.mem_access
  LEFT JOIN dd_htm_info h ON h.id = s.htm_info"""


def check_books(test, case):
    folder = loads.loaded(test, case)
    books = {key: int(result.info(folder)[key]) for key in ("samples_in_input", "sample_rows", "samples_dropped")}
    test.assertEqual(books["samples_in_input"], books["sample_rows"] + books["samples_dropped"])
    test.assertEqual(books["sample_rows"], result.value(folder, "SELECT count(*) FROM sample_instance"))
    test.assertEqual(books["samples_in_input"], len(perf_text.samples(case.text("samples.txt"))))
    test.assertEqual(result.info(folder)["state"], "complete")


@test_per_case(SAMPLED, check_books)
class TheBooksBalance(SystemTest):
    pass


def sums(folder):
    """Counts by attribute, with the whole chain in place of its callsite."""
    chains = Chains(folder)
    totals = Counter()
    for callsite, *attribute, count in result.rows(folder, ATTRIBUTES_SQL):
        frames = tuple((frame.path, frame.rva, frame.function) for frame in chains.frames(callsite))
        totals[frames, *attribute] += count
    return totals


def check_sums(test, case):
    each = sums(loads.loaded(test, case))
    added_up = test.load(loads.recording(case), test.scratch() / "off", "--store-each-sample", "off")
    test.assertTrue(each)
    test.assertEqual(sums(added_up), each)
    test.assertEqual(result.value(added_up, "SELECT count(*) FROM sample_instance"), len(each),
                     "a row per thread and attribute")


@test_per_case(SAMPLED, check_sums)
class SumsByThreadAndAttribute(SystemTest):
    pass


class Drops(SystemTest):
    def test_samples_of_unknown_events_are_counted_by_reason(self):
        scratch = self.scratch()
        source = kept("forktree-multi")
        damaged, spoiled = with_unknown_ids(Recording(source.load("perf.data")), every=7)
        (scratch / "in.data").write_bytes(damaged)
        folder = self.load(scratch / "in.data", scratch / "out")
        self.assertGreater(spoiled, 50)
        books = result.info(folder)
        self.assertEqual(int(books["samples_dropped"]), spoiled)
        self.assertEqual(int(books["samples_in_input"]), 508)
        self.assertEqual(result.value(folder, "SELECT count(*) FROM sample_instance"), 508 - spoiled)
        self.assertEqual(result.rows(folder, "SELECT count, severity FROM quality WHERE reason = ?",
                                     "samples of unknown events"), [(spoiled, "data_loss")])

    def test_losses_that_the_recorder_noted_are_told(self):
        scratch = self.scratch()
        case = kept("deeptree-lost")
        folder = self.load(case.recording(scratch), scratch / "out")
        lost = sum(int(count) for count in re.findall(r"PERF_RECORD_LOST.* lost(?: samples )?:(\d+)$",
                                                      case.text("records.txt"), re.MULTILINE))
        self.assertGreater(lost, 0)
        told = result.value(folder, "SELECT sum(count) FROM quality WHERE reason LIKE '%lost by the recorder'")
        self.assertEqual(told, lost)
        self.assertIn("data_loss", command.run("report", folder).out)
