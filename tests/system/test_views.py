"""The readable views, asked by the plain sqlite3 shell, against what perf prints for the recording."""

import csv
import io
import re
import subprocess
from collections import Counter, defaultdict

from dso_names import perf_name
from support import perf_text, result
from support.cases import kept, kept_cases
from support.chains import Chains
from support.perf_records import Records
from support.testing import LoadedCases, SystemTest, test_per_case

CASE = kept("forktree-multi")
# What the bytes tell has no names of modules.
loads = LoadedCases("--names", "off")


def tearDownModule():
    loads.close()


def shell(folder, statement):
    """Rows of texts; null comes as the word NULL."""
    words = ["sqlite3", "-readonly", "-csv", "-nullvalue", "NULL", str(result.database(folder)), statement]
    done = subprocess.run(words, check=True, capture_output=True, text=True)
    return [tuple(row) for row in csv.reader(io.StringIO(done.stdout))]


def lines_by_thread_and_event():
    """The lines of perf in time order, for each thread and event."""
    chains = defaultdict(list)
    for line in perf_text.samples(CASE.text("samples.txt")):
        chains[line.tid, line.event].append(line)
    for chain in chains.values():
        chain.sort(key=lambda line: line.tick)
    return chains


def first_tick(chain, at):
    """An interval starts behind the one before it. The first of a chain is as long as the one that follows; a
    chain of one has no length."""
    if at:
        return chain[at - 1].tick + 1
    return chain[0].tick - (chain[1].tick - chain[0].tick) if len(chain) > 1 else chain[0].tick


def rate(chain, at):
    """Events per tick up to the follower."""
    if at + 1 == len(chain):
        return 0.0
    return chain[at + 1].period / (chain[at + 1].tick - chain[at].tick)


class Samples(SystemTest):
    def setUp(self):
        self.folder = loads.loaded(self, CASE)

    def test_intervals_counts_and_addresses(self):
        want = Counter((str(first_tick(chain, at)), str(line.tick), line.event, str(line.pid), str(line.tid), "NULL",
                        "kernel" if line.ip >> 63 else "user", f"{line.ip:#x}", str(line.period))
                       for chain in lines_by_thread_and_event().values() for at, line in enumerate(chain))
        got = Counter(shell(self.folder, "SELECT start_tsc, end_tsc, event, pid, tid, cpu, mode, ip, count "
                                         "FROM samples"))
        self.assert_same_bag(got, want, "samples")

    def test_rates(self):
        want = {(line.tid, line.event, line.tick): rate(chain, at)
                for chain in lines_by_thread_and_event().values() for at, line in enumerate(chain)}
        got = {(int(tid), event, int(tick)): float(text)
               for tid, event, tick, text in shell(self.folder, "SELECT tid, event, end_tsc, rate FROM samples")}
        self.assertEqual(got.keys(), want.keys())
        for key, expected in want.items():
            self.assertAlmostEqual(got[key], expected, delta=expected * 1e-12, msg=key)

    def test_followers(self):
        rows = shell(self.folder, "SELECT tid, event, end_tsc, callsite, next_event, next_callsite FROM samples")
        callsites = {(int(tid), event, int(tick)): callsite for tid, event, tick, callsite, _, _ in rows}
        followers = {(int(tid), event, int(tick)): following for tid, event, tick, _, *following in rows}
        self.assertEqual(len(callsites), 508)
        for chain in lines_by_thread_and_event().values():
            keys = [(line.tid, line.event, line.tick) for line in chain]
            for key, follower in zip(keys, keys[1:]):
                self.assertEqual(followers[key], [key[1], callsites[follower]], key)
            self.assertEqual(followers[keys[-1]], ["NULL", "NULL"], keys[-1])

    def test_names_are_the_latest(self):
        names = {}
        for text in CASE.text("samples.txt").splitlines():
            comm, pid, tid = re.match(r"^\s*(.*?)\s+(\d+)/(\d+)\s", text).groups()
            names[pid, tid] = comm
        got = {(pid, tid): (process, thread) for pid, tid, process, thread in
               shell(self.folder, "SELECT DISTINCT pid, tid, process, thread FROM samples")}
        self.assertEqual({key: thread for key, (_, thread) in got.items()}, names)
        for (pid, _), (process, _) in got.items():
            self.assertEqual(process, names[pid, pid])

    def test_modules(self):
        place = re.compile(r"\s(\d+)/(\d+)\s+(\d+)\.(\d{9}):\s+(\S+):.*\((\S+)\)$", re.MULTILINE)
        want = Counter((tid, seconds + nanoseconds, event, dso.rsplit("/", 1)[-1])
                       for _, tid, seconds, nanoseconds, event, dso in place.findall(CASE.text("sym.txt")))
        got = Counter((tid, tick, event, perf_name(module, int(pid))) for pid, tid, tick, event, module in
                      shell(self.folder, "SELECT pid, tid, end_tsc, event, module FROM samples"))
        self.assertEqual(sum(want.values()), 508)
        self.assert_same_bag(got, want, "modules")


