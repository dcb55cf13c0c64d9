"""The topology of machines: against lspci on the same dump, and against one that was written by hand."""

import contextlib
import json
import re
import shutil
import sqlite3
import subprocess
import unittest

from support import command, result
from support.cases import kept
from support.pci_dump import BRIDGE, HOST, NETWORK, STORAGE, SYSTEM, Function, dump
from support.testing import MEMORY, SystemTest

INTEL, SAMSUNG = 0x8086, 0x144D

# Two packages. On the first a network card of two functions behind a root port of unit 2, and a disk behind a switch
# of unit 1; on the second a disk in unit 2. Unit 0 of each has the chipset's own devices.
MACHINE = [
    Function("0000:00:00.0", INTEL, 0x2020, HOST),
    Function("0000:00:04.0", INTEL, 0x2021, SYSTEM),
    Function("0000:17:00.0", INTEL, 0x2030, BRIDGE).bridge(0x17, 0x18, 0x1A).link(3, 16, 3, 4),
    Function("0000:18:00.0", 0x10B5, 0x8747, BRIDGE).bridge(0x18, 0x19, 0x1A).link(3, 16, 3, 4),
    Function("0000:19:08.0", 0x10B5, 0x8747, BRIDGE).bridge(0x19, 0x1A, 0x1A).link(3, 4, 3, 4),
    Function("0000:1a:00.0", SAMSUNG, 0xA804, STORAGE).link(3, 4, 3, 4),
    Function("0000:3a:02.0", INTEL, 0x2032, BRIDGE).bridge(0x3A, 0x3B, 0x3C).link(3, 8, 2, 8),
    Function("0000:3b:00.0", INTEL, 0x1572, NETWORK).link(3, 8, 2, 8),
    Function("0000:3b:00.1", INTEL, 0x1572, NETWORK).link(3, 8, 2, 8),
    Function("0000:80:04.0", INTEL, 0x2021, SYSTEM),
    Function("0000:d7:03.0", INTEL, 0x2033, BRIDGE).bridge(0xD7, 0xD8, 0xD8).link(4, 4, 4, 4),
    Function("0000:d8:00.0", SAMSUNG, 0xA80A, STORAGE).link(4, 4, 4, 4),
]
STACKS = {("uncore_iio_0", "die0"): "0000:00", ("uncore_iio_0", "die1"): "0000:80",
          ("uncore_iio_1", "die0"): "0000:17", ("uncore_iio_2", "die0"): "0000:3a",
          ("uncore_iio_2", "die1"): "0000:d7"}
MESH_STOPS = "# package unit tid\n0 1 0x1f\n0 2 9\n1 2 9\n"

# package: unit: (mesh stop, channel: addresses)
EXPECTED = {
    "package_0": {0: (None, {0: ["0000:00:00.0"], 4: ["0000:00:04.0"]}),
                  1: (31, {0: ["0000:17:00.0", "0000:18:00.0", "0000:19:08.0", "0000:1a:00.0"]}),
                  2: (9, {2: ["0000:3a:02.0", "0000:3b:00.0", "0000:3b:00.1"]})},
    "package_1": {0: (None, {4: ["0000:80:04.0"]}),
                  2: (9, {3: ["0000:d7:03.0", "0000:d8:00.0"]})},
}


