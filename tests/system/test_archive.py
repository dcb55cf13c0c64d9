"""The command "archive": a result that takes its binaries along."""

import json
import shutil

from support import command, result
from support.example import LIBRARY, PROGRAM, RECORDING, Example
from support.testing import SystemTest


class Archive(SystemTest):
    def setUp(self):
        self.example = Example(self.scratch())

    def archive(self, folder, *options, code=command.DONE):
        outcome = self.example.run("archive", folder, "--json", *options)
        self.assertEqual(outcome.code, code, outcome)
        return json.loads(outcome.out), outcome.error_lines

    def found(self, folder):
        outcome = self.example.run("modules", folder, "--json")
        return {module["path"]: module["found"] for module in json.loads(outcome.out)["modules"]}

    def test_a_load_elsewhere_finds_the_archived_files(self):
        folder = self.example.load_with_names(self)
        report, errors = self.archive(folder)
        self.assertEqual(errors, [])
        self.assertGreaterEqual(report["copied"], 2)
        moved = self.scratch()
        shutil.move(folder / "archive", moved / "archive")
        shutil.rmtree(self.example.binaries)
        outcome = self.example.run("load", RECORDING, "-o", moved)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        for path in (PROGRAM, LIBRARY):
            self.assertTrue(self.found(moved)[path].startswith(str(moved / "archive")), path)
        self.assertEqual(result.value(moved, "SELECT count(*) FROM samples WHERE module = 'deeptree' "
                                             "AND function IS NULL"), 0)

    def test_the_second_time_nothing_is_copied(self):
        folder = self.example.load_with_names(self)
        first, _ = self.archive(folder)
        second, errors = self.archive(folder)
        self.assertEqual((second["copied"], second["bytes"], errors), (0, 0, []))
        self.assertEqual(second["present"], first["copied"])

    def test_changed_and_vanished_files_are_told_and_the_rest_is_copied(self):
        folder = self.example.load_with_names(self)
        with open(self.example.binaries / "deeptree", "ab") as file:
            file.write(b"more")
        (self.example.binaries / "libsfleaf.so").unlink()
        report, errors = self.archive(folder, code=command.FAILED)
        states = {item["module"]: item["state"] for item in report["files"]}
        self.assertEqual((states[PROGRAM], states[LIBRARY]), ("refused", "missing"))
        self.assertEqual(len(errors), 2)
        self.assertTrue(any("deeptree" in line and "checksum" in line for line in errors), errors)
        self.assertTrue(any("libsfleaf.so" in line for line in errors), errors)

    def test_a_dry_run_writes_nothing(self):
        folder = self.example.load_with_names(self)
        report, _ = self.archive(folder, "--dry-run")
        self.assertGreaterEqual(report["copied"], 2)
        self.assertFalse((folder / "archive").exists())

    def test_the_text_sums_up(self):
        outcome = self.example.run("archive", self.example.load_with_names(self))
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        self.assertRegex(outcome.out, r"(?m)^copied \d+ files \(\d+ bytes\) into \S+/archive; 0 there already, "
                                      r"0 missing, 0 refused, \d+ skipped$")

    def test_a_folder_that_holds_no_result_is_one_line(self):
        self.assert_one_line(command.run("archive", self.scratch()), "result")
