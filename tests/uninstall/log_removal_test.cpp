// Log-driven removal against real files in the test prefix: what a log names
// goes, what it does not name (or names in a way it must not) stays, and what
// is in use is left to the restart.
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "uninstall/install_log.h"
#include "uninstall/log_removal.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());  // test paths are Latin-1
}

// Held without FILE_SHARE_DELETE, as a running program holds its files.
UniqueFileHandle HoldOpen(const std::wstring& path)
{
    return UniqueFileHandle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// A product folder "prod" inside a scratch folder, so that there is an
// outside to protect.
class LogRemoval : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_root = MakeScratchFolder(L"removal");
        m_product = m_root + L"\\prod";
        MakeFolders(m_product);
        m_log = In(L"PxvUnInst.log");
    }
    void TearDown() override { RemoveTree(m_root); }

    std::wstring In(const std::wstring& name) const { return m_product + L"\\" + name; }
    std::wstring Outside(const std::wstring& name) const { return m_root + L"\\" + name; }
    static void Touch(const std::wstring& path) { WriteTextFile(path, "x"); }

    std::wstring m_root;
    std::wstring m_product;
    std::wstring m_log;
};

}  // namespace

// Only exact entries count, of a long line only its first piece, and
// tampered entries cannot reach out of the product folder.
TEST_F(LogRemoval, OnlyExactEntriesInsideTheProductFolderGo)
{
    MakeFolders(In(L"sub\\deeper"));
    for (const wchar_t* name : {L"a.dat", L"b.dat", L"c.dat", L"d.dat", L"first.dat", L"second.dat", L"next.dat",
                                L"a.dll", L"a.exe", L"b.exe", L"sub\\x.dat", L"sub\\y.txt", L"sub\\deeper\\z.dat",
                                L"x64.dll", L"ind.dll", L"prt.exe", L"over.cfg", L"del.dll"}) {
        Touch(In(name));
    }
    for (const wchar_t* name : {L"prt.exe", L"out1.dat", L"out2.dat", L"out3.dat", L"note.txt"}) {
        Touch(Outside(name));  // prt.exe: where the installer put it; only its namesake inside goes
    }
    MakeFolders(Outside(L"victim1"));
    MakeFolders(Outside(L"victim2"));
    // 600 characters, a NUL among them: 511 in one read, then 89 that look
    // like an entry of their own.
    std::string longLine("File Copy: first.dat\0 | ", 24);
    longLine.resize(511, 'x');
    longLine += "File Copy: second.dat | ";
    longLine.resize(600, 'y');
    const std::string root = Narrow(m_root);
    WriteTextFile(m_log, "  File Copy: a.dat\r\nfile copy: b.dat\r\nFile Copy:c.dat\r\nFile Copy x64:d.dat\r\n" +
                             longLine + "\r\nFile Copy: next.dat\r\nFile Copy: a.dll | 1.2\r\n"
                             "File Copy: a.exe > b.exe\r\nFile Copy: sub\\*.dat\r\nFile Copy: none*.xyz\r\n"
                             "File Copy x64: x64.dll\r\nFile Copy ind: ind.dll\r\nFile Copy prt: prt.exe\r\n"
                             "File Copy: ..\\out1.dat\r\nFile Del: " + root + "\\out2.dat\r\nFile Copy: " + root.substr(2) +
                             "\\out3.dat\r\nFile Overwrite: sub\\..\\..\\out1.dat\r\nFile Copy: ok > ..\\out2.dat\r\n"
                             "File Copy: /x/../../out3.dat\r\nFile Copy: \\\\localhost\\C$\\pxtest\\removal\\out1.dat\r\n"
                             "File Copy: ..\\*.*\r\nMake Dir: ..\\victim1\r\nMake Dir: " + root + "\\victim2\r\n"
                             "Shell Link: " + root + "\\note.txt\r\nFile Overwrite: over.cfg | by the product\r\n"
                             "File Del: del.dll\r\n");
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedLinksAndFolders(m_log);
    RemoveLoggedFiles(m_log, m_product, nullptr);

    for (const wchar_t* kept : {L"a.dat", L"b.dat", L"c.dat", L"d.dat", L"second.dat", L"a.exe", L"sub\\y.txt",
                                L"sub\\deeper\\z.dat"}) {
        EXPECT_TRUE(FileExists(In(kept))) << Narrow(kept);
    }
    for (const wchar_t* gone : {L"first.dat", L"next.dat", L"a.dll", L"b.exe", L"sub\\x.dat", L"x64.dll", L"ind.dll",
                                L"prt.exe", L"over.cfg", L"del.dll"}) {
        EXPECT_FALSE(FileExists(In(gone))) << Narrow(gone);
    }
    for (const wchar_t* name : {L"prt.exe", L"out1.dat", L"out2.dat", L"out3.dat", L"note.txt", L"victim1", L"victim2"}) {
        EXPECT_TRUE(::GetFileAttributesW(Outside(name).c_str()) != INVALID_FILE_ATTRIBUTES) << Narrow(name);
    }
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
}

