#pragma once

#include <cstddef>
#include <cstdint>

namespace samplefold::unwind {

/// Why the unwinding of a stack went no further.
enum class Stop : std::uint8_t {
    complete,     ///< the outermost frame was reached
    noRegisters,  ///< the sample has no user registers, or not those that are needed
    abi32,        ///< 32-bit code
    machine,      ///< the recording is of a machine other than x86-64
    noStack,      ///< the sample has no bytes of the stack
    noMapping,    ///< a frame's address lies in no known mapping
    plainMemory,  ///< a frame's code lies in memory without a file
    noFile,       ///< the file of a frame's module was not found
    badFile,      ///< that file is damaged, of another machine, or does not hold the address
    noUnwindInfo, ///< nothing says how a frame's caller is found
    stackEnd,     ///< the next step needs what stood above the copied part of the stack
    outsideDump,  ///< the next step needs memory that is no part of the stack
    badFrame,     ///< the stack or its description makes no sense, such as a frame below its callee
    tooDeep,      ///< more frames than StackUnwinder::maxFrames
    failed,       ///< libdwfl refused
};
inline constexpr std::size_t stopCount = static_cast<std::size_t>(Stop::failed) + 1;

/// What the user reads about a cause. Texts are constants.
struct StopText {
    const char* reason;
    const char* remedy; ///< what the user can do
};

/// The text of a cause; that of `complete` is empty.
StopText textOf(Stop stop);

} // namespace samplefold::unwind
