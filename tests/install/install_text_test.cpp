#include "install/install_text.h"

#include <gtest/gtest.h>

using Args = std::vector<std::wstring>;
using Texts = std::vector<std::wstring>;

namespace {

InstallOptions Read(const Args& tail)
{
    Args args{L"setup.exe"};
    args.insert(args.end(), tail.begin(), tail.end());
    return ReadInstallOptions(args, InstallOptions{});
}

}  // namespace

TEST(InstallOptions, PortableTakesTheNextArgumentAsItsFolderWhenThereIsOne)
{
    EXPECT_EQ(Read({L"-instport", L"E:\\PV8"}).kind, Portable);
    EXPECT_EQ(Read({L"-instport", L"E:\\PV8"}).folder, L"E:\\PV8");
    EXPECT_EQ(Read({L"-s", L"-instport"}).kind, Portable);
    EXPECT_EQ(Read({L"-s", L"-instport"}).folder, L"");
    // Exact words only; "-install" and other "-inst..." words are passed over.
    EXPECT_EQ(Read({L"-INSTPORT", L"E:\\PV8"}).kind, AllUsers);
    EXPECT_EQ(Read({L"-install", L"-instdirx", L"E:\\PV8"}).folder, L"");
}

TEST(InstallOptions, FolderArgumentLosesTheQuoteAndBackslashAShellLeftAtItsEnd)
{
    EXPECT_EQ(Read({L"-instdir", L"D:\\Apps\\Pixvane\\\""}).folder, L"D:\\Apps\\Pixvane");
    EXPECT_EQ(Read({L"-instdir", L"D:\\Apps/"}).folder, L"D:\\Apps");
    EXPECT_EQ(Read({L"-instdir", L"D:\\"}).folder, L"D:");
    // The last folder given wins; an empty one does not replace it.
    EXPECT_EQ(Read({L"-instdir", L"D:\\A", L"-instdir", L"D:\\B", L"-instdir", L"\""}).folder, L"D:\\B");
    EXPECT_EQ(Read({L"-instdir", L"D:\\A"}).kind, AllUsers);
}

TEST(InstallOptions, AllUsersChangesOnlyACurrentUserKind)
{
    EXPECT_EQ(Read({L"-allusers"}).kind, AllUsers);
    EXPECT_EQ(Read({L"-instport", L"-allusers"}).kind, Portable);  // "-allusers" is the folder, and an option too
    InstallOptions currentUser;
    currentUser.kind = CurrentUser;
    EXPECT_EQ(ReadInstallOptions({L"setup.exe", L"-ALLUSERS"}, currentUser).kind, AllUsers);
}

TEST(InstallOptions, FlagsInAnyCase)
{
    const InstallOptions options = Read({L"-RunAfter", L"-AUTOSTART", L"-nodeskICO"});
    EXPECT_TRUE(options.runAfter);
    EXPECT_TRUE(options.autostart);
    EXPECT_FALSE(options.desktopIcon);
    EXPECT_TRUE(Read({}).desktopIcon);
}

TEST(VersionNumber, PartsAbove99SpillIntoTheNextPlace)
{
    EXPECT_EQ(VersionNumber({8, 1, 2, 3}), 8010203u);
    EXPECT_EQ(VersionNumber({8, 0, 100, 0}), VersionNumber({8, 1, 0, 0}));
    EXPECT_LT(VersionNumber({8, 1, 1, 9}), VersionNumber({8, 1, 2, 3}));
    EXPECT_EQ(VersionNumber({65535, 0, 0, 0}), 1110490560u);  // 32-bit arithmetic wraps
}

TEST(GroupFolder, IsCleanedAndMadeLevelByLevel)
{
    EXPECT_EQ(CleanGroupName(L" \\Quorvex/Pixvane 8\\\t\r\n"), L"Quorvex\\Pixvane 8");
    EXPECT_EQ(GroupFolderChain(L"C:\\Start\\Programs", L"Quorvex\\Tools\\Pixvane 8"),
              (Texts{L"C:\\Start\\Programs\\Quorvex", L"C:\\Start\\Programs\\Quorvex\\Tools",
                     L"C:\\Start\\Programs\\Quorvex\\Tools\\Pixvane 8"}));
    // A network path loses its leading backslashes, as it always has.
    EXPECT_EQ(FolderChain(L"\\\\srv\\pv\\"), (Texts{L"srv", L"srv\\pv"}));
}

TEST(GroupFolder, IsRecoveredFromTheLastProgramsLinkOutsideTheStartupFolder)
{
    const std::wstring root = L"C:\\Users\\Ann\\Start Menu\\Programs";
    const std::wstring startup = L"c:\\users\\ann\\start menu\\programs\\startup";
    EXPECT_EQ(GroupFromShellLinks({L"C:\\USERS\\ANN\\Start Menu\\Programs\\Old\\a.lnk",
                                   L"C:\\Users\\Ann\\Start Menu\\Programs\\Quorvex\\Pixvane 8\\Pixvane 8.lnk",
                                   L"C:\\Users\\Ann\\Start Menu\\Programs\\StartUp\\Pixvane 8.lnk",
                                   L"C:\\Users\\Ann\\Desktop\\Pixvane 8.lnk"},
                                  root, startup),
              L"Quorvex\\Pixvane 8");
    EXPECT_EQ(GroupFromShellLinks({L"C:\\Users\\Ann\\Start Menu\\Programs\\StartUp\\Pixvane 8.lnk"}, root, startup),
              std::nullopt);
    EXPECT_EQ(GroupFromShellLinks({root + L"\\Pixvane 8.lnk"}, root + L"\\", startup), L"");
}

TEST(PackageListBody, SplitsARenamingCopyAndRefusesNamesLeavingTheFolder)
{
    const CopyBody renaming = SplitCopyBody(L"bin\\a.dll  >  b.dll ");
    EXPECT_EQ(renaming.source, L"bin\\a.dll");
    EXPECT_EQ(renaming.target, L"b.dll");
    EXPECT_EQ(SplitCopyBody(L"Effects\\*.pvf").target, std::nullopt);
    EXPECT_TRUE(IsConfinedCopyBody(renaming));
    for (const wchar_t* body : {L"..\\x.dll", L"a.dll > ..\\b.dll", L"C:\\x.dll", L"a.dll > \\b.dll", L"a > "}) {
        EXPECT_FALSE(IsConfinedCopyBody(SplitCopyBody(body))) << body;
    }
}

TEST(PackageListBody, PatternFilesLandInTheirOwnSubfolder)
{
    EXPECT_EQ(PatternTargetFolder(L"C:/PV8", L"bin/*.dll"), L"C:\\PV8\\bin\\");
    EXPECT_EQ(PatternTargetFolder(L"C:\\PV8\\", L"*.dll"), L"C:\\PV8\\");
}

TEST(EarlierFolder, IsCutBeforeTheProductExe)
{
    EXPECT_EQ(FolderBeforeProductExe(L"D:\\Apps\\PV\\Pixvn8.exe", false), L"D:\\Apps\\PV");
    EXPECT_EQ(FolderBeforeProductExe(L"\"D:\\Apps\\PV\\Pixvn8.exe\" \"%1\"", true), L"D:\\Apps\\PV");
    EXPECT_EQ(FolderBeforeProductExe(L"D:\\Apps\\PV\\other.exe", false), L"");
}
