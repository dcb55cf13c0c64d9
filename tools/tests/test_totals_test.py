import pathlib
import subprocess
import tempfile
import unittest

from scratch_tree import TOOLS


class TestTotals(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def results(self, name, tests, **cases):
        """A folder of results: (name, status) of each test, and GoogleTest reports by name."""
        folder = self.root / name
        (folder / "cases").mkdir(parents=True)
        rows = "".join(f'<testcase name="{test}" status="{status}">'
                       f'{"<failure/>" if status == "fail" else ""}</testcase>' for test, status in tests)
        (folder / "ctest.xml").write_text(f"<testsuite>{rows}</testsuite>")
        for test, body in cases.items():
            (folder / "cases" / f"{test}.xml").write_text(f"<testsuites><testsuite>{body}</testsuite></testsuites>")
        return str(folder)

    def totals(self, *folders):
        return subprocess.run([str(TOOLS / "test_totals"), *folders], capture_output=True, text=True,
                              check=True).stdout.strip()

    def test_tests_without_a_report_count_once(self):
        folder = self.results("a", [("x", "run"), ("y", "fail"), ("z", "disabled")])
        self.assertEqual("1 passed, 1 failed, 1 skipped", self.totals(folder))

    def test_tests_with_a_report_count_by_case(self):
        folder = self.results("a", [("x", "fail"), ("y", "run")], x=(
            '<testcase result="completed" status="run"/><testcase result="completed" status="run"><failure/></testcase>'
            '<testcase result="skipped" status="run"/><testcase result="suppressed" status="notrun"/>'))
        self.assertEqual("2 passed, 1 failed, 1 skipped", self.totals(folder))

    def test_a_failure_outside_the_cases_counts(self):
        folder = self.results("a", [("x", "fail")], x='<testcase result="completed" status="run"/>')
        self.assertEqual("1 passed, 1 failed, 0 skipped", self.totals(folder))

    def test_folders_add_up(self):
        folders = [self.results("a", [("x", "run")]), self.results("b", [("x", "run"), ("y", "fail")])]
        self.assertEqual("2 passed, 1 failed, 0 skipped", self.totals(*folders))


if __name__ == "__main__":
    unittest.main()
