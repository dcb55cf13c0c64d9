"""The tool hwsamp: its platform lines and event files, as a reader of them sees them."""

import os
import re
import subprocess
import unittest
from pathlib import Path

from support.testing import SystemTest

HWSAMP = os.environ["SAMPLEFOLD_HWSAMP"]
DONE, FAILED, USAGE = 0, 1, 2

PLATFORM = re.compile(r"Platform: (\d*), PMU: (\w*), Signature: (0x[0-9a-f]*), CPU name: (.*)")


def run(*arguments, tool=HWSAMP, **settings):
    return subprocess.run([tool, *map(str, arguments)], capture_output=True, text=True, timeout=60, check=False,
                          stdin=subprocess.DEVNULL, **settings)


def cpuinfo():
    """What the kernel tells of the first processor."""
    text = Path("/proc/cpuinfo").read_text(encoding="utf-8").split("\n\n")[0]
    return {key.strip(): value.strip() for key, value in (line.split(":", 1) for line in text.splitlines())}


class ToolTest(SystemTest):
    def setUp(self):
        self.folder = self.scratch()

    def file(self, name, text):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return path

    def refused(self, code, *arguments):
        """The one line that the tool says."""
        done = run(*arguments)
        self.assertEqual((done.returncode, done.stdout), (code, ""), done)
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertTrue(done.stderr.startswith("hwsamp: "), done.stderr)
        return done.stderr.removeprefix("hwsamp: ").rstrip("\n")


class Platforms(ToolTest):
    def platforms(self, *arguments, errors="", **settings):
        done = run("-pl", *arguments, **settings)
        self.assertEqual((done.returncode, done.stderr), (DONE, errors))
        lines = done.stdout.splitlines()
        matches = [PLATFORM.fullmatch(line) for line in lines]
        self.assertNotIn(None, matches, lines)
        return [(int(match[1]), match[2], int(match[3], 16), match[4]) for match in matches]

    def test_the_running_processor_comes_last_as_the_kernel_knows_it(self):
        number, pmu, signature, name = self.platforms()[-1]
        known = cpuinfo()
        family = (signature >> 8 & 0xF) + ((signature >> 20 & 0xFF) if signature >> 8 & 0xF == 0xF else 0)
        self.assertEqual(number, 0)
        self.assertEqual((family, signature >> 4 & 0xF | signature >> 12 & 0xF0, name),
                         (int(known["cpu family"]), int(known["model"]), known["model name"]))
        kernels = Path("/sys/bus/event_source/devices/cpu/caps/pmu_name")
        if kernels.exists():
            self.assertEqual(pmu, re.sub(r"\W", "_", kernels.read_text(encoding="utf-8").strip()))

    def test_the_file_beside_the_tool_is_printed(self):
        beside = (Path(HWSAMP).parent / "hwsamp.platforms").read_text(encoding="utf-8")
        entries = [line.split(None, 2) for line in beside.splitlines() if line and not line.startswith("#")]
        self.assertGreater(len(entries), 10)
        self.assertEqual(self.platforms()[:-1], [(number, pmu, int(signature, 16), name) for number, (signature, pmu, name)
                                                 in enumerate(entries, start=1)])

    def test_a_chosen_file_takes_its_place(self):
        chosen = self.file("p", "# ours\n0x12340 our_pmu Our CPU (R) @ 3 GHz\n")
        self.assertEqual(self.platforms("--platforms", chosen)[:-1], [(1, "our_pmu", 0x12340, "Our CPU (R) @ 3 GHz")])

    def test_a_bad_line_is_told_and_the_others_are_printed(self):
        chosen = self.file("p", "0x1 a b\n\nbad line here\n0x2 c d\n")
        platforms = self.platforms("--platforms", chosen, errors=f"hwsamp: {chosen}:3: the line must begin with a "
                                   "signature such as 0x50657; the line is left out\n")
        self.assertEqual([pmu for _, pmu, _, _ in platforms[:-1]], ["a", "c"])

    def test_a_chosen_file_that_is_missing_is_a_failure(self):
        self.assertEqual(self.refused(FAILED, "-pl", "--platforms", "/no/such/file"),
                         "/no/such/file: there is no such file")

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([HWSAMP, "-pl"], stdout=full, stderr=subprocess.PIPE, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (FAILED, "hwsamp: standard output cannot be written\n"))


