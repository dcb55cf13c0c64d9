#include "unwind/stack_unwinder.h"

#include "unwind/code_file.h"
#include "unwind/frame_walk.h"
#include "unwind/quick_walk.h"
#include "unwind/stack_dump.h"
#include "unwind/user_registers.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

namespace samplefold::unwind {
namespace {

constexpr std::uint64_t g_abi32 = 1;

/// The files behind segments, each opened once.
class CodeFiles {
public:
    explicit CodeFiles(StackUnwinder::file_of_t fileOf) : m_fileOf(std::move(fileOf)) {}

    /// Null when there is none; then `stop` says why.
    const CodeFile* find(std::uint32_t segment, Stop& stop)
    {
        const auto [known, isNew] = m_bySegment.try_emplace(segment);
        if (isNew) known->second = open(m_fileOf(segment));
        stop = known->second.stop;
        return known->second.file;
    }

private:
    struct Found {
        const CodeFile* file = nullptr;
        Stop stop = Stop::noFile;
    };

    Found open(const std::string& path)
    {
        if (path.empty()) return {};
        const auto [known, isNew] = m_byPath.try_emplace(path);
        if (isNew) known->second = CodeFile::open(path);
        return {known->second.get(), Stop::badFile};
    }

    StackUnwinder::file_of_t m_fileOf;
    std::unordered_map<std::uint32_t, Found> m_bySegment;
    std::map<std::string, std::unique_ptr<CodeFile>> m_byPath;
};

/// What libdwfl knows of processes, the one used last in front.
class Walks {
public:
    FrameWalk& of(const session::AddressSpace& space)
    {
        const auto known = std::find_if(m_walks.begin(), m_walks.end(),
                                        [&](const auto& entry) { return entry.first == &space; });
        if (known != m_walks.end()) {
            std::rotate(m_walks.begin(), known, known + 1);
        } else {
            if (m_walks.size() == StackUnwinder::maxProcesses) m_walks.pop_back();
            m_walks.emplace(m_walks.begin(), &space, std::make_unique<FrameWalk>());
        }
        return *m_walks.front().second;
    }
    /// Replaces the one used last by a new one.
    FrameWalk& renew()
    {
        m_walks.front().second = std::make_unique<FrameWalk>();
        return *m_walks.front().second;
    }

private:
    std::vector<std::pair<const session::AddressSpace*, std::unique_ptr<FrameWalk>>> m_walks;
};

} // namespace

struct StackUnwinder::State {
    CodeFiles files; ///< outlives the walks
    Walks walks;
    Machine machine;
};

StackUnwinder::StackUnwinder(file_of_t fileOf, Machine machine)
    : m_state(new State{CodeFiles(std::move(fileOf)), {}, machine})
{
}

StackUnwinder::~StackUnwinder() = default;

Stop StackUnwinder::unwind(session::AddressSpace& space, std::uint64_t tick,
                           const perfdata::Registers& recorded, std::span<const std::byte> bytes,
                           std::vector<std::uint64_t>& frames)
{
    frames.clear();
    if (m_state->machine != Machine::x86_64) return Stop::machine;
    const UserRegisters registers(recorded);
    if (!registers.has(UserRegisters::instruction)) return Stop::noRegisters;
    frames.push_back(registers[UserRegisters::instruction]);
    if (recorded.abi == g_abi32) return Stop::abi32;
    if (!registers.has(UserRegisters::stackPointer)) return Stop::noRegisters;
    if (bytes.empty()) return Stop::noStack;

    const StackDump stack{registers[UserRegisters::stackPointer], bytes};
    const code_at_t codeAt = [&](std::uint64_t address, Code& code, Stop& stop) {
        session::Place place;
        stop = Stop::noMapping;
        if (!space.find(address, tick, place)) return false;
        stop = Stop::plainMemory;
        if (!place.hasImage) return false;
        code.file = m_state->files.find(place.segment, stop);
        return code.file != nullptr && code.file->biasOf(place.rva, address, code.bias);
    };
    Stop stop = Stop::failed;
    if (quickWalk(registers, stack, codeAt, maxFrames, frames, stop)) return stop;
    frames.resize(1);
    FrameWalk& walk = m_state->walks.of(space);
    stop = walk.walk(registers, stack, codeAt, maxFrames, frames);
    if (!walk.isOutdated()) return stop;
    frames.resize(1);
    return m_state->walks.renew().walk(registers, stack, codeAt, maxFrames, frames);
}

} // namespace samplefold::unwind
