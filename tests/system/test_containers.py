"""Processes in containers: their paths, and the files that are found for them."""

import shutil

from support import command, result
from support.chains import Chains
from support.elf_text import file_offset, functions
from support.example import EXAMPLES
from support.perf_writer import Writer, user_chain
from support.testing import SystemTest

WEB, DB, OUTSIDE = 101, 102, 103
START, CODE, PAGE = 1_000_000, 0x400000, 0x1000
INITIAL_PID_NAMESPACE = 4026531836
INSIDE = "/usr/bin/sf-container-program"
PROGRAM, LIBRARY = EXAMPLES / "deeptree", EXAMPLES / "libsfleaf.so"


class InContainers(SystemTest):
    """Two containers that have different files at the same path inside."""

    def setUp(self):
        self.folder = self.scratch()
        self.web = self.root("web", PROGRAM)
        self.db = self.root("db", LIBRARY)
        self.writer = Writer()

    def root(self, name, binary):
        root = self.folder / "store" / name / "merged"
        place = root / INSIDE.lstrip("/")
        place.parent.mkdir(parents=True)
        shutil.copy(binary, place)
        return root

    def process(self, pid, binary, function, path=INSIDE, tick=START):
        """A process that maps a page of a binary under a path, and has a sample in one of its functions."""
        place = file_offset(binary, functions(binary)[function])
        self.writer.comm(tick, pid, "program", is_exec=True)
        self.writer.mmap(tick, pid, CODE, PAGE, path, offset=place // PAGE * PAGE)
        self.sample(pid, binary, function, tick + 10)

    def sample(self, pid, binary, function, tick):
        ip = CODE + file_offset(binary, functions(binary)[function]) % PAGE
        self.writer.sample(tick, pid, ip, user_chain(ip))

    def load_run(self, *options, name="result"):
        recording = self.writer.write(self.folder / "perf.data")
        return self.load(recording, self.folder / name, *options,
                         env={"HOME": str(self.folder)})

    def sampled(self, folder):
        """(pid, path, function) of the sampled frames."""
        chains = Chains(folder)
        frames = {(sample.pid, chains.frames(sample.callsite)[0]) for sample in chains.samples}
        return sorted((pid, frame.path, frame.function) for pid, frame in frames)

    def found(self, folder):
        return dict(result.rows(folder, "SELECT f.path, s.found FROM dd_module_search s "
                                        "JOIN dd_module_file f ON f.id = s.module"))


class GivenByTheUser(InContainers):
    @property
    def options(self):
        return "--container", f"{WEB}=web:{self.web}", "--container", f"{DB}=db:{self.db}"

    def test_the_files_below_the_roots_are_found_and_give_the_names(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        self.process(DB, LIBRARY, "sfleaf_spin")
        folder = self.load_run(*self.options)
        self.assertEqual(self.sampled(folder), [(WEB, f"web:{INSIDE}", "leaf_hot"),
                                                (DB, f"db:{INSIDE}", "sfleaf_spin")])
        self.assertEqual(self.found(folder), {f"web:{INSIDE}": str(self.web) + INSIDE,
                                              f"db:{INSIDE}": str(self.db) + INSIDE})

    def test_a_path_as_the_host_sees_it_becomes_the_inside_one(self):
        self.process(WEB, PROGRAM, "leaf_hot", path=str(self.web) + INSIDE)
        self.process(DB, LIBRARY, "sfleaf_spin", path=str(self.db) + INSIDE)
        self.assertEqual(self.sampled(self.load_run(*self.options)),
                         [(WEB, f"web:{INSIDE}", "leaf_hot"), (DB, f"db:{INSIDE}", "sfleaf_spin")])

    def test_the_tables_name_containers_and_processes(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        folder = self.load_run(*self.options)
        store = str(self.folder / "store")
        self.assertEqual(result.rows(folder, "SELECT p.pid, p.host_root, d.label, d.detail FROM dd_process_in_container p "
                                             "JOIN dd_container_desc d ON d.id = p.container ORDER BY p.pid"),
                         [(WEB, store, "web", f"root {self.web}"), (DB, store, "db", f"root {self.db}")])

    def test_a_child_is_in_its_parents_container(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        self.writer.fork(START + 20, OUTSIDE, WEB)
        self.sample(OUTSIDE, PROGRAM, "leaf_hot", START + 30)
        self.writer.mmap(START + 40, OUTSIDE, 2 * CODE, PAGE, "/usr/lib/late")
        self.writer.sample(START + 50, OUTSIDE, 2 * CODE, user_chain(2 * CODE))
        self.assertEqual(self.sampled(self.load_run(*self.options)),
                         [(WEB, f"web:{INSIDE}", "leaf_hot"), (OUTSIDE, f"web:{INSIDE}", "leaf_hot"),
                          (OUTSIDE, "web:/usr/lib/late", None)])

    def test_other_processes_keep_their_paths(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        self.process(OUTSIDE, PROGRAM, "leaf_hot")
        self.assertEqual(self.sampled(self.load_run(*self.options)),
                         [(WEB, f"web:{INSIDE}", "leaf_hot"), (OUTSIDE, INSIDE, None)])

    def test_added_folders_find_the_file_by_the_end_of_its_path(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        folder = self.load_run("--container", f"{WEB}=web:/sf-no-such-root", "--symbols", self.web)
        self.assertEqual(self.sampled(folder), [(WEB, f"web:{INSIDE}", "leaf_hot")])

    def test_a_process_that_is_not_there_is_told(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        told = result.rows(self.load_run(*self.options), "SELECT count FROM quality WHERE reason LIKE '%--container%'")
        self.assertEqual(told, [(1,)])

    def test_wrong_options_are_wrong_usage(self):
        recording = self.writer.write(self.folder / "perf.data")
        for wrong, part in (("web", "PID=LABEL:ROOT"), ("0=web:/a", "positive"), ("5=:/a", "empty"),
                            ("5=a/b:/a", "LABEL"), ("5=web:a", "absolute")):
            outcome = command.load(recording, self.folder / "none", "--container", wrong)
            self.assertEqual(outcome.code, command.USAGE, wrong)
            self.assertIn(f"--container: {wrong}: ", outcome.err)
            self.assertIn(part, outcome.err.splitlines()[0])
        self.assertFalse((self.folder / "none").exists())

    def test_a_label_of_another_root_is_refused_and_the_result_stays(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        folder = self.load_run(*self.options)
        outcome = command.load(self.folder / "perf.data", folder, "--append", "--container", f"{WEB}=web:{self.db}")
        self.assert_one_line(outcome, str(folder), "web", str(self.web))
        self.assertEqual(result.info(folder)["state"], "complete")

    def test_a_second_load_uses_the_rows_that_are_there(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        folder = self.load_run(*self.options)
        self.load_run(*self.options, "--append")
        for table in ("dd_process_in_container", "dd_container_desc"):
            self.assertEqual(result.value(folder, f"SELECT count(*) FROM {table}"), 2, table)
        self.assertEqual(self.sampled(folder), [(WEB, f"web:{INSIDE}", "leaf_hot")])


class ToldByTheRecording(InContainers):
    def test_a_pid_namespace_of_its_own_gives_a_label_and_no_file(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        self.process(OUTSIDE, PROGRAM, "leaf_hot")
        self.writer.namespaces(0, 1, INITIAL_PID_NAMESPACE, 80)
        self.writer.namespaces(0, WEB, 70, 81)
        self.writer.namespaces(0, OUTSIDE, INITIAL_PID_NAMESPACE, 80)
        folder = self.load_run()
        self.assertEqual(self.sampled(folder), [(WEB, f"pidns-70:{INSIDE}", None), (OUTSIDE, INSIDE, None)])
        self.assertEqual(result.rows(folder, "SELECT label, detail FROM dd_container_desc"),
                         [("pidns-70", "pid namespace 70, mount namespace 81")])

    def test_one_namespace_for_all_changes_nothing(self):
        self.process(WEB, PROGRAM, "leaf_hot")
        self.writer.namespaces(0, WEB, 70, 81)
        folder = self.load_run()
        self.assertEqual(self.sampled(folder), [(WEB, INSIDE, None)])
        self.assertEqual(result.value(folder, "SELECT count(*) FROM dd_process_in_container"), 0)
