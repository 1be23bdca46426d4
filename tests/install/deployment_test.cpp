// Deployment and the end of a run, inside the test process: package lists
// that try odd things, files in use, and the restart request.
#include "install/deployment.h"
#include "install/install_log_writer.h"
#include "install/install_state.h"
#include "install/installation.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/install_log_text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

using Names = std::set<std::wstring>;

Names NamesIn(const std::wstring& folder)
{
    Names names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        names.insert(entry.path().filename().wstring());
    }
    return names;
}

class Deployment : public ::testing::Test {
protected:
    void SetUp() override
    {
        SimulateRestart();
        m_saved = g_installState;
        m_source = MakeScratchFolder(L"deploy-source");
        m_outside = MakeScratchFolder(L"deploy-out");
        g_installState.sourceFolder = m_source;
        g_installState.destinationFolder = m_outside + L"\\dest";
        g_installState.kind = CurrentUser;
        g_restartPending = 0;
    }
    void TearDown() override
    {
        g_installState = m_saved;
        g_restartPending = 0;
        g_pfnExitWindowsEx = ::ExitWindowsEx;
    }
    std::wstring Dest() const { return g_installState.destinationFolder; }
    std::wstring Source(const std::wstring& name) const { return m_source + L"\\" + name; }

    InstallState m_saved;
    std::wstring m_source;
    std::wstring m_outside;
};

// Bad lines, names that try to leave the destination and missing sources
// write nothing; a pattern stops at its first match that cannot be copied;
// a library goes in only when the system lacks it, though a load through the
// usual search order would find the package's copy in the current folder.
TEST_F(Deployment, AListWritesOnlyInsideTheDestinationAndOnlyWhatTheSystemLacks)
{
    MakeFolders(Source(L"sub"));
    MakeFolders(Source(L"p\\c.dat"));  // a folder among the matches fails its copy
    for (const wchar_t* name : {L"a.txt", L"sub\\b.txt", L"p\\a.dat", L"p\\b.dat", L"p\\d.dat", L"p\\e.dat"}) {
        WriteTextFile(Source(name), "payload");
    }
    Names before;  // the matches the search gives ahead of the folder
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW(Source(L"p\\*.dat").c_str(), &found));
    for (bool more = search.IsValid(); more && std::wstring(found.cFileName) != L"c.dat";
         more = ::FindNextFileW(search.Get(), &found)) {
        before.insert(found.cFileName);
    }
    ASSERT_TRUE(::CopyFileW(PackagePath(L"pvcodec8.dll").c_str(), Source(L"pvcodec8.dll").c_str(), FALSE));
    WriteTextFile(Source(L"msvcrt.dll"), "package copy");
    MakeFolders(Dest());
    WriteTextFile(Dest() + L"\\msvcrt.dll", "installed copy");
    // A long line's rest is not a line of its own, even when it looks like one.
    const std::string longLine = "File Copy: " + std::string(kLogLineChars - 1 - 11, 'x') + "File Copy: sub\\b.txt\r\n";
    WriteTextFile(Source(L"list.log"), "File Copy: a.txt\r\n" + longLine +
                                           "\x01\xff\xfe\x80 File Copy: sub\\b.txt\r\n"
                                           "File Copy: ..\\a.txt\r\nFile Copy: a.txt > ..\\escaped.txt\r\n"
                                           "File Copy: a.txt > " + std::string(m_outside.begin(), m_outside.end()) +
                                           "\\absolute.txt\r\nMake Dir: ..\\made\r\nFile Copy: missing.txt\r\n"
                                           "File Copy x64: sub\\b.txt\r\nFile Copy prt: a.txt\r\n"
                                           "File Copy: sub\\b.txt > renamed.txt\r\nFile Copy ind: pvcodec8.dll\r\n"
                                           "File Copy ind: msvcrt.dll\r\nFile Copy: p\\*.dat\r\n");
    wchar_t current[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, current);
    ::SetCurrentDirectoryW(m_source.c_str());
    DeployPackage(Source(L"list.log"));
    ::SetCurrentDirectoryW(current);
    EXPECT_EQ(NamesIn(m_outside), Names{L"dest"});
    EXPECT_EQ(NamesIn(Dest()), (Names{L"a.txt", L"renamed.txt", L"msvcrt.dll", L"pvcodec8.dll", L"p"}));
    EXPECT_EQ(ReadTextFile(Dest() + L"\\msvcrt.dll"), "installed copy");
    EXPECT_EQ(NamesIn(Dest() + L"\\p"), before);
}

