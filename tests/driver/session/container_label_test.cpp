#include "session/container_label.h"

#include <gtest/gtest.h>

namespace samplefold::session {
namespace {

const std::string identity = "0f1e2d3c4b5a69788796a5b4c3d2e1f00f1e2d3c4b5a69788796a5b4c3d2e1f0";

TEST(ContainerLabels, AnIdentityIsShownByItsFirstTwelveDigits)
{
    for (const std::string& path :
         {"/docker/" + identity, "/system.slice/docker-" + identity + ".scope",
          "/machine.slice/libpod-" + identity + ".scope/container",
          "/kubepods/pod1:cri-containerd:" + identity})
        EXPECT_EQ(labelOfCgroup(path), "0f1e2d3c4b5a") << path;
}

TEST(ContainerLabels, OfSeveralIdentitiesTheInnermostCounts)
{
    EXPECT_EQ(labelOfCgroup("/docker/" + identity + "/docker/" + std::string(64, 'a')),
              "aaaaaaaaaaaa");
}

TEST(ContainerLabels, WithoutAnIdentityTheLastElementIsTaken)
{
    EXPECT_EQ(labelOfCgroup("/lxc.payload.mail"), "lxc.payload.mail");
    EXPECT_EQ(labelOfCgroup("/system.slice/resolver.service/"), "resolver.service");
    EXPECT_EQ(labelOfCgroup("/user.slice/session-deadbeef.scope"), "session-deadbeef.scope");
}

TEST(ContainerLabels, CharactersThatALabelCannotHaveAreReplaced)
{
    EXPECT_EQ(labelOfCgroup("/a/b:c\nd"), "b_c_d");
}

TEST(ContainerLabels, APathThatTellsNothingGivesNoLabel)
{
    for (const char* const path : {"", "/", "///", "/a/[b]"})
        EXPECT_EQ(labelOfCgroup(path), "") << path;
}

} // namespace
} // namespace samplefold::session
