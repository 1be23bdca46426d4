// The installer's parts inside the test process: deployment of package
// lists that try odd things, files in use, the end of a run and its restart
// request, registration and its undoing on every system the program tells
// apart, shortcuts read back by another program, and the closing web page.
#include "app/globals.h"
#include "app/product_names.h"
#include "install/deployment.h"
#include "install/install_log_writer.h"
#include "install/install_state.h"
#include "install/installation.h"
#include "install/registration.h"
#include "install/shortcuts.h"
#include "install/version_checks.h"
#include "support/machine_snapshot.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/file_access.h"
#include "system/path_text.h"
#include "system/services.h"
#include "system/user_start.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/install_log_text.h"
#include "uninstall/registry_cleanup.h"
#include "uninstall/uninstall_sequence.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

using Names = std::set<std::wstring>;

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
        g_pfnProcessIdToSessionId = ::ProcessIdToSessionId;
        g_pfnInitiateShutdownW = ::InitiateShutdownW;
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
// From the package's own unpacked folder a file moves on the last line that
// names it, taking its new folder's access, and the result is the copy's.
TEST_F(Deployment, AListWritesOnlyInsideTheDestinationAndOnlyWhatTheSystemLacks)
{
    wchar_t windows[MAX_PATH] = {};
    ::GetSystemWindowsDirectoryW(windows, MAX_PATH);
    m_source = std::wstring(windows) + L"\\Temp\\Pxv-0123456789abcdef0123";
    RemoveTree(m_source);
    MakeFolders(m_source);
    g_installState.sourceFolder = m_source;
    g_installState.packageFolder = m_outside;
    // Outside Program Files (also when reached through it) the destination is
    // made and given the administrators' access list; inside, or portable, not.
    static Names protectedFolders;
    g_pfnSetNamedSecurityInfoW = [](LPWSTR name, SE_OBJECT_TYPE, SECURITY_INFORMATION what, PSID owner, PSID,
                                    PACL list, PACL) -> DWORD {
        const auto control = static_cast<SECURITY_DESCRIPTOR_CONTROL>(
            SE_DACL_PRESENT | ((what & PROTECTED_DACL_SECURITY_INFORMATION) ? SE_DACL_PROTECTED : 0));
        SECURITY_DESCRIPTOR descriptor = {SECURITY_DESCRIPTOR_REVISION, 0, control, owner, nullptr, nullptr, list};
        protectedFolders.insert(std::wstring(name) + L" " + SddlOf(&descriptor));
        return ERROR_SUCCESS;
    };
    const std::wstring dest = Dest();
    const std::wstring programFiles = GetSpecialFolderPath(CSIDL_PROGRAM_FILES);
    const std::wstring throughProgramFiles = programFiles + L"\\..\\" + dest.substr(3);
    for (const auto& [kind, folder] : {std::pair{Portable, dest}, {AllUsers, programFiles + L"\\Pixvane 8"},
                                       {CurrentUser, throughProgramFiles}}) {
        g_installState.kind = kind;
        g_installState.destinationFolder = folder;
        ProtectProductFolder();
    }
    g_installState.destinationFolder = dest;
    g_pfnSetNamedSecurityInfoW = ::SetNamedSecurityInfoW;
    EXPECT_EQ(protectedFolders,
              Names{throughProgramFiles + L" O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)"});
    EXPECT_TRUE(FolderExists(dest));
    for (const wchar_t* folder : {L"sub", L"w\\in", L"s", L"r"}) {
        MakeFolders(Source(folder));
    }
    MakeFolders(Source(L"p\\c.dat"));  // a folder among the matches fails its copy
    for (const wchar_t* name : {L"a.txt", L"sub\\b.txt", L"p\\a.dat", L"p\\b.dat", L"p\\d.dat", L"p\\e.dat",
                                L"w\\x.txt", L"w\\in\\y.txt", L"s\\kept.txt", L"s\\stray.txt"}) {
        WriteTextFile(Source(name), "payload");
    }
    // A folder moves whole only when it holds just what the list puts there:
    // not with a file no line names, nor where another file is written in.
    WriteTextFile(Source(L"r\\x.txt"), "own");
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
    WriteTextFile(Dest() + L"\\a.txt", "earlier");  // replaced before the next line moves its source
    // A long line's rest is not a line of its own, even when it looks like one.
    const std::string longLine = "File Copy: " + std::string(kLogLineChars - 1 - 11, 'x') + "File Copy: sub\\b.txt\r\n";
    WriteTextFile(Source(L"list.log"), "Make Dir: w\r\nMake Dir: w\\in\r\nFile Copy: w\\*.txt\r\nFile Copy: w\\in\\y.txt\r\n"
                                       "Make Dir: s\r\nFile Copy: s\\kept.txt\r\nMake Dir: r\r\n"
                                       "File Copy: sub\\b.txt > r\\x.txt\r\nFile Copy: r\\x.txt\r\n"
                                       "File Copy: a.txt\r\nFile Copy: a.txt > again.txt\r\n" + longLine +
                                           "\x01\xff\xfe\x80 File Copy: sub\\b.txt\r\n"
                                           "File Copy: ..\\a.txt\r\nFile Copy: a.txt > ..\\escaped.txt\r\n"
                                           "File Copy: a.txt > " + Narrow(m_outside) +
                                           "\\absolute.txt\r\nMake Dir: ..\\made\r\nFile Copy: missing.txt\r\n"
                                           "File Copy x64: sub\\b.txt\r\nFile Copy prt: a.txt\r\n"
                                           "File Copy: sub\\b.txt > renamed.txt\r\nFile Copy: sub\\b.txt > b.txt\r\n"
                                           "File Copy ind: pvcodec8.dll\r\n"
                                           "File Copy ind: msvcrt.dll\r\nMake Dir: p\r\nFile Copy: p\\*.dat\r\n"
                                           "Make Dir: p\\c.dat\r\n");
    wchar_t current[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, current);
    static Names inheriting;
    static std::mutex inheritingLock;  // moved files take their access on the copying threads
    g_pfnSetNamedSecurityInfoW = [](LPWSTR name, SE_OBJECT_TYPE, SECURITY_INFORMATION what, PSID, PSID, PACL list,
                                    PACL) -> DWORD {
        if ((what & UNPROTECTED_DACL_SECURITY_INFORMATION) && list && list->AceCount == 0) {
            const std::lock_guard<std::mutex> hold(inheritingLock);
            inheriting.insert(name);
        }
        return ERROR_SUCCESS;
    };
    ::SetCurrentDirectoryW(m_source.c_str());
    DeployPackage(Source(L"list.log"));
    ::SetCurrentDirectoryW(current);
    g_pfnSetNamedSecurityInfoW = ::SetNamedSecurityInfoW;
    EXPECT_EQ(NamesIn(m_outside), Names{L"dest"});
    EXPECT_EQ(NamesIn(Dest()),
              (Names{L"a.txt", L"again.txt", L"b.txt", L"renamed.txt", L"msvcrt.dll", L"pvcodec8.dll", L"p", L"r",
                     L"s", L"w"}));
    EXPECT_EQ(NamesIn(Dest() + L"\\w"), (Names{L"x.txt", L"in"}));
    EXPECT_EQ(NamesIn(Dest() + L"\\w\\in"), Names{L"y.txt"});
    EXPECT_EQ(NamesIn(Dest() + L"\\s"), Names{L"kept.txt"});
    EXPECT_EQ(NamesIn(Source(L"s")), Names{L"stray.txt"});
    EXPECT_EQ(ReadTextFile(Dest() + L"\\r\\x.txt"), "own");
    EXPECT_EQ(ReadTextFile(Dest() + L"\\msvcrt.dll"), "installed copy");
    EXPECT_EQ(ReadTextFile(Dest() + L"\\a.txt") + ReadTextFile(Dest() + L"\\again.txt"), "payloadpayload");
    Names madeAndBefore = before;  // the walk ends at the folder, made later
    madeAndBefore.insert(L"c.dat");
    EXPECT_EQ(NamesIn(Dest() + L"\\p"), madeAndBefore);
    // A folder moved whole passes its new access on to what it holds.
    Names moved = {Dest() + L"\\again.txt", Dest() + L"\\b.txt", Dest() + L"\\pvcodec8.dll", Dest() + L"\\w",
                   Dest() + L"\\s\\kept.txt"};
    Names left = NamesIn(Source(L"p"));
    for (const std::wstring& name : before) {
        moved.insert(Dest() + L"\\p\\" + name);
        EXPECT_EQ(left.count(name), 0u) << Narrow(name);
    }
    // A move that is taken back had its access reset before it went back.
    for (const std::wstring& name : inheriting) {
        const std::wstring back = Dest() + L"\\p\\";
        EXPECT_TRUE(moved.count(name) || (name.starts_with(back) && left.count(name.substr(back.size()))))
            << Narrow(name);
        moved.erase(name);
    }
    EXPECT_EQ(moved, Names{});
    EXPECT_EQ(NamesIn(m_source), (Names{L"list.log", L"msvcrt.dll", L"p", L"r", L"s", L"sub"}));
    RemoveTree(m_source);
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

    // One held without delete sharing cannot even be renamed: the restart
    // deletes it, then moves the new copy in (a delayed move does not replace).
    FileHolder holder;
    ASSERT_TRUE(holder.Hold(Dest() + L"\\plain.txt"));
    CopyOneFile(L"plain.txt", m_source, Dest(), nullptr);
    EXPECT_EQ(ReadTextFile(Dest() + L"\\plain.txt.new"), "new");
    EXPECT_TRUE(IsPendingDeletion(Dest() + L"\\plain.txt"));
    EXPECT_TRUE(g_restartPending);
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

// Starting the product after a run is the package's and the wizard's tests'
// business; a pending replacement asks for a restart instead, or says it is needed.
TEST_F(Deployment, RunAfterRequestsTheRestartThatAReplacementWaitsFor)
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

    g_restartPending = 1;
    EXPECT_EQ(FinishInstallation(), kExitRestartStarted);
    EXPECT_EQ(restartFlags, static_cast<UINT>(EWX_REBOOT));
    EXPECT_EQ(restartReason, 0x80040002u);
    EXPECT_TRUE(ShutdownPrivilegeEnabled());

    // As SYSTEM under a deployment tool: the system's shutdown call, and when
    // that starts nothing, the restart is left to come.
    g_pfnProcessIdToSessionId = [](DWORD, DWORD* session) -> BOOL { return *session = 0, TRUE; };
    static DWORD shutdownFlags = 0, shutdownResult = ERROR_ACCESS_DENIED;
    g_pfnInitiateShutdownW = [](LPWSTR, LPWSTR, DWORD, DWORD flags, DWORD reason) -> DWORD {
        return shutdownFlags = flags, restartReason = reason, shutdownResult;
    };
    restartReason = 0;
    EXPECT_EQ(FinishInstallation(), kExitRestartNeeded);
    shutdownResult = ERROR_SUCCESS;
    EXPECT_EQ(FinishInstallation(), kExitRestartStarted);
    EXPECT_EQ(shutdownFlags, static_cast<DWORD>(SHUTDOWN_RESTART));
    EXPECT_EQ(restartReason, 0x80040002u);

    g_installState.runAfter = false;
    EXPECT_EQ(FinishInstallation(), kExitRestartNeeded);
    WaitUntil([&] { return ::DeleteFileW((Dest() + L"\\Pixvn8.exe").c_str()) != FALSE; }, 10000);
    EXPECT_EQ(FinishInstallation(), kExitInstallFailed);
}