TEST_F(Deployment, TargetsThatResistAreClearedMovedAsideOrLeftToTheRestart)
{
    MakeFolders(Dest());
    WriteTextFile(Source(L"plain.txt"), "new");
    WriteTextFile(Dest() + L"\\plain.txt", "old");
    ::SetFileAttributesW((Dest() + L"\\plain.txt").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(CopyOneFile(L"plain.txt", m_source, Dest(), nullptr), 1);
    EXPECT_EQ(ReadTextFile(Dest() + L"\\plain.txt"), "new");

    // A running program can be renamed, not deleted; its stale ".old" is held open.
    const std::wstring running = Dest() + L"\\run.exe";
    ASSERT_TRUE(::CopyFileW(PackagePath(L"Pixvn8.exe").c_str(), running.c_str(), FALSE));
    WriteTextFile(running + L".old", "stale");
    FileHolder staleHolder;
    ASSERT_TRUE(staleHolder.Hold(running + L".old"));
    ChildProcess program;
    ASSERT_TRUE(program.Start(L"\"" + running + L"\""));
    ::Sleep(1000);
    WriteTextFile(Source(L"run.exe"), "new program");
    EXPECT_EQ(CopyOneFile(L"run.exe", m_source, Dest(), nullptr), 1);
    EXPECT_EQ(ReadTextFile(running), "new program");
    EXPECT_TRUE(FileExists(running + L".old2"));
    EXPECT_TRUE(IsPendingDeletion(running + L".old"));
    EXPECT_TRUE(IsPendingDeletion(running + L".old2"));
    EXPECT_FALSE(g_restartPending);

    // A file held open without delete sharing cannot even be renamed.
    FileHolder holder;
    ASSERT_TRUE(holder.Hold(Dest() + L"\\plain.txt"));
    WriteTextFile(Source(L"plain.txt"), "newer");
    CopyOneFile(L"plain.txt", m_source, Dest(), nullptr);  // the final copy may get through a writable share
    EXPECT_EQ(ReadTextFile(Dest() + L"\\plain.txt.new"), "newer");
    EXPECT_NE(PendingFileRenames().find(L"plain.txt.new"), std::wstring::npos);
    EXPECT_TRUE(g_restartPending);
    program.Kill();
}

bool ShutdownPrivilegeEnabled()
{
    UniqueHandle token;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put());
    LUID shutdown = {};
    ::LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &shutdown);
    PRIVILEGE_SET wanted = {1, PRIVILEGE_SET_ALL_NECESSARY, {{shutdown, SE_PRIVILEGE_ENABLED}}};
    BOOL enabled = FALSE;
    return ::PrivilegeCheck(token.Get(), &wanted, &enabled) && enabled;
}

TEST_F(Deployment, RunAfterStartsTheProductOrRequestsTheRestartThatAReplacementWaitsFor)
{
    MakeFolders(Dest());
    ASSERT_TRUE(::CopyFileW(PackagePath(L"Pixvn8.exe").c_str(), (Dest() + L"\\Pixvn8.exe").c_str(), FALSE));
    g_installState.runAfter = true;
    // The restart is requested, not made: this Wine session serves other tests.
    static UINT restartFlags = 0;
    static DWORD restartReason = 0;
    g_pfnExitWindowsEx = [](UINT flags, DWORD reason) -> BOOL {
        restartFlags = flags;
        restartReason = reason;
        return TRUE;
    };

    EXPECT_EQ(FinishInstallation(), kExitInstalled);
    EXPECT_TRUE(WaitUntil([] { return ::FindWindowW(nullptr, L"Pixvane 8 - untitled") != nullptr; }, 15000));
    ::PostMessageW(::FindWindowW(nullptr, L"Pixvane 8 - untitled"), WM_CLOSE, 0, 0);
    EXPECT_EQ(restartFlags, 0u);

    g_restartPending = 1;
    EXPECT_EQ(FinishInstallation(), kExitRestartStarted);
    EXPECT_EQ(restartFlags, static_cast<UINT>(EWX_REBOOT));
    EXPECT_EQ(restartReason, 0x80040002u);
    EXPECT_TRUE(ShutdownPrivilegeEnabled());

    g_installState.runAfter = false;
    EXPECT_EQ(FinishInstallation(), kExitRestartNeeded);
    WaitUntil([&] { return ::DeleteFileW((Dest() + L"\\Pixvn8.exe").c_str()) != FALSE; }, 10000);
    EXPECT_EQ(FinishInstallation(), kExitInstallFailed);
}

TEST_F(Deployment, PathsThe8BitLogCannotHoldAreLoggedInTheirShortForm)
{
    MakeFolders(Dest());
    const std::wstring wide = m_outside + L"\\Группа 8";
    MakeFolders(wide);
    AppendToInstalledLog(kMadeDirPrefix, wide);
    const std::string line = ReadTextFile(Dest() + L"\\PxvUnInst.log");
    ASSERT_EQ(line.rfind("Made Dir: ", 0), 0u);
    ASSERT_EQ(line.substr(line.size() - 2), "\r\n");
    const std::wstring logged(line.begin() + 10, line.end() - 2);
    wchar_t longForm[MAX_PATH] = {};
    ::GetLongPathNameW(logged.c_str(), longForm, MAX_PATH);
    EXPECT_EQ(longForm, wide);
}

}  // namespace
