// The true call stack of a program that is watched step by step.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace steptrace {

/// Calls that have not been left. A call is left when the stack pointer has passed the slot of its
/// return address, however it came there: a return, a longjmp and a caught exception are all the
/// same, and a jump to another function changes nothing.
class CallStack {
public:
    struct Frame {
        std::uint64_t returnAddress;
        std::uint64_t slot; ///< where on the stack the call put it
    };

    /// A call that put `returnAddress` into `slot`. Frames at or below that slot were left unseen.
    void call(std::uint64_t returnAddress, std::uint64_t slot)
    {
        leaveBelow(slot + 1);
        m_frames.push_back({returnAddress, slot});
    }

    /// Leaves all frames whose slot is below the stack pointer.
    void leaveBelow(std::uint64_t stackPointer)
    {
        while (!m_frames.empty() && m_frames.back().slot < stackPointer)
            m_frames.pop_back();
    }

    /// Outermost first.
    [[nodiscard]] const std::vector<Frame>& frames() const { return m_frames; }

    /// `leaf` and then return addresses, the newest first.
    [[nodiscard]] std::vector<std::uint64_t> chain(std::uint64_t leaf) const
    {
        std::vector<std::uint64_t> addresses{leaf};
        for (auto frame = m_frames.rbegin(); frame != m_frames.rend(); ++frame)
            addresses.push_back(frame->returnAddress);
        return addresses;
    }

private:
    std::vector<Frame> m_frames;
};

} // namespace steptrace
