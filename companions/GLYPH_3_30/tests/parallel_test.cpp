// Questions from several threads; run under the thread sanitizer too.

#include "sample_program.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

std::string answerAt(const IModuleSymbolBank& bank, std::uint64_t address)
{
    symbol_t symbol;
    std::vector<source_frame_t> frames;
    std::string answer = bank.findSymbol(address, symbol) ? symbol.name : "?";
    bank.findFrames(address, frames);
    for (const source_frame_t& frame : frames)
        answer += std::string(" ") + frame.function + " " + frame.file + std::to_string(frame.line);
    return answer;
}

TEST(Parallel, threadsGetTheAnswersOfOne)
{
    const std::string path = compile("parallel", "-O2 -g");
    const std::vector<std::uint64_t> addresses = addressesOf(codeOf(path), 2000);
    std::vector<std::string> expected;
    const auto alone = openBank(path);
    for (const std::uint64_t address : addresses)
        expected.push_back(answerAt(*alone, address));

    // Two banks over one image: what they share of it is read by whoever comes first.
    const auto image = openImage(path);
    SymMgrObjectPtr<IModuleSymbolBank> banks[2];
    for (auto& bank : banks)
        ASSERT_EQ(IModuleSymbolBank::create(bank, image, nullptr, true, ""), status::success);
    constexpr std::ptrdiff_t threads = 4;
    std::latch start(threads);
    std::vector<std::vector<std::string>> answers(threads);
    {
        std::vector<std::jthread> running;
        for (std::size_t number = 0; number < threads; ++number)
            running.emplace_back([&, number] {
                start.arrive_and_wait();
                for (const std::uint64_t address : addresses)
                    answers[number].push_back(answerAt(*banks[number % 2], address));
            });
    }
    for (const auto& own : answers)
        EXPECT_EQ(own, expected);
}

} // namespace