using WithoutShortNames = MachineTest;

// A user profile and a group in Cyrillic, a destination in CJK letters: the
// log holds their escapes, and the removal finds the group and every link again.
TEST_F(WithoutShortNames, ACyrillicProfileAndACjkDestinationInstallAndGoWithoutResidue)
{
    const std::wstring userFolders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
    const std::wstring profile = L"C:\\users\\Пользователь";
    const std::wstring programs = profile + L"\\Главное меню";
    // The user's Programs folder as Windows keeps it, to put back.
    wchar_t saved[MAX_PATH] = {};
    DWORD type = REG_NONE, size = sizeof(saved);
    ::RegGetValueW(HKEY_CURRENT_USER, userFolders.c_str(), L"Programs", RRF_RT_ANY | RRF_NOEXPAND, &type, saved, &size);
    SetRegString(HKEY_CURRENT_USER, userFolders, L"Programs", programs);
    MakeFolders(programs);
    WriteTextFile(programs + L"\\Other Tool.lnk", "theirs");
    GetSpecialFolderPath(CSIDL_PROGRAMS);  // Explorer's mirror follows now, not during the installation
    m_before = TakeMachineSnapshot();
    InstallState& state = g_installState;  // a fresh one: no earlier installation, a desktop icon
    state.sourceFolder = ParentFolder(PackagePath(L"setup.exe"));
    state.destinationFolder = L"C:\\Program Files\\像素 8";
    state.kind = CurrentUser;
    state.groupName = L"Пиксвейн";  // not the product's name, which the removal finds without the log
    // A volume that keeps no short names: the short-name call answers with its input.
    g_pfnGetShortPathNameW = [](LPCWSTR path, LPWSTR buffer, DWORD size) {
        return ::GetFullPathNameW(path, size, buffer, nullptr);
    };

    PerformInstall();
    g_pfnGetShortPathNameW = ::GetShortPathNameW;
    // regsvr32 is not waited for; its last key says it is done.
    ASSERT_TRUE(WaitUntil([] { return RegKeyExists(HKEY_CLASSES_ROOT, L".pvi\\ShellEx"); }, 20000));
    RunToEnd(L"regsvr32.exe /s /u \"" + state.destinationFolder + L"\\ThumbPvi32.dll\"");  // the copy's part
    RunUninstall(state.destinationFolder + L"\\");
    SimulateRestart();
    EXPECT_EQ(ChangesSinceStart(), std::vector<std::wstring>());

    ::RegSetKeyValueW(HKEY_CURRENT_USER, userFolders.c_str(), L"Programs", type, saved, size);
    GetSpecialFolderPath(CSIDL_PROGRAMS);  // and the mirror back
    RemoveTree(profile);
}

