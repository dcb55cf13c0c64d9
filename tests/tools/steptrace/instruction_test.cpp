#include "instruction.h"

#include <gtest/gtest.h>

#include <vector>

namespace steptrace {
namespace {

struct Case {
    const char* name;
    std::vector<std::uint8_t> bytes;
    InstructionKind kind;
};

class Instructions : public testing::TestWithParam<Case> {};

TEST_P(Instructions, are_told_apart_by_what_they_do_to_the_stack_and_the_records)
{
    const std::optional<Instruction> found = decode(GetParam().bytes);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->length, GetParam().bytes.size());
    EXPECT_EQ(found->kind, GetParam().kind);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Instructions,
    testing::Values(Case{"call", {0xE8, 1, 0, 0, 0}, InstructionKind::nearCall},
                    Case{
                        "call_through_memory", {0xFF, 0x15, 1, 0, 0, 0}, InstructionKind::nearCall},
                    Case{"far_call", {0xFF, 0x1C, 0x24}, InstructionKind::other},
                    Case{"return_", {0xC3}, InstructionKind::nearReturn},
                    Case{"return_that_drops", {0xC2, 8, 0}, InstructionKind::nearReturn},
                    Case{"return_from_interrupt", {0x48, 0xCF}, InstructionKind::other},
                    Case{"jump", {0xEB, 2}, InstructionKind::jump},
                    Case{"jump_through_register", {0xFF, 0xE0}, InstructionKind::jump},
                    Case{"conditional_jump", {0x75, 2}, InstructionKind::conditionalJump},
                    Case{"system_call", {0x0F, 0x05}, InstructionKind::systemCall},
                    Case{"push", {0x55}, InstructionKind::other}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(Instruction, is_nothing_where_the_bytes_end_early)
{
    EXPECT_FALSE(decode(std::vector<std::uint8_t>{0xE8, 1, 0}));
}

} // namespace
} // namespace steptrace
