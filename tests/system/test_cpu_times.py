"""Spans in which threads were on a CPU, from the context switches of recordings."""

import re
from collections import Counter, defaultdict

from support import result
from support.cases import SHARED, Case, kept
from support.perf_records import Records
from support.perf_writer import Writer, user_chain
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases()


def tearDownModule():
    loads.close()


PID, OTHER, APP = 7003, 7004, 0x400000
FIRST, LAST = 1_000_000_000_000, 1_000_000_100_000

SPANS_SQL = "SELECT pid, tid, thread, cpu, start_tsc, end_tsc FROM cpu_running"


class Spans(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        self.writer = Writer()
        self.writer.comm(FIRST, PID, "app", is_exec=True)
        self.writer.comm(FIRST, OTHER, "other", is_exec=True)
        self.writer.mmap(FIRST, PID, APP, 0x1000, "/usr/bin/app")
        self.writer.sample(FIRST, PID, APP, user_chain(APP))

    def switches(self, *moves):
        """(offset, in or out, pid[, tid[, cpu]]) each."""
        for offset, kind, *task_and_cpu in moves:
            self.switch(offset, kind, *task_and_cpu)

    def switch(self, offset, kind, pid, tid=None, cpu=0):
        self.writer.switch(FIRST + offset, pid, kind == "out", tid, cpu)

    def spans(self, *options):
        """(pid, tid, cpu, start, end), ticks counted from FIRST."""
        self.writer.sample(LAST, PID, APP, user_chain(APP))
        self.result = self.load(self.writer.write(self.folder / "perf.data"), self.folder / "r", *options)
        return sorted((pid, tid, cpu, start - FIRST, end - FIRST)
                      for pid, tid, _, cpu, start, end in result.rows(self.result, SPANS_SQL))

    def told(self):
        return dict(result.rows(self.result, "SELECT reason, count FROM quality"))

    def test_are_between_the_switches_in_and_out(self):
        self.switches((10, "in", PID), (40, "out", PID), (50, "in", PID), (70, "out", PID))
        self.assertEqual(self.spans(), [(PID, PID, 0, 10, 40), (PID, PID, 0, 50, 70)])
        self.assertEqual(result.rows(self.result, "SELECT DISTINCT thread FROM cpu_running"), [("app",)])
        self.assertEqual(self.told(), {})

    def test_have_the_cpu_that_they_began_on(self):
        self.switches((10, "in", PID, PID, 3), (20, "out", PID, PID, 3), (30, "in", PID, PID, 1),
                      (40, "out", PID, PID, 1))
        self.assertEqual(self.spans(), [(PID, PID, 1, 30, 40), (PID, PID, 3, 10, 20)])

    def test_are_apart_for_threads_and_processes(self):
        self.writer.fork(FIRST + 5, PID, PID, PID + 1000, PID)
        self.switches((10, "in", PID, PID, 0), (10, "in", PID, PID + 1000, 1), (15, "in", OTHER, OTHER, 2),
                      (20, "out", PID, PID + 1000, 1), (30, "out", PID, PID, 0), (35, "out", OTHER, OTHER, 2))
        self.assertEqual(self.spans(), [(PID, PID, 0, 10, 30), (PID, PID + 1000, 1, 10, 20),
                                        (OTHER, OTHER, 2, 15, 35)])

    def test_come_out_whatever_the_order_in_the_file(self):
        self.switches((50, "in", PID), (70, "out", PID), (10, "in", PID), (40, "out", PID))
        self.assertEqual(self.spans(), [(PID, PID, 0, 10, 40), (PID, PID, 0, 50, 70)])

    def test_begin_with_the_recording_where_nothing_else_is_known(self):
        self.switches((40, "out", PID))
        self.assertEqual(self.spans(), [(PID, PID, 0, 0, 40)])
        self.assertEqual(sum(self.told().values()), 1)

    def test_begin_with_the_thread_where_it_began_later(self):
        self.writer.fork(FIRST + 25, PID, PID, PID + 1000, PID)
        self.switches((40, "out", PID, PID + 1000))
        self.assertEqual(self.spans(), [(PID, PID + 1000, 0, 25, 40)])

    def test_end_with_the_recording_where_nothing_else_is_known(self):
        self.switches((10, "in", PID))
        self.assertEqual(self.spans(), [(PID, PID, 0, 10, LAST - FIRST)])

    def test_end_with_the_thread_where_it_ended_before(self):
        self.switches((10, "in", PID))
        self.writer.exit(FIRST + 90, PID, 1)
        self.assertEqual(self.spans(), [(PID, PID, 0, 10, 90)])

    def test_of_the_lives_of_a_thread_are_apart(self):
        self.switches((10, "in", OTHER), (20, "out", OTHER))
        self.writer.exit(FIRST + 30, OTHER, 1)
        self.writer.fork(FIRST + 40, OTHER, PID)
        self.switches((50, "in", OTHER), (60, "out", OTHER))
        self.assertEqual(self.spans(), [(OTHER, OTHER, 0, 10, 20), (OTHER, OTHER, 0, 50, 60)])
        self.assertEqual(result.value(self.result, "SELECT count(DISTINCT thread) FROM cpu_running_data_t"), 2)

    def test_switches_without_their_counterpart_are_told(self):
        self.switches((10, "in", PID), (20, "in", PID), (30, "out", PID), (40, "out", PID))
        self.assertEqual(self.spans(), [(PID, PID, 0, 20, 30)])
        self.assertEqual(self.told(), {"context switches without their counterpart": 2})

    def test_of_idle_tasks_are_left_out(self):
        self.switches((10, "in", 0, 0), (20, "out", 0, 0))
        self.assertEqual(self.spans(), [])

    def test_do_not_depend_on_stacks(self):
        self.switches((10, "in", PID), (40, "out", PID))
        self.assertEqual(self.spans("--stacks", "off"), [(PID, PID, 0, 10, 40)])


CASES = [case for case in (kept("forktree-sideband"), Case(SHARED / "forktree-sideband")) if case.folder.is_dir()]
EXIT = re.compile(r"^(\d+) \S+ \[\S+\]: PERF_RECORD_EXIT\((-?\d+):(\d+)\)", re.MULTILINE)


def pairs(switches):
    """Spans of each thread between a switch in and the next switch out, without those that stay open."""
    found, since = defaultdict(list), {}
    for switch in sorted(switches, key=lambda switch: switch.tick):
        key = switch.pid, switch.tid
        if not switch.is_out:
            since[key] = switch.tick
        elif key in since:
            found[key].append((since.pop(key), switch.tick))
    return found


def check_recorded(test, case):
    records = Records(case.load("perf.data"))
    test.assertEqual(len(records.switches), 230)
    spans = defaultdict(list)
    for pid, tid, _, _, start, end in result.rows(loads.loaded(test, case), SPANS_SQL):
        spans[pid, tid].append((start, end))
    ends = {(int(pid), int(tid)): int(tick) for tick, pid, tid in EXIT.findall(case.text("records.txt"))}
    first = min(sample.tick for sample in records.samples)
    last = max([*ends.values(), *(sample.tick for sample in records.samples)])

    # Every pair of switches is a span; others touch the edge of the recording, or the life of their thread.
    paired = pairs(records.switches)
    test.assertGreater(sum(map(len, paired.values())), 80)
    edges = Counter()
    for key, found in spans.items():
        test.assertLessEqual(set(paired[key]), set(found), key)
        for start, end in set(found) - set(paired[key]):
            test.assertTrue(end == ends[key] or end == last or start <= first or
                            any(fork.tick == start for fork in records.forks if fork.tid == key[1]), (key, start, end))
            edges[key] += 1
        test.assertLessEqual(edges[key], 2, "a thread has one beginning and one end")
        ordered = sorted(found)
        for (_, before), (after, _) in zip(ordered, ordered[1:]):
            test.assertLessEqual(before, after, key)

    outside = [(sample.pid, sample.tid, sample.tick) for sample in records.samples
               if not any(start <= sample.tick <= end for start, end in spans[sample.pid, sample.tid])]
    test.assertEqual(outside, [])
    total = sum(end - start for found in spans.values() for start, end in found)
    test.assertLessEqual(total, 2 * (last - first) * 1.01, "two CPUs")
    # The event is the time on a CPU itself.
    test.assertGreater(total, result.value(loads.loaded(test, case), "SELECT sum(count) FROM samples") * 0.9)


@test_per_case(CASES, check_recorded)
class RecordedSwitches(SystemTest):
    pass