// What the Linux program lnkinfo (Debian's liblnk-utils) prints about a link
// file on Wine's "Z:" drive. Wine starts a Linux program as such but gives
// no handle to wait on, so the output gets its final name only when complete.
std::string LnkInfoOf(const std::wstring& path)
{
    std::string unixPath;
    for (size_t i = 2; i < path.size(); ++i) {  // after "Z:"
        unixPath += path[i] == L'\\' ? '/' : static_cast<char>(path[i]);
    }
    const std::string script = "lnkinfo '" + unixPath + "' >'" + unixPath + ".tmp' 2>&1; mv '" + unixPath + ".tmp' '" +
                               unixPath + ".txt'";
    ChildProcess shell;
    if (!shell.Start(L"Z:\\bin\\sh -c \"" + std::wstring(script.begin(), script.end()) + L"\"") ||
        !WaitUntil([&] { return FileExists(path + L".txt"); }, 20000)) {
        return "lnkinfo did not run";
    }
    return ReadTextFile(path + L".txt");
}

// Opens nothing; writes down what it was asked to open, a line a page.
std::wstring g_opened;

HINSTANCE WINAPI RecordOpen(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT show)
{
    g_opened += std::wstring(verb) + L" " + file + L" " + std::to_wstring(show) + L"\n";
    return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(33));  // above 32: success
}

}  // namespace

