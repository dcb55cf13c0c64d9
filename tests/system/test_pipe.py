"""A recording through a pipe, standard input or a named one, is the same recording."""

import os
import subprocess
import threading
from collections import Counter

from support import command, result
from support.cases import kept
from support.testing import SystemTest, test_per_case

CASES = [kept(name) for name in ("deeptree-piped", "forktree-multi", "deeptree-zstd", "systemwide-multi")]

# Tables that hold no name or checksum of the input.
TABLES = ("dd_sample", "sample_instance", "dd_process", "dd_thread", "dd_module_file", "dd_module_segment",
          "dd_segment_instance", "dd_callsite", "dd_code_location", "dd_event_type", "dd_cpu", "dd_quality")
NAMED = ("input", "input_checksum")


def check_same(test, folder, other):
    for table in TABLES:
        rows = [Counter(result.rows(where, f"SELECT * FROM {table}")) for where in (folder, other)]
        test.assert_same_bag(rows[0], rows[1], table)
    facts = [{key: value for key, value in result.info(where).items() if key not in NAMED}
             for where in (folder, other)]
    test.assertEqual(facts[0], facts[1])


def check_standard_input(test, case):
    scratch = test.scratch()
    path = case.recording(scratch)
    from_file = test.load(path, scratch / "file")
    with subprocess.Popen(["cat", str(path)], stdout=subprocess.PIPE) as cat:
        outcome = command.load("-", scratch / "pipe", stdin=cat.stdout)
    test.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
    check_same(test, scratch / "pipe", from_file)
    test.assertEqual(result.info(scratch / "pipe")["input"], "standard input")
    redirected = scratch / "redirected"
    with open(path, "rb") as opened:
        outcome = command.load("-", redirected, stdin=opened)
    test.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
    check_same(test, redirected, from_file)


def check_named_pipe(test, case):
    scratch = test.scratch()
    path, pipe = case.recording(scratch), scratch / "named"
    from_file = test.load(path, scratch / "file")
    os.mkfifo(pipe)
    with subprocess.Popen(["sh", "-c", 'cat "$1" > "$2"', "sh", str(path), str(pipe)]):
        test.load(pipe, scratch / "pipe")
    check_same(test, scratch / "pipe", from_file)
    test.assertNotIn("input_checksum", result.info(scratch / "pipe"))


@test_per_case(CASES, check_named_pipe)
class NamedPipe(SystemTest):
    pass


@test_per_case(CASES, check_standard_input)
class StandardInput(SystemTest):
    pass


class Slowly(SystemTest):
    def test_bytes_that_come_in_small_pieces(self):
        scratch = self.scratch()
        content = kept("deeptree-piped").load("perf.data")
        process = subprocess.Popen([command.COMMAND, "load", "-", "-o", str(scratch / "slow")],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

        def feed():
            for at in range(0, len(content), 997):
                process.stdin.write(content[at:at + 997])
                process.stdin.flush()
            process.stdin.close()

        feeder = threading.Thread(target=feed)
        feeder.start()
        errors = process.stderr.read()
        feeder.join()
        process.stderr.close()
        said = [line for line in errors.decode().splitlines(keepends=True) if not line.startswith(command.WARNING)]
        self.assertEqual((process.wait(), said), (command.DONE, []))
        self.assertEqual(result.value(scratch / "slow", "SELECT count(*) FROM sample_instance"), 600)

    def test_a_pipe_that_ends_early_keeps_what_came(self):
        scratch = self.scratch()
        outcome = command.load("-", scratch / "r", stdin=kept("deeptree-piped").load("perf.data")[:90000])
        self.assert_one_line(outcome, "standard input")
        self.assertGreater(result.value(scratch / "r", "SELECT count(*) FROM sample_instance"), 100)

    def test_no_input_at_all(self):
        scratch = self.scratch()
        self.assert_one_line(command.load("-", scratch / "r", stdin=b""), "standard input", "is empty")
