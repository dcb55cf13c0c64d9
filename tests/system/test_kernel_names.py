"""Names of the kernel's code, from tables of its symbols."""

from support import command, result
from support.perf_writer import KERNEL, Writer, kernel_chain
from support.testing import MEMORY, SystemTest

PID, START = 40, 1_000_000
TEXT = 0xffffffff81000000
NET = 0xffffffffc0001000
BPF = 0xffffffffc0100000
VSYSCALL = 0xffffffffff600000


def table(text=TEXT, net=NET):
    """What /proc/kallsyms shows of a kernel that lies at `text`."""
    return "".join(f"{address:016x} {kind} {name}{module}\n" for address, kind, name, module in (
        (text, "T", "_text", ""), (text + 0x1000, "t", "work", ""), (text + 0x1100, "T", "caller", ""),
        (text + 0x1200, "t", "never_returns", ""), (text + 0x1300, "d", "data", ""),
        (net, "t", "nf_hook", "\t[nf_tables]"), (net + 0x80, "t", "nf_more", "\t[nf_tables]")))


class KernelNames(SystemTest):
    def setUp(self):
        self.folder = self.scratch(MEMORY)
        self.writer = Writer()
        self.writer.mmap(0, -1, TEXT, 0x2000000, "[kernel.kallsyms]_text", offset=TEXT)
        self.writer.mmap(0, -1, NET, 0x1000, "/lib/modules/6.1/kernel/net/nf-tables.ko")
        self.writer.comm(START, PID, "program", is_exec=True)
        self.tick = START

    def sample(self, *kernel):
        self.tick += 1000
        self.writer.sample(self.tick, PID, kernel[0], kernel_chain(kernel), mode=KERNEL)

    def load_with(self, content, *options):
        if content is not None:
            (self.folder / "kallsyms").write_text(content)
            options = ("--kallsyms", self.folder / "kallsyms", *options)
        self.load(self.writer.write(self.folder / "perf.data"), self.folder / "r", *options,
                  env={"HOME": str(self.folder)})
        return self.folder / "r"

    def names(self, folder):
        return dict(result.rows(folder, "SELECT DISTINCT ip, function FROM samples"))

    def test_functions_of_the_kernel_and_its_modules_are_named(self):
        for address in (TEXT + 0x1005, TEXT + 0x10ff, NET + 4, NET + 0x85):
            self.sample(address)
        folder = self.load_with(table())
        self.assertEqual(self.names(folder), {hex(TEXT + 0x1005): "work", hex(TEXT + 0x10ff): "work",
                                              hex(NET + 4): "nf_hook", hex(NET + 0x85): "nf_more"})
        modules = dict(result.rows(folder, "SELECT name, symbols FROM modules WHERE name LIKE '[%'"))
        self.assertEqual(modules["[kernel.kallsyms]"], str(self.folder / "kallsyms"))
        self.assertIn("[nf_tables]", modules)

    def test_a_kernel_that_lay_elsewhere_is_aligned_by_the_symbol_of_the_recording(self):
        self.sample(TEXT + 0x1005)
        self.sample(NET + 4)
        folder = self.load_with(table(text=TEXT + 0x5400000))
        self.assertEqual(self.names(folder), {hex(TEXT + 0x1005): "work", hex(NET + 4): None},
                         "modules lie elsewhere, and it is not known where")

    def test_a_caller_is_named_by_its_call(self):
        # The call is the last instruction of its function, so that it returns to where the next one begins.
        self.sample(TEXT + 0x1205, TEXT + 0x1200)
        self.sample(TEXT + 0x1000)
        folder = self.load_with(table())
        frames = result.rows(folder, "SELECT depth, function FROM frames WHERE callsite = "
                                     "(SELECT callsite FROM samples ORDER BY end_tsc LIMIT 1) ORDER BY depth")
        self.assertEqual(frames, [(0, "never_returns"), (1, "caller")])
        self.assertEqual(self.names(folder)[hex(TEXT + 0x1000)], "work", "a sampled place is named by itself")

    def test_a_table_without_addresses_gives_no_names_and_says_so(self):
        self.sample(TEXT + 0x1005)
        folder = self.load_with("0000000000000000 T _text\n0000000000000000 t work\n")
        self.assertEqual(self.names(folder), {hex(TEXT + 0x1005): None})
        missing, = result.rows(folder, "SELECT missing FROM modules WHERE name = '[kernel.kallsyms]'")
        self.assertIn("no table of the recorded kernel's symbols was found", missing[0])
        details = [row[0] for row in result.rows(folder, "SELECT detail FROM module_attempts WHERE tried = ?",
                                                 str(self.folder / "kallsyms"))]
        self.assertEqual(details, ["its addresses are hidden (kernel.kptr_restrict)"])

    def test_a_file_of_another_kind_is_refused_with_its_line(self):
        self.sample(TEXT + 0x1005)
        folder = self.load_with(table() + "what is this\n")
        details = [row[0] for row in result.rows(folder, "SELECT detail FROM module_attempts WHERE tried = ?",
                                                 str(self.folder / "kallsyms"))]
        self.assertEqual(details, ["line 8 is not of a table of kernel symbols"])

    def test_a_given_table_that_is_of_no_use_is_told(self):
        self.sample(TEXT + 0x1005)
        (self.folder / "kallsyms").write_text("what is this\n")
        outcome = command.load(self.writer.write(self.folder / "perf.data"), self.folder / "r", "--kallsyms",
                               self.folder / "kallsyms", env={"HOME": str(self.folder)})
        self.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        self.assertIn(f"{self.folder / 'kallsyms'}: line 1 is not of a table of kernel symbols", outcome.warnings)

    def test_a_guests_kernel_has_no_names_of_the_hosts(self):
        self.writer.mmap(0, -1, BPF, 0x1000, "[guest.kernel.kallsyms]_text", offset=BPF)
        self.sample(BPF + 8)
        folder = self.load_with(table(net=BPF))
        self.assertEqual(self.names(folder), {hex(BPF + 8): None})

    def test_without_a_table_the_kernel_says_why(self):
        self.sample(TEXT + 0x1005)
        folder = self.load_with(None)
        self.assertEqual(result.value(folder, "SELECT missing FROM code WHERE module = '[kernel.kallsyms]'"),
                         "no table of the recorded kernel's symbols was found (--kallsyms)")

    def test_a_program_for_the_kernel_has_its_own_name(self):
        self.writer.mmap(0, -1, BPF, 0x1000, "[bpf_prog_6deef7357e7b4530_sd_fw]")
        self.sample(BPF + 8)
        self.assertEqual(self.names(self.load_with(None)), {hex(BPF + 8): "bpf_prog_6deef7357e7b4530_sd_fw"})

    def test_the_entries_of_the_vsyscall_page_have_their_names(self):
        self.writer.mmap(START, PID, VSYSCALL, 0x1000, "[vsyscall]")
        for number, offset in enumerate((0, 0x400, 0x800, 0xc00)):
            self.writer.sample(START + 10 + number, PID, VSYSCALL + offset)
        self.assertEqual(self.names(self.load_with(None)),
                         {hex(VSYSCALL): "gettimeofday", hex(VSYSCALL + 0x400): "time",
                          hex(VSYSCALL + 0x800): "getcpu", hex(VSYSCALL + 0xc00): None})

    def test_a_table_that_is_not_there_is_wrong_usage(self):
        outcome = command.load(self.writer.write(self.folder / "perf.data"), self.folder / "r", "--kallsyms",
                               self.folder / "none")
        self.assertEqual(outcome.code, command.USAGE)


if __name__ == "__main__":
    import unittest
    unittest.main()
