#include "unwind/stop.h"

#include <array>

namespace samplefold::unwind {

StopText textOf(Stop stop)
{
    static constexpr std::array<StopText, stopCount> texts{{
        {"", ""},
        {"call stacks not unwound: no user registers in the sample",
         "nothing to do for kernel threads; else record all registers (no --user-regs)"},
        {"call stacks not unwound: 32-bit code", "record with frame pointers (--call-graph fp)"},
        {"call stacks not unwound: recording of a machine other than x86-64",
         "record with frame pointers (--call-graph fp)"},
        {"call stacks not unwound: no bytes of the stack in the sample",
         "nothing to do for a process that is being started; else record with --call-graph dwarf"},
        {"call stacks that ended early: an address outside every known mapping",
         "record from the start of the process, or system-wide (-a); generated code needs frame "
         "pointers"},
        {"call stacks that ended early: code in memory without a file",
         "generated code has no unwind tables; record with frame pointers (--call-graph fp)"},
        {"call stacks that ended early: no file for the module",
         "load with --symbols DIR, where DIR holds the files that were recorded"},
        {"call stacks that ended early: the module's file does not fit",
         "load with --symbols DIR, where DIR holds the files that were recorded"},
        {"call stacks that ended early: no unwind information for the code",
         "build it with -fasynchronous-unwind-tables, or record with frame pointers"},
        {"call stacks that ended early: the copy of the stack ends",
         "record a larger part (--call-graph dwarf,65528)"},
        {"call stacks that ended early: memory outside the copy of the stack",
         "nothing to do where code leaves its stack; else record with frame pointers"},
        {"call stacks that ended early: the stack makes no sense",
         "check that the files are those that were recorded (--symbols DIR)"},
        {"call stacks that ended early: more frames than are followed",
         "nothing to do: the outermost frames are left out"},
        {"call stacks that ended early: libdwfl refused",
         "check that the files are those that were recorded (--symbols DIR)"},
    }};
    return texts[static_cast<std::size_t>(stop)];
}

} // namespace samplefold::unwind
