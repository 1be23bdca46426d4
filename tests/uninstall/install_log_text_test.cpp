#include "uninstall/install_log_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The name a line leaves for removal, or "(no match)" when the prefix is not there.
std::wstring NameFor(std::wstring_view rawLine, std::wstring_view prefix)
{
    const std::wstring_view line = TrimLogLineEnd(rawLine);
    std::wstring_view rest;
    if (!MatchLogPrefix(line, prefix, rest)) {
        return L"(no match)";
    }
    return FileEntryInstalledName(line, prefix);
}

}  // namespace

TEST(LogLineReading, TrimsControlCharactersAndBlanksAtTheEndOnly)
{
    EXPECT_EQ(TrimLogLineEnd(L"File Copy: a.dll \t\r\n"), L"File Copy: a.dll");
    EXPECT_EQ(TrimLogLineEnd(L"  File Copy: a.dll\x1f\x01"), L"  File Copy: a.dll");
    EXPECT_EQ(TrimLogLineEnd(L" \r\n"), L"");
    // Code 33 and anything above stay, non-ASCII included.
    EXPECT_EQ(TrimLogLineEnd(L"a!"), L"a!");
    EXPECT_EQ(TrimLogLineEnd(L"caf\u00e9\u00a0"), L"caf\u00e9\u00a0");
}

TEST(LogLineReading, PrefixMustStandExactlyInColumnOne)
{
    EXPECT_EQ(NameFor(L"File Copy: a.dll\r\n", kFileCopyPrefix), L"a.dll");
    EXPECT_EQ(NameFor(L"  File Copy: a.dll", kFileCopyPrefix), L"(no match)");
    EXPECT_EQ(NameFor(L"file copy: a.dll", kFileCopyPrefix), L"(no match)");
    EXPECT_EQ(NameFor(L"File Copy x64:a.dll", kFileCopyX64Prefix), L"(no match)");
    EXPECT_EQ(NameFor(L"File Copy x64:a.dll", kFileCopyPrefix), L"(no match)");
    // A bare prefix loses its blank to the trimming and so is no entry.
    EXPECT_EQ(NameFor(L"Make Dir: \r\n", kMakeDirPrefix), L"(no match)");
    // The six file prefixes never overlap, so a line is one kind at most.
    const wchar_t* const filePrefixes[] = {kFileCopyPrefix,    kFileCopyX64Prefix,   kFileCopyIndPrefix,
                                           kFileCopyPrtPrefix, kFileOverwritePrefix, kFileDelPrefix};
    for (const wchar_t* line : filePrefixes) {
        int matches = 0;
        std::wstring_view rest;
        for (const wchar_t* prefix : filePrefixes) {
            matches += MatchLogPrefix(MakeLogLine(line, L"x.dll"), prefix, rest) ? 1 : 0;
        }
        EXPECT_EQ(matches, 1) << line;
    }
}

TEST(FileEntryName, CommentIsCutBeforeTheRenameIsLookedFor)
{
    EXPECT_EQ(NameFor(L"File Copy: a.dll | 1.2", kFileCopyPrefix), L"a.dll");
    EXPECT_EQ(NameFor(L"File Copy: new.dll > old.dll", kFileCopyPrefix), L"old.dll");
    EXPECT_EQ(NameFor(L"File Copy: new.dll >\t  old.dll | was > older.dll", kFileCopyPrefix), L"old.dll");
    EXPECT_EQ(NameFor(L"File Copy: a.dll | see > b.dll", kFileCopyPrefix), L"a.dll");
    // Only the first ">" renames; the rest belongs to the name.
    EXPECT_EQ(NameFor(L"File Copy: a>b>c", kFileCopyPrefix), L"b>c");
    // "|" without its blanks is part of the name.
    EXPECT_EQ(NameFor(L"File Del: a|b.dll", kFileDelPrefix), L"a|b.dll");
    // A comment that begins on the prefix's own blank leaves no name.
    EXPECT_EQ(NameFor(L"File Copy: | orphan comment", kFileCopyPrefix), L"");
    EXPECT_EQ(NameFor(L"File Copy: a.dll >", kFileCopyPrefix), L"");
}

TEST(FileEntryName, MakeLogLineIsWhatTheReaderMatches)
{
    const std::wstring line = MakeLogLine(kShellLinkPrefix, L"C:\\Start\\Pixvane 8.lnk");
    EXPECT_EQ(line, L"Shell Link: C:\\Start\\Pixvane 8.lnk");
    std::wstring_view rest;
    ASSERT_TRUE(MatchLogPrefix(line, kShellLinkPrefix, rest));
    EXPECT_EQ(rest, L"C:\\Start\\Pixvane 8.lnk");
}

TEST(Confinement, NamesInsideTheProductFolderPass)
{
    for (const wchar_t* name : {L"a.dll", L"Languages\\*.lng", L"Effects\\Frames\\*.png", L"x64/ThumbPvi64.dll",
                                L"..foo.dat", L"a..b", L".\\a.dll", L"*.*", L"sub\\.hidden", L"Pixvane 8.cfg"}) {
        EXPECT_TRUE(IsConfinedRelativeName(name)) << name;
    }
}

TEST(Confinement, NamesThatLeaveTheProductFolderAreRefused)
{
    for (const wchar_t* name :
         {L"", L"..", L"..\\outside.dat", L"sub\\..\\..\\outside.dat", L"sub\\..", L"sub/../../x", L"...\\x",
          L".. \\x", L". .\\x", L"C:\\Windows\\win.ini", L"C:x.dat", L"c:", L"sub\\a.dat:stream",
          L"\\Windows\\win.ini", L"\\\\server\\share\\x", L"\\\\?\\C:\\x", L"/x", L"//server/share"}) {
        EXPECT_FALSE(IsConfinedRelativeName(name)) << name;
    }
}

TEST(Confinement, ShellLinksMustBeShortcutFiles)
{
    EXPECT_TRUE(IsShortcutFileName(L"C:\\Programs\\Pixvane 8\\Pixvane 8.lnk"));
    EXPECT_TRUE(IsShortcutFileName(L"C:\\Desktop\\PIXVANE.LNK"));
    EXPECT_FALSE(IsShortcutFileName(L"C:\\Windows\\win.ini"));
    EXPECT_FALSE(IsShortcutFileName(L"C:\\x.lnk.exe"));
    EXPECT_FALSE(IsShortcutFileName(L"C:\\x.lnk:stream"));
    EXPECT_FALSE(IsShortcutFileName(L"lnk"));
    EXPECT_FALSE(IsShortcutFileName(L""));
}
