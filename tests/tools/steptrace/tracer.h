// Runs a program instruction by instruction and records it.
#pragma once

#include "branch_ring.h"
#include "call_stack.h"
#include "code_map.h"
#include "instruction.h"
#include "options.h"
#include "perf_file.h"
#include "tracee.h"
#include "truth_file.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace steptrace {

/// Traces one program. An instruction takes a microsecond of the recording's time, so that
/// recordings of a program are all the same.
class Tracer {
public:
    /// Starts the program; `options` outlive the object. Throws Failure.
    explicit Tracer(const Options& options);

    /// Traces up to the program's end or a bound of the options, and writes the files. Throws
    /// Failure.
    void run();

    [[nodiscard]] std::uint64_t samples() const { return m_samples; }
    [[nodiscard]] std::uint64_t steps() const { return m_steps; }

private:
    [[nodiscard]] std::uint64_t now() const;
    void noteMappings();
    Instruction instructionAt(std::uint64_t address);
    bool runInstruction();
    void follow(const Instruction& instruction, const user_regs_struct& before);
    void takeSample();

    const Options& m_options;
    Tracee m_tracee;
    PerfFile m_callStackFile;
    PerfFile m_anyFile;
    TruthFile m_truth;
    CallStack m_stack;
    BranchRing m_calls;    ///< calls push, returns pop, other branches leave no record
    BranchRing m_branches; ///< all that were taken
    std::unordered_map<std::uint64_t, Instruction> m_code;
    std::vector<CodeMapping> m_mappings;
    std::uint64_t m_ticks = 0; ///< microseconds since the start
    std::uint64_t m_steps = 0;
    std::uint64_t m_samples = 0;
};

} // namespace steptrace
