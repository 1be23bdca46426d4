// The removal's parts against real files and keys in the test prefix: what a
// log names goes, what it does not name (or names in a way it must not)
// stays, what is in use is left to the restart, and when the system's
// delayed move is refused, the "rename" section of WININIT.INI takes it. What
// the product wrote going, other programs' entries staying and the delayed
// move itself are the end-to-end tests' business.
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/services.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/deferred_delete_text.h"
#include "uninstall/install_log.h"
#include "uninstall/log_removal.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <cstdlib>
#include <string>

namespace {

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

bool SetAccessList(HKEY root, const std::wstring& key, const wchar_t* sddl)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    UniqueRegKey opened;
    const bool done =
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr) &&
        ::RegOpenKeyExW(root, key.c_str(), 0, WRITE_DAC, opened.Put()) == ERROR_SUCCESS &&
        ::RegSetKeySecurity(opened.Get(), DACL_SECURITY_INFORMATION, descriptor) == ERROR_SUCCESS;
    ::LocalFree(descriptor);
    return done;
}

BOOL WINAPI RefuseMoveFileEx(LPCWSTR, LPCWSTR, DWORD)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

std::wstring WininitPath()
{
    wchar_t windows[MAX_PATH] = {};
    ::GetWindowsDirectoryW(windows, MAX_PATH);
    return std::wstring(windows) + L"\\WININIT.INI";
}

// Every test starts and ends without a WININIT.INI, so none leaves work for
// a later restart, and ends with the real MoveFileExW.
class DeferredDelete : public ::testing::Test {
protected:
    void SetUp() override
    {
        ForgetWininit();
        g_restartPending = 0;
        g_pfnMoveFileExW = RefuseMoveFileEx;
    }
    void TearDown() override
    {
        g_pfnMoveFileExW = ::MoveFileExW;
        ForgetWininit();
    }
    static void ForgetWininit()
    {
        ::DeleteFileW(WininitPath().c_str());
        ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, L"WININIT.INI");  // drops the cached copy
    }
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

// Attributes cleared for nothing are the end-to-end tests' (read-only and
// hidden files go); here what stays for the restart, in log order.
TEST_F(LogRemoval, WhatCannotGoNowIsLeftToTheRestartInLogOrder)
{
    MakeFolders(In(L"Effects\\Frames"));
    MakeFolders(In(L"Languages"));
    for (const wchar_t* name : {L"locked.dll", L"Effects\\Frames\\a.png", L"Languages\\mine.txt"}) {
        Touch(In(name));
    }
    const DWORD all = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    ::SetFileAttributesW(In(L"locked.dll").c_str(), all);
    FileHolder holder;
    ASSERT_TRUE(holder.Hold(In(L"locked.dll")));
    WriteTextFile(m_log, "Make Dir: Effects\r\nMake Dir: Effects\\Frames\r\nMake Dir: Languages\r\n"
                         "File Copy: locked.dll\r\nFile Copy: Effects\\Frames\\*.png\r\n");

    RemoveLoggedFiles(m_log, m_product, nullptr);

    // Read-only and hidden were cleared for the attempt, the system bit kept.
    EXPECT_EQ(::GetFileAttributesW(In(L"locked.dll").c_str()) & all, static_cast<DWORD>(FILE_ATTRIBUTE_SYSTEM));
    EXPECT_TRUE(IsPendingDeletion(In(L"locked.dll")));
    // Log order: Effects still held Frames when its turn came.
    EXPECT_FALSE(FolderExists(In(L"Effects\\Frames")));
    EXPECT_TRUE(IsPendingDeletion(In(L"Effects")));
    EXPECT_TRUE(IsPendingDeletion(In(L"Languages")));
    holder.Release();
    SimulateRestart();
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

// A key whose access list denies DELETE to everyone cannot be deleted, so
// neither can its ancestors, while the rest of the tree goes; a user whose
// hive refuses access is passed over and the next one still cleaned. Wine
// lets a plain DELETE open through, so a locked key also holds a subkey, as
// it would stay on Windows.
TEST(RemoveRegistration, KeysThatCannotGoKeepTheirAncestorsAndARefusingUserIsPassedOver)
{
    const std::wstring tree = L"Software\\PixvaneTests\\Tree\\";
    const std::wstring refusing = L"S-1-5-21-1000-1000-1000-1000";
    const std::wstring sharing = L"S-1-5-21-1000-1000-1000-1002";
    for (const wchar_t* leaf : {L"deep\\locked\\in", L"deep\\gone", L"first\\x", L"locked\\in", L"mid\\m\\m", L"z"}) {
        ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, tree + leaf, L"", L"x"));
    }
    for (const std::wstring& user : {refusing, sharing}) {
        ASSERT_TRUE(SetRegString(HKEY_USERS, user + L"\\SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"", L"x"));
    }
    const std::pair<HKEY, std::wstring> locked[] = {
        {HKEY_CURRENT_USER, tree + L"locked"}, {HKEY_CURRENT_USER, tree + L"deep\\locked"}, {HKEY_USERS, refusing}};
    for (const auto& [root, key] : locked) {
        ASSERT_TRUE(SetAccessList(root, key, L"D:(D;;SD;;;WD)(A;;KA;;;WD)"));
    }

    EXPECT_FALSE(DeleteRegistryTree(HKEY_CURRENT_USER, tree.c_str()));
    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");

    for (const auto& [root, key] : locked) {
        SetAccessList(root, key, L"D:(A;;KA;;;WD)");
    }
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, tree + L"locked\\in"));
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, tree + L"deep\\locked\\in"));
    for (const wchar_t* gone : {L"deep\\gone", L"first", L"mid", L"z"}) {
        EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, tree + gone)) << gone;
    }
    EXPECT_TRUE(RegKeyExists(HKEY_USERS, refusing + L"\\SOFTWARE\\Quorvex\\Pixvane 8"));
    EXPECT_FALSE(RegKeyExists(HKEY_USERS, sharing + L"\\SOFTWARE\\Quorvex"));
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\PixvaneTests");
    DeleteRegTree(HKEY_USERS, refusing);
    DeleteRegTree(HKEY_USERS, sharing);
}

