#include "tracer.h"

#include "failure.h"
#include "software_chain.h"

#include <algorithm>
#include <sstream>
#include <sys/syscall.h>

namespace steptrace {
namespace {

constexpr std::uint64_t startTick = 1'000'000'000'000;
constexpr std::uint64_t nanosecondsPerInstruction = 1000;

bool changesMappings(std::uint64_t systemCall)
{
    return systemCall == SYS_mmap || systemCall == SYS_munmap || systemCall == SYS_mprotect ||
           systemCall == SYS_mremap;
}

bool isTaken(InstructionKind kind, std::uint64_t next, std::uint64_t reached)
{
    switch (kind) {
    case InstructionKind::nearCall:
    case InstructionKind::nearReturn:
    case InstructionKind::jump:
        return true;
    case InstructionKind::conditionalJump:
        return reached != next;
    default:
        return false;
    }
}

std::string fileName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

Tracer::Tracer(const Options& options)
    : m_options(options), m_tracee(options.command),
      m_callStackFile(m_tracee.pid(), options.period, options.cap, BranchFilter::callStack),
      m_anyFile(m_tracee.pid(), options.period, options.cap, BranchFilter::any),
      m_truth(options.truth), m_calls(options.depth), m_branches(options.depth)
{
    for (PerfFile* const file : {&m_callStackFile, &m_anyFile})
        file->addExec(fileName(options.command.front()), now());
    ++m_ticks;
    noteMappings();
    if (options.from == "entry")
        m_tracee.runToEntryPoint([this] {
            ++m_ticks;
            noteMappings();
        });
}

std::uint64_t Tracer::now() const
{
    return startTick + m_ticks * nanosecondsPerInstruction;
}

/// Records what has been mapped since the last time.
void Tracer::noteMappings()
{
    std::vector<CodeMapping> current = codeMappings(m_tracee.pid());
    for (const CodeMapping& mapping : current) {
        if (std::find(m_mappings.begin(), m_mappings.end(), mapping) != m_mappings.end()) continue;
        m_callStackFile.addMapping(mapping, now());
        m_anyFile.addMapping(mapping, now());
    }
    m_mappings = std::move(current);
    m_code.clear();
}

Instruction Tracer::instructionAt(std::uint64_t address)
{
    const auto known = m_code.find(address);
    if (known != m_code.end()) return known->second;
    std::uint8_t bytes[longestInstruction];
    // Less where the code ends at the end of its memory.
    std::size_t size = sizeof bytes;
    while (size > 0 && !m_tracee.read(address, bytes, size))
        --size;
    const std::optional<Instruction> found = decode({bytes, size});
    if (!found) {
        std::ostringstream text;
        text << m_options.command.front() << ": no instruction at 0x" << std::hex << address;
        throw Failure(text.str());
    }
    return m_code.emplace(address, *found).first->second;
}

void Tracer::run()
{
    std::uint64_t untilSample = m_options.period;
    while (m_steps < m_options.maxSteps && m_samples < m_options.maxSamples) {
        if (untilSample == 0) {
            if (m_steps >= m_options.skip) takeSample();
            untilSample = m_options.period;
        }
        const std::uint64_t before = m_steps;
        if (!runInstruction()) break;
        untilSample -= m_steps - before;
    }
    m_truth.close();
    m_callStackFile.addExit(now());
    m_callStackFile.write(m_options.output, m_options.command);
    if (m_options.anyOutput.empty()) return;
    m_anyFile.addExit(now());
    m_anyFile.write(m_options.anyOutput, m_options.command);
}

/// False when the program has ended.
bool Tracer::runInstruction()
{
    const user_regs_struct before = m_tracee.registers();
    const Instruction instruction = instructionAt(before.rip);
    const Tracee::Step outcome = m_tracee.step();
    if (outcome == Tracee::Step::ended) return false;
    if (outcome == Tracee::Step::signalled) return true;
    ++m_ticks;
    ++m_steps;
    follow(instruction, before);
    if (instruction.kind == InstructionKind::systemCall && changesMappings(before.rax))
        noteMappings();
    return true;
}

/// Carries the stack and the records over an instruction that has run.
void Tracer::follow(const Instruction& instruction, const user_regs_struct& before)
{
    const user_regs_struct& after = m_tracee.registers();
    const std::uint64_t next = before.rip + instruction.length;
    if (instruction.kind == InstructionKind::nearCall) {
        m_stack.call(next, after.rsp);
        // A call of the next instruction only asks where it is; processors leave it out.
        if (after.rip != next) m_calls.push({before.rip, after.rip, predictedFlag});
    } else {
        m_stack.leaveBelow(after.rsp);
        if (instruction.kind == InstructionKind::nearReturn) m_calls.pop();
    }
    if (isTaken(instruction.kind, next, after.rip))
        m_branches.push({before.rip, after.rip, predictedFlag});
}

void Tracer::takeSample()
{
    const std::vector<std::uint64_t> truth = m_stack.chain(m_tracee.registers().rip);
    Sample sample{now(), {}, m_calls.newestFirst()};
    if (m_options.software == "true")
        sample.chain.assign(
            truth.begin(), truth.begin() + static_cast<std::ptrdiff_t>(
                                               std::min<std::size_t>(truth.size(), m_options.cap)));
    else
        sample.chain = framePointerChain(m_tracee, m_options.cap);
    m_truth.add(now(), truth);
    m_callStackFile.addSample(sample);
    sample.branches = m_branches.newestFirst();
    m_anyFile.addSample(sample);
    ++m_samples;
}

} // namespace steptrace
