"""The command "explain": what it says of made and of traced samples, against the code that ran."""

import json
import subprocess
import unittest

from support import command, elf_text, result
from support.perf_writer import BRANCH_ANY, BRANCH_CALL_STACK, Writer, user_chain
from support.testing import SystemTest
from support.traced import PROGRAMS, Traces
from support.workloads import WORKLOADS

PID, BASE = 7010, 0x400000
SOURCE = """
.globl first, second, third, fourth
.type first, @function
.type second, @function
.type third, @function
.type fourth, @function
.text
first:  push %rbp
        mov %rsp, %rbp
        call second
        pop %rbp
        ret
.size first, . - first
second: sub $8, %rsp
        call third
        add $8, %rsp
        ret
.size second, . - second
third:  nop
        nop
        call fourth
        ret
.size third, . - third
fourth: mov $7, %eax
        ret
.size fourth, . - fourth
"""
CALL_BYTES = 5
PREDICTED = 2
GOES_ON = "[the chain goes on, how is not known]"

TRACES = Traces("--cap", "8", "--period", "101", "--max-steps", "40000", "--max-samples", "40000", "--from", "entry")
TRACED = next(workload for workload in WORKLOADS if workload.program == "longjumps")


def tearDownModule():
    TRACES.close()


def cycles(count):
    return count << 4


class Explain(SystemTest):
    def explain(self, folder, *words):
        outcome = command.run("explain", folder, *words)
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return outcome.out

    def sample(self, folder, number):
        return json.loads(self.explain(folder, "--sample", number, "--json"))["sample"]

    def overview(self, folder):
        return json.loads(self.explain(folder, "--json"))["branch_records"]


def functions(frames):
    return [frame["function"] for frame in frames]


