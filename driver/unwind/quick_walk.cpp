#include "unwind/quick_walk.h"

namespace samplefold::unwind {
namespace {

/// What is known of the frame in hand.
struct Frame {
    std::uint64_t stackPointer;
    std::uint64_t framePointer;
    std::uint64_t returnAddress;
};

enum class Step { done, stopped, notByRule };

std::uint64_t plus(std::uint64_t address, std::int64_t offset)
{
    return address + static_cast<std::uint64_t>(offset);
}

/// Turns a frame into its caller's.
Step goUp(const FrameRule& rule, const StackDump& stack, Frame& frame, Stop& stop)
{
    if (rule.kind == FrameRule::Kind::other) return Step::notByRule;
    stop = Stop::complete;
    if (rule.kind == FrameRule::Kind::outermost) return Step::stopped;
    const std::uint64_t base = rule.isFromFrame ? frame.framePointer : frame.stackPointer;
    const std::uint64_t top = plus(base, rule.offset);
    const std::uint64_t returnAt = plus(top, rule.returnAt);
    if (!stack.read(returnAt, frame.returnAddress)) {
        stop = stack.isAbove(returnAt) ? Stop::stackEnd : Stop::outsideDump;
        return Step::stopped;
    }
    if (rule.savesFrame && !stack.read(plus(top, rule.frameAt), frame.framePointer))
        return Step::notByRule;
    if (frame.returnAddress == 0) return Step::stopped;
    stop = Stop::badFrame; // a caller's frame lies above its callee's
    if (top <= frame.stackPointer && stack.holds(top)) return Step::stopped;
    frame.stackPointer = top;
    return Step::done;
}

} // namespace

bool quickWalk(const UserRegisters& registers, const StackDump& stack, const code_at_t& codeAt,
               std::size_t maxFrames, std::vector<std::uint64_t>& frames, Stop& stop)
{
    if (!registers.has(UserRegisters::framePointer)) return false;
    Frame frame{stack.start, registers[UserRegisters::framePointer], 0};
    std::uint64_t address = registers[UserRegisters::instruction];
    while (true) {
        Code code;
        if (!codeAt(address, code, stop)) return true;
        const FrameRule rule = code.file->rules().at(address - code.bias);
        const Step step = goUp(rule, stack, frame, stop);
        if (step != Step::done) return step == Step::stopped;
        stop = Stop::tooDeep;
        if (frames.size() >= maxFrames) return true;
        frames.push_back(frame.returnAddress);
        address = frame.returnAddress - 1; // a call may be the last instruction of its function
    }
}

} // namespace samplefold::unwind
