#include "install/install_state.h"
#include "support/test_env.h"
#include "system/services.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr wchar_t kScratchKey[] = L"Software\\PixvaneTests\\Services";
constexpr wchar_t kMachineUserShellFolders[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

bool ProductDoubleWindowIsOpen()
{
    return ::FindWindowW(L"Pixvane8MainFrame", L"Pixvane 8 - untitled") != nullptr;
}

// Visible top-level windows of every process.
int VisibleWindows()
{
    int count = 0;
    ::EnumWindows([](HWND window, LPARAM param) -> BOOL {
        *reinterpret_cast<int*>(param) += ::IsWindowVisible(window) ? 1 : 0;
        return TRUE;
    }, reinterpret_cast<LPARAM>(&count));
    return count;
}

}  // namespace

TEST(RunAndWait, WaitsInTheFolderGivenOrElseTheDestinationFolder)
{
    const std::wstring given = MakeScratchFolder(L"run-wait");
    const std::wstring destination = MakeScratchFolder(L"run-destination");
    g_installState.destinationFolder = destination;
    RunAndWait(L"cmd.exe /c echo made> given.txt", given.c_str(), 10000);
    RunAndWait(L"cmd.exe /c echo made> destination.txt", nullptr, 10000);
    g_installState.destinationFolder.clear();
    EXPECT_TRUE(FileExists(given + L"\\given.txt"));
    EXPECT_TRUE(FileExists(destination + L"\\destination.txt"));
}

TEST(RunAndWait, WaitZeroLeavesTheProgramRunning)
{
    ASSERT_FALSE(ProductDoubleWindowIsOpen());
    const std::wstring command = L"\"" + PackagePath(L"Pixvn8.exe") + L"\"";
    RunAndWait(command.c_str(), nullptr, 0);
    ASSERT_TRUE(WaitUntil(ProductDoubleWindowIsOpen, 10000));
    ::PostMessageW(::FindWindowW(L"Pixvane8MainFrame", nullptr), WM_CLOSE, 0, 0);
    EXPECT_TRUE(WaitUntil([] { return !ProductDoubleWindowIsOpen(); }, 10000));
}

TEST(RunAndWait, AMissingProgramReturnsAtOnceAndShowsNothing)
{
    const int windowsBefore = VisibleWindows();
    const ULONGLONG start = ::GetTickCount64();
    RunAndWait(L"C:\\pxtest\\no-such-folder\\nothing.exe -unregonly", L"C:\\", 5000);
    RunAndWait(L"", nullptr, 5000);
    EXPECT_LT(::GetTickCount64() - start, 1000u);
    EXPECT_EQ(VisibleWindows(), windowsBefore);
}

TEST(ReadRegString, KeepsItsTwoHundredSixtyByteLimit)
{
    const std::wstring fits(129, L'a');
    const std::wstring tooLong(130, L'b');
    const std::wstring path(200, L'c');
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kScratchKey, L"fits", fits));
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kScratchKey, L"tooLong", tooLong));
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kScratchKey, L"path", path));
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kScratchKey, nullptr, L"default"));

    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kScratchKey, L"fits"), fits);
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kScratchKey, L"tooLong"), L"");
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kScratchKey, L"path"), L"");
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kScratchKey, nullptr), L"default");
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kScratchKey, L"missing"), L"");
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, L"Software\\PixvaneTests\\NoSuchKey", L"fits"), L"");
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\PixvaneTests");
}

TEST(GetSpecialFolderPath, AnswersFromTheShellElseFromExplorersShellFolders)
{
    EXPECT_TRUE(FolderExists(GetSpecialFolderPath(39)));
    EXPECT_EQ(GetSpecialFolderPath(23), L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs");

    // A folder that would have to be made inside a file: the shell cannot
    // create it and fails, though it still mirrors the path into "Shell
    // Folders", which is what the fallback then reads.
    const std::wstring scratch = MakeScratchFolder(L"special-folder");
    WriteTextFile(scratch + L"\\afile.txt", "x");
    const std::wstring unusable = scratch + L"\\afile.txt\\Pictures";
    const std::wstring saved = GetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures");
    ASSERT_TRUE(SetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures", unusable));
    EXPECT_EQ(GetSpecialFolderPath(54), unusable);
    SetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures", saved);

    // A folder the table does not know reads the key's default value.
    constexpr wchar_t kUserShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kUserShellFolders, nullptr, L"C:\\Elsewhere"));
    EXPECT_EQ(GetSpecialFolderPath(0x7E), L"C:\\Elsewhere");
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kUserShellFolders, nullptr);
}

// Lines, their CR LF and Latin-1 are guarded by the log-removal tests.
TEST(AppendLineToFile, StopsAtACharacterTheCodePageCannotHoldAndLeavesAFileItCannotOpen)
{
    const std::wstring log = MakeScratchFolder(L"append") + L"\\PxvUnInst.log";
    AppendLineToFile(log.c_str(), L"Shell Link: C:\\\u0416\\a.lnk");
    EXPECT_EQ(ReadTextFile(log), "Shell Link: C:\\\r\n");
    {
        // Held open without sharing by another owner (Wine lets root write a
        // read-only file, so a lock is the honest way to refuse the open).
        UniqueFileHandle lock(::CreateFileW(log.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(lock);
        AppendLineToFile(log.c_str(), L"new");
    }
    EXPECT_EQ(ReadTextFile(log), "Shell Link: C:\\\r\n");
    AppendLineToFile(L"C:\\pxtest\\no-such-folder\\x.log", L"new");
    EXPECT_FALSE(FileExists(L"C:\\pxtest\\no-such-folder\\x.log"));
}

TEST(SetTokenPrivilege, WritesItsErrorsToStandardOutputOnly)
{
    UniqueHandle token;
    ASSERT_TRUE(g_pfnOpenProcessToken);
    ASSERT_TRUE(g_pfnOpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put()));

    testing::internal::CaptureStdout();
    SetTokenPrivilege(token.Get(), L"SeShutdownPrivilege", true);
    SetTokenPrivilege(token.Get(), L"SeNoSuchPrivilege", true);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "LookupPrivilegeValue error: 1313\n");
}

TEST(StartupState, ResolvesTheSystemEntryPointsAndTheVersion)
{
    EXPECT_NE(g_pfnIsWow64Process, nullptr);
    EXPECT_NE(g_pfnAdjustTokenPrivileges, nullptr);
    EXPECT_NE(g_pfnLookupPrivilegeValueW, nullptr);
    EXPECT_EQ(g_osVersion.dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
    EXPECT_GE(g_osVersion.dwMajorVersion, 5u);
    // This program is a 64-bit build: never under emulation.
    EXPECT_FALSE(IsWow64());
}
