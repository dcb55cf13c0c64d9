#include "never_returning.h"

#include <gtest/gtest.h>

namespace {

using pathnav_3::isNeverReturning;

TEST(NeverReturning, functionsThatEndTheProgramAreKnown)
{
    for (const char* name : {"abort", "exit", "_exit", "_Exit", "quick_exit", "__assert_fail",
                             "__stack_chk_fail", "__fortify_fail", "errx", "pthread_exit"})
        EXPECT_TRUE(isNeverReturning(name)) << name;
}

TEST(NeverReturning, functionsThatLeaveByAJumpOrAnExceptionAreKnown)
{
    for (const char* name : {"longjmp", "_longjmp", "siglongjmp", "__longjmp_chk", "__cxa_throw",
                             "__cxa_rethrow", "_Unwind_Resume", "_ZSt9terminatev"})
        EXPECT_TRUE(isNeverReturning(name)) << name;
}

TEST(NeverReturning, helpersThatThrowAreKnownByTheirBeginning)
{
    EXPECT_TRUE(isNeverReturning("_ZSt20__throw_length_errorPKc"));
    EXPECT_TRUE(isNeverReturning("_ZSt24__throw_out_of_range_fmtPKcz"));
    EXPECT_TRUE(isNeverReturning("_ZSt16__throw_bad_castv"));
    EXPECT_FALSE(isNeverReturning("_ZSt13__not_thrown_v"));
    EXPECT_FALSE(isNeverReturning("_ZN4mine20__throw_length_errorEv"));
}

TEST(NeverReturning, panicsOfRustAreKnownInBothManglings)
{
    EXPECT_TRUE(isNeverReturning("_ZN4core9panicking5panic17h0123456789abcdefE"));
    EXPECT_TRUE(isNeverReturning("_ZN4core6option13unwrap_failed17h0123456789abcdefE"));
    EXPECT_TRUE(isNeverReturning("_RNvNtCs1234_4core9panicking9panic_fmt"));
    EXPECT_FALSE(isNeverReturning("_ZN4core3fmt9Formatter3pad17h0123456789abcdefE"));
}

TEST(NeverReturning, versionsLinkageEntriesAndCopiesCountAsTheFunction)
{
    for (const char* name : {"abort@plt", "exit@GLIBC_2.2.5", "abort@@GLIBC_2.2.5", "__GI_abort",
                             "__GI___assert_fail", "malloc_printerr.constprop.0"})
        EXPECT_TRUE(isNeverReturning(name)) << name;
}

TEST(NeverReturning, whatMayComeBackIsNot)
{
    for (const char* name : {"", "error", "execve", "raise", "kill", "exit_group_name", "aborts",
                             "setjmp", "main", "@plt", "_dl_catch_exception", "std"})
        EXPECT_FALSE(isNeverReturning(name)) << name;
}

} // namespace
