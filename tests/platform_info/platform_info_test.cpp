#include "played_tool.h"

namespace samplefold_1 {
namespace {

TEST_F(PlayedTool, NamesThePmuOfAFamilyAndModel)
{
    print(line("0x000306c3", "hsw") + line("0x50657", "skx"));
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "hsw");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
    EXPECT_EQ(info.getPMU(6, 0x56, 7), "") << "no such model";
    EXPECT_EQ(info.getPMU(5, 0x55, 7), "") << "no such family";
}

TEST_F(PlayedTool, IsRunWithTheOneArgumentForPlatforms)
{
    play("echo \"Platform: 1, PMU: got_$#_$1, Signature: 0x50657, CPU name: X\" | tr -d -");
    EXPECT_EQ(info.getPMU(6, 0x55, 0), "got_1_pl");
}

TEST_F(PlayedTool, TheSteppingHasNoPart)
{
    print(line("0x50657", "skx"));
    EXPECT_EQ(info.getPMU(6, 0x55, 0), "skx");
    EXPECT_EQ(info.getPMU(6, 0x55, 1000), "skx");
}

TEST_F(PlayedTool, OnlyTheLowFourBitsOfAFamilyCanFit)
{
    print(line("0x00800f11", "zen")); // family 15 with an extension of 8
    EXPECT_EQ(info.getPMU(15, 1, 1), "zen");
    EXPECT_EQ(info.getPMU(23, 1, 1), "") << "though that is the processor's family";
}

TEST_F(PlayedTool, AnUnknownPmuIsDropped)
{
    print(line("0x50657", "Unknown") + line("0x306c3", "MyUnknownPmu") +
          line("0x206a7", "unknown"));
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "");
    EXPECT_EQ(info.getPMU(6, 0x2a, 7), "unknown") << "in small letters it is a name";
}

TEST_F(PlayedTool, OfTwoLinesThatFitTheLaterOneCounts)
{
    print(line("0x50654", "first") + line("0x306c3", "other") + line("0x50657", "second"));
    EXPECT_EQ(info.getPMU(6, 0x55, 4), "second");
}

TEST_F(PlayedTool, TextBeforeThePlatformDoesNoHarm)
{
    print("12:30 info: " + line("0x50657", "skx"));
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, TrailingSpaceAndCarriageReturnsDoNoHarm)
{
    print("Platform: 1, PMU: skx, Signature: 0x50657, CPU name: X \t\r\r\n");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, ALineWithoutANameOfTheCpuLosesItsLastBlankAndDoesNotFit)
{
    print("Platform: 1, PMU: skx, Signature: 0x50657, CPU name: \n"
          "Platform: 1, PMU: hsw, Signature: 0x306c3, CPU name: x\n");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "") << "the blank behind the colon is stripped";
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "hsw");
}

TEST_F(PlayedTool, TabsAndCarriageReturnsAreStrippedLikeBlanks)
{
    print("Platform: 1, PMU: skx, Signature: 0x50657, CPU name: \r\n"
          "Platform: 1, PMU: hsw, Signature: 0x306c3, CPU name: \t\n");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "") << "the blank behind the colon goes with them";
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "");
}

TEST_F(PlayedTool, ThePlatformsNumberMayBeMissing)
{
    print("Platform: , PMU: skx, Signature: 0x50657, CPU name: X\n");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, LinesThatDoNotFitAreSkipped)
{
    print(line("0x50657", "skx") + "Platform: none\n" +
          "Platform: 1, PMU: , Signature: 0x50657, CPU name: X\n" +
          "Platform: 1, PMU: a-b, Signature: 0x50657, CPU name: X\n" +
          "Platform: 1, PMU: dec, Signature: 329303, CPU name: X\n" +
          "Platform: one, PMU: text, Signature: 0x50657, CPU name: X\n" +
          "platform: 1, PMU: small, Signature: 0x50657, CPU name: X\n\n\n\n");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, ASignatureBeyond64BitsFitsNoProcessor)
{
    print(line("0x50657", "skx") + line("0x10000000000050657", "long"));
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, BitsAboveTheModelDoNotCount)
{
    print(line("0xABCDEF0000050657", "skx"));
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(PlayedTool, RunsOnce)
{
    print(line("0x50657", "skx"));
    info.getPMU(6, 0x55, 7);
    EXPECT_TRUE(info.init());
    info.getPMU(6, 0x55, 7);
    EXPECT_EQ(runs(), 1u);
}

TEST_F(PlayedTool, OutputWithoutAPlatformIsASuccess)
{
    print("nothing known\n");
    EXPECT_TRUE(info.init());
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    EXPECT_EQ(runs(), 1u);
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(PlayedTool, OutputInTwoPiecesIsReadWhole)
{
    play("printf 'Platform: 1, PMU: s'; sleep 0.2; printf 'kx, Signature: 0x506'; sleep 0.2; "
         "printf '57, CPU name: X\\n'; sleep 0.2; printf '" +
         line("0x306c3", "hsw") + "'");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "hsw");
}

TEST_F(PlayedTool, MegabytesOfOutputAreRead)
{
    folder.addFile("text", line("0x50657", "skx"));
    play("cat '" + folder.path("text") + "'; seq 1 1000000; echo '" + line("0x306c3", "hsw") + "'");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "hsw");
}

TEST_F(PlayedTool, AMegabyteInOneLineIsRead)
{
    play("head -c 1000000 /dev/zero | tr '\\0' 'P'; echo '" + line("0x50657", "skx") +
         "'; echo Platform:; printf 'Platform: '; head -c 1000000 /dev/zero | tr '\\0' '1'; echo");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

} // namespace
} // namespace samplefold_1
