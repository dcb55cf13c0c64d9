"""Source lines of samples, against what addr2line says about the same places."""

import json
import re
import subprocess
from collections import Counter

from support import command, result
from support.example import EXAMPLES, LIBRARY, PROGRAM, SAMPLES, Example
from support.testing import SystemTest


def load_segments(binary):
    """(offset, address, size) of what is loaded of a binary."""
    text = subprocess.run(["readelf", "-lW", binary], check=True, capture_output=True, text=True).stdout
    return [tuple(int(number, 16) for number in found)
            for found in re.findall(r"LOAD\s+(\S+) (\S+) \S+ (\S+)", text)]


def lines_of(binary, offsets):
    """"path:line" of each offset in the file, as addr2line tells it."""
    segments = load_segments(binary)
    addresses = [offset - start + address for offset in offsets
                 for start, address, size in segments if start <= offset < start + size]
    said = subprocess.run(["addr2line", "-e", binary, *map(hex, addresses)], check=True, capture_output=True,
                          text=True).stdout.splitlines()
    return [re.sub(r" \(discriminator \d+\)", "", line) for line in said]


class SourceLines(SystemTest):
    @classmethod
    def setUpClass(cls):
        cls.test = cls("test_lines_are_those_of_addr2line")
        cls.example = Example(cls.test.scratch())
        cls.folder = cls.example.load_with_names(cls.test)

    @classmethod
    def tearDownClass(cls):
        cls.test.doCleanups()

    def report(self, *options):
        outcome = command.run("report", self.folder, "--json", "--limit", "0", *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return json.loads(outcome.out)["entries"]

    def expected(self, module):
        """Samples by "path:line"."""
        places = result.rows(self.folder, """
            SELECT l.rva, count(*) FROM sample_instance i JOIN dd_sample s ON s.id = i.sample
              JOIN dd_callsite c ON c.id = s.callsite JOIN dd_code_location l ON l.id = c.code_loc
              JOIN dd_module_segment ms ON ms.id = l.mod_seg JOIN dd_module_file f ON f.id = ms.module
             WHERE f.path = ? GROUP BY l.rva""", module)
        lines = Counter()
        said = lines_of(EXAMPLES / module.rsplit("/", 1)[-1], [rva for rva, _ in places])
        self.assertEqual(len(said), len(places))
        for line, (_, samples) in zip(said, places):
            lines[line] += samples
        return lines

    def test_lines_are_those_of_addr2line(self):
        for module, samples in SAMPLES.items():
            want = self.expected(module)
            self.assertEqual(sum(want.values()), samples)
            got = Counter({entry["source_line"]: entry["samples"]
                           for entry in self.report("--by", "source-line") if entry["module"] == module})
            self.assert_same_bag(got, want, module)

    def test_samples_show_the_same_lines(self):
        got = Counter(dict(result.rows(self.folder, "SELECT file || ':' || line, count(*) FROM samples "
                                                    "WHERE module IN ('deeptree', 'libsfleaf.so') GROUP BY 1")))
        self.assert_same_bag(got, self.expected(PROGRAM) + self.expected(LIBRARY), "samples")

    def test_functions_and_lines_add_up_to_all(self):
        for by in ("function", "inlined-function", "source-line"):
            self.assertEqual(sum(entry["samples"] for entry in self.report("--by", by)), 1987, by)

    def test_without_names_lines_show_by_address(self):
        scratch = self.scratch()
        folder = Example(scratch).load(self)
        outcome = command.run("report", folder, "--by", "source-line", "--json", "--limit", "0")
        labels = [entry["source_line"] for entry in json.loads(outcome.out)["entries"]
                  if entry["module"] == PROGRAM]
        self.assertGreater(len(labels), 3)
        for label in labels:
            self.assertRegex(label, r"^deeptree\+0x[0-9a-f]+$")
