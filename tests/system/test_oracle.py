"""Loads every recording and compares the rows with what perf prints for it."""

import re
import unittest
from collections import Counter

from dso_names import RULES, perf_name
from known_differences import EVENT_NAMES, MODULE_COUNTS
from support import perf_text, result
from support.cases import kept_cases, shared_cases
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases()
# perf had the recordings alone when it printed their modules, without any JIT data beside them.
plain_loads = LoadedCases("--jit", "off")


def tearDownModule():
    loads.close()
    plain_loads.close()


def is_x86_64(case):
    """By the attribute of the machine in the recording; pipes that do not tell are taken for x86-64."""
    return "arm64" not in case.name


CASES = [case for case in kept_cases() + shared_cases() if is_x86_64(case)]
FOREIGN = [case for case in shared_cases() if not is_x86_64(case)]


def with_text(suffix, cases):
    return [case for case in cases if case.load(suffix) is not None]


class SharedCollection(unittest.TestCase):
    def test_is_there(self):
        if not shared_cases():
            self.skipTest("the larger collection of recordings is not there")
        self.assertGreaterEqual(len(shared_cases()), 55)

    @unittest.skipUnless(shared_cases(), "the larger collection of recordings is not there")
    def test_every_rule_of_names_is_needed(self):
        loaded = [loads.folder(case) for case in CASES if loads.outcome(case).code == 0]
        modules = {module for folder in loaded
                   for (module,) in result.rows(folder, "SELECT name FROM dd_module_file")}
        for pattern, _ in RULES:
            self.assertTrue(any(pattern.match(module) for module in modules), pattern.pattern)


def check_samples(test, case):
    """Every line of perf is one row, and no row is beyond them."""
    lines = perf_text.samples(case.text("samples.txt"))
    names = EVENT_NAMES.get(case.name, {})
    has_cpu = lines[0].cpu is not None
    has_period = lines[0].period is not None
    want = Counter((names.get(line.event, line.event), line.pid, line.tid, line.cpu, line.tick, line.period, line.ip)
                   for line in lines)
    got = Counter((event, pid, tid, cpu if has_cpu else None, tick, count if has_period else None, ip)
                  for event, pid, tid, cpu, tick, count, ip in result.samples(loads.loaded(test, case)))
    test.assert_same_bag(got, want, "(event, pid, tid, cpu, tick, count, ip)")
    test.assertLessEqual(set(names), {line.event for line in lines}, "a listed difference does not occur")


@test_per_case(with_text("samples.txt", CASES), check_samples)
class SamplesAreThoseOfPerf(SystemTest):
    pass


MODULES_SQL = """
SELECT e.name, f.name, p.pid, count(*)
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process
  LEFT JOIN dd_callsite c ON c.id = s.callsite
  LEFT JOIN dd_code_location l ON l.id = c.code_loc
  LEFT JOIN dd_module_segment m ON m.id = l.mod_seg
  LEFT JOIN dd_module_file f ON f.id = m.module
 GROUP BY e.name, f.name, p.pid"""


def module_counts(folder):
    """Samples by (event, module as perf names it)."""
    counts = Counter()
    for event, module, pid, samples in result.rows(folder, MODULES_SQL):
        counts[event, perf_name(module, pid)] += samples
    return counts


def check_modules(test, case):
    names = EVENT_NAMES.get(case.name, {})
    want = Counter()
    for event, counts in perf_text.dso_counts(case.text("dso.txt")):
        for dso, samples in counts.items():
            want[names.get(event, event), dso] += samples
    got = module_counts(plain_loads.loaded(test, case))
    for key, (theirs, ours) in MODULE_COUNTS.get(case.name, {}).items():
        test.assertEqual((want[key], got[key]), (theirs, ours), f"the listed difference of {key} does not occur")
        want[key] = ours
    test.assertEqual(dict(+got), dict(+want))


def dso_cases():
    """perf stops early on one recording, and writes empty texts for recordings without samples."""
    return [case for case in with_text("dso.txt", CASES) if "Samples:" in case.text("dso.txt")]


@test_per_case(dso_cases(), check_modules)
class ModulesAreThoseOfPerf(SystemTest):
    pass


SUM_LINE = re.compile(r"^# Samples: \S+\s+of event '(.*)'\n# Event count \(approx\.\): (\d+)$", re.MULTILINE)
SUMS_SQL = ("SELECT e.name, sum(i.count) FROM sample_instance i JOIN dd_event_type e ON e.id = i.event_type "
            "GROUP BY e.name")


def check_sums(test, case):
    """Also where the samples carry no period, for perf takes it from the event then."""
    names = EVENT_NAMES.get(case.name, {})
    want = {names.get(event, event): int(count) for event, count in SUM_LINE.findall(case.text("dso.txt"))}
    got = dict(result.rows(loads.loaded(test, case), SUMS_SQL))
    test.assertTrue(want)
    test.assertEqual(got, want)


@test_per_case([case for case in dso_cases() if SUM_LINE.search(case.text("dso.txt"))], check_sums)
class SumsAreThoseOfPerf(SystemTest):
    pass


def check_count(test, case):
    rows = result.value(loads.loaded(test, case), "SELECT count(*) FROM sample_instance")
    test.assertEqual(rows, len(perf_text.samples(case.text("samples.txt"))))


@test_per_case(with_text("samples.txt", FOREIGN), check_count)
class OtherMachinesLoadToo(SystemTest):
    pass
