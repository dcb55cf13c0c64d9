#include "deeptree.h"

#include <sys/mman.h>

#include <algorithm>

namespace samplefold::unwind::testing {

using perfdata::testing::bytesOf;
using perfdata::testing::OracleCase;

namespace {

OracleCase recorded()
{
    return {"deeptree-dwarf", std::string(SF_TEST_DATA_DIR) + "/perf/deeptree-dwarf"};
}

} // namespace

std::string recordedBinary(const std::string& name)
{
    return std::string(SF_TEST_DATA_DIR) + "/perf/binaries/" + name;
}

Deeptree::Deeptree()
    : files{{"/opt/sfdemo/deeptree", recordedBinary("deeptree")},
            {"/opt/sfdemo/libsfleaf.so", recordedBinary("libsfleaf.so")}},
      m_content(recorded().load("perf.data").value()),
      m_recording(perfdata::Recording::fromBytes(bytesOf(m_content), "deeptree-dwarf"))
{
    m_recording.deliver(*this, {perfdata::Deliver::SideBand, {}});
}

void Deeptree::onMmap(const perfdata::MmapRecord& record)
{
    if (record.pid == -1 || record.length == 0) return;
    const std::string& path = m_paths.emplace_back(record.filename);
    const std::uint64_t last = record.start + record.length - 1;
    m_space.map({record.start, last, record.pageOffset,
                 static_cast<std::uint32_t>(m_paths.size() - 1), &path, !path.starts_with("//")},
                record.time.value_or(0));
    if ((record.protection & PROT_EXEC) != 0) m_code[path] = {record.start, last};
}

void Deeptree::onComm(const perfdata::CommRecord& record)
{
    if (record.isExec()) m_space.unmapAll(record.time.value_or(0));
}

std::pair<std::uint64_t, std::uint64_t> Deeptree::codeOf(const std::string& module) const
{
    return m_code.at(module);
}

void Deeptree::onSample(const perfdata::Sample& sample)
{
    std::vector<std::uint64_t> values(sample.userRegs.values.begin(), sample.userRegs.values.end());
    std::vector<std::byte> stack(sample.userStack.begin(), sample.userStack.end());
    stack.resize(std::min(stack.size(), stackBytes));
    if (change) change(values, stack);
    perfdata::Registers registers = sample.userRegs;
    registers.values = {reinterpret_cast<const std::byte*>(values.data()), values.size()};
    Unwound& unwound = m_unwound.emplace_back();
    unwound.timeNs = sample.time;
    unwound.stop = m_unwinder->unwind(m_space, sample.time, registers, stack, unwound.frames);
}

std::vector<Unwound> Deeptree::unwindAll(Machine machine)
{
    StackUnwinder unwinder(
        [this](std::uint32_t segment) -> const std::string& {
            static const std::string none;
            const auto found = files.find(m_paths.at(segment));
            return found != files.end() ? found->second : none;
        },
        machine);
    m_unwinder = &unwinder;
    m_unwound.clear();
    m_recording.deliver(*this, {perfdata::Deliver::Samples, {}});
    m_unwinder = nullptr;
    return m_unwound;
}

} // namespace samplefold::unwind::testing
