#include "session/container_option.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace samplefold::session {
namespace {

/// What is said of options that are refused; "accepted" of others.
std::string refusal(const std::vector<std::string>& texts)
{
    try {
        parseContainers(texts);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "accepted";
}

TEST(ContainerOptions, AProcessALabelAndARootAreRead)
{
    const auto options = parseContainers({"42=web:/var/lib/x/merged"});
    ASSERT_EQ(options.size(), 1U);
    EXPECT_EQ(options[0].pid, 42);
    EXPECT_EQ(options[0].label, "web");
    EXPECT_EQ(options[0].root, "/var/lib/x/merged");
}

TEST(ContainerOptions, TheRootMayHoldTheSignsThatStandBetween)
{
    const auto options = parseContainers({"1=web:/a:b=c"});
    ASSERT_EQ(options.size(), 1U);
    EXPECT_EQ(options[0].root, "/a:b=c");
}

TEST(ContainerOptions, TheRootIsNormalised)
{
    EXPECT_EQ(parseContainers({"1=web://var/./lib/../x//"})[0].root, "/var/x");
    EXPECT_EQ(parseContainers({"1=web:/.."})[0].root, "/");
}

TEST(ContainerOptions, WhatIsNotOfTheFormIsRefused)
{
    for (const char* const text : {"", "5", "5=", "5=web", "web:/a", "5web:/a"})
        EXPECT_EQ(refusal({text}), std::string(text) + ": is not of the form PID=LABEL:ROOT");
}

TEST(ContainerOptions, AProcessThatIsNoPositiveNumberIsRefused)
{
    for (const char* const pid : {"", "0", "-1", "x", "5x", " 5", "2147483648", "0x10"}) {
        const std::string text = std::string(pid) + "=web:/a";
        EXPECT_EQ(refusal({text}), text + ": PID must be a positive number");
    }
}

TEST(ContainerOptions, AnEmptyLabelIsRefused)
{
    EXPECT_EQ(refusal({"5=:/a"}), "5=:/a: LABEL must not be empty");
}

TEST(ContainerOptions, LabelsThatReadAsSomethingElseAreRefused)
{
    for (const char* const label : {"a/b", "a\tb", "a\nb", "a\x7f", "[x", "anon_inode", "memfd"})
        EXPECT_NE(refusal({"5=" + std::string(label) + ":/a"}).find("LABEL must have no"),
                  std::string::npos)
            << label;
    EXPECT_EQ(refusal({"5=my web-1.2_x:/a"}), "accepted");
}

TEST(ContainerOptions, ARefusalIsOneLine)
{
    EXPECT_EQ(refusal({"5=a\nb:/a"}).find('\n'), std::string::npos);
    EXPECT_EQ(refusal({"\n"}), "?: is not of the form PID=LABEL:ROOT");
}

TEST(ContainerOptions, ARelativeRootIsRefused)
{
    for (const char* const text : {"5=web:", "5=web:a/b", "5=a:b:/c"})
        EXPECT_EQ(refusal({text}), std::string(text) + ": ROOT must be an absolute directory");
}

TEST(ContainerOptions, AProcessIsGivenOnce)
{
    EXPECT_EQ(refusal({"5=web:/a", "5=db:/b"}), "5=db:/b: process 5 is given twice");
}

TEST(ContainerOptions, ALabelStandsForOneRoot)
{
    EXPECT_EQ(refusal({"5=web:/a", "6=web:/b"}), "6=web:/b: LABEL stands for /a already");
    EXPECT_EQ(refusal({"5=web:/a", "6=web:/a/"}), "accepted");
}

} // namespace
} // namespace samplefold::session
