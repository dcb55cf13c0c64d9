#include "support/temporary_folder.h"

#include <samplefold_1/loader_context.h>

#include <gtest/gtest.h>

namespace samplefold_test {
namespace {

using parser_t = samplefold_1::LoaderContext::JitPathOptionParser;
using texts_t = std::vector<std::string>;

/// The NUL-terminated texts, read through their addresses.
texts_t cTexts(const parser_t& parser)
{
    return {parser.cStrings.begin(), parser.cStrings.end()};
}

TEST(JitPathOption, AnEmptyTextGivesNoPath)
{
    const parser_t parser("");
    EXPECT_TRUE(parser.paths.empty());
    EXPECT_TRUE(parser.cStrings.empty());
}

TEST(JitPathOption, TwoDirectoriesWithNothingBetweenTwoSeparatorsGiveTwoPaths)
{
    const TemporaryFolder root;
    const std::string a = root.addFolder("a");
    const std::string b = root.addFolder("b");
    const parser_t parser(";" + a + ";;" + b + ";");
    EXPECT_EQ((texts_t{a, b}), parser.paths);
    EXPECT_EQ((texts_t{a, b}), cTexts(parser));
}

TEST(JitPathOption, WhatIsNoDirectoryIsDroppedWithoutAWord)
{
    const TemporaryFolder root;
    const std::string file = root.addFile("file", "text");
    const std::string folder = root.addFolder("folder");
    testing::internal::CaptureStderr();
    const parser_t parser(root.path("missing") + ";" + file + ";" + folder);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(texts_t{folder}, parser.paths);
    EXPECT_EQ(texts_t{folder}, cTexts(parser));
}

TEST(JitPathOption, PathsKeepTheirOrderTheirSpacesAndTheirRepetitions)
{
    const TemporaryFolder root;
    const std::string z = root.addFolder("z with a space,and-more");
    const std::string a = root.addFolder("a");
    const parser_t parser(z + ";" + a + ";" + z);
    EXPECT_EQ((texts_t{z, a, z}), parser.paths);
}

TEST(JitPathOption, TheAddressesOfManyShortPathsAreThoseOfThePaths)
{
    // Short texts live inside the string objects, which move when their vector grows.
    std::string option;
    for (int i = 0; i < 100; ++i)
        option += i % 2 == 0 ? "/;" : "/tmp;";
    const parser_t parser(option);
    ASSERT_EQ(100u, parser.paths.size());
    ASSERT_EQ(100u, parser.cStrings.size());
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(parser.paths[i].c_str(), parser.cStrings[i]);
        EXPECT_STREQ(i % 2 == 0 ? "/" : "/tmp", parser.cStrings[i]);
    }
}

} // namespace
} // namespace samplefold_test
