"""Generated code of made-up runs, of which all is known: dumps and maps in every condition and in every place."""

import os
import random
from pathlib import Path

from support import command, result
from support.chains import Chains
from support.jit_files import TSC_FLAG, Load, Move, dump, perf_map
from support.perf_writer import Writer, user_chain
from support.testing import SystemTest

PID = 7001
APP, MEMORY, OTHER = 0x400000, 0x7F0000000000, 0x7F0000100000
START = 1_000_000_000_000


class GeneratedCode(SystemTest):
    """A process with a program at APP, byte 0x1000 of its file, and plain memory. Ticks count from START."""

    def setUp(self):
        self.folder = self.scratch()
        self.run_folder = self.folder / "run"
        self.run_folder.mkdir()

    def program(self, pid=PID, **options):
        writer = Writer(**options)
        writer.comm(START, pid, "app", is_exec=True)
        writer.mmap(START, pid, APP, 0x3000, "/usr/bin/app", offset=0x1000)
        writer.mmap(START, pid, MEMORY, 0x200000, "//anon")
        return writer

    def samples(self, writer, places, pid=PID):
        """A sample at each (tick, address), without a caller."""
        for tick, address in places:
            writer.sample(START + tick, pid, address, user_chain(address))

    def load_run(self, writer, *options):
        recording = writer.write(self.run_folder / "perf.data")
        folder = self.folder / f"result{len(list(self.folder.iterdir()))}"
        return self.load(recording, folder, *options)

    def put_dump(self, entries, pid=PID, name=None, flags=0, start=START):
        entries = [entry._replace(time=start + entry.time) for entry in entries]
        path = self.run_folder / (name or f"jit-{pid}.dump")
        path.write_bytes(dump(pid, entries, flags))
        return path

    def put_map(self, lines, folder=None, pid=PID):
        path = (folder or self.run_folder) / f"perf-{pid}.map"
        path.write_bytes(perf_map(lines))
        return path

    def frames(self, folder):
        """Frames by (tick, sampled address)."""
        chains = Chains(folder)
        return {(sample.tick - START, sample.ip): chains.frames(sample.callsite) for sample in chains.samples}

    def functions(self, folder):
        """Functions of the sampled frames."""
        return {key: frames[0].function for key, frames in self.frames(folder).items()}

    def modules(self, folder):
        """(leaf of the module's path, relative address) of the sampled frames."""
        return {key: (frames[0].path and Path(frames[0].path).name, frames[0].rva)
                for key, frames in self.frames(folder).items()}

    def quality(self, folder):
        return result.rows(folder, "SELECT reason, severity FROM quality WHERE reason NOT LIKE 'samples outside%'")

    def assert_told(self, folder, part, severity):
        told = self.quality(folder)
        self.assertTrue(any(part in reason and severity == kind for reason, kind in told), told)


