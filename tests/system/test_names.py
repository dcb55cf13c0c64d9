"""Functions and source lines of places in code, against what perf prints with the same binaries beside it."""

import lzma
import re
import subprocess
import unittest
from collections import Counter
from pathlib import Path
from typing import NamedTuple, Optional

from support import command, perf_chains, result
from support.cases import KEPT, kept_cases, shared_cases
from support.testing import MEMORY, SystemTest, test_per_case

# The programs that were recorded; whatever else a recording maps may differ on this machine.
BINARIES = KEPT / "binaries"
# Of the recorded machine; its Python is here only where the machine has the same build.
RECORDED_PYTHON = Path("/usr/bin/python3.11"), "571d98e01096d5c1c32420d229a6731a0a50d2a0"


def has_recorded_python():
    path, build_id = RECORDED_PYTHON
    return path.exists() and build_id in subprocess.run(["readelf", "-n", path], capture_output=True, text=True,
                                                        check=True).stdout


KNOWN = {"deeptree", "forktree", "libsfleaf.so"} | ({"python3.11"} if has_recorded_python() else set())
UNKNOWN = "[unknown]"

LINE = re.compile(r"^.*?\s(-?\d+)/(-?\d+)\s+(\d+)\.(\d{9}):\s+(.*?):\s+([0-9a-f]+)\s+(\S.*?)(?:\+0x([0-9a-f]+))?\s+"
                  r"\((.*)\)$")

# How far a place lies in its function: its byte of the file less the function's first.
PLACES_SQL = """
SELECT p.pid, t.tid, i.end_tsc, e.name, s.ip, f.name, fn.name, l.rva - fn.start
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process
  JOIN dd_callsite k ON k.id = i.callsite
  JOIN dd_code_location l ON l.id = k.code_loc
  JOIN dd_module_segment g ON g.id = l.mod_seg
  JOIN dd_module_file f ON f.id = g.module
  LEFT JOIN dd_code_name n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
  LEFT JOIN dd_function fn ON fn.id = n.function"""


class Place(NamedTuple):
    pid: int
    tid: int
    tick: int
    event: str
    ip: int
    module: str
    function: Optional[str]
    offset: Optional[int]


def leaf(path):
    return path.rsplit("/", 1)[-1]


def perf_places(text):
    places = []
    for line in text.splitlines():
        match = LINE.match(line)
        if match is None:
            continue
        pid, tid, seconds, nanoseconds, event, ip, function, offset, dso = match.groups()
        places.append(Place(int(pid), int(tid), int(seconds) * 10**9 + int(nanoseconds), event, int(ip, 16),
                            leaf(dso), None if function == UNKNOWN else function,
                            None if offset is None else int(offset, 16)))
    return places


def result_places(folder):
    return [Place(pid, tid, tick, event, result.unsigned(ip), module, function, offset)
            for pid, tid, tick, event, ip, module, function, offset in result.rows(folder, PLACES_SQL)]


def of_known(places):
    return Counter(place for place in places if place.module in KNOWN)


def load_with_binaries(test, case, *options):
    """A load that can find the recorded programs and nothing of this user's."""
    folder = test.scratch(MEMORY)
    home = test.scratch(MEMORY)
    for packed in case.folder.glob("*.xz"):
        (folder / packed.stem).write_bytes(lzma.decompress(packed.read_bytes()))
    test.load(case.recording(folder), folder / "r", "--symbols", BINARIES, "--symbols", folder, *options,
              env={"HOME": str(home)})
    return folder / "r"


def check_samples(test, case):
    """Every sample in a program that is here has the function and the offset in it that perf prints."""
    want = of_known(perf_places(case.text("sym.txt")))
    test.assertGreater(len(want), 0)
    test.assert_same_bag(of_known(result_places(load_with_binaries(test, case))), want, case.name)


CASES = [case for case in kept_cases() + shared_cases()
         if case.load("sym.txt") and of_known(perf_places(case.text("sym.txt")))]


@test_per_case(CASES, check_samples)
class Samples(SystemTest):
    def test_there_are_cases(self):
        self.assertGreater(len([case for case in CASES if not case.is_shared]), 8)


FRAMES_SQL = """
SELECT c.id, c.parent, f.name, fn.name
  FROM dd_callsite c JOIN dd_code_location l ON l.id = c.code_loc
  LEFT JOIN dd_module_segment g ON g.id = l.mod_seg
  LEFT JOIN dd_module_file f ON f.id = g.module
  LEFT JOIN dd_code_name n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
  LEFT JOIN dd_function fn ON fn.id = n.function"""

