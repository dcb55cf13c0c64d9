"""Call stacks of made-up runs, of which all is known: chains that come again, long and odd ones, lives of a process."""

from collections import Counter

from support import result
from support.chains import Chains
from support.jit_files import Load, dump
from support.perf_records import KERNEL_MARKER, USER_MARKER
from support.perf_writer import (GUEST_KERNEL, GUEST_MARKER, GUEST_USER, GUEST_USER_MARKER, HYPERVISOR, KERNEL, USER,
                                 Writer, kernel_chain, user_chain)
from support.testing import SystemTest

PID = 7002
APP, LIBRARY, MEMORY, KERNEL_TEXT = 0x400000, 0x7F1000000000, 0x7F0000000000, 0xFFFFFFFF81000000
KERNEL_CODE = KERNEL_TEXT + 0x1234
NOWHERE = 0x123456789
START, PERIOD = 1_000_000_000_000, 1_000_000
USUAL_MAX_STACK, END_MARK = 127, 1

# What a second load may add to, or tell anew.
LOAD_TABLES = {"dd_load_info", "dd_quality", "cpu_running_data_t", "sample_instance"}


def program(writer=None):
    writer = writer or Writer()
    writer.mmap(0, -1, KERNEL_TEXT, 0x1000000, "[kernel.kallsyms]_text", offset=KERNEL_TEXT)
    writer.comm(START, PID, "app", is_exec=True)
    writer.mmap(START, PID, APP, 0x10000, "/usr/bin/app", offset=0x1000)
    writer.mmap(START, PID, LIBRARY, 0x10000, "/usr/lib/library.so")
    writer.mmap(START, PID, MEMORY, 0x10000, "//anon")
    return writer


RECURSION = [APP + 0x100 + 16 * (number % 3) for number in range(100)]

# (mode, sampled address, chain): all kinds of frames that a chain can have.
KINDS = [
    (USER, APP + 1, user_chain(APP + 1)),
    (USER, APP + 1, ()),
    (USER, MEMORY + 0x10, user_chain(MEMORY + 0x10, APP + 2, MEMORY + 0x50, LIBRARY + 8)),
    (USER, MEMORY + 0x14, user_chain(MEMORY + 0x14, APP + 2)),
    (USER, NOWHERE, user_chain(NOWHERE, APP + 3, NOWHERE + 1, NOWHERE)),
    (USER, LIBRARY, user_chain(LIBRARY, *RECURSION)),
    (KERNEL, KERNEL_CODE, kernel_chain([KERNEL_CODE, KERNEL_CODE + 9], [APP + 4, LIBRARY + 4])),
    (KERNEL, 0xFFFFFFFFC0000000, kernel_chain([0xFFFFFFFFC0000000, KERNEL_CODE], [NOWHERE + 2])),
    (GUEST_KERNEL, KERNEL_CODE, (GUEST_MARKER, KERNEL_CODE, KERNEL_CODE + 1, GUEST_USER_MARKER, APP + 1)),
    (GUEST_USER, APP + 9, (GUEST_USER_MARKER, APP + 9, APP + 8)),
    (HYPERVISOR, 0x77, (0x77,)),
    (USER, 0, user_chain(0, APP + 5, 0)),
    (USER, APP + 6, user_chain(APP + 6, 0, 0, 1, 2, 3)),
    (USER, APP + 7, user_chain(APP + 6, APP + 5)),
    (KERNEL, KERNEL_CODE + 2, user_chain(APP + 6, APP + 5)),
    (USER, LIBRARY + 1, user_chain(LIBRARY + 1, *range(LIBRARY + 0x100, LIBRARY + 0x100 + 126))),
]


def add_samples(writer, first, times):
    for number in range(first, first + times):
        for at, (mode, ip, chain) in enumerate(KINDS):
            writer.sample(START + 1000 + PERIOD * number + 10 * at, PID, ip, chain, mode)


def row_counts(folder):
    tables = [name for name, in result.rows(folder, "SELECT name FROM sqlite_master WHERE type = 'table'")
              if not name.startswith("sqlite_")]
    return {table: result.value(folder, f'SELECT count(*) FROM "{table}"') for table in tables
            if table not in LOAD_TABLES}