class Times(GeneratedCode):
    def test_code_that_moves_keeps_its_name_and_relative_address(self):
        self.put_dump([Load(100, MEMORY, 0x40, "walker", 1), Move(200, MEMORY, OTHER, 0x40, 1)])
        writer = self.program()
        self.samples(writer, [(50, MEMORY + 4), (150, MEMORY + 4), (150, OTHER + 4), (250, MEMORY + 4),
                              (250, OTHER + 4)])
        folder = self.load_run(writer)
        self.assertEqual(self.functions(folder), {(50, MEMORY + 4): None, (150, MEMORY + 4): "walker",
                                                  (150, OTHER + 4): None, (250, MEMORY + 4): None,
                                                  (250, OTHER + 4): "walker"})
        frames = self.frames(folder)
        self.assertEqual(frames[150, MEMORY + 4][0].rva, frames[250, OTHER + 4][0].rva)
        self.assertEqual(result.rows(folder, "SELECT function, address, start_tsc, end_tsc, size, pid FROM jit_code "
                                             "ORDER BY start_tsc"),
                         [("walker", hex(MEMORY), START + 100, START + 199, 0x40, PID),
                          ("walker", hex(OTHER), START + 200, None, 0x40, PID)])

    def test_an_address_that_is_used_again_changes_its_name_at_that_tick(self):
        self.put_dump([Load(100, MEMORY, 0x40, "first", 1), Load(200, MEMORY + 0x20, 0x40, "second", 2)])
        writer = self.program()
        ticks = (99, 100, 199, 200, 300)
        self.samples(writer, [(tick, MEMORY + at) for tick in ticks for at in (0, 0x20)])
        folder = self.load_run(writer)
        got = self.functions(folder)
        self.assertEqual([got[tick, MEMORY + 0x20] for tick in ticks], [None, "first", "first", "second", "second"])
        self.assertEqual([got[tick, MEMORY] for tick in ticks], [None, "first", "first", None, None],
                         "code that is covered in part is gone")
        self.assertEqual(result.rows(folder, "SELECT function, start_tsc, end_tsc FROM jit_code ORDER BY start_tsc"),
                         [("first", START + 100, START + 199), ("second", START + 200, None)])

    def test_a_function_ends_where_it_ends(self):
        self.put_dump([Load(100, MEMORY, 0x40, "f", 1)])
        writer = self.program()
        self.samples(writer, [(150, MEMORY), (150, MEMORY + 0x3F), (150, MEMORY + 0x40)])
        self.assertEqual(self.functions(self.load_run(writer)),
                         {(150, MEMORY): "f", (150, MEMORY + 0x3F): "f", (150, MEMORY + 0x40): None})

    def test_code_over_a_mapped_file_ends_only_what_it_covers(self):
        self.put_dump([Load(200, APP + 0x1000, 0x100, "patched", 1)])
        writer = self.program()
        addresses = (APP + 0x10, APP + 0xFFF, APP + 0x1000, APP + 0x10FF, APP + 0x1100, APP + 0x2FFF)
        # A mapping ends one tick before the code that is laid over it; nothing is known of that tick.
        self.samples(writer, [(tick, address) for tick in (150, 198, 200, 250) for address in addresses])
        folder = self.load_run(writer)
        functions, modules = self.functions(folder), self.modules(folder)
        for (tick, address), module in modules.items():
            is_covered = APP + 0x1000 <= address < APP + 0x1100 and tick >= 200
            if is_covered:
                self.assertEqual((functions[tick, address], module[0]), ("patched", f"jit-{PID}.dump"))
            else:
                self.assertEqual((functions[tick, address], module), (None, ("app", address - APP + 0x1000)), tick)
        self.assertEqual(len(modules), 24)

    def test_frames_of_callers_are_resolved_by_the_time_of_the_sample(self):
        self.put_dump([Load(100, MEMORY, 0x40, "old", 1), Load(300, MEMORY, 0x40, "new", 2),
                       Load(100, OTHER, 0x40, "leaf", 3)])
        writer = self.program()
        chain = user_chain(OTHER + 8, MEMORY + 8, APP + 0x20, MEMORY + 12)
        writer.sample(START + 200, PID, OTHER + 8, chain)
        writer.sample(START + 400, PID, OTHER + 8, chain)
        frames = self.frames(self.load_run(writer))
        self.assertEqual([frame.function for frame in frames[200, OTHER + 8]], ["leaf", "old", None, "old"])
        self.assertEqual([frame.function for frame in frames[400, OTHER + 8]], ["leaf", "new", None, "new"])
        self.assertEqual(frames[200, OTHER + 8][2].path, "/usr/bin/app")

    def test_entries_may_come_in_any_order(self):
        chance = random.Random(7)
        entries = [Load(100 + 10 * number, MEMORY + 0x20 * chance.randrange(40), 0x40, f"f{number}", number)
                   for number in range(60)]
        places = [(105 + 10 * number, MEMORY + 0x10 * at) for number in range(60) for at in range(0, 84, 3)]
        want = None
        for shuffled in (False, True, True):
            if shuffled:
                chance.shuffle(entries)
            self.put_dump(entries)
            writer = self.program()
            self.samples(writer, places)
            got = self.functions(self.load_run(writer))
            want = want or got
            self.assertEqual(got, want)
        self.assertGreater(len(set(want.values())), 50)


