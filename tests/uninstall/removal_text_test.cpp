#include "uninstall/deferred_delete_text.h"
#include "uninstall/install_log_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The name a raw line leaves for removal, or "(none)" when the prefix does not match.
std::wstring NameFor(std::wstring_view rawLine, std::wstring_view prefix = kFileCopyPrefix)
{
    const std::wstring_view line = TrimLogLineEnd(rawLine);
    std::wstring_view rest;
    return MatchLogPrefix(line, prefix, rest) ? FileEntryInstalledName(line, prefix) : L"(none)";
}

}  // namespace

TEST(LogLine, OnlyAnExactPrefixInColumnOneMatches)
{
    EXPECT_EQ(TrimLogLineEnd(L"  File Copy: a.dll \t\x1f\r\n"), L"  File Copy: a.dll");
    EXPECT_EQ(TrimLogLineEnd(L"caf\u00e9!"), L"caf\u00e9!");
    EXPECT_EQ(NameFor(L"File Copy: a.dll\r\n"), L"a.dll");
    EXPECT_EQ(NameFor(L"  File Copy: a.dll"), L"(none)");
    EXPECT_EQ(NameFor(L"file copy: a.dll"), L"(none)");
    EXPECT_EQ(NameFor(L"File Copy x64:a.dll", kFileCopyX64Prefix), L"(none)");
    // A bare prefix loses its blank to the trimming.
    EXPECT_EQ(NameFor(L"Make Dir: \r\n", kMakeDirPrefix), L"(none)");
    EXPECT_EQ(MakeLogLine(kShellLinkPrefix, L"C:\\P.lnk"), L"Shell Link: C:\\P.lnk");
    // A path beyond Latin-1 in escapes "<" never begins in a real name, and
    // only what the writer escapes comes back.
    const std::wstring wide = L"C:\\\u041f\u0443\\\u50cf <8>\\\u00ff.lnk";
    EXPECT_EQ(EncodeLoggedPath(wide), L"C:\\<41F><443>\\<50CF> <3C>8>\\\u00ff.lnk");
    EXPECT_EQ(DecodeLoggedPath(EncodeLoggedPath(wide)), wide);
    EXPECT_EQ(DecodeLoggedPath(L"<5C><41><1234567><><fffe>x<3C"), L"<5C><41><1234567><>\ufffex<3C");
}

TEST(LogLine, CommentIsCutBeforeTheRenameIsLookedFor)
{
    EXPECT_EQ(NameFor(L"File Copy: a.dll | 1.2"), L"a.dll");
    EXPECT_EQ(NameFor(L"File Copy: new.dll >\t  old.dll | was > older.dll"), L"old.dll");
    EXPECT_EQ(NameFor(L"File Copy: a.dll | see > b.dll"), L"a.dll");
    EXPECT_EQ(NameFor(L"File Copy: a>b>c"), L"b>c");
    EXPECT_EQ(NameFor(L"File Del: a|b.dll", kFileDelPrefix), L"a|b.dll");
    // A comment that begins on the prefix's own blank leaves no name.
    EXPECT_EQ(NameFor(L"File Copy: | orphan"), L"");
}

TEST(LogLine, ConfinementKeepsNamesInsideTheProductFolder)
{
    for (const wchar_t* name :
         {L"a.dll", L"Effects\\Frames\\*.png", L"x64/T.dll", L"..foo", L"a..b", L".\\a", L"*.*"}) {
        EXPECT_TRUE(IsConfinedRelativeName(name)) << name;
    }
    for (const wchar_t* name : {L"", L"..", L"..\\x", L"sub\\..\\..\\x", L"sub/../../x", L"...\\x", L".. \\x",
                                L"C:\\x", L"C:x", L"a:stream", L"\\x", L"\\\\server\\share\\x", L"/x"}) {
        EXPECT_FALSE(IsConfinedRelativeName(name)) << name;
    }
    EXPECT_TRUE(IsShortcutFileName(L"C:\\Desktop\\PIXVANE 8.LNK"));
    for (const wchar_t* path : {L"C:\\Windows\\win.ini", L"C:\\x.lnk.exe", L"C:\\x.lnk:s", L"lnk"}) {
        EXPECT_FALSE(IsShortcutFileName(path)) << path;
    }
}

// The block's contents are checked through the profile API in the removal tests.
TEST(WininitBlock, RefusesABlockThatWouldReachTheBufferEnd)
{
    const std::size_t used = 1000;
    const std::wstring section(used, L'a');
    // "NUL=", the path and its zero must leave room for the closing zero.
    const std::wstring fits(kWininitSectionChars - used - 6, L'p');
    std::wstring block = L"untouched";
    EXPECT_FALSE(BuildWininitDeletionBlock(section, used, fits + L"p", block));
    EXPECT_EQ(block, L"untouched");
    ASSERT_TRUE(BuildWininitDeletionBlock(section, used, fits, block));
    EXPECT_EQ(block.size(), kWininitSectionChars);
}
