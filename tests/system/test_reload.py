"""Two loads into one result: what the second finds there already is used again."""

from collections import Counter

from support import command, result
from support.cases import kept
from support.chains import Chains
from support.perf_bytes import Recording, split
from support.testing import SystemTest, test_per_case

CASES = [kept(name) for name in ("forktree-multi", "forktree-sideband", "systemwide-multi", "deeptree-regs",
                                 "deeptree-buildid-mmap", "deeptree-plain-period", "node-jitdump", "node-perfmap")]

# Every column of dd_sample by what its key stands for, but the callsite.
DISTINCT_SQL = """
SELECT s.callsite, e.name, e.type, e.config, c.number, m.name, s.ip, f.path, f.build_id, g.offset, g.size,
       i.address, i.extra, q.pid, q.life, a.source, a.operation, h.word
  FROM dd_sample s
  JOIN dd_event_type e ON e.id = s.event_type
  JOIN dd_segment_instance i ON i.id = s.seg_inst
  JOIN dd_process q ON q.id = i.process
  LEFT JOIN dd_module_segment g ON g.id = i.mod_seg
  LEFT JOIN dd_module_file f ON f.id = g.module
  LEFT JOIN dd_cpu c ON c.id = s.cpu
  LEFT JOIN dd_cpu_mode m ON m.id = s.cpu_mode
  LEFT JOIN dd_mem_access a ON a.id = s.mem_access
  LEFT JOIN dd_htm_info h ON h.id = s.htm_info"""

# Tables of distinct things: what tells their rows apart. Code locations and placeholders for addresses outside every
# mapping have rules of their own, see check_places; so have the rows that make generated code look like a module,
# which are one to each piece of code.
DISTINCT_TABLES = {
    "dd_sample": "event_type, cpu, ip, cpu_state, callsite, seg_inst, mem_access, thread_state, lbr_head, htm_info, "
                 "cpu_mode",
    "dd_callsite JOIN dd_code_location l ON l.id = code_loc": "parent, mod_seg, rva",
    "dd_segment_instance i JOIN dd_module_segment g ON g.id = mod_seg WHERE g.jit_file IS NULL":
        "mod_seg, address, process, extra",
    "dd_module_segment WHERE jit_file IS NULL": "module, kind, offset, size",
    "dd_jit_region": "process, address, start_tsc, rva",
    "dd_jit_region r JOIN dd_segment_instance i ON i.id = r.seg_inst": "i.mod_seg",
    "dd_segment_instance i JOIN dd_module_segment g ON g.id = mod_seg WHERE g.jit_file IS NOT NULL": "i.mod_seg",
    "dd_module_segment WHERE jit_file IS NOT NULL": "id",
    "dd_jit_file": "name, path, jit_kind",
    "dd_function": "name, module, start",
    "dd_code_name": "mod_seg, rva",
    "dd_module_file": "path, build_id",
    "dd_process": "pid, life, start_tsc",
    "dd_thread": "process, tid",
    "dd_cpu": "number",
    "dd_cpu_mode": "name",
    "dd_event_type": "name, type, config, sample_period, frequency",
    "dd_mem_access": "source",
    "dd_htm_info": "word",
}

# Placeholders that samples lie in, with what they stand for.
PLACEHOLDERS_SQL = """
SELECT DISTINCT s.seg_inst, i.process, s.ip
  FROM dd_sample s JOIN dd_segment_instance i ON i.id = s.seg_inst WHERE nullif(i.mod_seg, -1) IS NULL"""


def duplicated(folder):
    return [table for table, columns in DISTINCT_TABLES.items()
            if result.rows(folder, f"SELECT 1 FROM {table} GROUP BY {columns} HAVING count(*) > 1")]


def row_counts(folder):
    return {table: result.value(folder, f"SELECT count(*) FROM {table}") for table in DISTINCT_TABLES}


def distinct_samples(folder):
    chains = Chains(folder)
    return Counter((*values, tuple((frame.path, frame.rva, frame.function) for frame in chains.frames(callsite)))
                   for callsite, *values in result.rows(folder, DISTINCT_SQL))


def placeholders(folder):
    return result.value(folder, "SELECT count(*) FROM dd_segment_instance WHERE nullif(mod_seg, -1) IS NULL")


def pieces(folder):
    return result.value(folder, "SELECT count(*) FROM dd_jit_region")


def callers_outside(folder):
    """(process, address) of callers in no known module. The end of a chain that is cut off is one too, which looks
    like the address 1 and is another."""
    chains = Chains(folder)
    places = {(sample.process, frame.rva) for sample in chains.samples
              for frame in chains.frames(sample.callsite)[1:] if frame.segment is None}
    return len(places) + sum(address == 1 for _, address in places)


def check_places(test, folder, stacks, loads):
    """A placeholder stands for one address of one process, and the other way about. A place in code has one row, or
    with call stacks on one for each callsite."""
    used = [(row, (process, address)) for row, process, address in result.rows(folder, PLACEHOLDERS_SQL)]
    test.assertEqual(len({row for row, _ in used}), len(used), "a placeholder of several addresses")
    test.assertEqual(len({place for _, place in used}), len(used), "an address with several placeholders")
    # A piece of generated code starts as an unknown address, whose placeholder stays behind.
    expected = len(used) + pieces(folder)
    if stacks == "off":
        test.assertEqual(placeholders(folder), expected)
        test.assertEqual(result.rows(folder, "SELECT 1 FROM dd_code_location GROUP BY mod_seg, rva "
                                             "HAVING count(*) > 1"), [])
        return
    # Nothing tells which address a caller's placeholder was made for, so a later load makes another where that address
    # has a callsite that is new.
    test.assertGreaterEqual(placeholders(folder), expected)
    test.assertLessEqual(placeholders(folder), expected + loads * callers_outside(folder))
    test.assertEqual(result.rows(folder, "SELECT 1 FROM dd_callsite GROUP BY code_loc HAVING count(*) > 1"), [])
    test.assertEqual(result.value(folder, "SELECT count(*) FROM dd_code_location"),
                     result.value(folder, "SELECT count(*) FROM dd_callsite"))