class Made(Explain):
    """A library of four functions, each called by the one before it."""

    def setUp(self):
        self.folder = self.scratch()
        (self.folder / "code.s").write_text(SOURCE)
        self.binary = self.folder / "code"
        subprocess.run(["gcc", "-nostdlib", "-shared", "-Wl,--build-id", "-o", self.binary, self.folder / "code.s"],
                       check=True)
        self.first, self.second, self.third, self.fourth = (
            elf_text.functions(self.binary)[name] for name in ("first", "second", "third", "fourth"))

    def address(self, in_file):
        return BASE + elf_text.file_offset(self.binary, in_file)

    def calls(self):
        """(from, to) of the three calls, the newest first."""
        return [(self.third + 2, self.fourth), (self.second + 4, self.third), (self.first + 4, self.second)]

    def records(self, flags=PREDICTED):
        return [(self.address(source), self.address(target), flags) for source, target in self.calls()]

    def loaded(self, branches, *options, branch_type=BRANCH_CALL_STACK, software=1, repeat=1):
        """A result with samples in the function fourth, with so many frames of a software chain."""
        ip = self.address(self.fourth)
        chain = [ip] + [self.address(source) + CALL_BYTES for source, _ in self.calls()]
        writer = Writer(branch_type=branch_type)
        writer.comm(1, PID, "maker")
        writer.mmap(2, PID, BASE, 0x10000, str(self.binary))
        for number in range(repeat):
            writer.sample(1000 + number, PID, ip, user_chain(*chain[:software]), branches=branches)
        return self.load(writer.write(self.folder / "perf.data"), self.folder / "result", *options)

    def test_a_record_is_told_by_module_and_function_though_no_frame_is_there(self):
        """Without any name in the result, functions come from the file."""
        folder = self.loaded(self.records(), "--names", "off")
        self.assertEqual(result.value(folder, "SELECT count(*) FROM dd_function"), 0)
        records = self.sample(folder, 1)["branch_stack"]["records"]
        for record, (source, target), names in zip(records, self.calls(), (
                ("third", "fourth"), ("second", "third"), ("first", "second")), strict=True):
            self.assertEqual((record["from"]["function"], record["to"]["function"]), names)
            for end, address in ((record["from"], source), (record["to"], target)):
                self.assertEqual(end["address"], hex(self.address(address)))
                self.assertEqual(end["module"], "code")
                self.assertEqual(end["rva"], hex(elf_text.file_offset(self.binary, address)))

    def test_without_the_file_a_record_is_told_by_its_module(self):
        folder = self.loaded(self.records(), "--names", "off")
        self.binary.unlink()
        sample = self.sample(folder, 1)
        ends = [record[end] for record in sample["branch_stack"]["records"] for end in ("from", "to")]
        self.assertEqual({end["function"] for end in ends}, {None})
        self.assertEqual({end["module"] for end in ends}, {"code"})

    def test_a_file_that_was_replaced_since_the_load_names_nothing(self):
        folder = self.loaded(self.records(), "--names", "off")
        (self.folder / "code.s").write_text(SOURCE.replace("$7", "$8"))
        subprocess.run(["gcc", "-nostdlib", "-shared", "-Wl,--build-id", "-o", self.binary, self.folder / "code.s"],
                       check=True)
        records = self.sample(folder, 1)["branch_stack"]["records"]
        self.assertEqual({record["from"]["function"] for record in records}, {None})

    def test_the_chain_of_the_records_stands_beside_the_shorter_one_of_software(self):
        folder = self.loaded(self.records())
        sample = self.sample(folder, 1)
        stack = sample["branch_stack"]
        self.assertEqual(functions(sample["chain"][:4]), ["fourth", "third", "second", "first"])
        self.assertEqual(functions(stack["software"][:1]), ["fourth"])
        self.assertEqual([record["kept"] for record in stack["records"]], [True] * 3)
        chain, merge = result.rows(folder, "SELECT chain, merge FROM branch_stacks")[0]
        self.assertEqual((stack["kind"], stack["chain"], stack["merge"]), ("call stack", chain, merge))
        text = self.explain(folder, "--sample", 1)
        self.assertRegex(text, r"(?m)^  fourth +fourth$")
        self.assertRegex(text, r"(?m)^  second(  |$)")
        self.assertIn(merge, text)

    def test_a_chain_that_goes_on_says_so(self):
        sample = self.sample(self.loaded(self.records()), 1)
        last = sample["chain"][-1]
        self.assertEqual((last["goes_on"], last["label"], last["module"]), (True, GOES_ON, None))
        self.assertFalse(any(frame["goes_on"] for frame in sample["chain"][:-1]))

    def test_a_record_that_cannot_be_is_cut_with_all_older_ones(self):
        branches = self.records()
        branches[1] = (branches[1][0], branches[1][1] - 1, PREDICTED)
        folder = self.loaded(branches)
        records = self.sample(folder, 1)["branch_stack"]["records"]
        self.assertEqual([record["kept"] for record in records], [True, False, False])
        self.assertRegex(records[1]["verdict"], "^cut: ")
        self.assertEqual(records[2]["verdict"], "cut: older than a record that was cut")
        self.assertIn("3 records: 1 kept, 2 cut", self.explain(folder, "--sample", 1))

    def test_cycles_and_prediction_are_told_where_they_were_recorded(self):
        flags = (cycles(17) | PREDICTED, cycles(4) | 1, 0)
        branches = [branch[:2] + (flag,) for branch, flag in zip(self.records(), flags, strict=True)]
        folder = self.loaded(branches)
        records = self.sample(folder, 1)["branch_stack"]["records"]
        self.assertEqual([record["cycles"] for record in records], [17, 4, None])
        self.assertEqual([record["mispredicted"] for record in records], [False, True, None])
        self.assertRegex(self.explain(folder, "--sample", 1), r"(?m)^ +0 .* 17  yes +kept: ")

    def test_the_sample_itself_is_told(self):
        text = self.explain(self.loaded(self.records(), repeat=3), "--sample", 2)
        facts = dict(line.split(None, 1) for line in text.split("\n\n")[0].splitlines())
        self.assertEqual(facts["sample"], "2")
        self.assertEqual(facts["time"], "0.000001001 s")
        self.assertEqual(facts["process"], f"maker (pid {PID})")
        self.assertEqual(facts["mode"], "user")
        self.assertRegex(facts["ip"], rf"^{hex(self.address(self.fourth))}, code\+0x[0-9a-f]+, in fourth")

    def test_records_of_all_branches_are_told_as_such(self):
        stack = self.sample(self.loaded(self.records(), branch_type=BRANCH_ANY), 1)["branch_stack"]
        self.assertEqual(stack["kind"], "taken branches")
        self.assertEqual(len(stack["records"]), 3)

    def test_a_sample_without_records_has_its_chain(self):
        folder = self.loaded((), branch_type=0, software=4)
        sample = self.sample(folder, 1)
        self.assertIsNone(sample["branch_stack"])
        self.assertEqual(functions(sample["chain"][:4]), ["fourth", "third", "second", "first"])
        self.assertIn("no branch records", self.explain(folder, "--sample", 1))
        self.assertIn("No sample has branch records", self.explain(folder))
        self.assertEqual(self.overview(folder), [])

    def test_a_sample_that_is_not_there_is_refused_with_the_range(self):
        folder = self.loaded(self.records(), repeat=3)
        self.assert_one_line(command.run("explain", folder, "--sample", 4), "no sample 4", "1 to 3")

    def test_rows_that_are_sums_are_no_samples(self):
        folder = self.loaded(self.records(), "--store-each-sample", "off", repeat=3)
        self.assert_one_line(command.run("explain", folder, "--sample", 1), "sums", "--store-each-sample on")
        self.assertTrue(all(row["sample"] is None for row in self.overview(folder)))

    def test_the_report_counts_what_became_of_records(self):
        folder = self.loaded(self.records(), repeat=3)
        report = json.loads(command.run("report", folder, "--json").out)
        counts = {row["what"]: row["count"] for row in report["branch_records"]}
        self.assertEqual(counts["samples with branch records"], 3)
        self.assertEqual(sum(count for what, count in counts.items() if what.startswith("record ")), 9)
        self.assertIn("\nBranch records\n", command.run("report", folder).out)
        plain = self.load(Writer().write(self.folder / "none.data"), self.folder / "none")
        self.assertNotIn("branch_records", json.loads(command.run("report", plain, "--json").out))


