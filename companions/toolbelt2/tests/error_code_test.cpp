#include <toolbelt2/error_code.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tb2::error_code_t;

struct raised_t {
    std::int32_t code;
    std::string text;
    std::string file;
    int line;
    friend bool operator==(const raised_t&, const raised_t&) = default;
};

std::vector<raised_t> g_raised;

void remember(std::int32_t code, std::string_view text, const char* file, int line)
{
    g_raised.push_back({code, std::string(text), file, line});
}

class ErrorCode : public testing::Test {
protected:
    ErrorCode() { g_raised.clear(); }
    ~ErrorCode() override { error_code_t::setRaiseHandler(nullptr); }
};

TEST_F(ErrorCode, zeroIsSuccessAndTheDefault)
{
    EXPECT_TRUE(error_code_t().succeeded());
    EXPECT_EQ(error_code_t().value(), 0);
    EXPECT_TRUE(error_code_t(0).succeeded());
}

TEST_F(ErrorCode, everyOtherValueIsAFailure)
{
    for (const std::int32_t value : {1, -1, 0x40000001, 0x4000006a}) {
        EXPECT_FALSE(error_code_t(value).succeeded());
        EXPECT_EQ(error_code_t(value).value(), value);
    }
}

TEST_F(ErrorCode, codesAreEqualByValue)
{
    EXPECT_EQ(error_code_t(5), error_code_t(5));
    EXPECT_NE(error_code_t(5), error_code_t(6));
    EXPECT_EQ(error_code_t(), error_code_t(0));
}

TEST_F(ErrorCode, raiseReportsCodeTextAndPlaceAndReturnsTheFailure)
{
    error_code_t::setRaiseHandler(&remember);
    const error_code_t result = error_code_t::raise(0x40000001, "no such file", "dir/a.cpp", 42);
    EXPECT_EQ(result, error_code_t(0x40000001));
    EXPECT_EQ(g_raised, (std::vector<raised_t>{{0x40000001, "no such file", "dir/a.cpp", 42}}));
}

TEST_F(ErrorCode, raiseWithoutAHandlerStillReturnsTheFailure)
{
    EXPECT_EQ(error_code_t::raise(7, "unheard", "a.cpp", 1).value(), 7);
    EXPECT_TRUE(g_raised.empty());
}

TEST_F(ErrorCode, exchangingTheHandlerReturnsTheFormerOne)
{
    EXPECT_EQ(error_code_t::setRaiseHandler(&remember), nullptr);
    EXPECT_EQ(error_code_t::setRaiseHandler(nullptr), &remember);
    static_cast<void>(error_code_t::raise(7, "unheard", "a.cpp", 1));
    EXPECT_TRUE(g_raised.empty());
}

} // namespace
