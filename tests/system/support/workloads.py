"""The programs whose true call chains are measured: tests/tools/workloads in the variants that are worth a run."""

from typing import NamedTuple


class Workload(NamedTuple):
    program: str
    # KIND-FRAMES. KIND: pie, exe (at a fixed address) or static. FRAMES: fp keeps frame pointers, nofp does not.
    variant: str
    # Where the software chain comes from. frame: the kernel's walk by frame pointers. true: a walk without a mistake.
    software: str
    why: str
    library: str | None = None  # argument of the program

    @property
    def name(self):
        return f"{self.program}-{self.variant}"


WORKLOADS = (
    Workload("recursion", "pie-fp", "frame",
             "deeper than the records, so that the oldest are lost and do not come back"),
    Workload("recursion", "static-nofp", "true",
             "the same where the only module is the program, at a fixed address"),
    Workload("callbacks", "pie-fp", "frame",
             "chains that pass through libc and a library of ours into the program again"),
    Workload("callbacks", "pie-nofp", "true", "the same with nothing but the records beyond the cut"),
    Workload("indirect", "exe-fp", "frame", "virtual calls and tables of functions: targets that no instruction names"),
    Workload("interpreter", "pie-fp", "frame", "a jump table in a function that is entered again from within itself"),
    Workload("interpreter", "exe-nofp", "true", "a jump table with absolute addresses"),
    Workload("tailcalls", "pie-fp", "frame", "the record's target is not the function that the next call stands in"),
    Workload("tailcalls", "static-nofp", "true", "the same within one module without frame pointers"),
    Workload("exceptions", "pie-fp", "frame", "records of frames that were unwound stay; the unwinder is a library"),
    Workload("exceptions", "exe-nofp", "true",
             "the same where the software chain is right and the records are not"),
    Workload("longjumps", "pie-fp", "frame", "records of calls that were jumped out of stay"),
    Workload("longjumps", "exe-nofp", "true",
             "the same with nothing else to tell what is left of a chain beyond its cut"),
    Workload("plugins", "pie-fp", "frame", "a library that comes and goes, and much time in the dynamic loader",
             "libplugin.so"),
    Workload("mutual", "static-fp", "frame",
             "functions in turn, to depths on both sides of the number of records"),
    Workload("leaves", "exe-fp", "frame",
             "leaf functions without a frame, whose caller a frame-pointer walk leaves out"),
)
