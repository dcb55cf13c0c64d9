"""A small tree of files in a folder of its own, and a rule check run on it."""

import pathlib
import subprocess
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parent.parent


class RuleTest(unittest.TestCase):
    """`files` is a dictionary from path to text; `check` names the script."""

    check = ""

    def run_check(self, files):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in files.items():
                place = pathlib.Path(folder) / path
                place.parent.mkdir(parents=True, exist_ok=True)
                place.write_bytes(text if isinstance(text, bytes) else text.encode())
            done = subprocess.run([str(TOOLS / self.check), "--root", folder], capture_output=True,
                                  text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def accepts(self, files):
        code, output = self.run_check(files)
        self.assertEqual(0, code, output)
        self.assertIn("all well", output)

    def refuses(self, files, place, *words):
        """The check fails with exactly one message, which begins with `place` and holds `words`."""
        code, output = self.run_check(files)
        lines = output.splitlines()
        self.assertEqual(1, code, output)
        self.assertEqual(1, len(lines), output)
        self.assertTrue(lines[0].startswith(place + ": "), output)
        for word in words:
            self.assertIn(word, lines[0])