// Read back by an independent reader of link files.
TEST(CreateShortcut, SavesTheUnquotedTargetAndLogsOnlyWhatWasSaved)
{
    const std::wstring destination = MakeScratchFolder(L"Pixvane 8 links");
    g_installState.destinationFolder = destination;
    SilentLevel = 1;
    const std::wstring target = destination + L"\\" + kProductExe;
    WriteTextFile(target, "product");
    // In the build tree, so that the Linux side reads the same file.
    const std::wstring linkFolder = BuildPath(L"install-links");
    RemoveTree(linkFolder);
    MakeFolders(linkFolder);
    const std::wstring link = linkFolder + L"\\Pixvane 8.lnk";
    const std::wstring pictures = L"C:\\users\\Public\\Pictures";

    // The shell's link object drops a pair of quotes on its own; a lone one
    // only CreateShortcut does.
    CreateShortcut(L"\"" + target, link, L"", 1, nullptr, pictures.c_str());
    CreateShortcut(target, destination + L"\\missing\\Never.lnk", L"", 1, nullptr, nullptr);
    // Too long for the system: neither a link cut to some other name nor its line.
    const std::wstring deep = destination + L"\\" + std::wstring(130, L'a') + L"\\" + std::wstring(130, L'b');
    MakeFolders(deep);
    CreateShortcut(target, deep + L"\\Never.lnk", L"", 1, nullptr, nullptr);
    EXPECT_EQ(NamesIn(ParentFolder(deep)), std::set<std::wstring>{std::wstring(130, L'b')});

    const std::string parsed = LnkInfoOf(link);
    EXPECT_NE(parsed.find("Local path\t\t\t: C:\\pxtest\\Pixvane 8 links\\Pixvn8.exe"), std::string::npos) << parsed;
    EXPECT_NE(parsed.find("Working directory\t\t: C:\\users\\Public\\Pictures"), std::string::npos) << parsed;
    // The link that could not be saved left no line.
    EXPECT_EQ(ReadTextFile(destination + L"\\PxvUnInst.log"),
              "Shell Link: " + Narrow(link) + "\r\n");
}

