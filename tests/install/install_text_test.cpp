#include "install/closing_page_text.h"
#include "install/install_text.h"

#include <gtest/gtest.h>

using Args = std::vector<std::wstring>;
using Texts = std::vector<std::wstring>;

// Kind and folder the options leave, from a start of all users; a null
// folder is not looked at.
TEST(InstallOptions, KindFolderAndFlagsFollowTheArgumentsAsTheShellLeavesThem)
{
    const struct {
        Args args;
        InstallKind kind;
        const wchar_t* folder;
    } cases[] = {
        {{L"-instport", L"E:\\PV8"}, Portable, L"E:\\PV8"},
        {{L"-s", L"-instport"}, Portable, L""},
        // Exact words only; "-install" and other "-inst..." words are passed over.
        {{L"-INSTPORT", L"E:\\PV8"}, AllUsers, L""},
        {{L"-install", L"-instdirx", L"E:\\PV8"}, AllUsers, L""},
        // A folder argument loses the quote and backslash a shell left at its end.
        {{L"-instdir", L"D:\\Apps\\Pixvane\\\""}, AllUsers, L"D:\\Apps\\Pixvane"},
        {{L"-instdir", L"D:\\Apps/"}, AllUsers, L"D:\\Apps"},
        {{L"-instdir", L"D:\\"}, AllUsers, L"D:"},
        // The last folder given wins; an empty one does not replace it.
        {{L"-instdir", L"D:\\A", L"-instdir", L"D:\\B", L"-instdir", L"\""}, AllUsers, L"D:\\B"},
        // "-allusers" changes only a current-user kind; after "-instport" it is the folder, and an option too.
        {{L"-instport", L"-allusers"}, Portable, nullptr},
    };
    for (const auto& c : cases) {
        Args args{L"setup.exe"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const InstallOptions options = ReadInstallOptions(args, InstallOptions{});
        EXPECT_EQ(options.kind, c.kind) << c.args[0];
        EXPECT_TRUE(!c.folder || options.folder == c.folder) << c.args[0];
    }
    InstallOptions currentUser;
    currentUser.kind = CurrentUser;
    EXPECT_EQ(ReadInstallOptions({L"setup.exe", L"-ALLUSERS"}, currentUser).kind, AllUsers);
    const InstallOptions flags = ReadInstallOptions({L"x", L"-RunAfter", L"-AUTOSTART", L"-nodeskICO"}, {});
    EXPECT_TRUE(flags.runAfter && flags.autostart && !flags.desktopIcon);
    EXPECT_TRUE(ReadInstallOptions({L"x"}, {}).desktopIcon);
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
    // What it writes must fit: a file in 259 characters, its folder in 247.
    const std::wstring folder(247, L'd'), file = folder + L"\\" + std::wstring(11, L'f');
    EXPECT_TRUE(FitsPathLimit(folder, true) && FitsPathLimit(file, false));
    EXPECT_FALSE(FitsPathLimit(folder + L"d", true) || FitsPathLimit(file + L"f", false) ||
                 FitsPathLimit(folder + L"d\\f", false));
}

TEST(EarlierFolder, IsCutBeforeTheProductExe)
{
    EXPECT_EQ(FolderBeforeProductExe(L"D:\\Apps\\PV\\Pixvn8.exe", false), L"D:\\Apps\\PV");
    EXPECT_EQ(FolderBeforeProductExe(L"\"D:\\Apps\\PV\\Pixvn8.exe\" \"%1\"", true), L"D:\\Apps\\PV");
    EXPECT_EQ(FolderBeforeProductExe(L"D:\\Apps\\PV\\other.exe", false), L"");
}

TEST(ClosingPageQuery, TakesTheLinksQueryAndALanguageOfTwoLetters)
{
    EXPECT_EQ(ClosingPageQuery(
                  L"[InternetShortcut]\r\n  URL=http://q.example/a?ref=12 \r\n\tUpdate=http://u.example/de\r\n"),
              L"?ref=12&Lang=DE");
    // A language needs two letters; a link without "?" adds nothing.
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/?ref=12\nUpdate=http://u.example/08\n"), L"?ref=12");
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/\nUpdate=http://u.example/d8\n"), L"");
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/\nUpdate=http://u.example/fr"), L"?Lang=FR");
    // The last link wins, and replaces a language that came before it.
    EXPECT_EQ(ClosingPageQuery(L"Update=http://u.example/de\nURL=http://a/?x=1\nURL=http://b/?y=2\n"), L"?y=2");
    // Only lines that begin with the exact keys count.
    EXPECT_EQ(ClosingPageQuery(L"url=http://a/?x=1\nUpdate=https://u.example/de\nXURL=http://a/?x=1\n"), L"");
    EXPECT_EQ(ClosingPageQuery(L""), L"");
}

TEST(ClosingPageQuery, ALineLongerThanTheBufferIsReadInPieces)
{
    const std::wstring key = L"URL=http://";
    const size_t fits = kHomePageLineChars - 1 - key.size() - 7;  // the line just fills the buffer
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits, L'a') + L"?ref=12\n"), L"?ref=12");
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits + 1, L'a') + L"?ref=12\n"), L"?ref=1");
    // A piece that begins with a key counts as a line of its own.
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits + 7, L'a') + L"Update=http://u.example/de\n"), L"?Lang=DE");
}

// The shell's link object drops a pair of quotes on its own; the shortcut
// tests prove a lone one goes too.
TEST(UnquoteTarget, DropsOneQuoteAtEachEnd)
{
    EXPECT_EQ(UnquoteTarget(L"\"\"C:\\a.exe\"\""), L"\"C:\\a.exe\"");
    EXPECT_EQ(UnquoteTarget(L"\""), L"");
}
