// Numbers of registers in recordings and in DWARF.
#include "unwind/user_registers.h"

#include <asm/perf_regs.h>
#include <gtest/gtest.h>

#include <vector>

namespace samplefold::unwind {
namespace {

/// DWARF numbers by the System V psABI for x86-64, figure "DWARF Register Number Mapping".
const std::vector<std::pair<int, std::size_t>> g_numbers{
    {PERF_REG_X86_AX, 0},   {PERF_REG_X86_DX, 1},   {PERF_REG_X86_CX, 2},   {PERF_REG_X86_BX, 3},
    {PERF_REG_X86_SI, 4},   {PERF_REG_X86_DI, 5},   {PERF_REG_X86_BP, 6},   {PERF_REG_X86_SP, 7},
    {PERF_REG_X86_R8, 8},   {PERF_REG_X86_R9, 9},   {PERF_REG_X86_R10, 10}, {PERF_REG_X86_R11, 11},
    {PERF_REG_X86_R12, 12}, {PERF_REG_X86_R13, 13}, {PERF_REG_X86_R14, 14}, {PERF_REG_X86_R15, 15},
    {PERF_REG_X86_IP, 16}};

perfdata::Registers recorded(std::uint64_t mask, const std::vector<std::uint64_t>& values)
{
    return {2, mask, {reinterpret_cast<const std::byte*>(values.data()), values.size()}};
}

TEST(UserRegisters, EachHasItsDwarfNumber)
{
    for (const auto& [bit, number] : g_numbers) {
        const std::vector<std::uint64_t> value{4711};
        const UserRegisters registers(recorded(std::uint64_t{1} << bit, value));
        for (std::size_t i = 0; i < UserRegisters::count; ++i)
            EXPECT_EQ(registers.has(i), i == number) << "bit " << bit;
        EXPECT_EQ(registers[number], 4711U);
    }
}

TEST(UserRegisters, SegmentAndVectorRegistersTakeTheirWordsAndNothingElse)
{
    const std::vector<std::uint64_t> values{1, 2, 3, 4, 5};
    const UserRegisters registers(recorded(1ULL << PERF_REG_X86_IP | 1ULL << PERF_REG_X86_FLAGS |
                                               1ULL << PERF_REG_X86_CS | 1ULL << PERF_REG_X86_R8 |
                                               1ULL << PERF_REG_X86_XMM0,
                                           values));
    EXPECT_EQ(registers[16], 1U);
    EXPECT_EQ(registers[8], 4U);
    EXPECT_FALSE(registers.has(9));
}

TEST(UserRegisters, AMaskWithoutValuesHasNone)
{
    const UserRegisters registers(recorded(~std::uint64_t{0}, {}));
    EXPECT_FALSE(registers.has(UserRegisters::instruction));
}

} // namespace
} // namespace samplefold::unwind
