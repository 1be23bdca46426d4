#include "app/command_line_text.h"
#include "app/instance_list_text.h"

#include <gtest/gtest.h>

TEST(OptionScan, SetsTheLevelAndStopsAtVerboseOrSconf)
{
    const StartupOptions none = ScanOptions({L"setup.exe"});
    EXPECT_EQ(none.silentLevel, 1);
    EXPECT_FALSE(none.dashS);
    EXPECT_EQ(InstallSilentLevel(none), 0);
    // "-v" wins whichever side of "-s" it stands; "-sconf" keeps 2 without "-s".
    EXPECT_EQ(InstallSilentLevel(ScanOptions({L"setup.exe", L"-v", L"-s"})), 0);
    EXPECT_EQ(InstallSilentLevel(ScanOptions({L"setup.exe", L"-s", L"-V"})), 0);
    EXPECT_EQ(InstallSilentLevel(ScanOptions({L"setup.exe", L"-S"})), 1);
    EXPECT_EQ(InstallSilentLevel(ScanOptions({L"setup.exe", L"-SConf", L"-v"})), 2);
    // The scan stops at "-v": a later package is not seen.
    EXPECT_TRUE(ScanOptions({L"setup.exe", L"-v", L"-sfxname=C:\\dl\\pv8.exe"}).packageFolder.empty());
}

TEST(OptionScan, PackageFolderIsTheFolderOfTheSfxPath)
{
    EXPECT_EQ(ScanOptions({L"s", L"-sfxname=C:\\Downloads\\pv8setup.exe"}).packageFolder, L"C:\\Downloads");
    EXPECT_EQ(ScanOptions({L"s", L"-sfxname=C:\\Downloads\\Pixvane\\"}).packageFolder, L"C:\\Downloads");
    EXPECT_EQ(ScanOptions({L"s", L"-sfxname=pv8setup.exe"}).packageFolder, L"");
    EXPECT_EQ(ScanOptions({L"s", L"-sfxname=\\pv8setup.exe"}).packageFolder, L"");
    // The prefix is matched exactly: another case is just an unknown argument.
    EXPECT_EQ(ScanOptions({L"s", L"-SFXNAME=C:\\Downloads\\pv8setup.exe"}).packageFolder, L"");
}

TEST(SelfRemovalRequest, NeedsExactSpellingAndASecondArgument)
{
    EXPECT_TRUE(IsSelfRemovalRequest({L"uni1.tmp", L"-delself", L"C:\\P\\PxvUnInst.exe"}));
    EXPECT_TRUE(IsSelfRemovalRequest({L"uni1.tmp", L"-delself", L"C:\\P\\PxvUnInst.exe", L"-s"}));
    EXPECT_FALSE(IsSelfRemovalRequest({L"uni1.tmp", L"-DELSELF", L"C:\\P\\PxvUnInst.exe"}));
    EXPECT_FALSE(IsSelfRemovalRequest({L"uni1.tmp", L"-delself"}));
    EXPECT_FALSE(IsSelfRemovalRequest({L"uni1.tmp", L"-s", L"-delself", L"C:\\x"}));
}

TEST(ModeDecision, FollowsTheFirstArgumentOrTheProgramName)
{
    EXPECT_EQ(DecideMode({L"x", L"-INSTALL"}, L"C:\\P\\PxvUnInst.exe"), SetupMode::Install);
    EXPECT_EQ(DecideMode({L"x"}, L"C:\\Downloads\\MySetup.EXE"), SetupMode::Install);
    EXPECT_EQ(DecideMode({L"x"}, L"C:\\setup.exe.d\\tool.exe"), SetupMode::Install);
    EXPECT_EQ(DecideMode({L"x"}, L"C:\\Program Files\\Pixvane 8\\PxvUnInst.exe"), SetupMode::Uninstall);
    EXPECT_EQ(DecideMode({L"x", L"-s", L"-install"}, L"C:\\P\\PxvUnInst.exe"), SetupMode::Uninstall);
    // "-delself" without its path is nothing special: the name decides.
    EXPECT_EQ(DecideMode({L"x", L"-delself"}, L"C:\\Temp\\uni3F.tmp"), SetupMode::Uninstall);
}

TEST(InstanceQuestion, IsSkippedOnlyBySilentSwitchesFromTheSecondArgumentOn)
{
    EXPECT_FALSE(SkipsInstanceQuestion({L"setup.exe", L"-s"}));
    EXPECT_TRUE(SkipsInstanceQuestion({L"setup.exe", L"-install", L"-s"}));
    EXPECT_TRUE(SkipsInstanceQuestion({L"setup.exe", L"-v", L"/S"}));
    EXPECT_FALSE(SkipsInstanceQuestion({L"setup.exe", L"-install", L"-sconf"}));
}

// An odd rounding both sides share: a multiple of the granule shrinks to the quotient.
TEST(AreaSize, KeepsTheOddRoundingBothSidesShare)
{
    EXPECT_EQ(RoundAreaSize(4008, 65536), 65536u);
    EXPECT_EQ(RoundAreaSize(70000, 65536), 65537u);
    EXPECT_EQ(RoundAreaSize(131072, 65536), 2u);
    EXPECT_EQ(RoundAreaSize(0, 65536), 0u);
}
