#pragma once

#include <rowvault1/result.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::report {

/// A frame of one call chain.
struct ChainFrame {
    std::int64_t location = -1; ///< row of dd_code_location; equal places have the same
    std::string module;         ///< file name; empty outside every known module
    std::uint64_t rva = 0;      ///< relative to the module; the plain address outside modules
    std::string function;       ///< empty when not known
    /// It is no place in code, but says that the chain goes on, not how.
    bool goesOn = false;
};

/// The function, or the module with the address in it, or the plain address; of a frame that says
/// that the chain goes on, just that.
std::string frameText(const ChainFrame& frame);

/// The chain of a row of dd_callsite from its leaf on; empty for a row that is not there. Throws
/// rowvault1::StoreError.
std::vector<ChainFrame> readChain(rowvault1::IResult& result, std::int64_t leaf);

/// Positions of frames in two chains that stand beside each other.
struct FramePair {
    std::optional<std::size_t> left;
    std::optional<std::size_t> right;

    bool operator==(const FramePair&) const = default;
};

/// Lays two chains side by side, from their leaves on, so that equal frames come beside each other
/// where only few that differ are between them. Every frame of both comes up once.
std::vector<FramePair> sideBySide(const std::vector<ChainFrame>& left,
                                  const std::vector<ChainFrame>& right);

} // namespace samplefold::report
