#pragma once

#include "unwind/frame_walk.h"

namespace samplefold::unwind {

/// Follows a stack by the rules that CodeFile::rules keeps, which takes a small part of the time
/// that libdwfl does. False where a frame has another kind of rule, or none: then the stack is to
/// be followed by FrameWalk from its start, and `frames` has come to hold more than it had.
/// Arguments and `stop` as there.
bool quickWalk(const UserRegisters& registers, const StackDump& stack, const code_at_t& codeAt,
               std::size_t maxFrames, std::vector<std::uint64_t>& frames, Stop& stop);

} // namespace samplefold::unwind
