"""Counting runs (perf stat record): the rows of a result against what perf tells of the same recording."""

import random
import re
import shutil
import subprocess
import unittest
from collections import Counter, defaultdict

from support import command, perf_text, result
from support.cases import kept, kept_cases, shared_cases
from support.counter_writer import CONTEXT_SWITCHES, CPU_CLOCK, FINAL, PAGE_FAULTS, TASK_CLOCK, CounterWriter
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases()


def tearDownModule():
    loads.close()


PERF = shutil.which("perf")
NO_PERF = "perf is not installed"
NO_COUNTING = "perf cannot count here"
MILLISECOND = 10**6

COUNTED = [case for case in kept_cases() + shared_cases()
           if re.search(r"^ +STAT events:", case.text("stats.txt") or "", re.MULTILINE)]

ROWS_SQL = """
SELECT e.name, e.counting, c.number, t.tid, p.pid, i.start_tsc, i.end_tsc, i.count
  FROM sample_instance i
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process
  LEFT JOIN dd_cpu c ON c.id = i.cpu
 ORDER BY i.id"""


def quality(folder):
    return dict(result.rows(folder, "SELECT reason, count FROM quality"))


def perf(*words):
    return subprocess.run([PERF, *map(str, words)], capture_output=True, text=True, stdin=subprocess.DEVNULL,
                          timeout=60)


def reported(recording, by_cpu):
    """Sums by (event, CPU) and how far off they may be, as perf stat report prints them; CPU None for all."""
    done = perf("stat", "-x", ",", "report", *(["-A"] if by_cpu else []), "-i", recording)
    sums, slack = Counter(), Counter()
    for line in (done.stderr + done.stdout).splitlines():
        match = re.match(r"(?: *\d+\.\d+,)?(?:CPU(\d+),)?([\d.]+),(msec)?,([^,]+),", line)
        if match is None:
            continue
        cpu, count, unit, event = match.groups()
        key = event, None if cpu is None else int(cpu)
        sums[key] += round(float(count) * (MILLISECOND if unit else 1))
        slack[key] += MILLISECOND // 100 if unit else 0  # times have two digits behind the point
    return sums, slack


def stored(folder, by_cpu):
    sums = Counter()
    for event, _, cpu, _, _, _, _, count in result.rows(folder, ROWS_SQL):
        sums[event, cpu if by_cpu else None] += count
    return sums


def check_joints(test, folder):
    """Intervals of one event, CPU and thread follow each other without a gap."""
    ends = defaultdict(list)
    for event, counting, cpu, tid, pid, start, end, _ in result.rows(folder, ROWS_SQL):
        test.assertEqual(counting, 1)
        test.assertGreater(end, start)
        ends[event, cpu, tid, pid].append((start, end))
    test.assertTrue(ends)
    for spans in ends.values():
        test.assertEqual(spans[0][0], 2, "the run begins at tick 1")
        for (_, end), (start, _) in zip(spans, spans[1:]):
            test.assertEqual(start, end + 1)


def check_report(test, recording, folder, by_cpu):
    wanted, slack = reported(recording, by_cpu)
    test.assertTrue(wanted)
    found = stored(folder, by_cpu)
    test.assertEqual(set(found), set(wanted))
    for key, count in wanted.items():
        test.assertLessEqual(abs(found[key] - count), slack[key], key)


def check_books(test, folder):
    info = result.info(folder)
    rows = result.value(folder, "SELECT count(*) FROM sample_instance")
    test.assertEqual(int(info["sample_rows"]), rows)
    test.assertEqual(int(info["counter_values_in_input"]), rows + int(info["samples_dropped"]))
    test.assertEqual(int(info["samples_dropped"]), sum(
        count for reason, count in quality(folder).items() if reason.startswith("counter values")))


