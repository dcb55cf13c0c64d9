#include "explore.h"

#include <cstdlib>
#include <vector>

namespace pathnav_test {
namespace {

using namespace pathnav_3;

void require(bool holds)
{
    if (!holds) std::abort();
}

/// What holds for the block at the cursor, which it leaves there.
const IBasicBlock& checkedBlock(IBasicBlockNavigator& navigator)
{
    IBasicBlock* block = navigator.getCurrentBlock();
    require(block != nullptr && block->getSize() != 0);
    const std::uint64_t end = block->getStart() + block->getSize();
    require(block->getStart() <= block->getLastInstruction() && block->getLastInstruction() < end);
    require(end - block->getLastInstruction() <= 15);
    require(block->getTerminatorKind() >= 0 && block->getTerminatorKind() <= 6);
    const auto kind = static_cast<terminator_t>(block->getTerminatorKind());
    require(block->isTargetExcluded() == (kind == terminator_t::call));
    navigator.goTo(block->getStart());
    require(navigator.getCurrentBlock() == block);
    return *block;
}

/// Visits what can be reached from `rva` within the function, each block once.
void search(IBasicBlockNavigator& navigator, std::uint64_t rva, std::uint64_t mark,
            std::uint64_t steps)
{
    std::vector<std::uint64_t> open{rva};
    while (!open.empty() && steps-- > 0) {
        navigator.goTo(open.back());
        open.pop_back();
        IBasicBlock* block = navigator.getCurrentBlock();
        if (block == nullptr || block->visitMark() == mark) continue;
        checkedBlock(navigator);
        block->visitMark() = mark;
        const std::uint64_t target = block->getTarget();
        const std::uint64_t end = block->getStart() + block->getSize();
        if (navigator.stepToFallThrough()) {
            require(navigator.getCurrentBlock()->getStart() == end);
            open.push_back(end);
        } else {
            require(navigator.getCurrentBlock() == block);
        }
        if (target == IBasicBlock::unknownTarget) continue;
        navigator.goTo(target);
        const IBasicBlock* aim = navigator.getCurrentBlock();
        require(aim == nullptr || aim->getStart() == target);
        open.push_back(target);
    }
}

} // namespace

std::uint64_t explore(const ObjectPtr<IDataSource>& source, std::span<const std::uint64_t> places,
                      std::uint64_t steps)
{
    const ObjectPtr<IBasicBlockNavigator> navigator = IBasicBlockNavigator::create(source, 10, 0);
    std::uint64_t mark = 0;
    for (const std::uint64_t place : places) {
        navigator->goTo(place);
        const IBasicBlock* block = navigator->getCurrentBlock();
        if (block == nullptr) continue;
        require(block->getStart() <= place && place - block->getStart() < block->getSize());
        search(*navigator, place, ++mark, steps);
    }
    code_range_t range;
    std::uint64_t seen = 0;
    if (!source->findNextCode(0, range)) return seen;
    navigator->goTo(range.start);
    for (bool isOn = navigator->getCurrentBlock() != nullptr; isOn && seen < steps; ++seen) {
        const std::uint64_t start = checkedBlock(*navigator).getStart();
        isOn = navigator->stepToNext();
        require(!isOn || navigator->getCurrentBlock()->getStart() > start);
    }
    return seen;
}

} // namespace pathnav_test
