#include <PORTA_2_18/assert.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using PORTA_2_18::debug::assertion_t;
using PORTA_2_18::debug::setAssertionHandler;

struct seen_t {
    std::string expression;
    std::string file;
    int line = 0;
    std::string signature;
};

std::vector<seen_t> g_seen;

void remember(const assertion_t& assertion)
{
    g_seen.push_back({std::string(assertion.expression), std::string(assertion.file),
                      assertion.line, std::string(assertion.signature)});
}

void ignore(const assertion_t&) {}

void raise(const assertion_t& assertion)
{
    throw std::runtime_error(std::string(assertion.expression));
}

/// Every test starts with `remember` in force and ends with the handler of the start.
class Assertion : public testing::Test {
protected:
    Assertion()
    {
        g_seen.clear();
        setAssertionHandler(&remember);
    }
    ~Assertion() override { setAssertionHandler(nullptr); }
};

int guardedHalf(int value)
{
    PORTA_ASSERT(value % 2 == 0);
    return value / 2;
}

TEST_F(Assertion, aConditionThatHoldsFiresNothing)
{
    EXPECT_EQ(guardedHalf(4), 2);
    PORTA_ASSERT_TEXT(true, "never");
    EXPECT_TRUE(g_seen.empty());
}

TEST_F(Assertion, theCodeBehindAnAssertionGoesOnWithTheBadValue)
{
    EXPECT_EQ(guardedHalf(5), 2);
    ASSERT_EQ(g_seen.size(), 1U);
    EXPECT_EQ(g_seen[0].expression, "value % 2 == 0");
    EXPECT_NE(g_seen[0].signature.find("guardedHalf(int)"), std::string::npos);
}

TEST_F(Assertion, theMessageNamesTextFileLineAndFunction)
{
    const int line = __LINE__ + 1;
    PORTA_ASSERT_TEXT(false, "m_table[i] <= limit()");
    ASSERT_EQ(g_seen.size(), 1U);
    EXPECT_EQ(g_seen[0].expression, "m_table[i] <= limit()");
    EXPECT_EQ(g_seen[0].file, __FILE__);
    EXPECT_EQ(g_seen[0].line, line);
    EXPECT_NE(g_seen[0].signature.find("TestBody"), std::string::npos);
}

TEST_F(Assertion, theEntryPassesItsArgumentsOnUnchanged)
{
    PORTA_2_18::debug::_private::____________________ASSERT____________________(
        "a < b", "some/file.cpp", 12, "void f()");
    ASSERT_EQ(g_seen.size(), 1U);
    EXPECT_EQ(g_seen[0].expression, "a < b");
    EXPECT_EQ(g_seen[0].file, "some/file.cpp");
    EXPECT_EQ(g_seen[0].line, 12);
    EXPECT_EQ(g_seen[0].signature, "void f()");
}

TEST_F(Assertion, theConditionIsEvaluatedOnce)
{
    int evaluations = 0;
    PORTA_ASSERT(++evaluations == 0);
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(g_seen.size(), 1U);
}

TEST_F(Assertion, theMacroIsOneStatementInABranchWithoutBraces)
{
    const bool wanted = false;
    if (wanted)
        PORTA_ASSERT(false);
    else
        PORTA_ASSERT_TEXT(false, "else");
    ASSERT_EQ(g_seen.size(), 1U);
    EXPECT_EQ(g_seen[0].expression, "else");
}

TEST_F(Assertion, exchangingTheHandlerReturnsTheFormerOne)
{
    EXPECT_EQ(setAssertionHandler(&ignore), &remember);
    PORTA_ASSERT(false);
    EXPECT_TRUE(g_seen.empty());
    EXPECT_EQ(setAssertionHandler(&remember), &ignore);
    PORTA_ASSERT(false);
    EXPECT_EQ(g_seen.size(), 1U);
}

TEST_F(Assertion, anExceptionOfTheHandlerReachesTheFunctionThatFired)
{
    setAssertionHandler(&raise);
    EXPECT_THROW(guardedHalf(1), std::runtime_error);
}

TEST_F(Assertion, withoutAHandlerOneLineGoesToStandardError)
{
    EXPECT_EQ(setAssertionHandler(nullptr), &remember);
    testing::internal::CaptureStderr();
    PORTA_2_18::debug::_private::____________________ASSERT____________________(
        "a < b", "some/file.cpp", 12, "void f()");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "assertion failed: a < b, at file: some/file.cpp:12, in void f()\n");
    EXPECT_TRUE(g_seen.empty());
}

TEST_F(Assertion, theHandlerOfTheStartCanBePutBackByItsPointer)
{
    setAssertionHandler(nullptr);
    const auto start = setAssertionHandler(&ignore);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(setAssertionHandler(start), &ignore);
    testing::internal::CaptureStderr();
    PORTA_ASSERT(false);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

} // namespace