def check_text(test, case):
    """Every line of the text is a row; perf tells what a counter grew by, by its CPU and thread."""
    folder = loads.loaded(test, case)
    wanted = Counter()
    for line in case.text("counters.txt").splitlines()[1:]:
        cpu, tid, value, enabled, running, time, event = line.split()
        test.assertEqual(enabled, running, "not scaled")
        cpu, tid = (None if int(number) < 0 else int(number) for number in (cpu, tid))
        # What is of no thread is of the one that stands for its CPU.
        wanted[event, cpu, tid if tid is not None else cpu, int(value), int(time)] += 1
    found = Counter((event, cpu, tid, count, end - 1)
                    for event, _, cpu, tid, _, _, end, count in result.rows(folder, ROWS_SQL))
    test.assert_same_bag(found, wanted, case.name)


@test_per_case([case for case in COUNTED if case.load("counters.txt") is not None], check_text)
class EachCount(SystemTest):
    pass


def check_recording(test, case):
    folder = loads.loaded(test, case)
    check_joints(test, folder)
    check_books(test, folder)


@test_per_case(COUNTED, check_recording)
class Recordings(SystemTest):
    def test_are_there(self):
        self.assertGreaterEqual(len(COUNTED), 2)


def check_with_perf(test, case):
    folder = loads.loaded(test, case)
    by_cpu = any(cpu is not None for _, cpu in stored(folder, True))
    check_report(test, loads.recording(case), folder, by_cpu)


@unittest.skipUnless(PERF, NO_PERF)
@test_per_case(COUNTED, check_with_perf)
class SumsOfPerf(SystemTest):
    pass


@unittest.skipUnless(PERF, NO_PERF)
class SharedCounters(SystemTest):
    """More events than counters: each runs for a part of the time, in some rounds not at all."""

    def test_counts_are_those_of_perf(self):
        randomness = random.Random(41)
        writer = CounterWriter((PAGE_FAULTS, CONTEXT_SWITCHES)).threads((-1, "")).cpus(0, 1).config(interval=100)
        totals, length = defaultdict(lambda: [0, 0, 0]), 100 * MILLISECOND
        for number in range(1, 41):
            for event in writer.events:
                for cpu in (0, 1):
                    total, running = totals[event, cpu], randomness.choice((0, 30, 37, 100)) * MILLISECOND
                    total[0] += randomness.randrange(10**6) if running else 0
                    total[1] += length
                    total[2] += running
                    writer.value(*total, event=event, cpu=cpu)
            writer.round(number * length)
        scratch = self.scratch()
        recording = writer.write(scratch / "perf.data")
        folder = self.load(recording, scratch / "r")
        done = perf("stat", "-x", ",", "report", "-A", "-i", recording)
        wanted = Counter((event, int(cpu), round(float(time) * 10**9), int(count)) for time, cpu, count, event in
                         re.findall(r"^ *([\d.]+),CPU(\d+),(\d+),,([^,]+),", done.stderr + done.stdout, re.MULTILINE))
        self.assertGreater(len(wanted), 80)
        found = Counter((event, cpu, end - 1, count) for event, _, cpu, _, _, _, end, count in
                        result.rows(folder, ROWS_SQL))
        self.assert_same_bag(found, wanted, "intervals")
        check_books(self, folder)
        not_counted = len(re.findall("<not counted>", done.stderr + done.stdout))
        self.assertEqual(quality(folder)["counter values of rounds in which the counter was not running"], not_counted)