LEAVES_SQL = """
SELECT p.pid, t.tid, i.end_tsc, i.callsite
  FROM sample_instance i JOIN dd_thread t ON t.id = i.thread JOIN dd_process p ON p.id = t.process"""


def result_stacks(folder):
    """(pid, tid, tick) with the functions of programs that are here, the sampled one first."""
    sites = {row[0]: row[1:] for row in result.rows(folder, FRAMES_SQL)}
    stacks = []
    for pid, tid, tick, site in result.rows(folder, LEAVES_SQL):
        functions = []
        while site in sites:
            parent, module, function = sites[site]
            if module in KNOWN:
                functions.append(function)
            site = parent
        stacks.append(((pid, tid, tick), tuple(functions)))
    return stacks


def perf_stacks(text):
    return [(chain.key, tuple(None if line.function == UNKNOWN else line.function for line in chain.frames if line.dso and leaf(line.dso) in KNOWN))
            for chain in perf_chains.chains(text)]


def check_stacks(test, case):
    """Every frame of every chain in a program that is here has the function that perf prints."""
    want = Counter(perf_stacks(case.text("symchain.txt")))
    got = Counter(result_stacks(load_with_binaries(test, case)))
    test.assert_same_bag(got, want, case.name)


# perf unwinds the stack dumps of deeptree-dwarf itself; test_unwinding compares them.
CHAIN_CASES = [case for case in CASES if case.load("symchain.txt") and case.name != "deeptree-dwarf"
               and case.name != "forktree-sideband"]


@test_per_case(CHAIN_CASES, check_stacks)
class Stacks(SystemTest):
    def test_there_are_cases(self):
        self.assertGreater(len([case for case in CHAIN_CASES if not case.is_shared]), 5)


class Lines(SystemTest):
    def test_places_have_the_source_lines_that_addr2line_prints(self):
        case = next(case for case in kept_cases() if case.name == "deeptree-fp")
        folder = load_with_binaries(self, case)
        places = result.rows(folder, """
            SELECT DISTINCT l.rva, sf.path, n.line FROM dd_code_location l
              JOIN dd_module_segment g ON g.id = l.mod_seg JOIN dd_module_file f ON f.id = g.module
              JOIN dd_code_name n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
              LEFT JOIN dd_source_file sf ON sf.id = n.source_file
              JOIN dd_callsite c ON c.code_loc = l.id JOIN sample_instance i ON i.callsite = c.id
             WHERE f.name = 'libsfleaf.so'""")
        self.assertGreater(len(places), 3)
        # In this library bytes of the file and addresses are the same.
        printed = subprocess.run(["addr2line", "-e", BINARIES / "libsfleaf.so", *(hex(rva) for rva, _, _ in places)],
                                 check=True, capture_output=True, text=True).stdout.split("\n")
        for (rva, path, line), want in zip(places, printed):
            self.assertEqual(f"{path}:{line}", re.sub(r" \(discriminator \d+\)$", "", want), hex(rva))


