// Stacks that nobody would have: each ends, with a cause.
#include "deeptree.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace samplefold::unwind::testing {
namespace {

constexpr std::size_t g_frameRegister = 6; ///< in the recording's order: ax bx cx dx si di bp sp ip
constexpr std::size_t g_stackRegister = 7;
constexpr std::size_t g_instruction = 8;

bool holdsLimit(const std::vector<Unwound>& stacks)
{
    for (const Unwound& stack : stacks)
        if (stack.frames.empty() || stack.frames.size() > StackUnwinder::maxFrames) return false;
    return !stacks.empty();
}

TEST(MadeStack, OfRandomBytesEnds)
{
    Deeptree recording;
    std::mt19937_64 random(1);
    recording.change = [&](auto&, std::vector<std::byte>& stack) {
        for (std::byte& byte : stack)
            byte = static_cast<std::byte>(random());
    };
    EXPECT_TRUE(holdsLimit(recording.unwindAll()));
}

/// Saved frame pointers and return addresses lead back to themselves.
TEST(MadeStack, ThatPointsAtItselfEnds)
{
    Deeptree recording;
    const std::uint64_t code = recording.codeOf("/opt/sfdemo/deeptree").first + 0x1f3;
    recording.change = [&](std::vector<std::uint64_t>& registers, std::vector<std::byte>& stack) {
        const std::uint64_t pointer = registers[g_stackRegister];
        for (std::size_t at = 0; at + 16 <= stack.size(); at += 16) {
            std::memcpy(&stack[at], &pointer, 8);
            std::memcpy(&stack[at + 8], &code, 8);
        }
        registers[g_frameRegister] = pointer;
        registers[g_instruction] = code;
    };
    const auto stacks = recording.unwindAll();
    EXPECT_TRUE(holdsLimit(stacks));
    for (const Unwound& stack : stacks)
        EXPECT_EQ(stack.stop, Stop::badFrame);
}

TEST(MadeStack, WithChangedBytesGivesOnlyAddressesThatStandOnIt)
{
    Deeptree recording;
    std::mt19937_64 random(2);
    std::vector<std::vector<std::byte>> copies;
    recording.change = [&](auto&, std::vector<std::byte>& stack) {
        for (int i = 0; i < 20; ++i)
            stack[random() % stack.size()] = static_cast<std::byte>(random());
        copies.push_back(stack);
    };
    const auto stacks = recording.unwindAll();
    EXPECT_TRUE(holdsLimit(stacks));
    for (std::size_t i = 0; i < stacks.size(); ++i) {
        const std::string_view bytes(reinterpret_cast<const char*>(copies[i].data()),
                                     copies[i].size());
        for (std::size_t frame = 1; frame < stacks[i].frames.size(); ++frame) {
            const std::string_view address(reinterpret_cast<const char*>(&stacks[i].frames[frame]),
                                           8);
            EXPECT_NE(bytes.find(address), std::string_view::npos);
        }
    }
}

TEST(MadeStack, WithRegistersAtTheEndsOfMemoryEnds)
{
    Deeptree recording;
    for (const std::uint64_t value :
         {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}, ~std::uint64_t{7}}) {
        recording.change = [&](std::vector<std::uint64_t>& registers, auto&) {
            registers[g_frameRegister] = value;
            registers[g_stackRegister] = value;
        };
        EXPECT_TRUE(holdsLimit(recording.unwindAll()));
    }
}

TEST(MadeStack, WithAnInstructionOutsideEveryMappingHasThatFrameAlone)
{
    Deeptree recording;
    recording.change = [&](std::vector<std::uint64_t>& registers, auto&) {
        registers[g_instruction] = 0x1234;
    };
    for (const Unwound& stack : recording.unwindAll()) {
        EXPECT_EQ(stack.stop, Stop::noMapping);
        EXPECT_EQ(stack.frames, std::vector<std::uint64_t>{0x1234});
    }
}

} // namespace
} // namespace samplefold::unwind::testing
