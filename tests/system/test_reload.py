"""Two loads into one result: what the second finds there already is used again."""

import sqlite3
from collections import Counter

from support import command, result
from support.cases import kept
from support.perf_bytes import Recording, split
from support.testing import SystemTest, test_per_case

CASES = [kept(name) for name in ("forktree-multi", "forktree-sideband", "systemwide-multi", "deeptree-regs",
                                 "deeptree-buildid-mmap", "deeptree-plain-period")]

# Every column of dd_sample by what its key stands for.
DISTINCT_SQL = """
SELECT e.name, e.type, e.config, c.number, m.name, s.ip, f.path, f.build_id, g.offset, g.size, l.rva,
       i.address, i.extra, q.pid, q.life, a.source, a.operation, h.word
  FROM dd_sample s
  JOIN dd_event_type e ON e.id = s.event_type
  JOIN dd_callsite k ON k.id = s.callsite
  JOIN dd_code_location l ON l.id = k.code_loc
  LEFT JOIN dd_module_segment g ON g.id = l.mod_seg
  LEFT JOIN dd_module_file f ON f.id = g.module
  LEFT JOIN dd_segment_instance i ON i.id = s.seg_inst
  LEFT JOIN dd_process q ON q.id = i.process
  LEFT JOIN dd_cpu c ON c.id = s.cpu
  LEFT JOIN dd_cpu_mode m ON m.id = s.cpu_mode
  LEFT JOIN dd_mem_access a ON a.id = s.mem_access
  LEFT JOIN dd_htm_info h ON h.id = s.htm_info"""

# Tables of distinct things, each with the columns that tell its rows apart.
DISTINCT_TABLES = {
    "dd_sample": "event_type, cpu, ip, cpu_state, callsite, seg_inst, mem_access, thread_state, lbr_head, htm_info, "
                 "cpu_mode",
    "dd_code_location": "rva, mod_seg",
    "dd_callsite": "parent, code_loc",
    "dd_segment_instance": "mod_seg, address, process, extra",
    "dd_module_segment": "module, kind, offset, size",
    "dd_module_file": "path, build_id",
    "dd_process": "pid, life, start_tsc",
    "dd_thread": "process, tid",
    "dd_cpu": "number",
    "dd_cpu_mode": "name",
    "dd_event_type": "name, type, config, sample_period, frequency",
    "dd_mem_access": "source",
    "dd_htm_info": "word",
}


def duplicated(folder):
    return [table for table, columns in DISTINCT_TABLES.items()
            if result.rows(folder, f"SELECT 1 FROM {table} GROUP BY {columns} HAVING count(*) > 1")]


def row_counts(folder):
    return {table: result.value(folder, f"SELECT count(*) FROM {table}") for table in DISTINCT_TABLES}


def check_split(test, case):
    scratch = test.scratch()
    first, second = split(Recording(case.load("perf.data")))
    (scratch / "first.data").write_bytes(first)
    (scratch / "second.data").write_bytes(second)
    whole = test.load(case.recording(scratch), scratch / "whole")
    parts = test.load(scratch / "first.data", scratch / "parts")
    test.assertLess(len(result.samples(parts)), len(result.samples(whole)))
    test.load(scratch / "second.data", parts, "--append")

    test.assert_same_bag(Counter(result.samples(parts)), Counter(result.samples(whole)), "sample rows")
    test.assert_same_bag(Counter(result.rows(parts, DISTINCT_SQL)), Counter(result.rows(whole, DISTINCT_SQL)),
                         "distinct samples")
    test.assertEqual(duplicated(parts), [])
    test.assertEqual(row_counts(parts), row_counts(whole))
    for key in ("samples_in_input", "sample_rows", "samples_dropped", "state"):
        test.assertEqual(result.info(parts)[key], result.info(whole)[key], key)


@test_per_case(CASES, check_split)
class HalvesGiveTheWhole(SystemTest):
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

    def change_info(self, key, value):
        connection = sqlite3.connect(result.database(self.folder / "r"))
        connection.execute("UPDATE dd_load_info SET value = ? WHERE key = ?", (value, key))
        connection.commit()
        connection.close()

    def test_the_same_recording_again_adds_sample_rows_only(self):
        once = self.load(self.recording, self.folder / "once")
        twice = self.load(self.recording, self.folder / "twice")
        self.load(self.recording, twice, "--append")
        self.assertEqual(row_counts(twice), row_counts(once))
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
        self.change_info("stacks", "full")
        self.refused("--append", says=("call stacks full",))

    def test_with_the_other_way_to_store_is_refused(self):
        self.load(self.recording, self.folder / "r")
        self.refused("--append", "--store-each-sample", "off", says=("--store-each-sample on",))

    def test_without_a_result_is_refused(self):
        self.refused("--append", says=("load a recording first",))
        self.assertFalse((self.folder / "r").exists())

    def test_without_append_is_refused(self):
        self.load(self.recording, self.folder / "r")
        self.refused(says=("there already",))