TEST_F(LogRemoval, WhatCannotGoNowGoesAtTheRestart)
{
    MakeFolders(In(L"Effects\\Frames"));
    MakeFolders(In(L"Languages"));
    for (const wchar_t* name :
         {L"ro.dat", L"hidden.dat", L"locked.dll", L"Effects\\Frames\\a.png", L"Languages\\mine.txt"}) {
        Touch(In(name));
    }
    ::SetFileAttributesW(In(L"ro.dat").c_str(), FILE_ATTRIBUTE_READONLY);
    ::SetFileAttributesW(In(L"hidden.dat").c_str(), FILE_ATTRIBUTE_HIDDEN);
    const DWORD all = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    ::SetFileAttributesW(In(L"locked.dll").c_str(), all);
    UniqueFileHandle holder = HoldOpen(In(L"locked.dll"));
    ASSERT_TRUE(holder);
    WriteTextFile(m_log, "Make Dir: Effects\r\nMake Dir: Effects\\Frames\r\nMake Dir: Languages\r\n"
                         "File Copy: ro.dat\r\nFile Copy: hidden.dat\r\nFile Copy: locked.dll\r\n"
                         "File Copy: Effects\\Frames\\*.png\r\n");

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(In(L"ro.dat")));
    EXPECT_FALSE(FileExists(In(L"hidden.dat")));
    // Read-only and hidden were cleared for the attempt, the system bit kept.
    EXPECT_EQ(::GetFileAttributesW(In(L"locked.dll").c_str()) & all, static_cast<DWORD>(FILE_ATTRIBUTE_SYSTEM));
    EXPECT_TRUE(IsPendingDeletion(In(L"locked.dll")));
    EXPECT_FALSE(IsPendingDeletion(In(L"ro.dat")));
    // Log order: Effects still held Frames when its turn came.
    EXPECT_FALSE(FolderExists(In(L"Effects\\Frames")));
    EXPECT_TRUE(IsPendingDeletion(In(L"Effects")));
    EXPECT_TRUE(IsPendingDeletion(In(L"Languages")));

    holder.Reset();
    ASSERT_EQ(RunToEnd(L"wineboot.exe -r", 120000), 0);
    EXPECT_FALSE(FileExists(In(L"locked.dll")));
    EXPECT_FALSE(FolderExists(In(L"Effects")));
    EXPECT_TRUE(FileExists(In(L"Languages\\mine.txt")));
    EXPECT_FALSE(IsPendingDeletion(In(L"locked.dll")));
}

TEST_F(LogRemoval, OnlyPrefixLimitsTheFilePassButNotTheFolderPass)
{
    Touch(In(L"current.dll"));
    Touch(In(L"PvCapHlp.dll"));
    MakeFolders(In(L"Languages"));
    WriteTextFile(m_log, "Make Dir: Languages\r\nFile Copy: current.dll\r\nFile Del: PvCapHlp.dll | version 7\r\n");

    RemoveLoggedFiles(m_log, m_product, kFileDelPrefix);

    EXPECT_TRUE(FileExists(In(L"current.dll")));
    EXPECT_FALSE(FileExists(In(L"PvCapHlp.dll")));
    EXPECT_FALSE(FolderExists(In(L"Languages")));
}

TEST_F(LogRemoval, ShortcutsGoAndTheGroupClimbStopsAtTheFirstFolderInUse)
{
    const std::wstring programs = Outside(L"Programs");
    const std::wstring group = programs + L"\\Quorvex\\Caf\u00e9 8";
    const std::wstring userGroup = programs + L"\\Other\\Kept";
    MakeFolders(group);
    MakeFolders(userGroup);
    Touch(programs + L"\\someone else.lnk");
    Touch(group + L"\\Caf\u00e9 8.lnk");
    Touch(userGroup + L"\\Pixvane 8.lnk");
    Touch(userGroup + L"\\my notes.txt");
    // The package's list, its last line unterminated, then the installer's own lines.
    WriteTextFile(m_log, "Make Dir: x64\r\nFile Copy: Pixvn8.exe");
    AppendLogEntry(m_log, L"", L"");
    AppendLogEntry(m_log, kMadeDirPrefix, group);
    AppendLogEntry(m_log, kMadeDirPrefix, userGroup);
    AppendLogEntry(m_log, kShellLinkPrefix, group + L"\\Caf\u00e9 8.lnk");
    AppendLogEntry(m_log, kShellLinkPrefix, userGroup + L"\\Pixvane 8.lnk");
    AppendLogEntry(m_log, kShellLinkPrefix, group + L"\\gone.lnk");
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedLinksAndFolders(m_log);

    EXPECT_FALSE(FolderExists(programs + L"\\Quorvex"));
    EXPECT_TRUE(FolderExists(programs));
    EXPECT_FALSE(FileExists(userGroup + L"\\Pixvane 8.lnk"));
    EXPECT_TRUE(FileExists(userGroup + L"\\my notes.txt"));
    EXPECT_TRUE(FolderExists(programs + L"\\Other"));
    // Neither shortcuts nor group folders are ever left to the restart.
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
    EXPECT_NE(ReadTextFile(m_log).find("Pixvn8.exe\r\nMade Dir: " + Narrow(group) + "\r\n"), std::string::npos);
}
