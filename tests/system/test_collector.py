"""What a result keeps of the recorder's command line, the processor, and the groups of events."""

import shutil

from support import command, result
from support.cases import kept
from support.testing import SystemTest

CASE = kept("forktree-multi")


class Collector(SystemTest):
    def setUp(self):
        self.folder = self.scratch()
        self.recording = self.folder / "in.data"
        shutil.copy(CASE.recording(self.folder), self.recording)

    def loaded(self, *options):
        return self.load(self.recording, self.folder / "r", *options)

    def arguments(self, folder):
        return result.rows(folder, "SELECT load, position, argument FROM dd_collector_argument ORDER BY load, position")

    def groups(self, folder):
        return result.rows(folder, "SELECT kind, value FROM dd_context_value WHERE name = 'muxGroupCount'")

    def test_the_recorded_arguments_are_kept_one_by_one(self):
        folder = self.loaded()
        arguments = [argument for _, _, argument in self.arguments(folder)]
        self.assertEqual(" ".join(arguments), result.info(folder)["command_line"])
        self.assertIn("record", arguments)
        self.assertEqual([position for _, position, _ in self.arguments(folder)], list(range(len(arguments))))

    def test_a_given_line_is_split_and_each_load_has_its_own(self):
        folder = self.loaded("--collector-cmdline", "collect -o 'my result' -- app")
        self.load(self.recording, folder, "--append", "--collector-cmdline", r"C:\c.exe \"a b\"")
        self.assertEqual(self.arguments(folder), [
            (1, 0, "collect"), (1, 1, "-o"), (1, 2, "my result"), (1, 3, "--"), (1, 4, "app"),
            (2, 0, r"C:\c.exe"), (2, 1, '"a'), (2, 2, 'b"')])
        self.assertEqual(result.info(folder)["command_line of load 2"], r"C:\c.exe \"a b\"")

    def test_family_model_and_stepping_are_those_of_the_recorded_identity(self):
        info = result.info(self.loaded())
        identity = [info["cpu_family"], info["cpu_model"], info["cpu_stepping"]]
        self.assertEqual(info["cpu_id"].split(",")[1:], identity)

    def test_groups_of_events_are_counted_where_the_collector_left_its_file(self):
        (self.folder / "hwsamp.events").write_text("PMU type: Core x\nGroup 0: a\nGroup 4: b\nPMU type: Uncore\nGroup 9: c\n")
        self.assertEqual(self.groups(self.loaded()), [("s32", "5")])

    def test_without_that_file_there_is_no_count(self):
        self.assertEqual(self.groups(self.loaded()), [])

    def test_something_else_of_its_name_is_left_alone(self):
        (self.folder / "hwsamp.events").mkdir()
        folder = self.loaded()
        self.assertEqual(self.groups(folder), [])
        self.assertEqual(result.rows(folder, "SELECT * FROM quality WHERE reason LIKE '%groups%'"), [])
