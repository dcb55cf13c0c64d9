"""Generated code of recorded runs: names against what perf prints after it has taken in the JIT data, and against
independent readings of the files."""

import re
from collections import Counter

from support import perf_chains, result
from support.cases import SHARED, Case, kept
from support.chains import Chains
from support.jit_files import LiveCode, MappedNames, parse_dump, parse_map
from support.perf_records import USER_MARKER, Records
from support.testing import LoadedCases, SystemTest, test_per_case

loads = LoadedCases("--names", "off")


def tearDownModule():
    loads.close()


def cases(name):
    return [case for case in (kept(name), Case(SHARED / name)) if case.folder.is_dir()]


DUMPED, MAPPED = cases("node-jitdump"), cases("node-perfmap")

# A sample in code that perf took from a dump: an object file of perf's own for each function.
JITTED = re.compile(r"\s(\d+)/(\d+)\s+(\d+)\.(\d{9}):\s+\S+:\s+"
                    r"([0-9a-f]+) (.*)\+0x([0-9a-f]+) \(\S*/jitted-\d+-\d+\.so\)$", re.MULTILINE)


def frames_of_view(folder):
    """Functions by (callsite, depth), where they are known."""
    return {(callsite, depth): function for callsite, depth, function in
            result.rows(folder, "SELECT callsite, depth, function FROM frames WHERE function IS NOT NULL")}


def check_leaves(test, case):
    """What perf finds in generated code has that function, and nothing else has one."""
    folder = loads.loaded(test, case)
    want = {(int(pid), int(tid), int(seconds) * 10**9 + int(nanoseconds)): (int(ip, 16), name)
            for pid, tid, seconds, nanoseconds, ip, name, _ in JITTED.findall(case.text("sym.txt"))}
    test.assertGreater(len(want), 700)
    names = frames_of_view(folder)
    got = {sample.key: (sample.ip, names[sample.callsite, 0]) for sample in Chains(folder).samples
           if (sample.callsite, 0) in names}
    test.assertEqual({key: value for key, value in got.items() if want.get(key) != value}, {})
    test.assertEqual(want.keys() - got.keys(), set())


def check_distances(test, case):
    """A frame is as far behind the start of its function as perf says."""
    folder = loads.loaded(test, case)
    starts = {segment: start for segment, start in result.rows(
        folder, "SELECT i.mod_seg, r.rva FROM dd_jit_region r JOIN dd_segment_instance i ON i.id = r.seg_inst")}
    want = {(int(pid), int(tid), int(seconds) * 10**9 + int(nanoseconds)): int(distance, 16)
            for pid, tid, seconds, nanoseconds, _, _, distance in JITTED.findall(case.text("sym.txt"))}
    chains = Chains(folder)
    got = {}
    for sample in chains.samples:
        leaf = chains.frames(sample.callsite)[0]
        if leaf.segment in starts:
            got[sample.key] = leaf.rva - starts[leaf.segment]
    test.assertEqual(got, want)


@test_per_case(DUMPED, check_leaves)
class SampledFunctions(SystemTest):
    pass


@test_per_case(DUMPED, check_distances)
class SampledPlaces(SystemTest):
    pass


def is_jitted(line):
    return line.dso is not None and "/jitted-" in line.dso


def check_chains(test, case):
    """Frame by frame: where perf names generated code so does the result, and only there."""
    folder = loads.loaded(test, case)
    chains = Chains(folder)
    texts = {text.key: text.frames for text in perf_chains.chains(case.text("symchain.txt"))}
    test.assertEqual(len(texts), len(chains.samples))
    compared = Counter()
    for sample in chains.samples:
        frames = chains.frames(sample.callsite)
        lines = texts[sample.key]
        if len(frames) == len(lines) + 1:
            test.assertTrue(frames[-1].is_end_mark)
            frames.pop()
        test.assertEqual(len(frames), len(lines), sample)
        for frame, line in zip(frames, lines):
            test.assertEqual(frame.function, line.function if is_jitted(line) else None, (sample, frame, line))
            compared[is_jitted(line)] += 1
    test.assertGreater(compared[True], 9000)
    test.assertGreater(compared[False], 9000)


@test_per_case(DUMPED, check_chains)
class FunctionsOfChains(SystemTest):
    pass


def user_addresses(sample):
    """(number in the chain, address) of frames that can be in generated code."""
    for number, (address, marker) in enumerate(sample.marked):
        if marker == USER_MARKER:
            yield number, address


def check_dump(test, case):
    """Every frame at an address where code of the dump lies at that time has its function, and no other has one."""
    content, = case.jit_files().values()
    code = LiveCode(parse_dump(content))
    records = Records(case.load("perf.data"))
    chains = Chains(loads.loaded(test, case))
    callsites = {sample.key: sample.callsite for sample in chains.samples}
    named = 0
    for sample in sorted(records.samples, key=lambda sample: sample.tick):
        frames = chains.frames(callsites[sample.pid, sample.tid, sample.tick])
        expected = [None] * len(frames)
        for number, address in user_addresses(sample):
            found = code.at(sample.tick, address)
            expected[number] = None if found is None else found.name
        test.assertEqual([frame.function for frame in frames], expected, sample)
        named += sum(name is not None for name in expected)
    test.assertGreater(named, 10000)


@test_per_case(DUMPED, check_dump)
class FunctionsOfTheDump(SystemTest):
    pass


def has_file(mappings, sample, address):
    """Whether the latest mapping over the address has a file, which the map does not speak of."""
    over = [mapping for mapping in mappings
            if mapping.pid == sample.pid and mapping.tick <= sample.tick and mapping.holds(address)]
    return bool(over) and max(over).path[:2] != "//"


def check_map(test, case):
    """A frame outside the mapped files has the function of the latest line of the map that holds it."""
    content, = case.jit_files().values()
    names = MappedNames(parse_map(content))
    records = Records(case.load("perf.data"))
    chains = Chains(loads.loaded(test, case))
    callsites = {sample.key: sample.callsite for sample in chains.samples}
    counts = Counter()
    for sample in records.samples:
        frames = chains.frames(callsites[sample.pid, sample.tid, sample.tick])
        expected = [None] * len(frames)
        for number, address in user_addresses(sample):
            if has_file(records.mappings, sample, address):
                counts["in files"] += 1
                continue
            found = names.at(address)
            expected[number] = None if found is None else found.name
            counts["named" if found else "unknown"] += 1
            counts["leaves"] += found is not None and number == 0
        test.assertEqual([frame.function for frame in frames], expected, sample)
    test.assertGreater(counts["named"], 5000)
    test.assertGreater(counts["in files"], 9000)
    test.assertGreater(counts["leaves"], 700)


@test_per_case(MAPPED, check_map)
class FunctionsOfTheMap(SystemTest):
    pass
