"""Uncore counts of a machine: what they stand for in its topology, how much, and how much of it over time."""

import json
import re

from support import command, result
from support.counter_writer import PAGE_FAULTS, CounterWriter, PmuEvent
from support.pci_dump import dump
from support.testing import MEMORY, SystemTest
from test_topology import EXPECTED, MACHINE, MESH_STOPS, STACKS

SECOND = 10**9
PMUS = {4: "cpu", 19: "uncore_iio_1", 20: "uncore_iio_2", 27: "uncore_iio_free_running_2", 29: "uncore_irp_1",
        35: "uncore_cha_5", 41: "uncore_upi_1", 50: "uncore_imc_0"}

NETWORK = PmuEvent(20, 0x7000010000483)         # on package 0 unit 2 channel 2 is a network card
DISK = PmuEvent(20, 0x7000000000483 | 8 << 36)  # by its mask channel 3, where package 1 has a disk
CLOCK, RETRIES, FREE = PmuEvent(19, 1), PmuEvent(29, 2), PmuEvent(27, 0x22FF)
STOP = PmuEvent(35, 0x35, 0x1F)
FLITS, LINK_CLOCK = PmuEvent(41, 2), PmuEvent(41, 1)
MEMORY_READS = PmuEvent(50, 4)
NAMES = {
    NETWORK: "unc_iio_data_req_of_cpu.mem_read.part2",
    DISK: "uncore_iio_2/event=0x83,umask=0x04,ch_mask=0x08,fc_mask=0x07/",
    CLOCK: "unc_iio_clockticks",
    RETRIES: "unc_i_faf_inserts",
    FREE: "uncore_iio_free_running_2/bw_in_port2/",
    STOP: "uncore_cha_5/event=0x35,filter_tid=0x1f/",
    FLITS: "unc_upi_txl_flits.all_data",
    LINK_CLOCK: "unc_upi_clockticks",
    MEMORY_READS: "unc_m_cas_count.rd",
}
DISK_NAME = "UNC_IIO_event=0x83,umask=0x04,ch_mask=0x08,fc_mask=0x07.PART3[UNIT2]"
FREE_NAME = "UNC_IIO_BW_IN_PORT2.PART2[UNIT2]"
STOP_NAME = "UNC_CHA_event=0x35:tid=0x1f[UNIT5]"
NETWORK_NAME = "UNC_IIO_DATA_REQ_OF_CPU.MEM_READ.PART2[UNIT2]"

# What is counted in the first and in the second second, on CPU 0 of package 0 and on CPU 2 of package 1.
COUNTS = {NETWORK: ((1000, 3000), (10, 30)), DISK: ((0, 2), (500, 700)), CLOCK: ((100, 100), (200, 200)),
          RETRIES: ((7, 8), (9, 10)), FREE: ((64, 0), (0, 32)), STOP: ((5, 6), (50, 60)),
          FLITS: ((11, 12), (21, 22)), LINK_CLOCK: ((13, 14), (23, 24)), MEMORY_READS: ((90, 91), (92, 93))}

# By package, then place: {event: (count, count per second)}; by hand from COUNTS, EXPECTED and the names above.
PLACES = {
    "package_0": {
        ("unit", 1): {"UNC_IIO_CLOCKTICKS[UNIT1]": (200, 100), "UNC_I_FAF_INSERTS[UNIT1]": (15, 7.5)},
        ("channel", 2, 2): {FREE_NAME: (64, 32), NETWORK_NAME: (4000, 2000)},
        ("channel", 2, 3): {DISK_NAME: (2, 1)},
        ("stop", 31): {STOP_NAME: (11, 5.5)},
        ("link", "Link 1"): {"UNC_XLK_CLOCKTICKS[UNIT1]": (27, 13.5), "UNC_XLK_TXL_FLITS.ALL_DATA[UNIT1]": (23, 11.5)},
        ("other",): {"UNC_IMC_CAS_COUNT.RD[UNIT0]": (181, 90.5)},
    },
    "package_1": {
        ("unit", 1): {"UNC_IIO_CLOCKTICKS[UNIT1]": (400, 200), "UNC_I_FAF_INSERTS[UNIT1]": (19, 9.5)},
        ("channel", 2, 2): {FREE_NAME: (32, 16), NETWORK_NAME: (40, 20)},
        ("channel", 2, 3): {DISK_NAME: (1200, 600)},
        ("stop", 31): {STOP_NAME: (110, 55)},
        ("link", "Link 1"): {"UNC_XLK_CLOCKTICKS[UNIT1]": (47, 23.5), "UNC_XLK_TXL_FLITS.ALL_DATA[UNIT1]": (43, 21.5)},
        ("other",): {"UNC_IMC_CAS_COUNT.RD[UNIT0]": (185, 92.5)},
    },
}


