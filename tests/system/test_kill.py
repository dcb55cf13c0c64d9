"""A load that is killed leaves a result that opens and says that it is incomplete."""

import random
import signal
import subprocess
import time

from support import command, result
from support.cases import kept
from support.perf_bytes import Recording, repeated
from support.testing import SystemTest

SEED = 20240607
KILLS = 14
TIMES = 800
SAMPLES = 386 * TIMES
NANOSECONDS_APART = 10**9
EMPTY_RESULT = 1 << 20  # bytes; a result without samples has less
COMMIT_INTERVAL = 1.1  # seconds; no commit is further from the next
RUN = 0.05  # seconds; a small part of the load
ATTEMPTS = 5


class Killed(SystemTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.recording = repeated(Recording(kept("deeptree-plain-period").load("perf.data")), TIMES, NANOSECONDS_APART)

    def setUp(self):
        self.folder = self.scratch()
        self.source = self.folder / "large.data"
        self.source.write_bytes(self.recording)

    def start(self, folder):
        words = [command.COMMAND, "load", str(self.source), "-o", str(folder)]
        return subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def kill_with_rows(self, folder):
        """Kills a load behind a commit of sample rows. Commits go by the clock: the load is held up again and again,
        so that it has hardly begun when the first is due."""
        process = self.start(folder)
        path = result.database(folder)
        while process.poll() is None and not (path.exists() and path.stat().st_size > EMPTY_RESULT):
            time.sleep(RUN)
            process.send_signal(signal.SIGSTOP)
            time.sleep(COMMIT_INTERVAL)
            process.send_signal(signal.SIGCONT)
        process.send_signal(signal.SIGKILL)
        self.assertEqual(process.wait(), -signal.SIGKILL, "the load was over before there were rows")

    def kill_after(self, seconds, folder):
        """Whether the load was cut short."""
        process = self.start(folder)
        try:
            process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            process.send_signal(signal.SIGKILL)
        return process.wait() == -signal.SIGKILL

    def check_left_behind(self, folder, was_killed):
        self.assert_whole(folder)
        state = result.info(folder)["state"]
        self.assertIn(state, ("complete", "incomplete"))
        if not was_killed:
            self.assertEqual(state, "complete")
        rows = result.value(folder, "SELECT count(*) FROM sample_instance")
        self.assertLessEqual(rows, SAMPLES)
        if state == "complete":
            self.assertEqual(rows, SAMPLES)
        report = command.run("report", folder)
        self.assertEqual((report.code, report.err), (command.DONE, ""))
        self.assertRegex(report.out, rf"(?m)^state +{state}$")
        self.assert_rows_resolve(folder)
        return state, rows

    def assert_rows_resolve(self, folder):
        """No row refers to what was not stored before it."""
        rows = result.value(folder, "SELECT count(*) FROM sample_instance")
        resolved = result.value(folder, f"SELECT count(*) FROM ({result.SAMPLES_SQL})")
        self.assertEqual(resolved, rows)

    def test_at_any_moment(self):
        started = time.monotonic()
        self.load(self.source, self.folder / "whole")
        whole = time.monotonic() - started
        moments = random.Random(SEED)
        seen = []
        for number in range(KILLS):
            folder = self.folder / f"r{number}"
            was_killed = self.kill_after(moments.uniform(0.1, 1.0) * whole, folder)
            if was_killed and not result.database(folder).exists():
                continue  # killed while it was still reading the input
            with self.subTest(number=number):
                seen.append(self.check_left_behind(folder, was_killed))
        self.assertGreater(sum(state == "incomplete" for state, _ in seen), KILLS // 4, seen)

    def test_rows_that_were_committed_stay(self):
        for number in range(ATTEMPTS):
            folder = self.folder / f"r{number}"
            self.kill_with_rows(folder)
            state, rows = self.check_left_behind(folder, was_killed=True)
            self.assertEqual(state, "incomplete")
            if rows:
                return  # else the commit was under way
        self.fail("no load left rows behind")

    def test_what_is_left_is_not_added_to(self):
        folder = self.folder / "r"
        self.kill_with_rows(folder)
        before = result.value(folder, "SELECT count(*) FROM sample_instance")
        outcome = command.load(kept("forktree-multi").recording(self.folder), folder, "--append")
        self.assert_one_line(outcome, "is incomplete")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM sample_instance"), before)
        self.assert_whole(folder)