class Files(SystemTest):
    def setUp(self):
        self.case = next(case for case in kept_cases() if case.name == "deeptree-fp")
        self.folder = self.scratch(MEMORY)
        self.home = self.scratch(MEMORY)

    def load_it(self, *options):
        return command.load(self.case.recording(self.folder), self.folder / "r", *options,
                            env={"HOME": str(self.home)})

    def module(self, name):
        return result.rows(self.folder / "r", "SELECT found, md5, missing FROM modules WHERE name = ?", name)[0]

    def test_a_module_that_is_missing_is_told_once_with_every_path_tried(self):
        outcome = self.load_it()
        told = [line for line in outcome.warnings if "/opt/sfdemo/deeptree\"" in line]
        self.assertEqual(len(told), 1, outcome.warnings)
        tried = result.rows(self.folder / "r", "SELECT tried FROM module_attempts WHERE path = '/opt/sfdemo/deeptree'")
        self.assertGreater(len(tried), 3)
        for (path,) in tried:
            self.assertIn(path, told[0])
        self.assertEqual(self.module("deeptree"), (None, None, "the module's file was not found"))

    def test_a_hostile_path_stays_on_one_line(self):
        content = self.case.load("perf.data").replace(b"/opt/sfdemo/deeptree", b"/opt/\x1b[2J\n\xff/deeptree")
        source = self.folder / "hostile.data"
        source.write_bytes(content)
        outcome = command.load(source, self.folder / "h", env={"HOME": str(self.home)})
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        told = [line for line in outcome.warnings if "/deeptree" in line]
        self.assertEqual(len(told), 1, outcome.warnings)
        self.assertNotIn("\x1b", told[0])

    def test_checksums_are_those_of_md5sum(self):
        self.load_it("--symbols", BINARIES)
        for name in ("deeptree", "libsfleaf.so"):
            found, md5, _ = self.module(name)
            self.assertEqual(found, str(BINARIES / name))
            printed = subprocess.run(["md5sum", found], check=True, capture_output=True, text=True).stdout
            self.assertEqual(md5, printed.split()[0])

    def copy_binaries(self):
        folder = self.folder / "copies"
        folder.mkdir()
        for name in ("deeptree", "libsfleaf.so"):
            (folder / name).write_bytes((BINARIES / name).read_bytes())
        return folder

    def test_a_second_load_computes_no_checksum(self):
        copies = self.copy_binaries()
        self.load_it("--symbols", copies)
        before = {name: self.module(name)[1] for name in ("deeptree", "libsfleaf.so")}
        database = (self.folder / "r" / ".moduledb").read_bytes()
        for name in before:
            with open(copies / name, "ab") as file:
                file.write(b"\0" * 16)  # the build id stays, the checksum would be another
        self.assertEqual(self.load_it("--append").code, command.DONE)
        self.assertEqual({name: self.module(name)[1] for name in before}, before)
        self.assertEqual((self.folder / "r" / ".moduledb").read_bytes(), database)

    def test_a_file_with_another_build_id_is_refused_and_the_search_goes_on(self):
        wrong = self.folder / "wrong" / "opt" / "sfdemo"
        wrong.mkdir(parents=True)
        (wrong / "deeptree").write_bytes((BINARIES / "forktree").read_bytes())
        self.load_it("--symbols", self.folder / "wrong", "--symbols", BINARIES)
        self.assertEqual(self.module("deeptree")[0], str(BINARIES / "deeptree"))
        refused = result.rows(self.folder / "r", "SELECT refusal FROM module_attempts WHERE tried = ?",
                              str(wrong / "deeptree"))
        self.assertEqual(refused, [("build id",)])

    def test_a_path_rule_leads_to_the_files(self):
        self.load_it("--map-path", f"/opt/sfdemo={BINARIES}")
        self.assertEqual(self.module("deeptree")[0], str(BINARIES / "deeptree"))

    def test_without_names_no_place_is_named_and_modules_are_found_all_the_same(self):
        self.load_it("--names", "off", "--symbols", BINARIES)
        self.assertEqual(result.value(self.folder / "r", "SELECT count(*) FROM dd_code_name"), 0)
        self.assertEqual(self.module("deeptree")[0], str(BINARIES / "deeptree"))

    def test_when_the_time_is_up_the_rest_says_so(self):
        self.load_it("--name-time", "0.000001", "--symbols", BINARIES)
        self.assertEqual(self.module("deeptree")[2], "the time for names was up")
        missing = result.rows(self.folder / "r", "SELECT DISTINCT missing FROM code WHERE module = 'deeptree'")
        self.assertEqual(missing, [("the time for names was up",)])

    def test_when_the_time_is_up_no_further_file_is_opened(self):
        self.load_it("--name-time", "0.000001", "--symbols", BINARIES)
        self.assertEqual(result.rows(self.folder / "r", "SELECT DISTINCT missing FROM modules WHERE module IN "
                                     "(SELECT module FROM dd_module_search WHERE missing IS NOT NULL)"),
                         [("the time for names was up",)])

    def test_another_load_names_what_the_first_could_not(self):
        self.load_it()
        self.load_it("--append", "--symbols", BINARIES)
        self.assertEqual(self.module("deeptree")[2], None)
        self.assertEqual(result.value(self.folder / "r", """
            SELECT count(*) FROM code WHERE module = 'deeptree' AND function IS NULL"""), 0)

    def test_every_place_without_a_function_says_why(self):
        self.load_it("--symbols", BINARIES)
        self.assertEqual(result.value(self.folder / "r", """
            SELECT count(*) FROM code WHERE (function IS NULL) <> (missing IS NOT NULL)"""), 0)


if __name__ == "__main__":
    unittest.main()