class OtherViews(SystemTest):
    def setUp(self):
        self.folder = loads.loaded(self, CASE)

    def test_frames_are_the_chain_of_every_callsite(self):
        chains = Chains(self.folder)
        want = Counter((str(callsite), str(depth), frame.path.rsplit("/", 1)[-1] if frame.path else "NULL",
                        f"{frame.rva:#x}", "NULL")
                       for callsite, in result.rows(self.folder, "SELECT id FROM dd_callsite")
                       for depth, frame in enumerate(chains.frames(callsite)))
        got = Counter(shell(self.folder, "SELECT callsite, depth, module, rva, function FROM frames"))
        self.assert_same_bag(got, want, "(callsite, depth, module, rva, function)")
        self.assertGreater(sum(want.values()), 20000)
        leaves = shell(self.folder, "SELECT DISTINCT callsite, 0, module FROM samples")
        self.assertLessEqual(set(leaves), set(shell(self.folder, "SELECT callsite, depth, module FROM frames")))

    def test_frames_are_one_per_sampled_place_without_stacks(self):
        scratch = self.scratch()
        folder = self.load(CASE.recording(scratch), scratch / "off", "--stacks", "off", "--names", "off")
        places = shell(folder, "SELECT DISTINCT callsite, 0, module FROM samples ORDER BY callsite")
        frames = shell(folder, "SELECT callsite, depth, module FROM frames ORDER BY callsite")
        self.assertEqual(frames, places)
        self.assertGreater(len(frames), 40)
        self.assertEqual(shell(folder, "SELECT count(*) FROM frames WHERE rva NOT LIKE '0x%' OR function IS NOT NULL"),
                         [("0",)])

    def test_quality_has_what_the_recording_lacks(self):
        cut_off = sum(len(sample.addresses) >= 127 for sample in Records(CASE.load("perf.data")).samples)
        self.assertGreater(cut_off, 0)
        self.assertEqual(sorted(shell(self.folder, "SELECT reason, count, severity FROM quality")),
                         [("call chains longer than the recording allows", str(cut_off), "info"),
                          ("samples without a CPU", "508", "info")])

    def test_load_info_tells_origin_and_state(self):
        info = dict(shell(self.folder, "SELECT key, value FROM load_info"))
        want = {"state": "complete", "samples_in_input": "508", "sample_rows": "508", "samples_dropped": "0",
                "architecture": "x86_64", "hostname": "sfdemo", "recorder_version": "6.1.192", "ticks": "recorded",
                "stacks": "on", "store_each_sample": "on", "input": str(CASE.recording(self.folder)),
                "command_line": "/usr/bin/perf record -q -e cpu-clock,page-faults,context-switches -F 999 -g "
                                "-o out/forktree-multi.perf.data -- ./forktree"}
        self.assertEqual({key: info.get(key) for key in want}, want)

    def test_processes_and_threads_have_the_times_of_their_records(self):
        records = re.compile(r"^(\d+) \S+ \[\S+\]: PERF_RECORD_(FORK|EXIT)\((\d+):(\d+)\):\((\d+):(\d+)\)",
                             re.MULTILINE)
        starts, ends, parents = {}, {}, {}
        for tick, kind, pid, tid, parent, _ in records.findall(CASE.text("records.txt")):
            (starts if kind == "FORK" else ends)[pid, tid] = tick
            if kind == "FORK" and parent != pid:
                parents[pid] = parent
        self.assertEqual((len(starts), len(ends)), (10, 11))
        threads = shell(self.folder, "SELECT pid, tid, start_tsc, end_tsc FROM threads WHERE pid > 0")
        self.assertEqual({(pid, tid): (start, end) for pid, tid, start, end in threads if (pid, tid) in ends},
                         {key: (starts.get(key, "NULL"), ends[key]) for key in ends})
        told = {pid: parent for pid, parent in shell(self.folder, "SELECT pid, parent_pid FROM processes")}
        self.assertEqual({pid: told[pid] for pid in parents}, parents)

    def test_every_table_and_view_can_be_read(self):
        names = shell(self.folder, "SELECT name FROM sqlite_master WHERE type IN ('table', 'view')")
        self.assertGreater(len(names), 30)
        for (name,) in names:
            shell(self.folder, f'SELECT * FROM "{name}" LIMIT 3')


def check_record_counts(test, case):
    """load_info tells how many records of each type were read."""
    info = result.info(loads.loaded(test, case))
    got = {key.removeprefix("records "): int(value) for key, value in info.items() if key.startswith("records ")}
    want = perf_text.stats(case.text("stats.txt"))
    test.assertEqual({kind: got.get(kind) for kind in want}, want)


def is_sampled(case):
    return case.load("samples.txt") is not None


@test_per_case([case for case in kept_cases() if is_sampled(case)], check_record_counts)
class RecordCounts(SystemTest):
    pass