class Damage(GeneratedCode):
    ENTRIES = [Load(100, MEMORY, 0x40, "whole", 1), Load(100, OTHER, 0x40, "cut", 2)]

    def load_damaged(self, spoil):
        path = self.put_dump(self.ENTRIES)
        path.write_bytes(spoil(path.read_bytes()))
        writer = self.program()
        self.samples(writer, [(150, MEMORY), (150, OTHER)])
        return self.load_run(writer)

    def test_a_last_record_that_is_cut_off_is_told_and_the_rest_is_used(self):
        for cut in (1, 0x40, 0x40 + 30, len(b"cut\0") + 0x40 + 48):
            folder = self.load_damaged(lambda content: content[:-cut])
            self.assertEqual(self.functions(folder), {(150, MEMORY): "whole", (150, OTHER): None}, cut)
            self.assert_told(folder, "damage in JIT data", "error")
            self.assertEqual(result.info(folder)["state"], "complete")

    def test_a_dump_of_the_other_byte_order_is_told(self):
        folder = self.load_damaged(lambda content: content[3::-1] + content[4:])
        self.assertEqual(set(self.functions(folder).values()), {None})
        self.assert_told(folder, "other byte order", "error")

    def test_an_empty_dump_explains_nothing(self):
        folder = self.load_damaged(lambda content: b"")
        self.assertEqual(set(self.functions(folder).values()), {None})

    def test_a_header_that_is_cut_off_is_told(self):
        folder = self.load_damaged(lambda content: content[:20])
        self.assertEqual(set(self.functions(folder).values()), {None})
        self.assert_told(folder, "the header is cut off", "error")