def counted(events):
    return {entry["event"]: (entry["count"], entry["per_second"]) for entry in events}


def places(tree):
    """What PLACES has, of the command's answer."""
    found = {}
    for package in tree:
        here = found[package["name"]] = {}
        for unit in package["units"]:
            here["unit", unit["unit"]] = counted(unit["counts"])
            for channel in unit["channels"]:
                here["channel", unit["unit"], channel["channel"]] = counted(channel["counts"])
        for stop in package["mesh_stops"]:
            here["stop", stop["mesh_stop"]] = counted(stop["counts"])
        for link in package["links"]:
            here["link", link["name"]] = counted(link["counts"])
        here["other",] = counted(package["other_counts"])
    return {name: {place: events for place, events in here.items() if events} for name, here in found.items()}


def recording(counts=None, packages=(0, 0, 1, 1), cpu_id="GenuineIntel,6,0,0", names=None):
    writer = CounterWriter(tuple(NAMES) + (PAGE_FAULTS,)).threads((-1, "")).cpus(0, 1, 2, 3).pmus(PMUS)
    if packages:
        writer.packages(*packages)
    writer.cpu_id(cpu_id)
    for event, name in {**NAMES, **(names or {})}.items():
        writer.name(event, name).own_cpus(event, 0, 2)
    for number in (1, 2):
        for event, by_package in (counts or COUNTS).items():
            for cpu, parts in zip((0, 2), by_package):
                writer.value(sum(parts[:number]), number * SECOND, event=event, cpu=cpu)
        writer.round(number * SECOND)
    return writer


class UncoreTest(SystemTest):
    def setUp(self):
        self.folder = self.scratch(MEMORY)
        self.result = self.folder / "r"
        self.dump = self.folder / "machine.txt"
        self.dump.write_text(dump(MACHINE))
        self.stops = self.folder / "stops"
        self.stops.write_text(MESH_STOPS)
        self.root = self.folder / "root"
        for (unit, die), bus in STACKS.items():
            path = self.root / "sys" / "devices" / unit / die
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(bus + "\n")
        self.options = ["--from-dump", self.dump, "--sysfs-root", self.root, "--mesh-stops", self.stops]

    def loaded(self, *options, writer=None):
        source = (writer or recording()).write(self.folder / "perf.data")
        return self.load(source, self.result, *options)

    def topology(self, *options):
        return command.run("topology", self.result, *options)

    def tree(self, *options):
        outcome = self.topology("--json", *options)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return json.loads(outcome.out)["packages"]

    def quality(self):
        return dict(result.rows(self.result, "SELECT reason, count FROM quality"))