class Events(ToolTest):
    def written(self, *arguments):
        """Groups by section, of the file that the tool writes."""
        done = run("-events", self.folder, *arguments)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (DONE, "", ""))
        sections = {}
        for line in (self.folder / "hwsamp.events").read_text(encoding="utf-8").splitlines():
            if line.startswith("PMU type: "):
                groups = sections.setdefault(line.removeprefix("PMU type: "), [])
            elif not line.startswith("#"):
                self.assertEqual(line.split(":")[0], f"Group {len(groups)}")
                groups.append(line.split(": ", 1)[1].split(", "))
        return sections

    def core(self, sections):
        names = [name for name in sections if name.startswith("Core ")]
        self.assertEqual(len(names), 1, sections)
        return sections[names[0]]

    def test_every_event_is_in_one_group_in_the_order_given(self):
        events = [f"r{code:02x}a3" for code in range(1, 60)]
        groups = self.core(self.written(",".join(events)))
        self.assertEqual([event for group in groups for event in group], events)
        self.assertGreater(len(groups), 1, "no core has 59 counters")
        self.assertEqual({len(group) for group in groups[:-1]}, {len(groups[0])}, "all but the last are full")

    def test_software_and_other_units_have_sections_of_their_own(self):
        sections = self.written("cycles,cpu-clock", "uncore_imc_0/event=4,umask=3/")
        self.assertEqual(self.core(sections), [["cycles"]])
        self.assertEqual(sections["Software"], [["cpu-clock"]])
        self.assertEqual(sections["uncore_imc_0"], [["uncore_imc_0/event=4,umask=3/"]])

    def test_events_come_from_files_too(self):
        listed = self.file("list", "# ours\ncycles\n{instructions,branches}\n")
        groups = self.core(self.written("--event-list", listed, "cache-misses"))
        self.assertEqual([event for group in groups for event in group],
                         ["cycles", "instructions", "branches", "cache-misses"])

    def test_an_unknown_event_is_named_and_nothing_is_written(self):
        self.assertTrue(self.refused(FAILED, "-events", self.folder, "cycles,NO_SUCH").startswith("NO_SUCH: "))
        self.assertEqual(os.listdir(self.folder), [])

    def test_a_folder_that_is_missing_is_named(self):
        missing = self.folder / "none"
        self.assertEqual(self.refused(FAILED, "-events", missing, "cycles"), f"{missing}: there is no such folder")

    def test_a_list_that_makes_no_sense_is_wrong_usage(self):
        self.assertEqual(self.refused(USAGE, "-events", self.folder, "{a"), "{a: a brace is not closed")

    def test_a_newline_in_an_event_forges_no_line(self):
        self.assertEqual(self.refused(USAGE, "-events", self.folder, "cpu/a\nGroup 7: x/"),
                         "cpu/a\\x0aGroup 7: x/: a control character stands in an event")
        self.assertEqual(os.listdir(self.folder), [])

    def test_control_characters_of_names_do_not_reach_the_terminal(self):
        self.assertEqual(self.refused(FAILED, "-events", self.folder / "\x1b[2J\n", "cycles"),
                         f"{self.folder}/\\x1b[2J\\x0a: there is no such folder")


class Usage(ToolTest):
    def test_help_names_every_option_and_exit_status(self):
        done = run("--help")
        self.assertEqual((done.returncode, done.stderr), (DONE, ""))
        for word in ("-pl", "-events DIR", "--event-list", "--platforms", "--version", "Exit status: 0"):
            self.assertIn(word, done.stdout)

    def test_without_a_task_the_usage_is_wrong(self):
        self.assertEqual(self.refused(USAGE), "give -pl or -events; --help tells more")

    def test_an_unknown_option_is_wrong_usage(self):
        self.assertEqual(self.refused(USAGE, "-what"), "-what: there is no such option")


if __name__ == "__main__":
    unittest.main()