// Both systems' ordinary cases are the end-to-end tests'. Without Explorer's
// own choices the classes themselves are restored (the prefix is a new
// system), and only a choice of the product's goes.
TEST(RestoreFileAssociations, WithoutExplorersChoicesRestoresTheClassesThemselves)
{
    ASSERT_TRUE(IsVistaOrLater()) << "the prefix is expected to be a new system";
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts");
    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi\\UserChoice", L"Progid", L"otherfile"));
    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi", L"PixvnOld", L"PvOldView.exe"));
    RestoreFileAssociations();
    EXPECT_EQ(GetRegString(HKEY_CLASSES_ROOT, L".pvi", L"PixvnOld"), L"") << "cleared on new systems, whoever chose";
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, L".pvi\\UserChoice"));

    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi\\UserChoice", L"Progid", L"Applications\\Pixvn8.exe"));
    RestoreFileAssociations();
    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, L".pvi\\UserChoice"));
    DeleteRegTree(HKEY_CLASSES_ROOT, L".pvi");
}

// A refused replacement leaves the new copy to be deleted, not moved over
// the destination, and still counts as pending.
TEST_F(DeferredDelete, RefusedMovesFallBackToWininitBehindOlderEntries)
{
    EXPECT_NE(DeleteAtRestart(L"C:\\pxtest\\a.dll"), 0);
    EXPECT_EQ(ReadTextFile(WininitPath()), "[rename]\r\nNUL=C:\\pxtest\\a.dll\r\n");
    EXPECT_NE(ReplaceAtRestart(L"C:\\pxtest\\Pixvn8.exe.new", L"C:\\pxtest\\Pixvn8.exe"), 0);
    EXPECT_NE(g_restartPending, 0);
    EXPECT_EQ(ReadTextFile(WininitPath()), "[rename]\r\nNUL=C:\\pxtest\\a.dll\r\nNUL=C:\\pxtest\\Pixvn8.exe.new\r\n");
    EXPECT_EQ(PendingFileRenames().find(L"C:\\pxtest\\a.dll"), std::wstring::npos);
}

TEST_F(DeferredDelete, OverflowingSectionEndsTheProcessWithoutWriting)
{
    std::wstring section;
    for (int i = 0; section.size() < kWininitSectionChars - 300; ++i) {
        section += L"NUL=C:\\pxtest\\" + std::wstring(150, L'a') + std::to_wstring(i) + L'\0';
    }
    ASSERT_TRUE(::WritePrivateProfileSectionW(L"rename", (section + L'\0').c_str(), L"WININIT.INI"));
    const std::string before = ReadTextFile(WininitPath());
    const std::wstring path = L"C:\\pxtest\\" + std::wstring(300, L'b');

    // Gtest starts this program again for the statement and watches it end.
    EXPECT_EXIT(
        {
            g_pfnMoveFileExW = RefuseMoveFileEx;
            DeleteAtRestart(path.c_str());
            std::exit(0);
        },
        [](int code) { return code != 0; }, "");
    EXPECT_TRUE(ReadTextFile(WininitPath()) == before) << "WININIT.INI was written";  // no 16 KB dump
}
