"""Call trees of reports, against sums over the chains that perf prints."""

import json
import re
from collections import Counter, defaultdict
from pathlib import Path

from support import command, perf_chains, perf_text, result
from support.cases import kept, kept_cases, shared_cases
from support.testing import LoadedCases, SystemTest, test_per_case

CASE = kept("deeptree-fp")
GOLDEN = Path(__file__).parent / "golden"
# What a frame is called is checked against the bytes, which know no names of modules.
loads = LoadedCases("--names", "off")


def tearDownModule():
    loads.close()


# perf makes its text of the first from stack dumps, not from the chains alone; in the second it looks an address up
# in the program that exec has replaced already.
OTHER_CHAINS = {"deeptree-dwarf", "forktree-sideband"}

# Files that perf names where generated code has a name.
GENERATED = re.compile(r"/(perf-\d+\.map|jitted-\d+-\d+\.so)$")

# perf leaves out from which symbol the kernel is counted.
KERNEL = "[kernel.kallsyms]_text+"
CUT_OFF = "[chain cut off]"
# How many addresses the kernel puts into a chain.
MAX_STACK = 127


def place_name(frame):
    """A frame of perf as a report labels it. The address 1 has the number by which a result marks cut chains."""
    if GENERATED.search(frame.dso):
        return frame.function
    if frame.dso == "[unknown]":
        return CUT_OFF if frame.address == 1 else f"{frame.address:#x}"
    return f"{frame.dso.rsplit('/', 1)[-1]}+{frame.address:#x}"


def chains_of_perf(case):
    """By event: the labels of every sample, outermost first."""
    chains = defaultdict(list)
    for chain in perf_chains.chains(case.text("symchain.txt")):
        labels = tuple(place_name(frame) for frame in reversed(chain.frames))
        chains[chain.event].append((CUT_OFF, *labels) if len(labels) >= MAX_STACK else labels)
    return chains


def report(test, folder, *options):
    outcome = command.run("report", folder, "--json", *options)
    test.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
    return json.loads(outcome.out)


EVERYTHING = ("--limit", "0", "--depth", "0", "--min-percent", "0")


def entries(event):
    """Path of labels from the top -> node of the report."""
    paths, by_path = {None: ()}, {}
    for node in event["nodes"]:
        label = node["label"].replace(KERNEL, "[kernel.kallsyms]+")
        path = (*paths[node["parent"]], label)
        assert path not in by_path, path
        paths[node["id"]] = path
        by_path[path] = node
    return by_path


def trees(test, folder, *options):
    """By event: samples by path, and the samples of the path's own."""
    found = {}
    for event in report(test, folder, *options, *EVERYTHING)["events"]:
        by_path = entries(event)
        found[event["event"]] = (Counter({path: node["samples"] for path, node in by_path.items()}),
                                 Counter({path: node.get("self_samples", 0) for path, node in by_path.items()}))
    return found


def beginnings(chain):
    return {chain[:length] for length in range(1, len(chain) + 1)}


def check_tree(test, case):
    got = trees(test, loads.loaded(test, case), "--tree")
    want = chains_of_perf(case)
    test.assertEqual(got.keys(), want.keys())
    for event, chains in want.items():
        total, own = got[event]
        test.assert_same_bag(total, Counter(path for chain in chains for path in beginnings(chain)), "totals")
        test.assert_same_bag(+own, Counter(chains), "own samples")


def check_callers(test, case):
    got = trees(test, loads.loaded(test, case), "--callers")
    for event, chains in chains_of_perf(case).items():
        total, _ = got[event]
        with_callers = Counter({path: count for path, count in total.items() if path[-1] != "[no caller]"})
        outwards = [chain[::-1] for chain in chains]
        test.assert_same_bag(with_callers, Counter(path for chain in outwards for path in beginnings(chain)), "callers")


def check_callees(test, case):
    """Functions and what they called directly, each sample once."""
    options = ("--callees", "--limit", "0", "--depth", "2", "--min-percent", "0")
    chains = chains_of_perf(case)
    for event in report(test, loads.loaded(test, case), *options)["events"]:
        got = Counter({path: node["samples"] for path, node in entries(event).items()})
        want = Counter()
        for chain in chains[event["event"]]:
            want.update({(label,) for label in chain} | set(zip(chain, chain[1:])))
        test.assert_same_bag(got, want, "callees")


CASES = [case for case in kept_cases() + shared_cases()
         if case.load("symchain.txt") is not None and case.name not in OTHER_CHAINS]