class MachineTest(SystemTest):
    def setUp(self):
        self.folder = self.scratch(MEMORY)
        self.result = self.folder / "r"
        self.dump = self.folder / "machine.txt"
        self.dump.write_text(dump(MACHINE))
        case = kept("deeptree-fp")
        self.load(case.recording(self.folder), self.result, "--names", "off")

    def sysfs(self):
        for (unit, die), bus in STACKS.items():
            path = self.folder / "root" / "sys" / "devices" / unit / die
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(bus + "\n")
        return self.folder / "root"

    def stops(self, text=MESH_STOPS):
        path = self.folder / "stops"
        path.write_text(text)
        return path

    def topology(self, *options):
        return command.run("topology", self.result, *options)

    def tree(self, *options):
        outcome = self.topology("--json", *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return json.loads(outcome.out)["packages"]


class Machines(MachineTest):
    def test_a_machine_has_the_topology_that_was_written_by_hand(self):
        tree = self.tree("--from-dump", self.dump, "--sysfs-root", self.sysfs(), "--mesh-stops", self.stops())
        got = {package["name"]: {unit["unit"]: (unit["mesh_stop"], {
            channel["channel"]: [device["address"] for device in channel["devices"]]
            for channel in unit["channels"]}) for unit in package["units"]} for package in tree}
        self.assertEqual(got, EXPECTED)

    def test_channels_have_the_names_of_what_is_behind_them(self):
        self.tree("--from-dump", self.dump, "--sysfs-root", self.sysfs())
        sources = dict(result.rows(self.result, "SELECT t.addresses, t.name FROM dd_io_channel_info c "
                                                "JOIN dd_io_traffic_source t ON t.id = c.traffic_source"))
        name = sources["0000:3a:02.0,0000:3b:00.0,0000:3b:00.1"]
        self.assertTrue(name.endswith(" (0000:3b:00.[0,1])"), name)

    def test_without_a_mapping_units_are_guessed_and_it_is_told(self):
        outcome = self.topology("--from-dump", self.dump, "--packages", "2")
        self.assertEqual(outcome.code, command.DONE)
        self.assertEqual(outcome.warnings, [
            "IO units of 12 of 12 functions are guessed by the order of their root buses: "
            "give --sysfs-root"])
        units = result.rows(self.result, "SELECT p.name, u.io_unit FROM dd_io_unit_info u "
                                         "JOIN dd_package p ON p.id = u.package ORDER BY u.id")
        self.assertEqual(units, [("package_0", 0), ("package_0", 1), ("package_0", 2), ("package_1", 0),
                                 ("package_1", 1)])

    def test_a_result_takes_one_topology(self):
        self.tree("--from-dump", self.dump, "--sysfs-root", self.sysfs())
        outcome = self.topology("--from-dump", self.dump)
        self.assertEqual((outcome.code, outcome.err), (
            command.FAILED, f"samplefold: {self.result}: has a topology already: use a new result\n"))
        self.assertEqual(result.value(self.result, "SELECT count(*) FROM dd_pci_device_info"), len(MACHINE))
        self.assertEqual(result.value(self.result, "SELECT value FROM load_info WHERE key = 'state'"), "complete")

    def test_an_incomplete_result_takes_no_topology_and_stays_incomplete(self):
        with contextlib.closing(sqlite3.connect(self.result / "result.sqlite")) as database, database:
            database.execute("UPDATE dd_load_info SET value = 'incomplete' WHERE key = 'state'")
        self.assert_one_line(self.topology("--from-dump", self.dump), str(self.result), "is incomplete")
        self.assertEqual(result.value(self.result, "SELECT value FROM load_info WHERE key = 'state'"), "incomplete")

    def test_packages_without_an_inventory_are_wrong_usage(self):
        outcome = self.topology("--packages", "2")
        self.assertEqual(outcome.code, command.USAGE)
        self.assertIn("--packages: goes with --from-dump or --live", outcome.err)

    def test_a_result_without_one_says_how_to_get_it(self):
        outcome = self.topology()
        self.assertEqual(outcome.code, command.FAILED)
        self.assertIn("has no topology: add one with --from-dump FILE or --live", outcome.err)

    def test_what_is_no_dump_is_an_error_that_names_the_file_and_leaves_the_result(self):
        self.dump.write_bytes(b"\xff\x00garbage" * 1000)
        outcome = self.topology("--from-dump", self.dump)
        self.assertEqual(outcome.code, command.FAILED)
        self.assertTrue(outcome.err.startswith(f"samplefold: {self.dump}: "), outcome.err)
        self.assertEqual(len(outcome.err.splitlines()), 1)
        self.assertEqual(result.value(self.result, "SELECT value FROM load_info WHERE key = 'state'"), "complete")

    def test_bad_mesh_stops_are_an_error_with_their_line(self):
        stops = self.stops("0 1 2\nnonsense\n")
        outcome = self.topology("--from-dump", self.dump, "--mesh-stops", stops)
        self.assertEqual((outcome.code, outcome.err), (
            command.FAILED, f"samplefold: {stops}:2: is not of the form PACKAGE UNIT TID\n"))
        self.assertEqual(result.value(self.result, "SELECT count(*) FROM dd_pci_device_info"), 0)

    def test_ten_thousand_functions_are_taken(self):
        # Every bus holds some, and each of them is a unit whose channel numbers are those of the devices.
        functions = [Function(f"{bus:02x}:{device:02x}.{number}", 0x1AF4, 0x1000, NETWORK)
                     for bus in range(0, 250) for device in range(5) for number in range(8)]
        self.dump.write_text(dump(functions))
        self.tree("--from-dump", self.dump)
        self.assertEqual(result.value(self.result, "SELECT count(*) FROM dd_pci_device_info"), len(functions))


@unittest.skipUnless(shutil.which("lspci"), "lspci is not there")
class AsLspciHasIt(MachineTest):
    def lspci(self, *options):
        return subprocess.run(["lspci", "-F", self.dump, "-D", *options], check=True, capture_output=True,
                              text=True).stdout

    def setUp(self):
        super().setUp()
        self.topology("--from-dump", self.dump)

    def test_every_function_is_there_once(self):
        printed = []
        for line in self.lspci("-mm").splitlines():
            address, quoted = line.split(" ", 1)
            kind, vendor, device = re.findall(r'"([^"]*)"', quoted)[:3]
            printed.append((address, kind, f"{vendor} {device}"))
        stored = result.rows(self.result, "SELECT d.address, c.name, d.name FROM dd_pci_device_info d "
                                          "JOIN dd_pci_device_class c ON c.id = d.device_class ORDER BY d.address")
        self.assertEqual(stored, sorted(printed))

    def test_links_have_its_speeds_and_widths(self):
        printed, address = {}, None
        for line in self.lspci("-vv").splitlines():
            if line and not line[0].isspace():
                address = line.split()[0]
            link = re.search(r"Lnk(Cap|Sta):.*?Speed ([\d.]+)GT/s.*?Width x(\d+)", line)
            if link:
                printed[address, link[1]] = float(link[2]), int(link[3])
        rows = result.rows(self.result, "SELECT address, link_speed_a, link_value_a, link_speed_b, link_value_b "
                                        "FROM dd_pci_device_info WHERE link_speed_a IS NOT NULL")
        stored = {}
        for place, best, lanes, now, running in rows:
            stored[place, "Cap"], stored[place, "Sta"] = (best, lanes), (now, running)
        self.assertGreater(len(stored), 10)
        self.assertEqual(stored, printed)
