"""Counts over time, against the intervals as plain SQLite gives them."""

import fcntl
import json
import math
import os
import pty
import struct
import subprocess
import termios
from collections import defaultdict
from fractions import Fraction

from support import command, result
from support.cases import kept
from support.perf_writer import Writer, user_chain
from support.testing import LoadedCases, SystemTest, test_per_case

CASES = [kept(name) for name in ("forktree-multi", "systemwide-multi", "deeptree-plain-period")]
loads = LoadedCases("--names", "off")


def tearDownModule():
    loads.close()


def timeline(folder, *options):
    return json.loads(command.run("timeline", folder, "--json", *options).out)


class Oracle:
    """Spreads counts over bins with fractions, which are exact."""

    def __init__(self, folder):
        self._folder = folder
        info = result.info(folder)
        self.start, self.end = int(info["first_time"]), int(info["last_time"])

    def events(self):
        return [name for name, in result.rows(
            self._folder, "SELECT DISTINCT e.name FROM sample_instance i JOIN dd_event_type e ON e.id = i.event_type")]

    def bins(self, event, count, first=None, last=None):
        """By thread: the count in each bin of the ticks from first to last."""
        first, last = self.start if first is None else first, self.end if last is None else last
        width = Fraction(last + 1 - first, count)
        sums = defaultdict(lambda: [Fraction(0)] * count)
        for thread, start, end, events in result.rows(
                self._folder, "SELECT i.thread, i.start_tsc, i.end_tsc, i.count FROM sample_instance i "
                              "JOIN dd_event_type e ON e.id = i.event_type WHERE e.name = ?", event):
            start = max(start, self.start)
            for number in range(count):
                low = max(Fraction(start), first + number * width)
                high = min(Fraction(end + 1), first + (number + 1) * width)
                if low < high:
                    sums[thread][number] += events * (high - low) / (end + 1 - start)
        return dict(sums)


def thread_ids(folder):
    return {thread: (pid, tid, name) for thread, pid, tid, name in result.rows(
        folder, "SELECT thread, pid, tid, name FROM threads")}


def assert_bins(test, folder, report, expected):
    test.assertTrue(expected)
    names = thread_ids(folder)
    want = sorted((names[thread], [float(count) for count in counts]) for thread, counts in expected.items())
    got = sorted(((thread["pid"], thread["tid"], thread["thread"]), thread["counts"]) for thread in report["threads"])
    test.assertEqual([name for name, _ in got], [name for name, _ in want])
    for (name, counts), (_, exact) in zip(got, want):
        for number, (count, value) in enumerate(zip(counts, exact, strict=True)):
            test.assertTrue(math.isclose(count, value, rel_tol=1e-9, abs_tol=1e-6), (name, number, count, value))


def check_counts(test, case):
    folder = loads.loaded(test, case)
    oracle = Oracle(folder)
    for event in oracle.events():
        report = timeline(folder, "--event", event, "--limit", "0", "--bins", "37")
        assert_bins(test, folder, report, oracle.bins(event, 37))
        total = result.value(folder, "SELECT sum(i.count) FROM sample_instance i JOIN dd_event_type e "
                                     "ON e.id = i.event_type WHERE e.name = ?", event)
        binned = sum(sum(thread["counts"]) for thread in report["threads"])
        test.assertTrue(math.isclose(binned, total, rel_tol=1e-12), (event, binned, total))
        test.assertTrue(math.isclose(report["count"], total, rel_tol=1e-12))
        counts = [thread["count"] for thread in report["threads"]]
        test.assertEqual(counts, sorted(counts, reverse=True))
        for thread in report["threads"]:
            test.assertTrue(math.isclose(sum(thread["counts"]), thread["count"], rel_tol=1e-12))


@test_per_case(CASES, check_counts)
class Counts(SystemTest):
    pass


def check_part(test, case):
    folder = loads.loaded(test, case)
    oracle = Oracle(folder)
    length = (oracle.end - oracle.start) / 1e9
    first, last = round(length / 3, 9), round(length * 2 / 3, 9)
    report = timeline(folder, "--limit", "0", "--bins", "11", "--from", f"{first:.9f}", "--to", f"{last:.9f}")
    ticks = [oracle.start + round(first * 1e9), oracle.start + round(last * 1e9)]
    test.assertEqual([report["from"]["tick"], report["to"]["tick"]], ticks)
    test.assertEqual([report["from"]["seconds"], report["to"]["seconds"]], [first, last])
    assert_bins(test, folder, report, oracle.bins(report["event"], 11, *ticks))


@test_per_case(CASES, check_part)
class Parts(SystemTest):
    pass