// The page is opened only after an interactive run that installed something
// new, and not for a managed deployment that brought settings and a licence.
TEST(OpenClosingWebPage, OpensTheInstallPageWithTheQueryOfTheInstalledLinkFile)
{
    g_pfnShellExecuteW = &RecordOpen;
    const std::wstring destination = MakeScratchFolder(L"Pixvane 8 page");
    const std::wstring licence = BuildPath(L"tests\\page-test.pv8lic");  // beside the test program
    InstallState& state = g_installState;
    state.destinationFolder = destination;
    const std::string linkFile =
        "[InternetShortcut]\r\nURL=http://www.quorvex.example/?ref=12\r\nUpdate=http://u.example/de\r\n";
    const std::wstring plain = L"open " + std::wstring(kInstallScriptAddress) + L" 5\n";
    const std::wstring withQuery = L"open " + std::wstring(kInstallScriptAddress) + L"?ref=12&Lang=DE 5\n";
    struct Case {
        int silentLevel;
        bool fresh, upgrade, settingsSupplied, licence, linkFile;
        std::wstring opened;  // empty: nothing may be opened
    };
    const Case cases[] = {
        {0, true, false, false, false, true, withQuery},
        {0, false, true, true, false, false, plain},
        {0, true, false, false, true, true, withQuery},
        {0, true, true, true, true, true, L""},
        {0, false, false, false, false, true, L""},
        {1, true, false, false, false, true, L""},
        {2, true, true, false, false, true, L""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "case " << (&c - cases));
        SilentLevel = c.silentLevel;
        state.freshInstall = c.fresh;
        state.upgrade = c.upgrade;
        state.settingsSupplied = c.settingsSupplied;
        if (c.licence) {
            WriteTextFile(licence, "licence");
        }
        if (c.linkFile) {
            WriteTextFile(destination + L"\\HomePage.url", linkFile);
        }
        g_opened.clear();

        OpenClosingWebPage();

        EXPECT_EQ(g_opened, c.opened);
        ::DeleteFileW(licence.c_str());
        ::DeleteFileW((destination + L"\\HomePage.url").c_str());
    }
    SilentLevel = 1;
}

