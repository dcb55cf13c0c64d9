#include <samplefold_1/utils_command_line.h>

#include <boost/token_functions.hpp>

#include <gtest/gtest.h>

#include <ostream>

namespace samplefold_1::utils {
namespace {

using arguments_t = std::vector<std::string>;

struct Row {
    const char* cmdline;
    arguments_t arguments;

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.cmdline; }
};

/// Command lines that POSIX rules take.
class PosixRow : public testing::TestWithParam<Row> {};

TEST_P(PosixRow, IsSplitByPosixRules)
{
    EXPECT_EQ(splitCmdlinePosixStyle(GetParam().cmdline), GetParam().arguments);
}

TEST_P(PosixRow, IsSplitTheSameForACollector)
{
    EXPECT_EQ(splitCollectorCmdline(GetParam().cmdline), GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PosixRow,
    testing::Values(Row{"a b", {"a", "b"}}, Row{"'a b' c", {"a b", "c"}}, Row{R"(a\ b)", {"a b"}},
                    Row{R"(a\nb)", {"a\nb"}}, Row{"it's", {"its"}},
                    Row{"it's \" over", {"its ", "over"}}, Row{"  a\t \tb ", {"a", "b"}},
                    Row{R"("a\"b c")", {"a\"b c"}}, Row{"a '' b", {"a", "b"}},
                    Row{R"(\\ \' \")", {"\\", "'", "\""}}, Row{"a\nb\rc", {"a\nb\rc"}}));

/// Command lines that POSIX rules do not take, or whose arguments by them are dropped.
class CollectorRow : public testing::TestWithParam<Row> {};

TEST_P(CollectorRow, IsSplitByTheRulesThatFit)
{
    EXPECT_EQ(splitCollectorCmdline(GetParam().cmdline), GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CollectorRow,
    testing::Values(Row{"''", {"''"}}, Row{R"(C:\dir\a.exe /x)", {R"(C:\dir\a.exe)", "/x"}},
                    Row{R"(C:\dir\a /x)", {R"(C:\dir\a)", "/x"}},
                    Row{R"(a.exe "b c")", {"a.exe", "\"b", "c\""}}, Row{R"(a b\)", {"a", R"(b\)"}},
                    Row{R"("C:\my dir\a.exe" "x y")", {R"(C:\my dir\a.exe)", "x y"}},
                    Row{R"("C:\my dir\a.EXE" x)", {R"("C:\my)", R"(dir\a.EXE")", "x"}},
                    Row{R"(a.exe C:\x)", {"a.exe", R"(C:\x)"}}, Row{"", {}}, Row{" \t", {}},
                    Row{R"(\)", {R"(\)"}}, Row{R"("" \x)", {"\"\"", R"(\x)"}}));

class PosixFailure : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(PosixFailure, IsTheTokenizersException)
{
    try {
        splitCmdlinePosixStyle(GetParam().first);
        ADD_FAILURE() << "no exception";
    } catch (const boost::escaped_list_error& error) {
        EXPECT_STREQ(error.what(), GetParam().second);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, PosixFailure,
                         testing::Values(std::pair(R"(C:\dir\a.exe /x)", "unknown escape sequence"),
                                         std::pair(R"(C:\dir\a /x)", "unknown escape sequence"),
                                         std::pair(R"(a b\)", "cannot end with escape"),
                                         std::pair(R"("a\x")", "unknown escape sequence")));

TEST(PosixSplit, OfQuotesAloneGivesNoArgument)
{
    EXPECT_TRUE(splitCmdlinePosixStyle("''").empty());
}

TEST(PosixSplit, OfAWindowsProgramIsCleanAndStillDropped)
{
    EXPECT_EQ(splitCmdlinePosixStyle(R"(a.exe "b c")"), (arguments_t{"a.exe", "b c"}));
}

class WindowsRow : public testing::TestWithParam<Row> {};

TEST_P(WindowsRow, IsSplitByWindowsRules)
{
    EXPECT_EQ(splitCmdlineWindowsStyle(GetParam().cmdline), GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WindowsRow,
    testing::Values(Row{R"(a\\b)", {R"(a\\b)"}}, Row{R"(a\\"b c")", {R"(a\b c)"}},
                    Row{R"(a\"b)", {R"(a"b)"}}, Row{R"("")", {""}},
                    Row{R"(a "" b)", {"a", "", "b"}}, Row{"a  b ", {"a", "b"}},
                    Row{R"("a b)", {"a b"}}, Row{"a'b c'", {"a'b", "c'"}}, Row{"", {}},
                    Row{" \t\n\v\f\r", {}},
                    Row{" a\tb\nc\vd\fe\rf", {"a", "b", "c", "d", "e", "f"}},
                    Row{R"(a\\\"b)", {R"(a\"b)"}}, Row{R"(a\\ b\)", {R"(a\\)", R"(b\)"}},
                    Row{R"(")", {""}}, Row{R"("" "")", {"", ""}}, Row{R"(a"" b)", {"a", "b"}},
                    Row{R"("a ""b c")", {"a b c"}}, Row{R"(\ \)", {R"(\)", R"(\)"}}));

TEST(WhitespaceSplit, KnowsNeitherQuotesNorEscapes)
{
    EXPECT_EQ(splitCmdlineByWhitespace("\t'a b'  \"c\\ d\\"),
              (arguments_t{"'a", "b'", "\"c\\", "d\\"}));
    EXPECT_TRUE(splitCmdlineByWhitespace("").empty());
    EXPECT_EQ(splitCmdlineByWhitespace("a\nb"), arguments_t{"a\nb"});
}

TEST(WindowsExecutable, EndsInDotExeInSmallLetters)
{
    EXPECT_TRUE(isWindowsExecutable("a.exe"));
    EXPECT_TRUE(isWindowsExecutable(".exe"));
    EXPECT_FALSE(isWindowsExecutable("a.EXE"));
    EXPECT_FALSE(isWindowsExecutable(""));
    EXPECT_FALSE(isWindowsExecutable("exe"));
    EXPECT_FALSE(isWindowsExecutable("a.exe "));
}

} // namespace
} // namespace samplefold_1::utils