@unittest.skipUnless(PERF, NO_PERF)
class Live(SystemTest):
    """Recorded by the test; software events work wherever counting is allowed."""

    def record(self, *options):
        self.recording = self.scratch() / "perf.data"
        done = perf("stat", "record", "-o", self.recording, *options)
        if done.returncode != 0 or not self.recording.exists():
            self.skipTest(NO_COUNTING)
        folder = self.load(self.recording, self.scratch() / "r")
        if result.value(folder, "SELECT count(*) FROM sample_instance") == 0:
            self.skipTest(NO_COUNTING)
        return folder

    def test_intervals_of_all_cpus(self):
        folder = self.record("-a", "-A", "-I", "50", "-e", "cpu-clock,context-switches,page-faults",
                             "sh", "-c", "sleep 0.3; ls / > /dev/null")
        check_joints(self, folder)
        check_books(self, folder)
        check_report(self, self.recording, folder, by_cpu=True)
        self.assertEqual(result.rows(folder, "SELECT DISTINCT pid, process FROM samples"), [(-1, "[all processes]")])

    def test_a_command_in_all(self):
        folder = self.record("-e", "task-clock,page-faults,context-switches", "sh", "-c",
                             "ls / > /dev/null; sleep 0.05")
        check_joints(self, folder)
        check_report(self, self.recording, folder, by_cpu=False)
        self.assertEqual(result.value(folder, "SELECT count(*) FROM sample_instance"), 3)

    def test_a_command_by_intervals(self):
        folder = self.record("-I", "20", "-e", "page-faults,task-clock", "sh", "-c",
                             "i=0; while [ $i -lt 20000 ]; do i=$((i+1)); done")
        check_books(self, folder)
        check_report(self, self.recording, folder, by_cpu=False)
        self.assertEqual(result.value(folder, "SELECT count(DISTINCT tid) FROM samples"), 1)


class Sampled(SystemTest):
    def test_totals_at_the_end_of_tasks_are_no_intervals(self):
        """READ records tell once more what samples have told."""
        case = kept("forktree-stat")
        folder = loads.loaded(self, case)
        self.assertGreater(int(result.info(folder)["records READ"]), 0)
        self.assertEqual(result.value(folder, "SELECT count(*) FROM sample_instance"),
                         len(perf_text.samples(case.text("samples.txt"))))
        self.assertEqual(result.rows(folder, "SELECT DISTINCT counting FROM dd_event_type"), [(0,)])
        self.assertNotIn("counter_values_in_input", result.info(folder))


