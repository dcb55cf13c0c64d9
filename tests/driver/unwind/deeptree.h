// The recording of deeptree with copies of the stack, ready to be unwound.
#pragma once

#include "driver/perfdata/oracle_case.h"
#include "driver/session/owned_space.h"
#include "perfdata/recording.h"
#include "unwind/stack_unwinder.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace samplefold::unwind::testing {

/// What a stack became.
struct Unwound {
    std::uint64_t timeNs = 0;
    Stop stop = Stop::complete;
    std::vector<std::uint64_t> frames;
};

/// Mappings of a recording's only process, told from its records.
class Deeptree : private perfdata::RecordSink {
public:
    Deeptree();

    /// The path of a found file by a module's path; files that are not named are not found.
    std::map<std::string, std::string> files;
    /// How many bytes of each stack are used.
    std::size_t stackBytes = SIZE_MAX;
    /// May change registers and bytes before they are used.
    std::function<void(std::vector<std::uint64_t>& registers, std::vector<std::byte>& stack)>
        change;

    /// Unwinds the stacks of all samples.
    std::vector<Unwound> unwindAll(Machine machine = Machine::x86_64);
    /// First and last address of the code of a module.
    std::pair<std::uint64_t, std::uint64_t> codeOf(const std::string& module) const;

private:
    void onMmap(const perfdata::MmapRecord& record) override;
    void onComm(const perfdata::CommRecord& record) override;
    void onSample(const perfdata::Sample& sample) override;

    std::string m_content;
    perfdata::Recording m_recording;
    session::OwnedSpace m_space;
    std::deque<std::string> m_paths; ///< by segment
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> m_code;
    StackUnwinder* m_unwinder = nullptr;
    std::vector<Unwound> m_unwound;
};

/// Where the binaries lie that were recorded.
std::string recordedBinary(const std::string& name);

} // namespace samplefold::unwind::testing
