#include "system/path_text.h"

#include <gtest/gtest.h>

TEST(ParentFolder, CutsTheLastComponent)
{
    EXPECT_EQ(ParentFolder(L"C:\\Program Files\\Pixvane 8"), L"C:\\Program Files");
    EXPECT_EQ(ParentFolder(L"C:\\Program Files\\Pixvane 8\\"), L"C:\\Program Files");
    EXPECT_EQ(ParentFolder(L"C:\\Quorvex"), L"C:");
    EXPECT_EQ(ParentFolder(L"\\Quorvex"), L"");
    EXPECT_EQ(ParentFolder(L"Quorvex"), L"");
    EXPECT_EQ(ParentFolder(L""), L"");
}

TEST(DriveAndFolder, KeepsTheTrailingBackslash)
{
    EXPECT_EQ(DriveAndFolder(L"C:\\Program Files\\Pixvane 8\\PxvUnInst.exe"), L"C:\\Program Files\\Pixvane 8\\");
    EXPECT_EQ(DriveAndFolder(L"C:PxvUnInst.exe"), L"C:");
    EXPECT_EQ(DriveAndFolder(L"PxvUnInst.exe"), L"");
}

TEST(CaseFolding, FoldsOnlyAsciiLetters)
{
    EXPECT_EQ(ToLowerAscii(L"C:\\MySetup.EXE"), L"c:\\mysetup.exe");
    EXPECT_EQ(ToLowerAscii(L"\u00C4"), L"\u00C4");
    EXPECT_TRUE(EqualsNoCase(L"-SCONF", L"-sconf"));
    EXPECT_FALSE(EqualsNoCase(L"-s", L"-sconf"));
}
