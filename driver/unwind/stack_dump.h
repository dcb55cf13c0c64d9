#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace samplefold::unwind {

/// The copied part of a stack. It owns nothing.
struct StackDump {
    /// How far above the copy an address still counts as one of the stack.
    static constexpr std::uint64_t farthest = std::uint64_t{64} << 20;

    std::uint64_t start = 0; ///< address of the first byte: the stack pointer
    std::span<const std::byte> bytes;

    /// Reads the eight bytes at `address`; false when they are not all in the copy.
    bool read(std::uint64_t address, std::uint64_t& word) const
    {
        const std::uint64_t offset = address - start;
        if (offset >= bytes.size() || bytes.size() - offset < sizeof word) return false;
        std::memcpy(&word, bytes.data() + offset, sizeof word);
        return true;
    }
    bool holds(std::uint64_t address) const { return address - start < bytes.size(); }
    /// Whether an address that is not in the copy lies where the stack goes on above it.
    bool isAbove(std::uint64_t address) const
    {
        const std::uint64_t offset = address - start;
        return offset + sizeof(std::uint64_t) > bytes.size() && offset < bytes.size() + farthest;
    }
};

} // namespace samplefold::unwind
