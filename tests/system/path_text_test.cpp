#include "system/path_text.h"

#include <gtest/gtest.h>

TEST(PathText, ParentAndDriveFolderCutTheLastComponentAndOnlyAsciiLettersFold)
{
    EXPECT_EQ(ParentFolder(L"C:\\Program Files\\Pixvane 8\\"), L"C:\\Program Files");
    EXPECT_EQ(ParentFolder(L"C:\\Quorvex"), L"C:");
    EXPECT_EQ(ParentFolder(L"\\Quorvex"), L"");
    EXPECT_EQ(ParentFolder(L"Quorvex"), L"");
    EXPECT_EQ(DriveAndFolder(L"C:\\Program Files\\Pixvane 8\\PxvUnInst.exe"), L"C:\\Program Files\\Pixvane 8\\");
    EXPECT_EQ(DriveAndFolder(L"C:PxvUnInst.exe"), L"C:");
    EXPECT_EQ(ToLowerAscii(L"C:\\MySetup.EXE\u00C4"), L"c:\\mysetup.exe\u00C4");
    EXPECT_FALSE(EqualsNoCase(L"-s", L"-sconf"));
}
