"""Code locations: the relative address of every row stands for the byte of the binary that perf's symbol names."""

import re
from collections import Counter
from pathlib import Path

from support import elf_text, result
from support.cases import KEPT, kept_cases
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases()


def tearDownModule():
    loads.close()


BINARIES = {path.name: path for path in (KEPT / "binaries").iterdir()}
SYMBOL = re.compile(r"\s([0-9a-f]+)\s+(\S+)\+0x([0-9a-f]+)\s+\((/\S+)\)$")

PLACES_SQL = """
SELECT f.path, s.ip, l.rva, l.stored_rva
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_callsite c ON c.id = s.callsite
  JOIN dd_code_location l ON l.id = c.code_loc
  LEFT JOIN dd_module_segment m ON m.id = l.mod_seg
  LEFT JOIN dd_module_file f ON f.id = m.module"""


def places_of_perf(case):
    """(path, ip, byte of the file) of the samples in binaries that are at hand."""
    functions = {name: elf_text.functions(path) for name, path in BINARIES.items()}
    places, offsets = Counter(), {}
    for line in case.text("sym.txt").splitlines():
        match = SYMBOL.search(line)
        if not match:
            continue
        ip, function, distance, path = match.groups()
        leaf = Path(path).name
        if function not in functions.get(leaf, {}):
            continue
        key = leaf, functions[leaf][function] + int(distance, 16)
        if key not in offsets:
            offsets[key] = elf_text.file_offset(BINARIES[leaf], key[1])
        places[path, int(ip, 16), offsets[key]] += 1
    return places


def check_places(test, case):
    want = places_of_perf(case)
    test.assertGreater(sum(want.values()), 100, "the text names too few known functions")
    known = {(path, ip) for path, ip, _ in want}
    got = Counter()
    for path, ip, rva, stored in result.rows(loads.loaded(test, case), PLACES_SQL):
        test.assertEqual(rva, stored)
        if (path, result.unsigned(ip)) in known:
            got[path, result.unsigned(ip), rva] += 1
    test.assert_same_bag(got, want, "(module, ip, byte of the file)")


# Code that is not in a binary at hand has tests of its own.
WITH_BINARIES = [case for case in kept_cases() if case.load("sym.txt") is not None and not case.jit_files()]


@test_per_case(WITH_BINARIES, check_places)
class RelativeAddresses(SystemTest):
    pass


def check_keys_of(test, folder):
    """The mapping of a sample and its code location name the same segment; without one the address stays."""
    apart = result.rows(folder, """
        SELECT s.id FROM dd_sample s
          LEFT JOIN dd_segment_instance si ON si.id = s.seg_inst
          LEFT JOIN dd_callsite c ON c.id = s.callsite
          LEFT JOIN dd_code_location l ON l.id = c.code_loc
         WHERE si.id IS NULL OR l.id IS NULL
            OR nullif(si.mod_seg, -1) IS NOT nullif(l.mod_seg, -1)
            OR (nullif(si.mod_seg, -1) IS NULL AND l.rva IS NOT s.ip)""")
    test.assertEqual(apart, [])


def check_keys(test, case):
    check_keys_of(test, loads.loaded(test, case))
    scratch = test.scratch()
    check_keys_of(test, test.load(case.recording(scratch), scratch / "off", "--stacks", "off"))


@test_per_case([case for case in kept_cases() if case.load("samples.txt") is not None], check_keys)
class MappingsAndPlacesAgree(SystemTest):
    pass