class Options(SystemTest):
    def setUp(self):
        self.folder = loads.loaded(self, CASES[0])

    def test_defaults_are_sixty_bins_of_the_first_event_and_ten_threads(self):
        report = timeline(self.folder)
        self.assertEqual(report["bins"], 60)
        self.assertEqual(len(report["threads"]), 10)
        self.assertEqual(report["event"], result.value(
            self.folder, "SELECT e.name FROM dd_event_type e JOIN sample_instance i ON i.event_type = e.id "
                         "ORDER BY e.id LIMIT 1"))
        everything = timeline(self.folder, "--limit", "0")
        self.assertEqual(report["not_shown"]["threads"], len(everything["threads"]) - 10)
        shown = sum(thread["count"] for thread in report["threads"])
        self.assertTrue(math.isclose(report["not_shown"]["count"] + shown, report["count"]))

    def test_a_thread_is_found_by_id_and_by_name(self):
        heaviest = timeline(self.folder)["threads"][0]
        by_id = timeline(self.folder, "--thread", heaviest["tid"])["threads"]
        by_name = timeline(self.folder, "--thread", heaviest["thread"])["threads"]
        self.assertIn(heaviest, by_id)
        self.assertEqual({thread["tid"] for thread in by_id}, {heaviest["tid"]})
        self.assertIn(heaviest, by_name)
        self.assertEqual({thread["thread"] for thread in by_name}, {heaviest["thread"]})

    def test_times_with_a_unit_mean_the_same_as_seconds(self):
        self.assertEqual(timeline(self.folder, "--from", "0.05", "--to", "0.1"),
                         timeline(self.folder, "--from", "50ms", "--to", "100000us"))

    def test_what_there_is_not_is_told_in_a_line(self):
        for options, part in ((("--event", "no such"), "no such"), (("--thread", "nobody"), "nobody")):
            self.assert_one_line(command.run("timeline", self.folder, *options), part)

    def test_wrong_usage_is_told(self):
        for options in (("--bins", "0"), ("--bins", "10001"), ("--from", "x"), ("--from", "0.2", "--to", "0.1"),
                        ("--limit", "-1"), ("--from", "1.0000000001")):
            self.assertEqual(command.run("timeline", self.folder, *options).code, command.USAGE, options)

    def test_sums_have_no_place_in_time(self):
        folder = self.load(loads.recording(CASES[0]), self.scratch() / "r", "--store-each-sample", "off")
        self.assert_one_line(command.run("timeline", folder), "--store-each-sample on")


PID, OTHER, APP = 7003, 7004, 0x400000
FIRST, SPAN = 1_000_000_000_000, 100_000
VALID = 1 << 63


class Charts(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        writer = Writer()
        writer.comm(FIRST, PID, "app", is_exec=True)
        writer.comm(FIRST, OTHER, "other", is_exec=True)
        writer.mmap(FIRST, PID, APP, 0x1000, "/usr/bin/app")
        # A sample in each tenth of the first half; then one for the rest.
        for tick in [*range(0, SPAN // 2 + 1, SPAN // 10), SPAN]:
            writer.sample(FIRST + tick, PID, APP, user_chain(APP))
        reports = self.folder / "reports"
        reports.write_text(f"{FIRST} 0 {PID} {VALID | 1:#x} 0\n{FIRST + SPAN // 2} 0 {PID} {VALID | 1:#x} 0\n"
                           f"{FIRST + SPAN} 0 {PID} {VALID | 2:#x} 0\n{FIRST} 1 {OTHER} {VALID:#x} 0\n"
                           f"{FIRST + SPAN // 4} 1 {OTHER} {VALID:#x} 0\n")
        self.result = self.load(writer.write(self.folder / "perf.data"), self.folder / "r", "--hw-feedback", reports)

    def charts(self, text):
        return [line.strip() for line in text.splitlines() if line.startswith("  |")]

    def test_bars_and_classes_stand_below_their_threads(self):
        text = command.run("timeline", self.result, "--bins", "10").out
        bars, classes, other_bars, other_classes = self.charts(text)
        self.assertRegex(bars, r"^\|█.{4}▁{5}\|$|^\|█.{4}▂{5}\|$")
        self.assertEqual(classes, "|1111122222|  core class")
        self.assertEqual(other_bars, "|" + " " * 10 + "|")
        self.assertEqual(other_classes, "|000       |  core class")
        self.assertIn("core classes: 0 Class_0, 1 Class_1, 2 Class_2", text)

    def test_ticks_of_classes_are_those_of_the_bands(self):
        report = timeline(self.result, "--bins", "7")
        for thread in report["threads"]:
            for core_class in thread["core_classes"]:
                ticks = result.value(self.result, "SELECT sum(end_tsc - start_tsc + 1) FROM core_classes "
                                                  "WHERE tid = ? AND class = ?", thread["tid"], core_class["class"])
                self.assertTrue(math.isclose(sum(core_class["ticks"]), ticks), core_class)
        self.assertEqual([[c["class"] for c in thread["core_classes"]] for thread in report["threads"]],
                         [["Class_1", "Class_2"], ["Class_0"]])

    def test_are_as_wide_as_the_terminal_and_eighty_columns_without_one(self):
        plain = command.run("timeline", self.result, "--bins", "500").out
        self.assertEqual({len(line) for line in self.charts(plain) if "class" not in line}, {78})
        for width in (40, 120):
            self.assertEqual({len(line) for line in self.charts(self.in_terminal(width)) if "class" not in line},
                             {width - 2})

    def in_terminal(self, width):
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
        with subprocess.Popen([command.COMMAND, "timeline", self.result, "--bins", "500"], stdout=theirs,
                              stdin=subprocess.DEVNULL) as process:
            os.close(theirs)
            raw = b""
            try:
                while block := os.read(ours, 65536):
                    raw += block
            except OSError:  # how a terminal tells that its other end is closed
                pass
            self.assertEqual(process.wait(), 0)
        os.close(ours)
        return raw.decode().replace("\r\n", "\n")
