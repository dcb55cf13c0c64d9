"""What the system tests share: scratch folders, a test per case, loads that are made once."""

import os
import re
import tempfile
import unittest
from pathlib import Path

from support import command, result

# Differences that a failing comparison prints.
SHOWN = 10

# A finished result is synced to the disk. Tests that load hundreds of times do it in memory where they can.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


class SystemTest(unittest.TestCase):
    maxDiff = None

    def scratch(self, parent=None):
        """A folder that goes with the test."""
        folder = tempfile.TemporaryDirectory(prefix="sf-system-", dir=parent)
        self.addCleanup(folder.cleanup)
        return Path(folder.name)

    def load(self, source, folder, *options, **settings):
        """Loads and expects that to work; gives the folder."""
        outcome = command.load(source, folder, *options, **settings)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""), source)
        return folder

    def assert_one_line(self, outcome, *parts):
        """Refused with one line on standard error that holds all the parts."""
        self.assertEqual(outcome.code, command.FAILED, outcome)
        self.assertEqual(len(outcome.error_lines), 1, outcome.err)
        self.assertTrue(outcome.err.startswith("samplefold: "), outcome.err)
        for part in parts:
            self.assertIn(part, outcome.err)

    def assert_same_bag(self, got, want, what):
        """Compares two Counters and shows the first differences."""
        missing = list((want - got).elements())
        extra = list((got - want).elements())
        if missing or extra:
            self.fail(f"{what}: {len(missing)} missing, first {missing[:SHOWN]}; "
                      f"{len(extra)} extra, first {extra[:SHOWN]}")

    def assert_whole(self, folder):
        """The database opens and is sound."""
        self.assertEqual(result.integrity(folder), ["ok"], folder)


def test_per_case(cases, check):
    """A class decorator: a method per case, which calls check(self, case)."""
    def decorate(cls):
        for case in cases:
            name = re.sub(r"\W", "_", case.name)
            prefix = "test_shared_" if case.is_shared else "test_kept_"
            setattr(cls, prefix + name, lambda self, case=case: check(self, case))
        return cls
    return decorate


class LoadedCases:
    """Loads each case once for all tests of a module, with the same options of the command."""

    def __init__(self, *options):
        self._options = options
        self._folder = tempfile.TemporaryDirectory(prefix="sf-system-")
        self._outcomes = {}

    def folder(self, case):
        return Path(self._folder.name) / ("shared" if case.is_shared else "kept") / case.name

    def recording(self, case):
        """Path of what is loaded."""
        return case.recording(self._folder.name)

    def outcome(self, case):
        if case not in self._outcomes:
            folder = self.folder(case)
            folder.parent.mkdir(exist_ok=True)
            self._outcomes[case] = command.load(self.recording(case), folder, *self._options)
        return self._outcomes[case]

    def loaded(self, test, case):
        """Folder of the result; the load must have worked."""
        outcome = self.outcome(case)
        test.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return self.folder(case)

    def close(self):
        self._folder.cleanup()