class Machines(UncoreTest):
    def test_counts_stand_where_the_hand_written_topology_has_them(self):
        self.loaded(*self.options)
        tree = self.tree()
        self.assertEqual(places(tree), PLACES)
        got = {package["name"]: {unit["unit"]: (unit["mesh_stop"], {
            channel["channel"]: [device["address"] for device in channel["devices"]]
            for channel in unit["channels"] if channel["devices"]})
            for unit in package["units"]} for package in tree}
        # Package 1 has no functions in unit 1; events alone name it.
        wanted = {**EXPECTED, "package_1": {**EXPECTED["package_1"], 1: (None, {})}}
        self.assertEqual(got, wanted)

    def test_a_topology_that_comes_after_the_load_gives_the_same(self):
        self.loaded()
        self.assertEqual(self.quality()["uncore events without a topology to tie them to"], len(NAMES))
        self.assertEqual(places(self.tree(*self.options)), PLACES)
        rows = result.rows(self.result, "SELECT * FROM uncore_events ORDER BY place")
        self.assertEqual(places(self.tree()), PLACES)
        self.assertEqual(result.rows(self.result, "SELECT * FROM uncore_events ORDER BY place"), rows)

    def test_text_tells_what_the_traffic_comes_from(self):
        self.loaded(*self.options)
        text = self.topology().out
        block = re.search(r"^  IO unit 2, mesh stop 9\n(    .*\n)+", text, re.MULTILINE)[0].splitlines()
        self.assertRegex(block[1], r"^    channel 2: .*\(0000:3b:00\.\[0,1\]\)$")
        self.assertIn(f"      {NETWORK_NAME}: 4000, 2000/s", block)

    def test_a_query_finds_the_places_of_counts(self):
        self.loaded(*self.options)
        rows = result.rows(self.result, "SELECT event, package, io_unit, channel, mesh_stop, link, addresses "
                                        "FROM uncore_events ORDER BY package, event")
        self.assertIn((NETWORK_NAME, "package_0", 2, 2, 9, None, "0000:3a:02.0,0000:3b:00.0,0000:3b:00.1"), rows)
        self.assertIn((NETWORK_NAME, "package_1", 2, 2, 9, None, None), rows)
        self.assertIn((DISK_NAME, "package_1", 2, 3, 9, None, "0000:d7:03.0,0000:d8:00.0"), rows)
        self.assertIn(("UNC_I_FAF_INSERTS[UNIT1]", "package_0", 1, None, 31, None,
                       "0000:17:00.0,0000:18:00.0,0000:19:08.0,0000:1a:00.0"), rows)
        self.assertIn(("UNC_XLK_CLOCKTICKS[UNIT1]", "package_1", None, None, None, "Link 1", None), rows)
        self.assertEqual(len(rows), 2 * (len(NAMES) - 1), "all but those of the memory controller")
        sums = result.rows(self.result, "SELECT package, cpu, sum(count) FROM uncore_counts WHERE link = 'Link 1' "
                                        "GROUP BY package, cpu ORDER BY package")
        self.assertEqual(sums, [("package_0", 0, 50), ("package_1", 2, 90)])
        self.assertEqual(result.value(self.result, "SELECT count(*) FROM uncore_counts WHERE event LIKE 'UNC_IMC%'"), 4)

    def test_events_of_a_link_share_its_row(self):
        self.loaded(*self.options)
        self.assertEqual(result.rows(self.result, "SELECT p.name, l.link, l.display_name FROM dd_xlk_link_info l "
                                                  "JOIN dd_package p ON p.id = l.package ORDER BY l.id"),
                         [("package_0", 1, "Link 1"), ("package_1", 1, "Link 1")])

    def test_a_second_recording_adds_counts_and_no_places(self):
        self.loaded(*self.options)
        tables = ("dd_uncore_event_type", "dd_package", "dd_io_unit_info", "dd_io_channel_info", "dd_mesh_stop",
                  "dd_xlk_link_info", "dd_uncore_event_place", "dd_cpu", "dd_event_type", "dd_io_traffic_source")
        before = {table: result.rows(self.result, f"SELECT * FROM {table}") for table in tables}
        self.load(self.folder / "perf.data", self.result, "--append")
        self.assertEqual({table: result.rows(self.result, f"SELECT * FROM {table}") for table in tables}, before)
        tree = places(self.tree())
        self.assertEqual(tree["package_0"]["channel", 2, 2][NETWORK_NAME], (8000, 2000))
        outcome = command.load(self.folder / "perf.data", self.result, "--append", "--from-dump", self.dump)
        self.assert_one_line(outcome, str(self.result), "has a topology already")

    def test_places_that_events_alone_tell_of_are_counted_as_such(self):
        self.loaded(*self.options)
        # Package 0: channel 3 of unit 2. Package 1: unit 1, channel 2 of unit 2, mesh stop 31.
        self.assertEqual(self.quality()["IO units, channels and mesh stops that only names of uncore events tell of"], 4)

    def test_guessed_units_are_told_and_counted(self):
        self.load(recording().write(self.folder / "perf.data"), self.result, "--from-dump", self.dump,
                  "--packages", "2")
        outcome = command.load(self.folder / "perf.data", self.folder / "again", "--from-dump", self.dump)
        self.assertEqual(outcome.warnings, ["IO units of 12 of 12 functions are guessed by the order of their root "
                                            "buses: give --sysfs-root"])
        self.assertEqual(result.rows(self.result, "SELECT count, severity, remedy LIKE '%--sysfs-root%' FROM quality "
                                                  "WHERE reason LIKE 'PCI functions whose%'"), [(12, "info", 1)])


