#pragma once

#include "unwind/code_file.h"
#include "unwind/stack_dump.h"
#include "unwind/stop.h"
#include "unwind/user_registers.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

using Dwfl = struct Dwfl;
using Dwfl_Module = struct Dwfl_Module;
using Dwfl_Frame = struct Dwfl_Frame;
using Dwfl_Thread = struct Dwfl_Thread;

namespace samplefold::unwind {

/// Where code lies in memory.
struct Code {
    const CodeFile* file = nullptr;
    std::uint64_t bias = 0; ///< see CodeFile::biasOf
};

/// Finds the code at an address; else says why there is none.
using code_at_t = std::function<bool(std::uint64_t address, Code& code, Stop& stop)>;

/// Walks the stacks of one process by libdwfl, which keeps the modules that were met and what it
/// has read of their tables. For one thread.
class FrameWalk {
public:
    FrameWalk();
    ~FrameWalk();
    FrameWalk(const FrameWalk&) = delete;
    FrameWalk& operator=(const FrameWalk&) = delete;

    /// Appends the return addresses of a stack to `frames`, up to `maxFrames` in all; the sampled
    /// address is there already. `codeAt` is asked about every frame before it is left. The files
    /// that it gives outlive this object.
    Stop walk(const UserRegisters& registers, const StackDump& stack, const code_at_t& codeAt,
              std::size_t maxFrames, std::vector<std::uint64_t>& frames);

    /// Whether the last walk ended since another module now lies where one was: the process has
    /// changed its mappings. A new object does better.
    bool isOutdated() const { return m_isOutdated; }

private:
    struct Calls; ///< what libdwfl calls
    /// A walk that is under way.
    struct Walk {
        const UserRegisters& registers;
        const StackDump& stack;
        const code_at_t& codeAt;
        std::size_t maxFrames;
        std::vector<std::uint64_t>& frames;
        bool isFirst = true;
        std::uint64_t address = 0; ///< by which the latest frame's tables are looked up
        Dwfl_Module* module = nullptr;
        std::uint64_t stackPointer = 0;
        bool wantsAbove = false; ///< memory that libdwfl wanted since the latest frame
        bool wantsOutside = false;
        Stop stop = Stop::complete;
        bool isStopped = false; ///< by this side, for the reason in `stop`
        std::exception_ptr failure;
    };

    bool attach(const CodeFile& file);
    Dwfl_Module* report(const Code& code);
    bool enter(std::uint64_t address);
    bool onFrame(Dwfl_Frame* frame);
    bool goesUp(Dwfl_Frame* frame);
    bool refuse(Stop stop);
    Stop reasonOfEnd(bool isFine) const;

    Dwfl* m_dwfl = nullptr;
    bool m_isAttached = false;
    bool m_isOutdated = false;
    std::map<std::pair<const CodeFile*, std::uint64_t>, Dwfl_Module*> m_modules; ///< by bias too
    Walk* m_walk = nullptr;
};

} // namespace samplefold::unwind