class Repetition(SystemTest):
    """The same chains again add instances and nothing else."""

    def setUp(self):
        self.folder = self.scratch()
        entries = [Load(START + 10, MEMORY, 0x30, "here", 1), Load(START + 10, MEMORY + 0x40, 0x30, "there", 2)]
        (self.folder / f"jit-{PID}.dump").write_bytes(dump(PID, entries))

    def write(self, name, first, times):
        writer = program()
        add_samples(writer, first, times)
        return writer.write(self.folder / name)

    def check_repeated(self, stacks):
        once = self.load(self.write("once", 0, 1), self.folder / "r1", "--stacks", stacks)
        tenfold = self.load(self.write("tenfold", 0, 10), self.folder / "r10", "--stacks", stacks)
        self.assertEqual(row_counts(tenfold), row_counts(once))
        self.assertEqual(result.value(tenfold, "SELECT count(*) FROM sample_instance"), 10 * len(KINDS))
        functions = result.value(once, "SELECT count(DISTINCT function) FROM jit_code")
        self.assertEqual(functions, 2 if stacks == "on" else 1)
        return once

    def check_appended(self, stacks):
        once = self.load(self.write("once", 0, 1), self.folder / "r1", "--stacks", stacks)
        before = row_counts(once)
        for number in range(9):
            self.load(self.folder / "once", once, "--append", "--stacks", stacks)
            self.assertEqual(row_counts(once), before, number)
        self.assertEqual(result.value(once, "SELECT count(*) FROM sample_instance"), 10 * len(KINDS))
        self.assert_whole(once)
        return once

    def test_within_a_recording(self):
        self.check_repeated("on")

    def test_within_a_recording_without_stacks(self):
        self.check_repeated("off")

    def test_of_loads(self):
        folder = self.check_appended("on")
        by_kind = Counter((sample.ip, sample.callsite) for sample in Chains(folder).samples)
        self.assertEqual(len(by_kind), len(KINDS) - 1)

    def test_of_loads_without_stacks(self):
        self.check_appended("off")

    def test_of_parts_of_a_run(self):
        """Appended are the same chains at later times."""
        whole = self.load(self.write("whole", 0, 10), self.folder / "whole-result")
        parts = self.load(self.write("part", 0, 1), self.folder / "parts-result")
        for number in range(1, 10):
            self.load(self.write("part", number, 1), parts, "--append")
        self.assertEqual(row_counts(parts), row_counts(whole))

    def test_gives_each_kind_its_callsite(self):
        folder = self.load(self.write("in", 0, 10), self.folder / "r")
        counts = Counter((sample.ip, sample.callsite) for sample in Chains(folder).samples)
        # The first two are the same chain.
        self.assertEqual(sorted(counts.values()), [10] * (len(KINDS) - 2) + [20])


class Shape(SystemTest):
    def load_chains(self, samples, **options):
        """Frames by tick of (mode, sampled address, chain)."""
        folder = self.scratch()
        writer = program(Writer(**options))
        for number, (mode, ip, chain) in enumerate(samples):
            writer.sample(START + 1000 + number, PID, ip, chain, mode)
        chains = Chains(self.load(writer.write(folder / "perf.data"), folder / "r"))
        self.result = folder / "r"
        return [chains.frames(sample.callsite)
                for sample in sorted(chains.samples, key=lambda sample: sample.tick)]

    def places(self, frames):
        return [(frame.path, frame.rva) for frame in frames]

    def test_the_parents_of_a_sampled_frame_are_its_callers(self):
        frames, = self.load_chains([(KERNEL, KERNEL_CODE, kernel_chain([KERNEL_CODE, KERNEL_CODE + 9],
                                                                       [APP + 4, NOWHERE, LIBRARY + 4]))])
        self.assertEqual(self.places(frames), [
            ("[kernel.kallsyms]", KERNEL_CODE), ("[kernel.kallsyms]", KERNEL_CODE + 9),
            ("/usr/bin/app", 0x1004), (None, NOWHERE), ("/usr/lib/library.so", 4)])
        self.assertEqual([frame.marked for frame in frames], [True, False, False, False, False])

    def test_the_precise_address_stands_for_the_first_of_the_chain(self):
        late, kernel, left_out = self.load_chains([
            (USER, APP + 7, user_chain(APP + 0xB, LIBRARY + 5)),
            (KERNEL, KERNEL_CODE, kernel_chain([KERNEL_CODE + 4, KERNEL_CODE + 9], [APP + 1])),
            (KERNEL, KERNEL_CODE, user_chain(APP + 1, LIBRARY + 5))])
        self.assertEqual(self.places(late), [("/usr/bin/app", 0x1007), ("/usr/lib/library.so", 5)])
        self.assertEqual([frame.rva for frame in kernel], [KERNEL_CODE, KERNEL_CODE + 9, 0x1001])
        self.assertEqual([frame.rva for frame in left_out], [KERNEL_CODE, 0x1001, 5],
                         "a chain without the kernel's part is the callers'")

    def test_a_marker_says_whose_addresses_follow(self):
        guest, guest_user, back = self.load_chains([
            (GUEST_KERNEL, KERNEL_CODE, (GUEST_MARKER, KERNEL_CODE, KERNEL_CODE + 1)),
            (GUEST_USER, APP + 9, (GUEST_USER_MARKER, APP + 9, APP + 8)),
            (USER, APP + 1, (USER_MARKER, APP + 1, GUEST_USER_MARKER, APP + 2, KERNEL_MARKER, KERNEL_CODE,
                             USER_MARKER, LIBRARY))])
        self.assertEqual(self.places(guest), [(None, KERNEL_CODE), (None, KERNEL_CODE + 1)])
        self.assertEqual(self.places(guest_user), [(None, APP + 9), (None, APP + 8)])
        self.assertEqual(self.places(back), [("/usr/bin/app", 0x1001), (None, APP + 2),
                                             ("[kernel.kallsyms]", KERNEL_CODE), ("/usr/lib/library.so", 0)])

    def test_a_sample_without_a_chain_is_its_own(self):
        frames, only_markers = self.load_chains([(USER, APP + 1, ()), (USER, APP + 2, (KERNEL_MARKER, USER_MARKER))])
        self.assertEqual(self.places(frames), [("/usr/bin/app", 0x1001)])
        self.assertEqual(self.places(only_markers), [("/usr/bin/app", 0x1002)])

    def test_a_chain_as_long_as_allowed_ends_in_a_mark(self):
        for max_stack in (0, 1, 5, 127, 300):
            allowed = max_stack or USUAL_MAX_STACK
            lengths = [length for length in (allowed - 1, allowed, allowed + 1) if length > 0]
            chains = self.load_chains([(USER, LIBRARY, user_chain(*range(LIBRARY, LIBRARY + length)))
                                       for length in lengths], max_stack=max_stack)
            for length, frames in zip(lengths, chains):
                want = [("/usr/lib/library.so", at) for at in range(length)]
                mark = [(None, END_MARK)] if length >= allowed else []
                self.assertEqual(self.places(frames), want + mark, (max_stack, length))
            cut_off = sum(length >= allowed for length in lengths)
            told = result.rows(self.result, "SELECT count FROM quality WHERE reason LIKE 'call chains longer%'")
            self.assertEqual(told, [(cut_off,)])

    def test_markers_do_not_count_as_frames(self):
        chain = kernel_chain([KERNEL_CODE, KERNEL_CODE + 1], [APP + 1, APP + 2])
        frames, = self.load_chains([(KERNEL, KERNEL_CODE, chain)], max_stack=5)
        self.assertEqual([frame.rva for frame in frames], [KERNEL_CODE, KERNEL_CODE + 1, 0x1001, 0x1002])

    def test_recordings_without_chains_are_loaded_without_stacks(self):
        frames, = self.load_chains([(USER, APP + 1, ())], chains=False)
        self.assertEqual(self.places(frames), [("/usr/bin/app", 0x1001)])
        self.assertEqual(result.info(self.result)["stacks"], "off")


