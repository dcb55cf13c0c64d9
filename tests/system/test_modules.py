"""The command "modules": which files a load found, and what it tried."""

import hashlib
import json

from support import command, result
from support.example import EXAMPLES, LIBRARY, PROGRAM, SAMPLES, Example
from support.testing import SystemTest


class Modules(SystemTest):
    def setUp(self):
        self.example = Example(self.scratch())

    def modules(self, folder, *options):
        outcome = self.example.run("modules", folder, "--json", *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        report = json.loads(outcome.out)
        self.assertEqual(sorted(report), ["modules", "not_shown"])
        return {module["path"]: module for module in report["modules"]}

    def test_found_modules_have_their_file_and_its_checksum(self):
        modules = self.modules(self.example.load_with_names(self))
        for path, samples in SAMPLES.items():
            module = modules[path]
            name = path.rsplit("/", 1)[-1]
            self.assertEqual((module["name"], module["samples"]), (name, samples))
            self.assertTrue(module["found"].endswith("/" + name), module["found"])
            self.assertEqual(module["md5"], hashlib.md5((EXAMPLES / name).read_bytes()).hexdigest())
            self.assertIsNone(module["missing"])
            self.assertNotIn("attempts", module)

    def test_a_module_that_is_not_found_lists_where_it_was_looked_for(self):
        module = self.modules(self.example.load(self))[PROGRAM]
        self.assertIsNone(module["found"])
        self.assertIsNotNone(module["missing"])
        tried = [(attempt["place"], attempt["path"]) for attempt in module["attempts"]]
        self.assertIn(("path itself", PROGRAM), tried)
        self.assertTrue(all(attempt["refusal"] for attempt in module["attempts"]))

    def test_a_file_with_another_build_id_is_refused(self):
        (self.example.binaries / "deeptree").write_bytes((EXAMPLES / "libsfleaf.so").read_bytes())
        module = self.modules(self.example.load_with_names(self))[PROGRAM]
        self.assertIsNone(module["found"])
        self.assertIn("build id", {attempt["refusal"] for attempt in module["attempts"]})

    def test_the_text_names_found_and_missing_files(self):
        (self.example.binaries / "libsfleaf.so").unlink()
        outcome = self.example.run("modules", self.example.load_with_names(self))
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        blocks = {}
        for line in outcome.out.splitlines():
            if line.startswith("  "):
                blocks[path].append(line.strip())
            else:
                path = line
                blocks[path] = []
        self.assertIn(f"samples   {SAMPLES[PROGRAM]}", blocks[PROGRAM])
        self.assertFalse(any("no file" in line or "tried for" in line for line in blocks[PROGRAM]))
        self.assertIn("found     no file", blocks[LIBRARY])
        self.assertTrue(any(line.startswith("tried for") for line in blocks[LIBRARY]))

    def test_all_shows_what_else_there_is(self):
        folder = self.example.load_with_names(self)
        shown, every = self.modules(folder), self.modules(folder, "--all", "--attempts")
        self.assertLessEqual(set(shown), set(every))
        self.assertEqual(len(every), result.value(folder, "SELECT count(*) FROM dd_module_file"))
        self.assertTrue(all("attempts" in module for module in every.values()))

    def test_a_folder_that_holds_no_result_is_one_line(self):
        self.assert_one_line(command.run("modules", self.scratch()), "result")