def check_functions(test, case):
    """Samples by function are those at the sampled end of the chains."""
    chains = chains_of_perf(case)
    got, want = Counter(), Counter()
    for entry in report(test, loads.loaded(test, case), "--by", "function", "--limit", "0")["entries"]:
        got[entry["event"], entry["function"].replace(KERNEL, "[kernel.kallsyms]+")] += entry["samples"]
    for event, labels in chains.items():
        want.update((event, chain[-1]) for chain in labels)
    test.assert_same_bag(got, want, "functions")


@test_per_case(CASES, check_tree)
class Tree(SystemTest):
    pass


@test_per_case(CASES, check_callers)
class Callers(SystemTest):
    pass


@test_per_case(CASES, check_callees)
class Callees(SystemTest):
    pass


@test_per_case(CASES, check_functions)
class Functions(SystemTest):
    pass


class Text(SystemTest):
    def events(self, *options):
        """The report from the first event on."""
        outcome = command.run("report", loads.loaded(self, CASE), *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return outcome.out[outcome.out.index("\nEvent ") + 1:]

    def test_a_whole_tree(self):
        self.assertEqual(self.events("--tree", "--depth", "18", "--min-percent", "2"),
                         (GOLDEN / "report.tree.deeptree-fp.txt").read_text())

    def test_counts_are_those_of_the_json(self):
        for kind in ("--tree", "--callers", "--callees"):
            nodes = report(self, loads.loaded(self, CASE), kind)["events"][0]["nodes"]
            want = [node["count"] for node in nodes if "label" in node]
            lines = [line for line in self.events(kind).splitlines() if "+0x" in line or "0x0" in line]
            self.assertEqual([int(line.split()[0]) for line in lines], want, kind)
            self.assertGreater(len(want), 20, kind)

    def test_what_is_left_out_is_told(self):
        text = self.events("--callers", "--limit", "2", "--depth", "1")
        self.assertRegex(text, r"\.\.\. \d+ more\n")
        for option in ("--limit", "--depth", "--min-percent"):
            self.assertIn(f"({option})", text)


class Range(SystemTest):
    """Reports of a part of the recording, both ends included."""

    def setUp(self):
        self.folder = loads.loaded(self, CASE)
        self.ticks = sorted(line.tick for line in perf_text.samples(CASE.text("samples.txt")))

    def assert_samples(self, want, *options):
        for kind in (("--by", "function"), ("--by", "event"), ("--tree",), ("--callees", "--limit", "0")):
            told = report(self, self.folder, *kind, *options)
            self.assertEqual(told["range"]["sample_rows"], want, kind)
        self.assertEqual(report(self, self.folder, "--tree", *options)["events"][0]["samples"], want)
        self.assertEqual(sum(entry["samples"] for entry in
                             report(self, self.folder, "--by", "event", *options)["entries"]), want)

    def test_by_ticks(self):
        first, last = self.ticks[500], self.ticks[699]
        self.assert_samples(200, "--from", first, "--to", last)
        self.assert_samples(198, "--from", first + 1, "--to", last - 1)
        self.assert_samples(1487, "--from", first)
        self.assert_samples(700, "--to", last)
        self.assert_samples(1, "--from", first, "--to", first)

    def test_by_time_since_the_first_tick(self):
        start = int(result.info(self.folder)["first_time"])
        self.assertLessEqual(start, self.ticks[0])
        want = sum(start + 100_000_000 <= tick <= start + 200_500_000 for tick in self.ticks)
        self.assertGreater(want, 300)
        for options in (("--from", "0.1s", "--to", "200.5ms"), ("--from", "100000us", "--to", "200500000ns"),
                        ("--from", start + 100_000_000, "--to", "0.2005s")):
            self.assert_samples(want, *options)

    def test_the_text_tells_the_range(self):
        outcome = command.run("report", self.folder, "--from", self.ticks[0], "--to", self.ticks[9])
        self.assertRegex(outcome.out, r"(?m)^range +2494\.\d{9} s to 2494\.\d{9} s: 10 sample rows$")

    def test_a_range_that_ends_before_it_begins_is_wrong_usage(self):
        for options in (("--from", "2", "--to", "1"), ("--from", "2s", "--to", "1999ms"),
                        ("--from", "1s", "--to", "5")):
            outcome = command.run("report", self.folder, *options)
            self.assertEqual((outcome.code, outcome.out), (command.USAGE, ""), options)
            self.assertIn("--from", outcome.err)

    def test_sums_over_the_recording_have_no_range(self):
        folder = self.load(CASE.recording(self.scratch()), self.scratch() / "r", "--store-each-sample", "off")
        self.assertEqual(command.run("report", folder, "--tree").code, command.DONE)
        for kind in ("--tree", "--by=module"):
            self.assert_one_line(command.run("report", folder, kind, "--from", "1s"), "--store-each-sample on")


class OnCpu(SystemTest):
    CASE = kept("forktree-sideband")
    SPANS_SQL = """
        SELECT p.pid, t.tid, r.start_tsc, r.end_tsc FROM cpu_running_data_t r
          JOIN dd_thread t ON t.id = r.thread JOIN dd_process p ON p.id = t.process"""

    def check(self, begin, end, *options):
        folder = loads.loaded(self, self.CASE)
        ticks, spans = Counter(), Counter()
        for pid, tid, start, stop in result.rows(folder, self.SPANS_SQL):
            if start <= end and stop >= begin:
                ticks[pid, tid] += min(stop, end) - max(start, begin)
                spans[pid, tid] += 1
        told = report(self, folder, "--on-cpu", "--limit", "0", *options)
        self.assertAlmostEqual(told["seconds"], (end - begin) / 1e9, places=9)
        self.assertEqual({(thread["pid"], thread["tid"]): (round(thread["seconds"] * 1e9), thread["spans"])
                          for thread in told["threads"]}, {key: (ticks[key], spans[key]) for key in spans})
        for thread in told["threads"]:
            self.assertAlmostEqual(thread["percent"], 100 * ticks[thread["pid"], thread["tid"]] / (end - begin))
            self.assertAlmostEqual(thread["mean_seconds"], thread["seconds"] / thread["spans"])
        order = [thread["seconds"] for thread in told["threads"]]
        self.assertEqual(order, sorted(order, reverse=True))
        return told

    def test_of_the_whole_recording(self):
        info = result.info(loads.loaded(self, self.CASE))
        told = self.check(int(info["first_time"]), int(info["last_time"]))
        self.assertEqual(len(told["threads"]), 11)

    def test_of_a_part(self):
        first = int(result.info(loads.loaded(self, self.CASE))["first_time"])
        told = self.check(first + 10_000_000, first + 20_000_000, "--from", "10ms", "--to", "20ms")
        self.assertEqual(len(told["threads"]), 4)

    def test_without_context_switches_it_is_refused(self):
        self.assert_one_line(command.run("report", loads.loaded(self, CASE), "--on-cpu"), "--switch-events")


class Usage(SystemTest):
    def assert_usage_error(self, *options, names):
        outcome = command.run("report", "r", *options)
        self.assertEqual((outcome.code, outcome.out), (command.USAGE, ""), options)
        self.assertIn(names, outcome.err)
        self.assertIn("--help", outcome.err)

    def test_one_report_at_a_time(self):
        kinds = (("--by", "module"), ("--tree",), ("--callers",), ("--callees",), ("--on-cpu",))
        for first in kinds:
            for second in kinds:
                if first != second:
                    self.assert_usage_error(*first, *second, names="excludes")

    def test_options_of_trees_need_a_tree(self):
        for option in ("--depth", "--min-percent"):
            self.assert_usage_error(option, "5", names=option)
            self.assert_usage_error("--by", "module", option, "5", names=option)
            self.assert_usage_error("--on-cpu", option, "5", names=option)

    def test_values_that_are_none(self):
        for option, value in (("--depth", "-1"), ("--depth", "deep"), ("--min-percent", "nan"),
                              ("--min-percent", "101"), ("--min-percent", "-1"), ("--min-percent", "1.2.3"),
                              ("--from", "soon"), ("--from", "1.5"), ("--to", "1m"), ("--to", "-5")):
            self.assert_usage_error("--tree", option, value, names=value)

    def test_help_names_all_options(self):
        text = command.run("report", "--help").out
        for option in ("--tree", "--callers", "--callees", "--on-cpu", "--depth", "--min-percent", "--from", "--to"):
            self.assertIn(option, text)

    def test_a_result_without_stacks_is_refused(self):
        folder = self.load(CASE.recording(self.scratch()), self.scratch() / "r", "--stacks", "off")
        for kind in ("--tree", "--callers", "--callees"):
            for options in ((kind,), (kind, "--json")):
                outcome = command.run("report", folder, *options)
                self.assert_one_line(outcome, "--stacks on")
                self.assertEqual(outcome.out, "")
