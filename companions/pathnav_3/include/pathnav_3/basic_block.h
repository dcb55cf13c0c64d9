#pragma once

#include <pathnav_3/export.h>

#include <cstdint>
#include <limits>

namespace pathnav_3 {

/// How a basic block ends.
enum class terminator_t : std::int32_t {
    fallThrough = 0, ///< the next block begins because something jumps to it
    conditional = 1, ///< a conditional jump, a loop, the begin of a transaction
    jump = 2,        ///< an unconditional jump, direct or not
    call = 3,
    trap = 4,   ///< nothing runs on from here: ud2, hlt, int3
    ret = 5,    ///< leaves the function: ret, iret, sysret, sysexit
    invalid = 6 ///< a byte that begins no instruction, which is the last one of the block, or the
                ///< end of the code
};

/// A run of instructions that is entered at its first and left at its last. Lives until its
/// navigator ends; what it tells may change when its navigator moves, since a jump into its middle
/// that is met later cuts it there. One thread, as the navigator.
class PATHNAV_API IBasicBlock {
public:
    static constexpr std::uint64_t unknownTarget = std::numeric_limits<std::uint64_t>::max();

    virtual std::uint64_t getStart() const noexcept = 0;         ///< RVA of the first byte
    virtual std::uint64_t getSize() const noexcept = 0;          ///< bytes, at least 1
    virtual std::int32_t getTerminatorKind() const noexcept = 0; ///< a terminator_t
    /// RVA that the terminator goes to; unknownTarget for what is computed, and where it goes
    /// nowhere.
    virtual std::uint64_t getTarget() const noexcept = 0;
    /// RVA of the last instruction.
    virtual std::uint64_t getLastInstruction() const noexcept = 0;
    /// Whether the target is not to be followed within the function: that of a call is not, that
    /// of a jump is, even into another function.
    virtual bool isTargetExcluded() const noexcept = 0;
    /// A word for the search in hand, 0 in a new block; it stays with the block's first bytes when
    /// it is cut.
    virtual std::uint64_t& visitMark() noexcept = 0;

protected:
    ~IBasicBlock() = default;
};

} // namespace pathnav_3
