"""The command "annotate" on the example: counts against its own reports, text against the source."""

import json
import os
import shutil

from support import command, result
from support.example import EXAMPLES, PROGRAM, Example
from support.testing import SystemTest


class Annotate(SystemTest):
    @classmethod
    def setUpClass(cls):
        cls.test = cls("test_counts_are_those_of_the_samples")
        cls.example = Example(cls.test.scratch())
        cls.folder = cls.example.load_with_names(cls.test)

    @classmethod
    def tearDownClass(cls):
        cls.test.doCleanups()

    def annotate(self, *words):
        outcome = command.run("annotate", self.folder, *words)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return outcome.out

    def test_counts_are_those_of_the_samples(self):
        want = result.rows(self.folder, "SELECT line, count(*), sum(count) FROM samples WHERE function = 'spin' "
                                        "GROUP BY line ORDER BY line")
        self.assertGreater(len(want), 2)
        functions = json.loads(self.annotate("spin", "--json"))["functions"]
        self.assertEqual([function["module"] for function in functions], [PROGRAM])
        got = [(line["line"], line["counts"][0]["samples"], line["counts"][0]["count"])
               for line in functions[0]["files"][0]["lines"]]
        self.assertEqual(got, want)
        self.assertAlmostEqual(sum(line["counts"][0]["percent"] for line in functions[0]["files"][0]["lines"]), 100)

    def test_the_text_is_that_of_the_source(self):
        lines = (EXAMPLES / "deeptree.c").read_text().splitlines()
        function = json.loads(self.annotate("spin", "--json", "--source", EXAMPLES))["functions"][0]
        for line in function["files"][0]["lines"]:
            self.assertEqual(line["text"], lines[line["line"] - 1])
        self.assertEqual(function["files"][0]["read_from"], str(EXAMPLES / "deeptree.c"))
        hottest = max(function["files"][0]["lines"], key=lambda line: line["counts"][0]["count"])
        self.assertIn(lines[hottest["line"] - 1].strip(), self.annotate("spin", "--source", EXAMPLES))

    def test_a_missing_source_is_said_once(self):
        text = self.annotate("spin")
        self.assertEqual(text.count("--source DIR"), 1)
        self.assertNotIn("\x1b", text)

    def test_sources_in_the_archive_are_read(self):
        path = result.value(self.folder, "SELECT file FROM samples WHERE function = 'spin' AND file NOT NULL LIMIT 1")
        copied = self.scratch() / "result"
        shutil.copytree(self.folder, copied)
        place = copied / "archive" / "sources" / os.path.normpath(path).lstrip("/")
        place.parent.mkdir(parents=True)
        shutil.copy(EXAMPLES / "deeptree.c", place)
        outcome = command.run("annotate", copied, "spin", "--json")
        self.assertEqual(json.loads(outcome.out)["functions"][0]["files"][0]["read_from"], str(place))

    def test_unknown_names_are_one_line(self):
        self.assert_one_line(command.run("annotate", self.folder, "spinn"), "no function 'spinn'", "'spin'")
        self.assert_one_line(command.run("annotate", self.folder, "level_"), "several functions", "'level_01'")
        self.assert_one_line(command.run("annotate", self.folder, "spin", "--module", "libc.so.6"),
                             "no function 'spin' in the module 'libc.so.6'")
        self.assert_one_line(command.run("annotate", self.folder, "spin", "--event", "faults"), "'faults'",
                             "cpu-clock")

    def test_wrong_usage(self):
        for words in ((), (self.folder,), (self.folder, ""), (self.folder, "spin", "--source")):
            outcome = command.run("annotate", *words)
            self.assertEqual((outcome.code, outcome.out), (command.USAGE, ""), words)