// Register, then take back as the uninstaller does (its clean-up and the
// handler's unregistration): every value written exactly, and nothing else,
// and the registry as it was afterwards, on every system the program tells apart.
TEST(RegisterProduct, WritesEveryEntryAndRemovalTakesThemAllBack)
{
    const struct {
        DWORD major, minor;
        InstallKind kind;
        const wchar_t *progId, *handler, *clsid;
    } cases[] = {
        {5, 1, AllUsers, L"Applications\\Pixvn8.exe", L"ThumbPviXP32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}"},
        {6, 1, CurrentUser, L"Applications\\Pixvn8.exe", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
        {6, 2, CurrentUser, L"Pixvane.8", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
        {10, 0, AllUsers, L"Pixvane.8", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
    };
    const OSVERSIONINFOEXW realVersion = g_osVersion;
    const std::wstring folder = MakeScratchFolder(L"Pixvane 8 registered");
    for (const wchar_t* handler : {L"ThumbPvi32.dll", L"ThumbPviXP32.dll"}) {
        ASSERT_TRUE(::CopyFileW(PackagePath(handler).c_str(), (folder + L"\\" + handler).c_str(), FALSE));
    }
    g_installState.destinationFolder = folder;
    g_installState.packageVersion = {8, 1, 5, 0};
    // Windows has this key, which registration writes into and removal leaves.
    SetRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer", L"SOFTWARE\\Other");
    // Windows merges the user's classes into HKCR: where the user has a key,
    // reads and writes go there. Wine does not, so here HKCR is the user's
    // classes, where a licence class names another folder.
    SetRegString(HKEY_CURRENT_USER, L"Software\\Classes\\Pixvane8.License\\shell\\open\\command", nullptr,
                 L"\"C:\\pxtest\\elsewhere\\Pixvn8.exe\" \"%1\"");
    UniqueRegKey userClasses;
    ::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, KEY_ALL_ACCESS, userClasses.Put());
    ASSERT_EQ(::RegOverridePredefKey(HKEY_CLASSES_ROOT, userClasses.Get()), 0);
    EXPECT_EQ(FindEarlierInstallFolder(), L"");
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\Classes\\Pixvane8.License");
    const MachineSnapshot before = TakeMachineSnapshot(false);
    const std::wstring thumbShellEx = L"SOFTWARE\\Classes\\.pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";

    for (const auto& windows : cases) {
        SCOPED_TRACE(std::to_string(windows.major) + "." + std::to_string(windows.minor));
        g_osVersion.dwMajorVersion = windows.major;
        g_osVersion.dwMinorVersion = windows.minor;
        g_installState.kind = windows.kind;

        RegisterProduct();
        // regsvr32 is not waited for; its last key says it is done.
        ASSERT_TRUE(WaitUntil([&] { return RegKeyExists(HKEY_LOCAL_MACHINE, thumbShellEx); }, 20000));
        const std::wstring product = L"HKLM\\SOFTWARE\\Quorvex\\Pixvane 8\\";
        const std::wstring classes = L"HKLM\\SOFTWARE\\Classes\\";
        const std::wstring uninstall = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8\\|";
        const std::wstring appPath = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe\\|";
        const std::wstring open = L" = REG_SZ:\"" + folder + L"\\Pixvn8.exe\" \"%1\"";
        const std::wstring clsid = classes + L"CLSID\\" + windows.clsid + L"\\";
        MachineSnapshot expected = {
            product + L"|AllUsers = REG_SZ:" + (windows.kind == AllUsers ? L"B" : L"A"),
            product + L"|Path = REG_SZ:" + folder,
            classes + L"Pixvane.8\\shell\\open\\command\\|@" + open,
            L"HKLM\\SOFTWARE\\RegisteredApplications\\|Pixvane.8 = REG_SZ:SOFTWARE\\Quorvex\\Pixvane 8\\Capabilities",
            classes + L".pv8lic\\|@ = REG_SZ:Pixvane8.License",
            classes + L"Pixvane8.License\\shell\\open\\command\\|@" + open,
            appPath + L"@ = REG_SZ:" + folder + L"\\Pixvn8.exe",
            appPath + L"Path = REG_SZ:" + folder,
            uninstall + L"Contact = REG_SZ:Support",
            uninstall + L"DisplayName = REG_SZ:Pixvane 8",
            uninstall + L"InstallLocation = REG_SZ:" + folder,
            uninstall + L"DisplayVersion = REG_SZ:8.01.05",
            uninstall + L"VersionMajor = REG_SZ:8",
            uninstall + L"VersionMinor = REG_SZ:1",
            uninstall + L"MajorVersion = REG_DWORD:8",
            uninstall + L"MinorVersion = REG_DWORD:1",
            uninstall + L"Publisher = REG_SZ:Quorvex Technology LLC",
            uninstall + L"UninstallString = REG_SZ:" + folder + L"\\PxvUnInst.exe",
            uninstall + L"URLInfoAbout = REG_SZ:https://www.quorvex.example/pixvane",
            classes + L"Applications\\Pixvn8.exe\\shell\\open\\command\\|@" + open,
            // What the thumbnail double writes when regsvr32 registers it.
            clsid + L"|@ = REG_SZ:Pixvane 8 Thumbnail Handler",
            clsid + L"InprocServer32\\|@ = REG_SZ:" + folder + L"\\" + windows.handler,
            clsid + L"InprocServer32\\|ThreadingModel = REG_SZ:Apartment",
            L"HKLM\\" + thumbShellEx + L"\\|@ = REG_SZ:" + windows.clsid,
        };
        for (const wchar_t* extension : {L".bmp", L".dib", L".gif", L".jpg", L".jpeg", L".tif", L".tiff", L".png",
                                         L".cmp", L".tga", L".wpg", L".jp2", L".j2k", L".pvi"}) {
            expected.insert(product + L"Capabilities\\FileAssociations\\|" + extension + L" = REG_SZ:" + windows.progId);
        }
        MachineSnapshot added;  // the values only: keys follow from them
        for (const std::wstring& line : TakeMachineSnapshot(false)) {
            if (line.find(L'|') != std::wstring::npos && !before.count(line)) {
                added.insert(line);
            }
        }
        // "+" for a value written that should not be, "-" for one missing.
        EXPECT_EQ(SnapshotChanges(expected, added), std::vector<std::wstring>());

        // The machine's class is the one read back.
        DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex\\Pixvane 8");
        DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe");
        EXPECT_EQ(FindEarlierInstallFolder(), folder);
        RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");
        RestoreFileAssociations();
        RunToEnd(L"regsvr32.exe /s /u \"" + folder + L"\\" + windows.handler + L"\"");
        EXPECT_EQ(SnapshotChanges(before, TakeMachineSnapshot(false)), std::vector<std::wstring>());
    }
    g_osVersion = realVersion;
    ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
}