def check_split(test, case, stacks):
    scratch = test.scratch()
    path = case.recording(scratch)
    options = ("--stacks", stacks, "--jit-dir", path.parent)
    first, second = split(Recording(case.load("perf.data")))
    (scratch / "first.data").write_bytes(first)
    (scratch / "second.data").write_bytes(second)
    whole = test.load(path, scratch / "whole", *options)
    parts = test.load(scratch / "first.data", scratch / "parts", *options)
    test.assertLess(len(result.samples(parts)), len(result.samples(whole)))
    test.load(scratch / "second.data", parts, "--append", *options)

    test.assert_same_bag(Counter(result.samples(parts)), Counter(result.samples(whole)), "sample rows")
    test.assert_same_bag(distinct_samples(parts), distinct_samples(whole), "distinct samples")
    test.assertEqual(duplicated(parts), [])
    test.assertEqual(row_counts(parts), row_counts(whole))
    check_places(test, whole, stacks, loads=1)
    check_places(test, parts, stacks, loads=2)
    for key in ("samples_in_input", "sample_rows", "samples_dropped", "state"):
        test.assertEqual(result.info(parts)[key], result.info(whole)[key], key)


@test_per_case(CASES, lambda test, case: check_split(test, case, "off"))
class HalvesGiveTheWhole(SystemTest):
    pass


@test_per_case(CASES, lambda test, case: check_split(test, case, "on"))
class HalvesGiveTheWholeWithStacks(SystemTest):
    pass


class SecondLoad(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        self.recording = kept("forktree-multi").recording(self.folder)

    def refused(self, *options, says):
        before = self.dump()
        self.assert_one_line(command.load(self.recording, self.folder / "r", *options), *says)
        self.assertEqual(self.dump(), before, "a refused load changes nothing")

    def dump(self):
        path = result.database(self.folder / "r")
        return path.read_bytes() if path.exists() else None

    def test_the_same_recording_again_adds_sample_rows_only(self):
        once = self.load(self.recording, self.folder / "once")
        twice = self.load(self.recording, self.folder / "twice")
        self.load(self.recording, twice, "--append")
        self.assertEqual(row_counts(twice), row_counts(once))
        self.assertEqual(placeholders(twice), placeholders(once))
        doubled = Counter(result.samples(once))
        self.assert_same_bag(Counter(result.samples(twice)), doubled + doubled, "sample rows")
        self.assertEqual(result.info(twice)["samples_in_input"], "1016")
        self.assert_whole(twice)

    def test_of_sums_adds_sums(self):
        sums = self.load(self.recording, self.folder / "r", "--store-each-sample", "off")
        self.load(self.recording, sums, "--append", "--store-each-sample", "off")
        self.assertEqual(result.value(sums, "SELECT sum(count) FROM sample_instance WHERE event_type = "
                                            "(SELECT id FROM dd_event_type WHERE name = 'context-switches')"),
                         2 * 107)
        self.assertEqual(duplicated(sums), [])

    def test_keeps_the_names_of_all_inputs(self):
        other = kept("systemwide-multi").recording(self.folder)
        both = self.load(self.recording, self.folder / "both")
        self.load(other, both, "--append")
        told = result.info(both)
        self.assertEqual([told[key] for key in ("loads", "input", "input of load 2")],
                         ["2", str(self.recording), str(other)])
        self.assertNotEqual(told["input_checksum"], told["input_checksum of load 2"])

    def test_of_another_recording_keeps_both(self):
        other = kept("systemwide-multi")
        both = self.load(self.recording, self.folder / "both")
        self.load(other.recording(self.folder), both, "--append")
        alone = [self.load(source, self.folder / name) for source, name in
                 ((self.recording, "a"), (other.recording(self.folder), "b"))]
        want = Counter(result.samples(alone[0])) + Counter(result.samples(alone[1]))
        self.assert_same_bag(Counter(result.samples(both)), want, "sample rows")
        self.assertEqual(duplicated(both), [])

    def test_with_other_call_stacks_is_refused(self):
        self.load(self.recording, self.folder / "r")
        self.refused("--append", "--stacks", "off", says=("--stacks on",))
        other = self.load(self.recording, self.folder / "off", "--stacks", "off")
        self.assert_one_line(command.load(self.recording, other, "--append", "--stacks", "on"), "--stacks off")

    def test_follows_the_call_stacks_of_the_first(self):
        folder = self.load(self.recording, self.folder / "r", "--stacks", "off")
        self.load(self.recording, folder, "--append")
        self.assertEqual(result.info(folder)["stacks"], "off")
        self.assertEqual(result.rows(folder, "SELECT 1 FROM dd_callsite WHERE parent > 0"), [])
        without_chains = kept("systemwide-multi").recording(self.folder)
        folder = self.load(self.recording, self.folder / "on")
        self.load(without_chains, folder, "--append")
        self.assertEqual(result.info(folder)["stacks"], "on")

    def test_with_the_other_way_to_store_is_refused(self):
        self.load(self.recording, self.folder / "r")
        self.refused("--append", "--store-each-sample", "off", says=("--store-each-sample on",))

    def test_without_a_result_is_refused(self):
        self.refused("--append", says=("load a recording first",))
        self.assertFalse((self.folder / "r").exists())

    def test_without_append_is_refused(self):
        self.load(self.recording, self.folder / "r")
        self.refused(says=("there already",))
