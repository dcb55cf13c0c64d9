#pragma once

#include "perfdata/sample.h"
#include "session/address_space.h"
#include "unwind/stop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace samplefold::unwind {

/// Which machine a recording is of, as far as unwinding goes.
enum class Machine : std::uint8_t { x86_64, other };

/// Finds the user call stacks of samples that were recorded with registers and a copy of the top of
/// the stack, by the unwind tables of the files that were found. What was read of a file is kept,
/// and so is what libdwfl knows of the processes it was asked about last. Loading thread only.
class StackUnwinder {
public:
    /// Path of the file behind a segment number (session::Place::segment); empty where none was
    /// found. Asked once per segment.
    using file_of_t = std::function<const std::string&(std::uint32_t segment)>;

    /// No stack gives more frames.
    static constexpr std::size_t maxFrames = 1024;
    /// Of so many processes libdwfl's state is kept.
    static constexpr std::size_t maxProcesses = 64;

    StackUnwinder(file_of_t fileOf, Machine machine);
    ~StackUnwinder();

    /// Puts the stack into `frames`: the sampled user address, then return addresses as they stand
    /// on the stack, the outermost last. `stack` begins at the stack pointer. Returns why it ended
    /// there; frames found until then stay. `frames` is empty when the registers tell no address.
    /// The address space outlives this object.
    Stop unwind(session::AddressSpace& space, std::uint64_t tick,
                const perfdata::Registers& registers, std::span<const std::byte> stack,
                std::vector<std::uint64_t>& frames);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace samplefold::unwind