class Made(SystemTest):
    """Runs whose every value is known."""

    def loaded(self, writer, *options):
        folder = self.scratch()
        return self.load(writer.write(folder / "perf.data"), folder / "r", *options)

    def counts(self, folder):
        return result.rows(folder, "SELECT start_tsc, end_tsc, count FROM samples ORDER BY interval")

    def worker(self, *events):
        return CounterWriter(events or (PAGE_FAULTS,)).threads((42, "worker"))

    def test_a_final_round_is_one_interval(self):
        folder = self.loaded(self.worker().value(7, 100).round(900, FINAL))
        self.assertEqual(self.counts(folder), [(2, 901, 7)])
        self.assertEqual(quality(folder), {})
        self.assertEqual(result.info(folder)["state"], "complete")

    def test_counts_are_scaled_by_the_time_that_the_counter_ran(self):
        folder = self.loaded(self.worker().value(10, 100, 50).round(100).value(30, 200, 150).round(200))
        self.assertEqual(self.counts(folder), [(2, 101, 20), (102, 201, 20)])
        self.assertEqual(quality(folder), {
            "counts scaled up for the time in which their counter was not running": 1})

    def test_what_cannot_be_true_is_counted_and_not_shown(self):
        writer = self.worker(PAGE_FAULTS, TASK_CLOCK, CONTEXT_SWITCHES)
        second = 1000 * MILLISECOND
        writer.value(5, 1000).value(3600 * second, 1000, event=TASK_CLOCK).value(4, 0, 0, CONTEXT_SWITCHES)
        writer.round(second)
        writer.value(2, 2000).value(3600 * second + 5, 2000, event=TASK_CLOCK)
        writer.value(4, 1000, 2000, CONTEXT_SWITCHES).round(2 * second)
        writer.value(6, 3000).value(3600 * second + 9, 3000, event=TASK_CLOCK)
        writer.value(4, 2000, 2000, CONTEXT_SWITCHES).round(3 * second)
        folder = self.loaded(writer)
        self.assertEqual(quality(folder), {
            "counter values below those of the round before": 1,
            "counter values of more time on CPUs than the round had": 1,
            "counter values of rounds in which the counter was not running": 2,
            "counter values that ran for longer than they were enabled": 1})
        self.assertEqual(
            result.rows(folder, "SELECT event, start_tsc / 1000000000, count FROM samples ORDER BY event, start_tsc"),
            [("page-faults", 0, 5), ("page-faults", 2, 4), ("task-clock", 1, 5), ("task-clock", 2, 4)])
        check_books(self, folder)
        self.assertTrue(all(remedy for remedy, in result.rows(folder, "SELECT remedy FROM quality")))

    def test_values_without_a_round_are_counted_drops(self):
        folder = self.loaded(self.worker().value(7, 100))
        self.assertEqual(self.counts(folder), [])
        self.assertEqual(quality(folder), {"counter values behind the last round": 1})
        check_books(self, folder)

    def test_names_units_and_scales_are_kept(self):
        writer = self.worker(PAGE_FAULTS).name(PAGE_FAULTS, "energy-pkg").unit(PAGE_FAULTS, "Joules", 0.5)
        folder = self.loaded(writer.value(8, 100).round(100))
        self.assertEqual(result.rows(folder, "SELECT event, count FROM samples"), [("energy-pkg", 8)])
        self.assertEqual(result.info(folder)["unit of energy-pkg"], "Joules, a count times 0.5")

    def test_rows_have_no_follower_and_no_place(self):
        folder = self.loaded(self.worker().value(1, 100).round(100).value(2, 200).round(200))
        sql = "SELECT DISTINCT next_event, next_callsite, callsite, module, rate FROM samples"
        self.assertEqual(result.rows(folder, sql), [(None, None, None, None, 0.0)])

    def test_sums_are_the_same_where_rows_are_added_up(self):
        writer = CounterWriter((PAGE_FAULTS, CPU_CLOCK)).threads((-1, ""))
        for number in range(1, 50):
            for cpu in range(3):
                writer.value(number * 10 + cpu, number * 100, cpu=cpu)
                writer.value(number * 100, number * 100, event=CPU_CLOCK, cpu=cpu)
            writer.round(number * 100)
        each, added_up = (self.loaded(writer, "--store-each-sample", setting) for setting in ("on", "off"))
        self.assertEqual(result.value(each, "SELECT count(*) FROM sample_instance"), 49 * 6)
        self.assertEqual(result.value(added_up, "SELECT count(*) FROM sample_instance"), 6)
        self.assertEqual(stored(added_up, True), stored(each, True))
        self.assertEqual(stored(each, True)["page-faults", 2], 492)

    def test_a_report_by_event_shows_the_sums(self):
        folder = self.loaded(self.worker().value(1000, 100).round(100).value(1234, 200).round(200))
        report = command.run("report", folder, "--by", "event")
        self.assertEqual((report.code, report.err), (command.DONE, ""))
        self.assertRegex(report.out, r"page-faults +2 +1234 +100\.00%")
        self.assertIn("2 in the input are counter values", report.out)

    def test_a_part_of_the_run_is_told_by_time(self):
        writer = self.worker()
        for number in range(1, 5):
            writer.value(number, number * MILLISECOND).round(number * MILLISECOND)
        folder = self.loaded(writer)
        report = command.run("report", folder, "--by", "event", "--from", "1500us", "--to", "3ms")
        self.assertRegex(report.out, r"page-faults +2 +2 +100\.00%")

    def test_a_second_run_is_added(self):
        writer = self.worker().value(7, 100).round(100)
        folder = self.loaded(writer)
        self.load(writer.write(self.scratch() / "more.data"), folder, "--append")
        self.assertEqual(self.counts(folder), [(2, 101, 7), (102, 201, 7)])
        self.assertEqual(result.info(folder)["counter_values_in_input"], "2")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM threads WHERE tid = 42"), 1)

    def test_a_sampled_event_of_the_same_kind_stays_apart(self):
        folder = self.loaded(CounterWriter((CPU_CLOCK,)).threads((42, "worker")).value(7, 100).round(100))
        sampled = kept("deeptree-plain-period").recording(self.scratch())
        self.load(sampled, folder, "--append")
        self.assertEqual(result.rows(folder, "SELECT e.counting, count(*) > 1 FROM sample_instance i "
                                             "JOIN dd_event_type e ON e.id = i.event_type GROUP BY 1"),
                         [(0, 1), (1, 0)])