class Clocks(GeneratedCode):
    """Times of a dump that cannot be put beside those of the samples do not count: what the dump has at its end is
    there all the time."""

    ENTRIES = [Load(100, MEMORY, 0x40, "old", 1), Load(300, MEMORY, 0x40, "new", 2)]
    IN_TIME = {(50, MEMORY): None, (200, MEMORY): "old", (400, MEMORY): "new"}
    WITHOUT_TIME = {key: "new" for key in IN_TIME}

    def load_with(self, writer):
        self.samples(writer, self.IN_TIME)
        return self.load_run(writer)

    def test_the_monotonic_clock_is_the_dumps(self):
        self.put_dump(self.ENTRIES)
        folder = self.load_with(self.program())
        self.assertEqual(self.functions(folder), self.IN_TIME)
        self.assertEqual(self.quality(folder), [])

    def test_the_kernels_own_clock_is_taken_on_trust_where_the_times_meet(self):
        self.put_dump(self.ENTRIES)
        folder = self.load_with(self.program(clock=None))
        self.assertEqual(self.functions(folder), self.IN_TIME)
        self.assert_told(folder, "not the monotonic clock", "info")

    def test_times_far_from_the_samples_do_not_count(self):
        for clock in (None, 0, 7):
            self.put_dump(self.ENTRIES, start=3 * START)
            folder = self.load_with(self.program(clock=clock))
            self.assertEqual(self.functions(folder), self.WITHOUT_TIME, clock)
            self.assert_told(folder, "not the monotonic clock", "error")

    def test_time_stamps_of_the_processor_without_a_conversion_do_not_count(self):
        for clock in (None, 1):
            self.put_dump(self.ENTRIES, flags=TSC_FLAG)
            folder = self.load_with(self.program(clock=clock))
            self.assertEqual(self.functions(folder), self.WITHOUT_TIME, clock)
            self.assert_told(folder, "time stamps", "error")

    def test_time_stamps_of_the_processor_are_converted(self):
        # Two ticks of the sample for each of the processor: tick = (stamp * 8 >> 2) + zero.
        zero, stamp = START - 2 * 50_000, 50_000
        entries = [entry._replace(time=stamp + entry.time // 2) for entry in self.ENTRIES]
        self.put_dump(entries, flags=TSC_FLAG, start=0)
        writer = self.program(clock=None)
        writer.time_conversion(2, 8, zero)
        folder = self.load_with(writer)
        self.assertEqual(self.functions(folder), self.IN_TIME)
        self.assertEqual(self.quality(folder), [])
        self.assertEqual(result.rows(folder, "SELECT function, start_tsc FROM jit_code ORDER BY 2"),
                         [("old", START + 100), ("new", START + 300)])


class Whereabouts(GeneratedCode):
    LINES = [(MEMORY, 0x40, "of the map")]

    def functions_of(self, *options, pid=PID, writer=None):
        writer = writer or self.program(pid)
        self.samples(writer, [(150, MEMORY)], pid)
        return set(self.functions(self.load_run(writer, *options)).values())

    def other_folder(self, name="elsewhere"):
        path = self.folder / name
        path.mkdir()
        return path

    def test_a_map_beside_the_recording(self):
        self.put_map(self.LINES)
        self.assertEqual(self.functions_of(), {"of the map"})

    def test_a_map_in_a_folder_that_is_named(self):
        other = self.other_folder()
        self.put_map(self.LINES, other)
        self.assertEqual(self.functions_of(), {None})
        self.assertEqual(self.functions_of("--jit-dir", other), {"of the map"})
        self.assertEqual(self.functions_of("--jit-dir", self.folder, "--jit-dir", other), {"of the map"})

    def test_a_map_in_the_shared_folder(self):
        pid = 2_000_000_000 + os.getpid()  # far above what the kernel gives
        path = self.put_map(self.LINES, Path("/tmp"), pid)
        self.addCleanup(path.unlink)
        writer = self.program(pid)
        self.samples(writer, [(150, MEMORY)], pid)
        folder = self.load_run(writer)
        self.assertEqual(set(self.functions(folder).values()), {"of the map"})
        self.assert_told(folder, "taken by its number", "info")

    def test_the_recordings_folder_comes_before_a_named_one(self):
        self.put_map(self.LINES)
        other = self.other_folder()
        self.put_map([(MEMORY, 0x40, "elsewhere")], other)
        self.assertEqual(self.functions_of("--jit-dir", other), {"of the map"})

    def test_the_latest_line_of_a_map_counts(self):
        self.put_map([(MEMORY, 0x40, "early"), (MEMORY - 0x10, 0x20, "late"), (MEMORY + 0x10, 0x40, "beside")])
        self.assertEqual(self.functions_of(), {"late"})

    def test_a_map_beside_a_dump_explains_what_the_dump_does_not(self):
        self.put_dump([Load(200, MEMORY, 0x40, "of the dump", 1)])
        self.put_map([(MEMORY, 0x80, "of the map")])
        writer = self.program()
        self.samples(writer, [(150, MEMORY), (250, MEMORY), (250, MEMORY + 0x50)])
        self.assertEqual(self.functions(self.load_run(writer)),
                         {(150, MEMORY): "of the map", (250, MEMORY): "of the dump",
                          (250, MEMORY + 0x50): "of the map"})

    def test_a_dump_is_found_where_the_recording_shows_it_mapped(self):
        other = self.other_folder()
        self.put_dump([Load(100, MEMORY, 0x40, "mapped", 1)], name=other / "jit-of-a-run.dump")
        writer = self.program()
        writer.mmap(START + 10, PID, 0x7E0000000000, 0x1000, str(other / "jit-of-a-run.dump"))
        self.assertEqual(self.functions_of(writer=writer), {"mapped"})

    def test_a_dump_that_is_mapped_may_have_been_put_beside_the_recording(self):
        self.put_dump([Load(100, MEMORY, 0x40, "beside", 1)], name="jit-of-a-run.dump")
        writer = self.program()
        writer.mmap(START + 10, PID, 0x7E0000000000, 0x1000, "/gone/jit-of-a-run.dump")
        self.assertEqual(self.functions_of(writer=writer), {"beside"})

    def test_a_dump_that_is_mapped_and_gone_is_told(self):
        writer = self.program()
        writer.mmap(START + 10, PID, 0x7E0000000000, 0x1000, "/gone/jit-7001.dump")
        self.samples(writer, [(150, MEMORY)])
        self.assert_told(self.load_run(writer), "jitdump not found: /gone/jit-7001.dump", "error")

    def test_data_of_other_processes_is_left_alone(self):
        self.put_map(self.LINES, pid=PID + 1)
        self.assertEqual(self.functions_of(), {None})


class Options(GeneratedCode):
    def setUp(self):
        super().setUp()
        self.put_dump([Load(100, MEMORY, 0x40, "f", 1)])
        self.writer = self.program()
        self.samples(self.writer, [(150, MEMORY + 4)])

    def test_off_leaves_generated_code_unresolved(self):
        for options in (("--jit", "off"), ("--jit", "off", "--jit-dir", self.run_folder)):
            folder = self.load_run(self.writer, *options)
            frame, = self.frames(folder)[150, MEMORY + 4]
            self.assertEqual((frame.function, frame.path), (None, "//anon"))
            for table in ("dd_jit_region", "dd_jit_file", "dd_function", "dd_code_name"):
                self.assertEqual(result.value(folder, f"SELECT count(*) FROM {table}"), 0, table)

    def test_without_stacks_samples_are_resolved_too(self):
        folder = self.load_run(self.writer, "--stacks", "off")
        self.assertEqual(self.functions(folder), {(150, MEMORY + 4): "f"})

    def test_a_folder_that_is_none_is_refused(self):
        recording = self.writer.write(self.run_folder / "perf.data")
        for wrong in (self.folder / "missing", recording):
            outcome = command.load(recording, self.folder / f"r-{wrong.name}", "--jit-dir", wrong)
            self.assert_one_line(outcome, str(wrong), "--jit-dir")
