#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

using Elf = struct Elf;
using Dwarf_CFI = struct Dwarf_CFI_s;
using Dwarf_Frame = struct Dwarf_Frame_s;

namespace samplefold::unwind {

/// How the caller of a place in code is found, as compilers have it nearly everywhere: the caller's
/// stack pointer is a register with an offset, and from there on the stack are the return address
/// and, where it was saved, the frame pointer.
struct FrameRule {
    enum class Kind : std::uint8_t {
        other,     ///< anything else, or no rule at all
        outermost, ///< there is no caller
        simple,    ///< the fields below tell
    };

    Kind kind = Kind::other;
    bool isFromFrame = false;  ///< the register is the frame pointer, else the stack pointer
    bool savesFrame = false;   ///< the caller's frame pointer is on the stack, else it is the same
    std::int64_t offset = 0;   ///< from the register to the caller's stack pointer
    std::int64_t returnAt = 0; ///< from there to the return address
    std::int64_t frameAt = 0;  ///< from there to the frame pointer
};

/// The rules of a file by address, each read out of the tables once. For one thread.
class FrameRules {
public:
    /// Rules are kept for so many addresses, then all are read anew.
    static constexpr std::size_t mostKept = 1U << 20;

    /// `image` outlives the object.
    explicit FrameRules(::Elf* image);
    ~FrameRules();
    FrameRules(const FrameRules&) = delete;
    FrameRules& operator=(const FrameRules&) = delete;

    /// The rule at an address of the file.
    FrameRule at(std::uint64_t address);

private:
    FrameRule read(std::uint64_t address) const;

    Dwarf_CFI* m_table; ///< null when the file has none
    std::unordered_map<std::uint64_t, FrameRule> m_known;
};

} // namespace samplefold::unwind
