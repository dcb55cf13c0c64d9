import json
import pathlib
import subprocess
import tempfile
import unittest

from scratch_tree import TOOLS


class BuiltSources(unittest.TestCase):
    def run_on(self, sources, compiled, together=()):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for source in sources:
                (root / source).parent.mkdir(parents=True, exist_ok=True)
                (root / source).write_text("")
            (root / "build").mkdir()
            if together:
                (root / "build/unity_0.cxx").write_text(
                    "".join(f'#include "{root / source}"\n' for source in together))
                compiled = [*compiled, "build/unity_0.cxx"]
            (root / "build/compile_commands.json").write_text(json.dumps(
                [{"directory": folder, "file": str(root / source)} for source in compiled]))
            done = subprocess.run([str(TOOLS / "built_sources"), str(root / "build"), folder],
                                  capture_output=True, text=True, check=False)
        return done.returncode, done.stdout

    def test_a_tree_that_is_all_compiled_passes(self):
        code, output = self.run_on(["src/a.cpp", "src/a.h", "fuzz/f.cpp", "examples/e.cpp"], ["src/a.cpp"])
        self.assertEqual(0, code, output)

    def test_a_source_that_nobody_compiles_is_named(self):
        code, output = self.run_on(["src/a.cpp", "tests/a_test.cpp"], ["src/a.cpp"])
        self.assertEqual(1, code)
        self.assertTrue(output.startswith("tests/a_test.cpp: no target compiles it"), output)

    def test_sources_that_are_compiled_together_count(self):
        sources = ["src/a.cpp", "src/b.cpp", "src/c.cpp"]
        self.assertEqual(0, self.run_on(sources, ["src/c.cpp"], together=["src/a.cpp", "src/b.cpp"])[0])
        code, output = self.run_on(sources, ["src/c.cpp"], together=["src/a.cpp"])
        self.assertEqual(1, code)
        self.assertTrue(output.startswith("src/b.cpp: no target compiles it"), output)

    def test_a_tree_without_sources_fails(self):
        self.assertEqual(1, self.run_on(["README.md"], [])[0])


if __name__ == "__main__":
    unittest.main()