class OverTime(UncoreTest):
    def network(self, tree):
        unit = next(unit for unit in tree[0]["units"] if unit["unit"] == 2)
        return next(count for count in unit["channels"][0]["counts"] if count["event"] == NETWORK_NAME)

    def test_counts_come_by_intervals(self):
        self.loaded(*self.options)
        self.assertEqual(self.network(self.tree("--interval", "1"))["intervals"], [
            {"from": 0.0, "to": 1.0, "count": 1000, "per_second": 1000.0},
            {"from": 1.0, "to": 2.0, "count": 3000, "per_second": 3000.0}])
        text = self.topology("--interval", "1").out
        self.assertIn(f"      {NETWORK_NAME}: 4000, 2000/s\n        0 s to 1 s: 1000, 1000/s\n"
                      "        1 s to 2 s: 3000, 3000/s\n", text)

    def test_rows_in_several_intervals_are_shared_out_and_keep_their_sum(self):
        self.loaded(*self.options)
        parts = self.network(self.tree("--interval", "0.3"))["intervals"]
        self.assertEqual([part["count"] for part in parts], [300, 300, 300, 700, 900, 900, 600])
        for part, rate in zip(parts, (1000, 1000, 1000, 7000 / 3, 3000, 3000, 3000)):
            self.assertAlmostEqual(part["per_second"], rate, 3)

    def test_too_many_intervals_are_refused(self):
        self.loaded(*self.options)
        self.assert_one_line(self.topology("--interval", "0.000001"), "--interval makes more than 100000 intervals")

    def test_an_interval_must_be_above_0(self):
        self.loaded(*self.options)
        for bad in ("0", "-1", "x", "nan", "inf", "1e10"):
            self.assertEqual(self.topology("--interval", bad).code, command.USAGE, bad)

    def test_sums_without_times_have_no_rates_and_no_intervals(self):
        self.loaded(*self.options, "--store-each-sample", "off")
        entry = self.network(self.tree())
        self.assertEqual((entry["count"], entry["per_second"]), (4000, None))
        self.assert_one_line(self.topology("--interval", "1"), "its rows are sums")


