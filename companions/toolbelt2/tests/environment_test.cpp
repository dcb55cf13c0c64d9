#include <toolbelt2/environment.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

constexpr const char* g_name = "TOOLBELT2_TEST_VARIABLE";

class Environment : public testing::Test {
protected:
    ~Environment() override { ::unsetenv(g_name); }
};

TEST_F(Environment, anUnsetVariableReadsAsEmpty)
{
    ::unsetenv(g_name);
    EXPECT_EQ(tb2::get_environ_value(g_name), "");
}

TEST_F(Environment, aSetVariableReadsAsItsValue)
{
    ::setenv(g_name, "assert, and = more", 1);
    EXPECT_EQ(tb2::get_environ_value(g_name), "assert, and = more");
}

TEST_F(Environment, anEmptyVariableReadsAsEmpty)
{
    ::setenv(g_name, "", 1);
    EXPECT_EQ(tb2::get_environ_value(g_name), "");
}

TEST_F(Environment, everyCallReadsTheVariableAnew)
{
    ::setenv(g_name, "first", 1);
    const std::string first = tb2::get_environ_value(g_name);
    ::setenv(g_name, "second", 1);
    EXPECT_EQ(first, "first");
    EXPECT_EQ(tb2::get_environ_value(g_name), "second");
}

} // namespace
