"""Reports of hardware feedback that become bands on the timelines of threads."""

import json

from support import command, result
from support.perf_writer import Writer, user_chain
from support.testing import SystemTest

PID, OTHER, APP = 7003, 7004, 0x400000
FIRST, LAST = 1_000_000_000_000, 1_000_000_100_000
VALID = 1 << 63

BANDS_SQL = "SELECT tid, class, start_tsc, end_tsc, value FROM core_classes ORDER BY start_tsc, tid"


class HwFeedback(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        writer = Writer()
        writer.comm(FIRST, PID, "app", is_exec=True)
        writer.comm(FIRST, OTHER, "other", is_exec=True)
        writer.mmap(FIRST, PID, APP, 0x1000, "/usr/bin/app")
        for tick in (FIRST, LAST):
            writer.sample(tick, PID, APP, user_chain(APP))
        self.recording = writer.write(self.folder / "perf.data")
        self.reports = self.folder / "reports"
        self.result = self.folder / "r"

    def tell(self, *reports):
        """(offset, cpu, thread, class[, value]) each."""
        self.reports.write_text("# tick cpu thread class value\n" + "".join(
            f"{FIRST + offset} {cpu} {thread} {VALID | core_class:#x} {value[0] if value else 0}\n"
            for offset, cpu, thread, core_class, *value in reports))

    def load_reports(self, *options):
        return command.load(self.recording, self.result, "--hw-feedback", self.reports, *options)

    def bands(self):
        return [(tid, name, start - FIRST, end - FIRST) for tid, name, start, end, _ in
                result.rows(self.result, BANDS_SQL)]

    def told(self):
        return dict(result.rows(self.result, "SELECT reason, count FROM quality"))

    def test_become_bands_of_one_class_and_thread_each(self):
        self.tell((10, 0, PID, 1, 5), (20, 0, PID, 1, 6), (30, 0, PID, 2), (40, 0, OTHER, 2), (15, 1, OTHER, 0, -3),
                  (25, 1, OTHER, 0))
        self.assertEqual(self.load_reports().code, command.DONE)
        self.assertEqual(self.bands(), [(PID, "Class_1", 10, 20), (OTHER, "Class_0", 15, 25), (PID, "Class_2", 21, 30),
                                        (OTHER, "Class_2", 31, 40)])
        self.assertEqual({value for *_, value in result.rows(self.result, BANDS_SQL)}, {5, -3})
        self.assertEqual(result.info(self.result)["hw_feedback"], str(self.reports))
        self.assertEqual(self.told(), {})
        self.assertEqual(result.rows(self.result, "SELECT attribute_table, owner_table FROM band_binding "
                                                  "WHERE data_name = 'hw_feedback_data'"),
                         [("dd_hw_feedback", "dd_thread")])

    def test_a_load_without_them_has_no_bands(self):
        self.load(self.recording, self.result)
        self.assertEqual(self.bands(), [])
        self.assert_one_line(command.run("report", self.result, "--by", "core-class"), "--hw-feedback")

    def test_a_bad_line_is_told_by_its_place_and_loses_nothing_else(self):
        self.tell((10, 0, PID, 1), (20, 0, PID, 1))
        with self.reports.open("a") as file:
            file.write(f"oops\n{FIRST + 30} 0 {PID} x 0\n{FIRST + 40} 0 {PID} {VALID | 1} 0\n")
        outcome = self.load_reports()
        self.assert_one_line(outcome, f"{self.reports}:4: ", "1 field instead of 5", "this line and 1 other")
        self.assertIn("loaded 2 sample rows from 2 samples", outcome.out)
        self.assertEqual(self.bands(), [(PID, "Class_1", 10, 40)])
        self.assertEqual(self.told(), {"lines of the hardware feedback file that are no report": 2})
        self.assertEqual(result.info(self.result)["state"], "complete")
        self.assert_whole(self.result)

    def test_a_file_that_is_not_there_is_wrong_usage_and_no_result_is_begun(self):
        outcome = self.load_reports()
        self.assertEqual(outcome.code, command.USAGE)
        self.assertFalse(self.result.exists())

    def test_bytes_of_any_kind_are_bad_lines(self):
        self.reports.write_bytes(self.recording.read_bytes())
        self.assert_one_line(self.load_reports(), f"{self.reports}:1: ")
        self.assertEqual(self.bands(), [])

    def test_are_added_to_those_of_an_earlier_load(self):
        self.tell((10, 0, PID, 1), (20, 0, PID, 1))
        self.assertEqual(self.load_reports().code, command.DONE)
        self.tell((30, 0, PID, 1), (40, 0, PID, 1))
        self.assertEqual(self.load_reports("--append").code, command.DONE)
        self.assertEqual(self.bands(), [(PID, "Class_1", 10, 20), (PID, "Class_1", 30, 40)])
        self.assertIn("hw_feedback of load 2", result.info(self.result))

    def test_time_per_class_adds_up_what_is_one_name_in_many_rows(self):
        self.tell((0, 0, PID, 1), (999, 0, PID, 1), (1999, 0, PID, 2), (4999, 0, PID, 1), (4999, 1, OTHER, 0),
                  (5999, 1, OTHER, 0))
        self.assertEqual(self.load_reports().code, command.DONE)
        self.assertGreater(result.value(self.result, "SELECT count(*) FROM dd_hw_feedback_coretier_class"), 3)
        report = json.loads(command.run("report", self.result, "--by", "core-class", "--json").out)
        self.assertEqual([(entry["tid"], entry["thread"], entry["class"], round(entry["seconds"] * 1e9),
                           entry["bands"], entry["percent"]) for entry in report["entries"]],
                         [(PID, "app", "Class_1", 4000, 2, 80), (PID, "app", "Class_2", 1000, 1, 20),
                          (OTHER, "other", "Class_0", 1001, 1, 100)])
        text = command.run("report", self.result, "--by", "core-class").out
        self.assertRegex(text, rf"{PID} +{PID} +app +Class_1 +0\.000004000 +80\.00% +2\n")
        part = json.loads(command.run("report", self.result, "--by", "core-class", "--json", "--from", "1us", "--to",
                                      "1999ns").out)
        self.assertEqual([(entry["class"], round(entry["seconds"] * 1e9)) for entry in part["entries"]],
                         [("Class_2", 1000)])
