#include "made_chains.h"

#include "report/function_choice.h"
#include "report/report_error.h"

namespace samplefold::report {
namespace {

using rowvault1::Index;

class FunctionChoiceTest : public testing::MadeChainsTest {
protected:
    /// A function with code of its own.
    Index withCode(const std::string& name, const std::string& path,
                   const std::string& rawName = {})
    {
        const Index row = function(name, path, rawName);
        this->name(path, ++m_rva, {row, ""});
        return row;
    }
    /// "name@module*rows" of those that are chosen, or what is wrong.
    std::string chosen(const std::string& name, const std::string& module = {})
    {
        try {
            std::string list;
            for (const ChosenFunction& one : chooseFunctions(result(), name, module))
                list += (list.empty() ? "" : " ") + one.name + "@" + one.module + "*" +
                        std::to_string(one.keys.size());
            return list;
        } catch (const ReportError& error) {
            const std::string text = error.what();
            return text.substr(text.find(": ") + 2);
        }
    }

private:
    std::uint64_t m_rva = 0;
};

TEST_F(FunctionChoiceTest, TheExactNameGoesBeforeAllElse)
{
    withCode("f", "/a");
    withCode("f(int)", "/a");
    withCode("ff", "/a");
    EXPECT_EQ(chosen("f"), "f@/a*1");
    EXPECT_EQ(chosen("f(int)"), "f(int)@/a*1");
}

TEST_F(FunctionChoiceTest, TheNameOfTheModuleSymbolIsExactToo)
{
    withCode("f(int)", "/a", "_Z1fi");
    EXPECT_EQ(chosen("_Z1fi"), "f(int)@/a*1");
}

TEST_F(FunctionChoiceTest, WithoutParametersEveryOverloadIsMeant)
{
    withCode("ns::f(int)", "/a");
    withCode("ns::f(char) const", "/a");
    withCode("ns::fg(int)", "/a");
    EXPECT_EQ(chosen("ns::f"), "ns::f(char) const@/a*1 ns::f(int)@/a*1");
}

TEST_F(FunctionChoiceTest, APartIsEnoughWhereOneNameHasIt)
{
    withCode("compute_all(int)", "/a");
    withCode("walk_left", "/a");
    withCode("walk_right", "/a");
    EXPECT_EQ(chosen("compute"), "compute_all(int)@/a*1");
    EXPECT_EQ(chosen("walk_"),
              "several functions have 'walk_' in their names: 'walk_left', 'walk_right'");
}

TEST_F(FunctionChoiceTest, FunctionsOfOneNameStandPerModule)
{
    withCode("f", "/lib/a.so");
    withCode("f", "/lib/a.so");
    withCode("f", "/lib/b.so");
    EXPECT_EQ(chosen("f"), "f@/lib/a.so*2 f@/lib/b.so*1");
    EXPECT_EQ(chosen("f", "/lib/b.so"), "f@/lib/b.so*1");
    EXPECT_EQ(chosen("f", "b.so"), "f@/lib/b.so*1");
    EXPECT_EQ(chosen("f", "c.so"), "no function 'f' in the module 'c.so'");
}

TEST_F(FunctionChoiceTest, AnUnknownNameTellsThoseThatAreNear)
{
    withCode("compute(int)", "/a");
    withCode("commute", "/a");
    withCode("quite_another", "/a");
    EXPECT_EQ(chosen("compote"), "no function 'compote'; near: 'compute(int)', 'commute'");
    EXPECT_EQ(chosen("zzzzzzzz\n"), "no function 'zzzzzzzz\\x0a'");
}

TEST_F(FunctionChoiceTest, ThereIsNoWayToAnnotateWhatWasOnlyInlined)
{
    function("g", "/a");
    EXPECT_TRUE(chosen("g").starts_with("'g' has no code of its own")) << chosen("g");
}

TEST_F(FunctionChoiceTest, ParametersAreWhatTheLastParenthesesHold)
{
    EXPECT_EQ(withoutParameters("f"), "f");
    EXPECT_EQ(withoutParameters("a::f(int (*)(char)) const [clone .cold]"), "a::f");
    EXPECT_EQ(withoutParameters("(anonymous namespace)::f(int)"), "(anonymous namespace)::f");
    EXPECT_EQ(withoutParameters("A::operator()(int)"), "A::operator()");
    EXPECT_EQ(withoutParameters("operator()"), "operator()");
    EXPECT_EQ(withoutParameters("broken)"), "broken)");
    EXPECT_EQ(withoutParameters(""), "");
}

} // namespace
} // namespace samplefold::report
