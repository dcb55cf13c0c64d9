#include "session/container_root.h"

#include <gtest/gtest.h>

namespace samplefold::session {
namespace {

TEST(ContainerRoots, ThePathIsNormalised)
{
    EXPECT_EQ(normalisedPath("/a//b/./c/../d/"), "/a/b/d");
    EXPECT_EQ(normalisedPath("//a"), "/a");
    EXPECT_EQ(normalisedPath("/"), "/");
    EXPECT_EQ(normalisedPath("///"), "/");
    EXPECT_EQ(normalisedPath("/../.."), "/");
    EXPECT_EQ(normalisedPath("/a/."), "/a");
}

TEST(ContainerRoots, TheLastTwoElementsAreNotKept)
{
    EXPECT_EQ(storedHostRoot("/var/lib/x/ID/merged"), "/var/lib/x");
    EXPECT_EQ(storedHostRoot("/a/b/c"), "/a");
}

TEST(ContainerRoots, OfTwoElementsTheRootOfTheHostIsKept)
{
    EXPECT_EQ(storedHostRoot("/a/b"), "/");
}

TEST(ContainerRoots, OfOneElementNothingIsKept)
{
    EXPECT_EQ(storedHostRoot("/a"), "");
}

TEST(ContainerRoots, WhereNothingIsToBeTakenWhatIsKeptOccursInNoPath)
{
    for (const char* const root : {"/", ""}) {
        const std::string kept = storedHostRoot(root);
        ASSERT_FALSE(kept.empty());
        EXPECT_EQ(normalisedPath("/a" + kept + "b").find(kept), std::string::npos);
    }
}

TEST(ContainerRoots, WholeElementsTellWhatLiesBelow)
{
    EXPECT_TRUE(liesBelow("/a/b", "/a/b"));
    EXPECT_TRUE(liesBelow("/a/b", "/a/b/c"));
    EXPECT_FALSE(liesBelow("/a/b", "/a/bc"));
    EXPECT_FALSE(liesBelow("/a/b", "/a"));
    EXPECT_FALSE(liesBelow("/a/b", "/x/a/b/c"));
    EXPECT_TRUE(liesBelow("/", "/x"));
}

} // namespace
} // namespace samplefold::session
