// One source, asked by several navigators on threads of their own.

#include "sample_program.h"
#include "walk.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace pathnav_test;

TEST(ParallelNavigators, overOneSourceSeeTheSame)
{
    const auto bank = glyph_test::openBank(glyph_test::compile("shared", "-O1"));
    const auto source = pathnav_3::IGLYPHDataSource::create(bank, false, ~std::uint64_t{0});
    std::vector<std::vector<std::string>> seen(4);
    std::vector<std::thread> threads;
    for (std::vector<std::string>& blocks : seen)
        threads.emplace_back([&blocks, &source] {
            const auto navigator = navigatorOver(source);
            code_range_t range;
            if (!source->findNextCode(0, range)) return;
            blocksFrom(*navigator, range.start); // cuts all that is jumped to
            blocks = blocksFrom(*navigator, range.start);
            source->neverReturns(range.start);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(seen[0].size(), 100u);
    for (const std::vector<std::string>& blocks : seen)
        EXPECT_EQ(blocks, seen[0]);
}

} // namespace