class Doubtful(UncoreTest):
    def test_implausible_counts_are_told_and_never_added(self):
        counts = {**COUNTS, NETWORK: ((1000, -400), (10, 2**48))}
        self.loaded(*self.options, writer=recording(counts))
        tree = self.tree()
        entries = {package["name"]: count for package in tree for unit in package["units"] if unit["unit"] == 2
                   for count in unit["channels"][0]["counts"] if count["event"] == NETWORK_NAME}
        for name, count in (("package_0", 1000), ("package_1", 10)):
            self.assertEqual((entries[name]["count"], entries[name]["per_second"],
                              entries[name]["implausible_values"]), (count, count, 1))
        self.assertIn(f"{NETWORK_NAME}: 1000, 1000/s (1 value left out: it cannot be true)", self.topology().out)
        self.assertEqual(result.rows(self.result, "SELECT c.number, d.reason, d.implausible, d.count "
                                                  "FROM dd_counter_drop d JOIN dd_cpu c ON c.id = d.cpu ORDER BY 1"), [
            (0, "counter values below those of the round before", 1, 1),
            (2, "counter values beyond what a counter can count in the time", 1, 1)])

    def test_without_packages_in_the_recording_those_of_the_tree_count(self):
        for cpu, package in enumerate((0, 0, 1, 1)):
            path = self.root / "sys/devices/system/cpu" / f"cpu{cpu}" / "topology/physical_package_id"
            path.parent.mkdir(parents=True)
            path.write_text(f"{package}\n")
        self.loaded("--sysfs-root", self.root, writer=recording(packages=()))
        self.assertEqual(result.rows(self.result, "SELECT c.number, p.name FROM dd_cpu c JOIN dd_package p "
                                                  "ON p.id = c.package ORDER BY 1"),
                         [(0, "package_0"), (2, "package_1")])
        self.assertNotIn("recordings whose CPUs are guessed to be of one package", self.quality())

    def test_one_package_is_a_guess_that_is_told(self):
        self.loaded(writer=recording(packages=()))
        self.assertEqual(result.rows(self.result, "SELECT DISTINCT package FROM uncore_counts"), [("package_0",)])
        self.assertEqual(self.quality()["recordings whose CPUs are guessed to be of one package"], 1)

    def test_cpus_of_no_known_package_stand_apart(self):
        self.loaded(*self.options, writer=recording(packages=(0, 0, -1, -1)))
        tree = places(self.tree())
        self.assertEqual(tree["[unknown package]"]["other",][NETWORK_NAME], (40, 20))
        self.assertEqual(tree["package_0"], PLACES["package_0"])

    def test_events_without_a_topology_are_shown_by_package(self):
        self.loaded()
        outcome = self.topology()
        self.assertIn("no PCI functions are known: add them with --from-dump FILE or --live\n", outcome.out)
        tree = places(self.tree())
        self.assertEqual(tree["package_1"]["link", "Link 1"], PLACES["package_1"]["link", "Link 1"])
        self.assertEqual(tree["package_1"]["other",][NETWORK_NAME], (40, 20))
        self.assertEqual(result.value(self.result, "SELECT count(*) FROM dd_io_unit_info"), 0)

    def test_places_of_cpus_in_an_events_own_list_are_those_cpus(self):
        """As older recorders give them."""
        writer = CounterWriter((NETWORK,)).threads((-1, "")).cpus(0, 1, 2, 3).pmus(PMUS).packages(0, 0, 1, 1)
        writer.name(NETWORK, NAMES[NETWORK]).own_cpus(NETWORK, 0, 2)
        for place in (0, 1):
            writer.value(5 + place, SECOND, event=NETWORK, cpu=place)
        self.loaded(*self.options, writer=writer.round(SECOND))
        self.assertEqual(result.rows(self.result, "SELECT cpu, package, count FROM uncore_counts ORDER BY cpu"),
                         [(0, "package_0", 5), (2, "package_1", 6)])

    def test_names_without_end_are_taken(self):
        """Records hold 64 KB at most; longer names stand in the tests of naming."""
        name = "unc_iio_" + "part1_a" * 9000
        self.loaded(*self.options, writer=recording(names={NETWORK: name, STOP: "[UNIT3]" * 9000, CLOCK: "/" * 60000}))
        self.assertEqual(result.rows(self.result, "SELECT DISTINCT length(event), channel FROM uncore_counts "
                                                  "WHERE event LIKE 'UNC_IIO_PART1_A%'"),
                         [(len(name) + len(".PART1[UNIT2]"), 1)])
        self.assertEqual(self.topology().code, command.DONE)

    def test_recordings_without_uncore_events_tell_of_none(self):
        writer = CounterWriter((PAGE_FAULTS,)).threads((-1, "")).cpus(0, 1).packages(0, 1)
        self.loaded(writer=writer.value(7, 100, cpu=1).round(100))
        self.assertEqual(self.quality(), {})
        self.assertEqual(result.rows(self.result, "SELECT c.number, p.name FROM dd_cpu c "
                                                  "JOIN dd_package p ON p.id = c.package"), [(1, "package_1")])
        self.assertEqual(self.topology().code, command.FAILED)