class Traced(Explain):
    """A program with functions that jump out of their callers."""

    def setUp(self):
        self.trace = TRACES.get([TRACED])[TRACED]
        self.result = self.load(self.trace.recording, self.scratch() / "result")

    def number_of(self, tick):
        return result.value(self.result, "SELECT interval FROM samples WHERE end_tsc = ?", tick)

    def some(self):
        """(sample as recorded, sample as explained) of each fiftieth sample."""
        for tick, recorded in list(self.trace.samples().items())[::50]:
            yield recorded, self.sample(self.result, self.number_of(tick))

    def test_every_record_is_there_in_its_order(self):
        for recorded, explained in self.some():
            self.assertEqual(explained["tick"], recorded.tick)
            got = [(record["from"]["address"], record["to"]["address"])
                   for record in explained["branch_stack"]["records"]]
            self.assertEqual(got, [(hex(branch.source), hex(branch.target)) for branch in recorded.branches])

    def test_functions_of_the_program_are_those_that_readelf_has_there(self):
        binary = PROGRAMS / TRACED.name
        ranges = elf_text.function_ranges(binary)
        named = {address: name for name, address in elf_text.functions(binary).items()}
        checked = 0
        for _, explained in self.some():
            for record in explained["branch_stack"]["records"]:
                for end in (record["from"], record["to"]):
                    at = self.address_in(binary, end)
                    start = next((start for start, stop in ranges if at is not None and start <= at < stop), None)
                    if start is None:
                        continue
                    raw = named[start]
                    want = subprocess.run(["c++filt", raw], check=True, capture_output=True, text=True).stdout.strip()
                    self.assertEqual(end["function"], want, end)
                    checked += 1
        self.assertGreater(checked, 100)

    @staticmethod
    def address_in(binary, end):
        """Address in the file of the program that the relative one stands for; None in other modules."""
        if end["module"] != binary.name:
            return None
        rva = int(end["rva"], 16)
        return next(start + rva - offset for offset, start, size in elf_text.loads(binary)
                    if offset <= rva < offset + size)

    def test_the_stored_chain_is_that_of_the_view_of_frames(self):
        for _, explained in self.some():
            want = result.rows(self.result, "SELECT f.module, f.function FROM frames f JOIN samples s "
                               "ON f.callsite = s.callsite WHERE s.interval = ? ORDER BY f.depth", explained["number"])
            self.assertEqual([(frame["module"], frame["function"]) for frame in explained["chain"]], want)

    def test_examples_of_the_overview_are_what_they_are_examples_of(self):
        cuts = 0
        for row in self.overview(self.result):
            if row["sample"] is None:
                continue
            stack = self.sample(self.result, row["sample"])["branch_stack"]
            kind, _, what = row["what"].partition(" ")
            if kind == "record":
                self.assertIn(what, [record["verdict"] for record in stack["records"]])
                cuts += what.startswith("cut")
            else:
                self.assertEqual(stack[kind.removesuffix(":")], what)
        self.assertGreater(cuts, 1)

    def test_every_kind_of_verdict_and_outcome_has_an_example(self):
        for row in self.overview(self.result):
            if row["what"].split(" ")[0] in ("record", "chain:", "merge:"):
                self.assertIsNotNone(row["sample"], row)


if __name__ == "__main__":
    unittest.main()
