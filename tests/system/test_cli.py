"""The command as a user meets it: help, usage errors, reports, SQL."""

import csv
import io
import json
import os
import pty
import re
import subprocess
from pathlib import Path

from support import command, perf_text, result
from support.cases import kept
from support.testing import LoadedCases, SystemTest

CASE = kept("forktree-multi")
GOLDEN = Path(__file__).parent / "golden"
loads = LoadedCases()


def tearDownModule():
    loads.close()


class Usage(SystemTest):
    def assert_usage_error(self, *words, names):
        outcome = command.run(*words)
        self.assertEqual((outcome.code, outcome.out), (command.USAGE, ""), words)
        self.assertIn(names, outcome.err)
        self.assertIn("--help", outcome.err)

    def test_help_names_every_subcommand(self):
        outcome = command.run("--help")
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        for word in ("load", "report", "modules", "annotate", "explain", "archive", "sql", "Exit status"):
            self.assertIn(word, outcome.out)

    def test_help_of_subcommands_names_their_options(self):
        for name, options in (("load", ("INPUT", "--output", "--append", "--store-each-sample", "--stacks", "--jit",
                                        "--jit-dir")),
                              ("report", ("RESULT", "--by", "--limit", "--json")),
                              ("modules", ("RESULT", "--all", "--attempts", "--json")),
                              ("annotate", ("RESULT", "FUNCTION", "--module", "--event", "--source", "--json")),
                              ("explain", ("RESULT", "--sample", "--json")),
                              ("archive", ("RESULT", "--sources", "--dry-run", "--json")),
                              ("sql", ("RESULT", "STATEMENT", "--format", "--json"))):
            outcome = command.run(name, "--help")
            self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
            for option in options:
                self.assertIn(option, outcome.out)

    def test_version_is_one_line_and_the_one_in_results(self):
        outcome = command.run("--version")
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        self.assertRegex(outcome.out, r"\A\d+\.\d+\.\d+\n\Z")
        folder = loads.loaded(self, CASE)
        self.assertEqual(result.info(folder)["samplefold_version"], outcome.out.strip())

    def test_wrong_words_are_usage_errors(self):
        self.assert_usage_error(names="subcommand")
        self.assert_usage_error("no-such-command", names="subcommand")
        self.assert_usage_error("load", names="INPUT")
        self.assert_usage_error("load", "in", names="--output")
        self.assert_usage_error("load", "in", "-o", "r", "--store-each-sample", "perhaps", names="perhaps")
        self.assert_usage_error("load", "in", "-o", "r", "--stacks", "some", names="some")
        self.assert_usage_error("load", "in", "-o", "r", "--jit", "later", names="later")
        self.assert_usage_error("load", "in", "-o", "r", "--jit-dir", names="--jit-dir")
        self.assert_usage_error("load", "in", "-o", "r", "--no-such-option", names="--no-such-option")
        self.assert_usage_error("report", names="RESULT")
        self.assert_usage_error("report", "r", "--by", "colour", names="colour")
        self.assert_usage_error("report", "r", "--by", "0", names="--by")
        self.assert_usage_error("report", "r", "--limit", "many", names="many")
        self.assert_usage_error("report", "r", "--limit", "-1", names="-1")
        self.assert_usage_error("explain", names="RESULT")
        self.assert_usage_error("explain", "r", "--sample", names="--sample")
        self.assert_usage_error("explain", "r", "--sample", "some", names="some")
        self.assert_usage_error("explain", "r", "--sample", "0", names="from 1")
        self.assert_usage_error("sql", "r", names="STATEMENT")
        self.assert_usage_error("sql", "r", "SELECT 1", "--format", "xml", names="xml")

    def test_a_load_says_what_it_did_on_one_line(self):
        outcome = loads.outcome(CASE)
        self.assertEqual(outcome.err, "")
        self.assertRegex(outcome.out, r"\Aloaded 508 sample rows from 508 samples \(0 dropped\) into \S+\n\Z")

    def test_a_terminal_gets_progress_and_it_is_wiped(self):
        scratch = self.scratch()
        ours, theirs = pty.openpty()
        words = [command.COMMAND, "load", str(CASE.recording(scratch)), "-o", str(scratch / "r")]
        done = subprocess.run(words, stdout=subprocess.DEVNULL, stderr=theirs, timeout=60)
        os.close(theirs)
        shown = os.read(ours, 65536).decode()
        os.close(ours)
        self.assertEqual(done.returncode, command.DONE)
        self.assertIn("samples", shown)
        said = "".join(line for line in shown.splitlines(keepends=True) if command.WARNING not in line)
        self.assertTrue(said.endswith("\r\x1b[K") or "\r\x1b[K" + command.WARNING in shown, shown)


