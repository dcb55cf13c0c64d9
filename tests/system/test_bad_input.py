"""Input and output that do not allow a load: one line, exit status 1, and never a crash or a hang."""

import os
import struct
import subprocess
import unittest

from support import command, result
from support.cases import SHARED, kept, shared_cases
from support.perf_bytes import Recording, repeated
from support.testing import SystemTest

GOOD = kept("forktree-multi")
NOBODY = 65534


class Refused(SystemTest):
    def setUp(self):
        self.folder = self.scratch()

    def refuse(self, source, *parts):
        self.assert_one_line(command.load(source, self.folder / "r"), *parts)

    def test_an_empty_file(self):
        (self.folder / "in").write_bytes(b"")
        self.refuse(self.folder / "in", "is empty")

    def test_a_text_file(self):
        (self.folder / "in").write_text("cpu-clock 1\ncpu-clock 2\n" * 100)
        self.refuse(self.folder / "in", "not a perf.data file")

    def test_a_folder(self):
        self.refuse(self.folder, "is a directory")

    def test_a_missing_file(self):
        self.refuse(self.folder / "missing", "No such file or directory")

    def test_a_name_with_control_characters_is_shown_escaped(self):
        self.refuse("\x1b[31m\x07.data", "\\x1b[31m\\x07.data")

    def test_a_file_of_a_big_endian_machine(self):
        content = GOOD.load("perf.data")
        (self.folder / "in").write_bytes(content[7::-1] + content[8:])
        self.refuse(self.folder / "in", "big-endian")

    def test_refused_input_leaves_no_result(self):
        (self.folder / "in").write_bytes(b"")
        self.refuse(self.folder / "in", "is empty")
        self.assertFalse((self.folder / "r").exists())

    def test_an_output_that_is_a_file(self):
        (self.folder / "r").write_text("keep me")
        self.refuse(GOOD.recording(self.folder), "r")
        self.assertEqual((self.folder / "r").read_text(), "keep me")

    def test_a_folder_without_permission(self):
        source, locked = self.folder / "in", self.folder / "locked"
        source.write_bytes(GOOD.load("perf.data"))
        locked.mkdir(mode=0o555)
        self.folder.chmod(0o755)
        user = ("setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups") if os.getuid() == 0 else ()
        if command.run("--version", prefix=user).code != command.DONE:
            self.skipTest("needs root or an ordinary user of its own")
        outcome = command.run("load", source, "-o", locked / "r", prefix=user)
        self.assert_one_line(outcome, "Permission denied", str(locked / "r"))

    def test_a_result_that_is_no_database(self):
        (self.folder / "r").mkdir()
        result.database(self.folder / "r").write_bytes(b"not a database, but long enough to be looked at" * 40)
        outcome = command.load(GOOD.recording(self.folder), self.folder / "r", "--append")
        self.assert_one_line(outcome, "result.sqlite")


class FullDisk(SystemTest):
    def small_disk(self, kilobytes):
        disk = self.scratch()
        mount = ["mount", "-t", "tmpfs", "-o", f"size={kilobytes}k", "none", str(disk)]
        if os.getuid() != 0 or subprocess.run(mount, capture_output=True).returncode != 0:
            self.skipTest("mounting a small file system is not permitted")
        self.addCleanup(subprocess.run, ["umount", str(disk)], check=True)
        return disk

    def test_at_the_start(self):
        outcome = command.load(GOOD.recording(self.scratch()), self.small_disk(64) / "r")
        self.assert_one_line(outcome, "full", "make room")

    def test_in_the_middle(self):
        source = self.scratch() / "in"
        source.write_bytes(repeated(Recording(kept("deeptree-plain-period").load("perf.data")), 400, 10**9))
        disk = self.small_disk(4096)
        self.assert_one_line(command.load(source, disk / "r"), "full", "make room")
        self.assert_whole(disk / "r")
        self.assertEqual(result.info(disk / "r")["state"], "incomplete")
        report = command.run("report", disk / "r")
        self.assertEqual((report.code, report.err), (command.DONE, ""))
        self.assertRegex(report.out, r"(?m)^state +incomplete$")


# Positions in the head of a file: size of an attribute entry, attribute section, data section, feature bits.
ENTRY_SIZE, ATTRS_AT, ATTRS_SIZE, DATA_AT, DATA_SIZE, FEATURES = 16, 24, 32, 40, 48, 72
HUGE = [(1 << 64) - 1, (1 << 63) - 1, 1 << 62, 1 << 40, 0xffffffff]
MEMORY = 1 << 30


class Hostile(SystemTest):
    """Numbers that would need all memory or all time, with a bound on both."""

    def check_file(self, content, what):
        folder = self.scratch()
        (folder / "in").write_bytes(content)
        with self.subTest(what=what):
            outcome = command.load(folder / "in", folder / "r", memory=MEMORY, timeout=30)
            self.assertIn(outcome.code, (command.DONE, command.FAILED), outcome)
            self.assertLessEqual(len(outcome.error_lines), 1, outcome.err)
            self.assertEqual(outcome.code == command.FAILED, bool(outcome.err))
            if result.database(folder / "r").exists():
                self.assert_whole(folder / "r")

    def test_sizes_and_places_in_the_head(self):
        content = GOOD.load("perf.data")
        for place in (ENTRY_SIZE, ATTRS_AT, ATTRS_SIZE, DATA_AT, DATA_SIZE, FEATURES):
            for number in HUGE:
                spoilt = bytearray(content)
                struct.pack_into("<Q", spoilt, place, number)
                self.check_file(spoilt, (place, hex(number)))

    def test_sizes_and_places_of_id_lists(self):
        content = GOOD.load("perf.data")
        attrs, entry = struct.unpack_from("<Q", content, ATTRS_AT)[0], struct.unpack_from("<Q", content, ENTRY_SIZE)[0]
        for place in (attrs + entry - 16, attrs + entry - 8):
            for number in HUGE:
                spoilt = bytearray(content)
                struct.pack_into("<Q", spoilt, place, number)
                self.check_file(spoilt, (place, hex(number)))

    def test_sizes_and_places_of_features(self):
        content = GOOD.load("perf.data")
        table = sum(struct.unpack_from("<QQ", content, DATA_AT))
        for feature in range(8):
            for word in (0, 8):
                spoilt = bytearray(content)
                struct.pack_into("<Q", spoilt, table + feature * 16 + word, 1 << 62)
                self.check_file(spoilt, (feature, word))

    @unittest.skipUnless(shared_cases(), "the larger collection of recordings is not there")
    def test_files_that_broke_other_readers(self):
        found = sorted((SHARED / "damaged").iterdir())
        self.assertGreaterEqual(len(found), 12)
        for path in found:
            self.check_file(path.read_bytes(), path.name)

    def test_a_good_file_loads_within_the_bound(self):
        outcome = command.load(GOOD.recording(self.scratch()), self.scratch() / "r", memory=MEMORY)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
