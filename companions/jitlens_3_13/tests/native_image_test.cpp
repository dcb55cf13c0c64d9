#include "support/temporary_folder.h"

#include <jitlens_3_13/native_image.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace {

using jitlens_3_13::isNativeImage;

class NativeImage : public testing::Test {
protected:
    /// An ELF head of 64 bits and this type, written by hand, with `size` bytes in all.
    int ofType(char type, char order = 1, std::size_t size = 64) const
    {
        std::string bytes("\x7f"
                          "ELF\x02\x01\x01\0\0\0\0\0\0\0\0\0\0\0\x3e\0",
                          20);
        bytes[5] = order;
        bytes[order == 1 ? 16 : 17] = type;
        bytes.resize(size, '\0');
        return isNativeImage(folder.addFile("image", bytes).c_str());
    }

    samplefold_test::TemporaryFolder folder;
};

TEST_F(NativeImage, theRunningProgramIsOne)
{
    EXPECT_NE(isNativeImage("/proc/self/exe"), 0);
}

TEST_F(NativeImage, executablesAndSharedObjectsAre)
{
    EXPECT_NE(ofType(2), 0);
    EXPECT_NE(ofType(3), 0);
}

TEST_F(NativeImage, relocatableFilesCoresAndOtherTypesAreNot)
{
    EXPECT_EQ(ofType(0), 0);
    EXPECT_EQ(ofType(1), 0);
    EXPECT_EQ(ofType(4), 0);
}

TEST_F(NativeImage, theOtherByteOrderIsNot)
{
    EXPECT_EQ(ofType(2, 2), 0);
}

TEST_F(NativeImage, theTypeMustBeInTheFile)
{
    EXPECT_NE(ofType(3, 1, 18), 0);
    EXPECT_EQ(ofType(3, 1, 17), 0);
    EXPECT_EQ(ofType(3, 1, 4), 0);
    EXPECT_EQ(ofType(3, 1, 0), 0);
}

TEST_F(NativeImage, textIsNot)
{
    EXPECT_EQ(
        isNativeImage(folder.addFile("a", "#!/bin/sh\necho a script of a few words\n").c_str()), 0);
}

TEST_F(NativeImage, whatCannotBeReadIsNot)
{
    EXPECT_EQ(isNativeImage(folder.path("missing").c_str()), 0);
    EXPECT_EQ(isNativeImage(folder.addFolder("folder").c_str()), 0);
    EXPECT_EQ(isNativeImage(""), 0);
    EXPECT_EQ(isNativeImage(nullptr), 0);
}

TEST_F(NativeImage, aPipeIsNotAndDoesNotHang)
{
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(isNativeImage(pipe.c_str()), 0);
}

TEST_F(NativeImage, aLinkIsFollowed)
{
    std::filesystem::create_symlink("/proc/self/exe", folder.path("link"));
    EXPECT_NE(isNativeImage(folder.path("link").c_str()), 0);
}

} // namespace