class Report(SystemTest):
    def setUp(self):
        self.folder = loads.loaded(self, CASE)

    def report(self, *options):
        outcome = command.run("report", self.folder, *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return outcome.out

    def test_the_whole_text(self):
        text = self.report()
        text = re.sub(r"(?m)^(result +).*$", r"\1RESULT", text)
        text = re.sub(r"(?m)^(input +).*$", r"\1INPUT", text)
        self.assertEqual(text, (GOLDEN / "report.forktree-multi.txt").read_text())

    def groups(self, by, *options):
        """Entries of the JSON report, which must be one object."""
        report = json.loads(self.report("--json", "--by", by, *options))
        self.assertEqual(sorted(report), ["by", "entries", "quality", "summary"])
        self.assertEqual(report["by"], by)
        return report["entries"]

    def expected(self, key):
        """Samples and counts by (event, key), from the text of perf."""
        sums = {}
        for line in perf_text.samples(CASE.text("samples.txt")):
            group = sums.setdefault((line.event, key(line)), [0, 0])
            group[0] += 1
            group[1] += line.period
        return {group: tuple(numbers) for group, numbers in sums.items()}

    def check(self, by, columns, key):
        got = {(entry["event"], tuple(entry[column] for column in columns)): (entry["samples"], entry["count"])
               for entry in self.groups(by, "--limit", "0")}
        self.assertEqual(got, self.expected(key))

    def test_by_process(self):
        self.check("process", ["pid"], lambda line: (line.pid,))

    def test_by_thread(self):
        self.check("thread", ["pid", "tid"], lambda line: (line.pid, line.tid))

    def test_by_event(self):
        self.check("event", [], lambda line: ())

    def test_by_cpu_without_cpus(self):
        self.check("cpu", ["cpu"], lambda line: (None,))

    def test_by_module_and_by_address_add_up_to_all(self):
        want = {event: numbers for (event, _), numbers in self.expected(lambda line: ()).items()}
        for by in ("module", "address"):
            sums = {}
            for entry in self.groups(by, "--limit", "0"):
                before = sums.get(entry["event"], (0, 0))
                sums[entry["event"]] = (before[0] + entry["samples"], before[1] + entry["count"])
            self.assertEqual(sums, want, by)

    def test_percentages_are_of_the_event(self):
        entries = self.groups("module", "--limit", "0")
        for event in {entry["event"] for entry in entries}:
            self.assertAlmostEqual(sum(entry["percent"] for entry in entries if entry["event"] == event), 100.0)

    def test_the_limit_keeps_the_highest_counts_of_each_event(self):
        for by in ("module", "address", "process", "thread"):
            all_entries = self.groups(by, "--limit", "0")
            kept_entries = self.groups(by, "--limit", "2")
            for event in {entry["event"] for entry in all_entries}:
                counts = sorted((entry["count"] for entry in all_entries if entry["event"] == event), reverse=True)
                self.assertEqual([entry["count"] for entry in kept_entries if entry["event"] == event], counts[:2])

    def test_names_of_groupings_in_any_case(self):
        self.assertEqual(self.report("--by", "PROCESS"), self.report("--by", "process"))

    def test_of_no_result_is_refused(self):
        self.assert_one_line(command.run("report", self.scratch()), "load a recording first")


class Sql(SystemTest):
    STATEMENT = ("SELECT 7 AS n, 'a,\"b\"' AS t, NULL AS empty, 0.5 AS r "
                 "UNION ALL SELECT -1, 'line' || char(10) || 'break', 'x', 1e300 ORDER BY n DESC")

    def setUp(self):
        self.folder = loads.loaded(self, CASE)

    def ask(self, *words):
        outcome = command.run("sql", self.folder, *words)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return outcome.out

    def refuse(self, statement, *parts):
        before = result.database(self.folder).read_bytes()
        outcome = command.run("sql", self.folder, statement)
        self.assert_one_line(outcome, *parts)
        self.assertEqual(outcome.out, "")
        self.assertEqual(result.database(self.folder).read_bytes(), before)

    def test_a_table_is_aligned(self):
        self.assertEqual(self.ask(self.STATEMENT),
                         " n  t              empty       r\n"
                         " 7  a,\"b\"                    0.5\n"
                         "-1  line\\x0abreak  x      1e+300\n")

    def test_csv_is_read_back_by_a_csv_reader(self):
        rows = list(csv.reader(io.StringIO(self.ask(self.STATEMENT, "--format", "csv"))))
        self.assertEqual(rows, [["n", "t", "empty", "r"], ["7", 'a,"b"', "", "0.5"],
                                ["-1", "line\nbreak", "x", "1e+300"]])

    def test_json_is_read_back_by_a_json_reader(self):
        want = [{"n": 7, "t": 'a,"b"', "empty": None, "r": 0.5},
                {"n": -1, "t": "line\nbreak", "empty": "x", "r": 1e300}]
        self.assertEqual(json.loads(self.ask(self.STATEMENT, "--json")), want)
        self.assertEqual(json.loads(self.ask(self.STATEMENT, "--format", "json")), want)

    def test_no_rows(self):
        empty = "SELECT pid, tid FROM samples WHERE 0"
        self.assertEqual(self.ask(empty), "pid  tid\n")
        self.assertEqual(self.ask(empty, "--format", "csv"), "pid,tid\n")
        self.assertEqual(json.loads(self.ask(empty, "--json")), [])

    def test_all_rows_of_a_large_answer(self):
        statement = ("WITH RECURSIVE s(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM s WHERE n < 2500) "
                     "SELECT n FROM s")
        want = [str(number) for number in range(1, 2501)]
        self.assertEqual(self.ask(statement, "--format", "csv").split(), ["n", *want])
        self.assertEqual([word for word in self.ask(statement).split() if word != "n"], want)
        self.assertEqual(json.loads(self.ask(statement, "--json")), [{"n": number} for number in range(1, 2501)])

    def test_writing_statements_are_refused(self):
        scratch = self.scratch()
        for statement in ("DELETE FROM dd_sample", "UPDATE dd_load_info SET value = 'x'", "DROP VIEW samples",
                          "CREATE TABLE t(x)", "PRAGMA journal_mode = DELETE", f"VACUUM INTO '{scratch}/copy'",
                          f"ATTACH '{scratch}/other' AS other"):
            self.refuse(statement)
        self.assertEqual(list(scratch.iterdir()), [])

    def test_bad_statements_are_told_on_one_line(self):
        self.refuse("SELECT nonsense FROM", "incomplete input")
        self.refuse("SELECT no_such_column FROM samples", "no_such_column")
        self.refuse("SELECT 1; SELECT 2", "one SQL statement")
        self.refuse("SELECT 1\nFROM no_such_table", "no_such_table")
        self.refuse("")
