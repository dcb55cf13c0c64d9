#pragma once

#include <samplefold_1/stack_verifier.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace samplefold::load {

/// Whose addresses frames have. As wide as an address, so that frames can be hashed as bytes.
enum class Space : std::uint64_t { user, kernel, other };

/// One frame of a call chain: the sampled address, or that behind a call.
struct Frame {
    Space space;
    std::uint64_t address;

    bool operator==(const Frame&) const = default;
};

/// The frame that says that a chain goes on, but not how.
inline constexpr Frame skippedFrames{Space::other, samplefold_1::IP_SKIPPED_FRAMES};

inline bool isSkippedFrames(const Frame& frame)
{
    return frame == skippedFrames;
}

/// Frames of a chain apart from that one at its end.
inline std::size_t framesOf(const std::vector<Frame>& chain)
{
    return chain.size() - (!chain.empty() && isSkippedFrames(chain.back()) ? 1 : 0);
}

/// Whose a canonical address is.
inline Space frameSpaceOf(std::uint64_t address)
{
    return (address >> 63) != 0 ? Space::kernel : Space::user;
}

} // namespace samplefold::load
