"""Runs test modules. A skip that listed_skips.txt does not list is a failure."""

import sys
import unittest
from fnmatch import fnmatch
from pathlib import Path

HERE = Path(__file__).parent


def listed_skips():
    """(pattern of test ids, reason) of every listed skip."""
    for line in (HERE / "listed_skips.txt").read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            pattern, reason = line.split("|", 1)
            yield pattern.strip(), reason.strip()


def unlisted(skipped):
    listed = list(listed_skips())
    return [(test.id(), reason) for test, reason in skipped
            if not any(fnmatch(test.id(), pattern) and reason == known for pattern, known in listed)]


def main(modules):
    sys.path.insert(0, str(HERE))
    suite = unittest.defaultTestLoader.loadTestsFromNames(modules)
    outcome = unittest.TextTestRunner(verbosity=1).run(suite)
    for test, reason in outcome.skipped:
        print(f"skipped {test.id()}: {reason}")
    for test, reason in unlisted(outcome.skipped):
        print(f"FAILED: the skip of {test} is not listed: {reason}")
    ok = outcome.wasSuccessful() and outcome.testsRun > 0 and not unlisted(outcome.skipped)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
