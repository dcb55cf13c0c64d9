import pathlib
import subprocess
import tempfile
import unittest

from scratch_tree import TOOLS

STYLE = "BasedOnStyle: LLVM\nIndentWidth: 4\n"


class Format(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        (self.root / ".clang-format").write_text(STYLE)

    def run_format(self, *arguments):
        return subprocess.run([str(TOOLS / "format"), "--root", str(self.root), *arguments],
                              capture_output=True, text=True, check=False)

    def test_a_file_in_order_passes_the_check(self):
        (self.root / "a.cpp").write_text("int main() { return 0; }\n")
        self.assertEqual(0, self.run_format("--check").returncode)

    def test_a_file_out_of_order_is_named_and_left_alone_by_the_check(self):
        text = "int main(){return 0;}\n"
        (self.root / "src").mkdir()
        (self.root / "src/a.h").write_text(text)
        done = self.run_format("--check")
        self.assertEqual(1, done.returncode)
        self.assertTrue(done.stdout.startswith("src/a.h: is not formatted"), done.stdout)
        self.assertEqual(text, (self.root / "src/a.h").read_text())

    def test_without_the_check_the_file_is_put_in_order(self):
        (self.root / "a.cpp").write_text("int  a;\n")
        self.assertEqual(0, self.run_format().returncode)
        self.assertEqual("int a;\n", (self.root / "a.cpp").read_text())
        self.assertEqual(0, self.run_format("--check").returncode)

    def test_a_tree_without_sources_fails(self):
        self.assertNotEqual(0, self.run_format("--check").returncode)


if __name__ == "__main__":
    unittest.main()
