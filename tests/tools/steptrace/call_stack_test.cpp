#include "call_stack.h"

#include <gtest/gtest.h>

namespace steptrace {
namespace {

using Addresses = std::vector<std::uint64_t>;

constexpr std::uint64_t leaf = 0x400500;

CallStack threeCallsDeep()
{
    CallStack stack;
    stack.call(0x400010, 0x7fff0100);
    stack.call(0x400020, 0x7fff00c0);
    stack.call(0x400030, 0x7fff0080);
    return stack;
}

TEST(CallStack, tells_callers_from_the_leaf_outwards)
{
    EXPECT_EQ(threeCallsDeep().chain(leaf), (Addresses{leaf, 0x400030, 0x400020, 0x400010}));
}

TEST(CallStack, keeps_a_call_until_the_stack_pointer_has_passed_its_slot)
{
    CallStack stack = threeCallsDeep();
    stack.leaveBelow(0x7fff0080);
    EXPECT_EQ(stack.frames().size(), 3U);
    stack.leaveBelow(0x7fff0088);
    EXPECT_EQ(stack.chain(leaf), (Addresses{leaf, 0x400020, 0x400010}));
}

TEST(CallStack, leaves_several_calls_at_a_jump_out_of_them)
{
    CallStack stack = threeCallsDeep();
    stack.leaveBelow(0x7fff00d0);
    EXPECT_EQ(stack.chain(leaf), (Addresses{leaf, 0x400010}));
}

TEST(CallStack, takes_a_call_into_a_slot_in_use_as_the_end_of_the_one_before)
{
    CallStack stack = threeCallsDeep();
    stack.call(0x400040, 0x7fff00c0);
    EXPECT_EQ(stack.chain(leaf), (Addresses{leaf, 0x400040, 0x400010}));
}

} // namespace
} // namespace steptrace