class Models(UncoreTest):
    """Processors that have several numbers for one channel."""

    FOLDED = {85: (0, 0), 106: (5, 3), 108: (2, 3), 134: (1, 3)}  # unit, and the channel that stays apart

    def channels(self, cpu_id):
        events = {PmuEvent(60 + unit, part): (unit, part) for unit in range(6) for part in range(5)}
        writer = CounterWriter(tuple(events)).threads((-1, "")).cpus(0).packages(0).cpu_id(cpu_id)
        writer.pmus({60 + unit: f"uncore_iio_{unit}" for unit in range(6)})
        for event, (unit, part) in events.items():
            writer.name(event, f"unc_iio_x.part{part}").value(1, SECOND, event=event, cpu=0)
        self.result = self.scratch(MEMORY) / "r"
        self.load(writer.round(SECOND).write(self.folder / "models"), self.result, *self.options)
        rows = result.rows(self.result, "SELECT u.name, w.io_channel FROM dd_uncore_event_place w "
                                        "JOIN dd_uncore_event_type u ON u.id = w.event")
        return {tuple(map(int, re.match(r"UNC_IIO_X\.PART(\d)\[UNIT(\d)\]", name).groups()))[::-1]: row
                for name, row in rows}

    def test_fold_by_the_model_of_the_recording(self):
        for model, (unit, apart) in self.FOLDED.items():
            rows = self.channels(f"GenuineIntel,6,{model},7")
            others = {row for (at, part), row in rows.items() if at == unit and part != apart}
            self.assertEqual(len(others), 1, model)
            self.assertNotIn(rows[unit, apart], others)
            self.assertEqual(len(set(rows.values())), len(rows) - 3, f"{model}: all other units stay as they are")

    def test_do_not_fold_where_they_are_others(self):
        for cpu_id in ("AuthenticAMD,6,85,7", "GenuineIntel,15,85,7", "GenuineIntel,6,86,7", "85", ""):
            rows = self.channels(cpu_id)
            self.assertEqual(len(set(rows.values())), len(rows), cpu_id)

    def test_fold_for_a_topology_that_comes_later(self):
        options, self.options = self.options, []
        self.channels("GenuineIntel,6,85,7")
        self.tree(*options)
        rows = dict(result.rows(self.result, "SELECT u.name, w.io_channel FROM dd_uncore_event_place w "
                                             "JOIN dd_uncore_event_type u ON u.id = w.event"))
        self.assertEqual(rows["UNC_IIO_X.PART1[UNIT0]"], rows["UNC_IIO_X.PART4[UNIT0]"])
        self.assertNotEqual(rows["UNC_IIO_X.PART0[UNIT0]"], rows["UNC_IIO_X.PART1[UNIT0]"])


class Options(UncoreTest):
    def test_what_goes_with_an_inventory_is_refused_alone(self):
        self.loaded()
        for words in (["topology", self.result, "--mesh-stops", self.stops],
                      ["topology", self.result, "--sysfs-root", self.root],
                      ["load", self.folder / "perf.data", "-o", self.folder / "x", "--mesh-stops", self.stops],
                      ["load", self.folder / "perf.data", "-o", self.folder / "x", "--live", "--from-dump", self.dump]):
            self.assertEqual(command.run(*words).code, command.USAGE, words)
        self.assertFalse((self.folder / "x").exists())

    def test_bad_files_are_told_before_a_result_is_begun(self):
        recording().write(self.folder / "perf.data")
        bad = self.folder / "bad"
        bad.write_bytes(b"\xff\x00garbage" * 1000)
        for options in (["--from-dump", bad], ["--from-dump", self.folder / "missing"],
                        ["--from-dump", self.dump, "--mesh-stops", bad]):
            outcome = command.load(self.folder / "perf.data", self.folder / "x", *options)
            self.assert_one_line(outcome, str(options[-1]))
            self.assertFalse((self.folder / "x").exists())

    def test_functions_that_come_twice_are_counted(self):
        self.dump.write_text(dump([*MACHINE, MACHINE[-1]]))
        outcome = command.load(recording().write(self.folder / "perf.data"), self.result, *self.options)
        self.assertEqual(outcome.warnings, ["1 function was left out, since its address comes twice"])
        self.assertEqual(self.quality()["PCI functions left out, since their addresses come twice"], 1)
