#include "command_line_model.h"

#include <samplefold_1/utils_command_line.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/tokenizer.hpp>

#include <gtest/gtest.h>

#include <random>

// Random command lines out of the letters that mean something, against Boost's own functions and
// against models.
namespace samplefold_1::utils {
namespace {

using samplefold_test::SplitOutcome;
using arguments_t = std::vector<std::string>;

constexpr int g_rounds = 60'000;

class RandomLines {
public:
    std::string next()
    {
        static const std::string letters = "\\\\\\\"\"\"''  \t\nnab.exe\r\v\f";
        if (m_random() % 8 == 0) return "a.exe " + text(letters);
        return text(letters);
    }

private:
    std::string text(const std::string& letters)
    {
        std::string line(m_random() % 24, ' ');
        for (char& letter : line)
            letter = m_random() % 200 == 0 ? '\0' : letters[m_random() % letters.size()];
        return line;
    }

    std::mt19937 m_random{20240607};
};

template <class Split>
SplitOutcome outcomeOf(const Split& split)
{
    try {
        return {split(), {}};
    } catch (const boost::escaped_list_error& error) {
        return {{}, error.what()};
    }
}

/// The tokenizer below Boost's function, with the empty tokens taken out.
arguments_t tokens(const std::string& line)
{
    const boost::escaped_list_separator<char> rules("\\", " \t", "'\"");
    arguments_t all;
    for (const std::string& token : boost::tokenizer(line, rules))
        if (!token.empty()) all.push_back(token);
    return all;
}

TEST(RandomSplit, PosixRulesAreThoseOfBoost)
{
    RandomLines lines;
    int failures = 0;
    for (int round = 0; round < g_rounds; ++round) {
        const std::string line = lines.next();
        const SplitOutcome ours = outcomeOf([&] { return splitCmdlinePosixStyle(line); });
        ASSERT_EQ(ours, outcomeOf([&] {
                      return boost::program_options::split_unix(line, " \t", "'\"", "\\");
                  }))
            << line;
        ASSERT_EQ(ours, outcomeOf([&] { return tokens(line); })) << line;
        failures += ours.failure.empty() ? 0 : 1;
    }
    EXPECT_GT(failures, g_rounds / 10);
    EXPECT_LT(failures, g_rounds / 10 * 9);
}

TEST(RandomSplit, WhiteSpaceIsCutAsByBoost)
{
    RandomLines lines;
    for (int round = 0; round < g_rounds; ++round) {
        const std::string line = lines.next();
        arguments_t expected;
        boost::split(expected, line, boost::is_any_of(" \t"), boost::token_compress_on);
        std::erase(expected, "");
        ASSERT_EQ(splitCmdlineByWhitespace(line), expected) << line;
    }
}

TEST(RandomSplit, AllRulesAreThoseOfTheModels)
{
    RandomLines lines;
    for (int round = 0; round < g_rounds; ++round) {
        const std::string line = lines.next();
        ASSERT_TRUE(samplefold_test::splittersAgree(line)) << line;
    }
}

} // namespace
} // namespace samplefold_1::utils