class Lives(SystemTest):
    """A process id that is used again: every life has its own mappings."""

    PARENT = 7100

    def test_frames_are_resolved_by_the_life_of_the_sample(self):
        folder = self.scratch()
        writer = Writer()
        writer.comm(START, self.PARENT, "parent", is_exec=True)
        writer.mmap(START, self.PARENT, LIBRARY, 0x10000, "/usr/lib/inherited.so")
        expected = []
        for life, path in enumerate(("/usr/bin/one", "/usr/bin/two", "/usr/bin/three")):
            begin = START + 1000 * (life + 1)
            writer.fork(begin, PID, self.PARENT)
            writer.sample(begin + 10, PID, LIBRARY + 4, user_chain(LIBRARY + 4, APP + 4))
            expected.append((begin + 10, life, ["/usr/lib/inherited.so", None]))
            writer.comm(begin + 20, PID, path[-3:], is_exec=True)
            writer.mmap(begin + 30, PID, APP + 0x1000 * life, 0x4000, path, offset=0x2000)
            writer.sample(begin + 40, PID, APP + 0x3000, user_chain(APP + 0x3000, APP + 0x3001, LIBRARY + 4))
            expected.append((begin + 40, life, [path, path, None]))
            writer.exit(begin + 50, PID, self.PARENT)
        chains = Chains(self.load(writer.write(folder / "perf.data"), folder / "r"))
        lives = dict(result.rows(folder / "r", "SELECT id, life FROM dd_process"))
        samples = sorted(chains.samples, key=lambda sample: sample.tick)
        got = [(sample.tick, lives[sample.process], [frame.path for frame in chains.frames(sample.callsite)])
               for sample in samples]
        self.assertEqual(got, expected)
        self.assertEqual([chains.frames(sample.callsite)[0].rva for sample in samples],
                         [4, 0x5000, 4, 0x4000, 4, 0x3000])
        owners = result.rows(folder / "r", """
            SELECT DISTINCT s.id FROM dd_sample s JOIN dd_segment_instance g ON g.id = s.seg_inst
              JOIN sample_instance i ON i.sample = s.id JOIN dd_thread t ON t.id = i.thread
             WHERE g.process <> t.process""")
        self.assertEqual(owners, [], "a sample in a mapping of another life")
