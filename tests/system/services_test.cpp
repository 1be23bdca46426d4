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

}  // namespace

TEST(RunAndWait, WaitsForTheProgramInTheFolderGiven)
{
    const std::wstring folder = MakeScratchFolder(L"run-wait");
    RunAndWait(L"cmd.exe /c echo made> made.txt", folder.c_str(), 10000);
    EXPECT_TRUE(FileExists(folder + L"\\made.txt"));
}

TEST(RunAndWait, WithoutAFolderRunsInTheDestinationFolder)
{
    const std::wstring folder = MakeScratchFolder(L"run-destination");
    g_installState.destinationFolder = folder;
    RunAndWait(L"cmd.exe /c echo made> made.txt", nullptr, 10000);
    g_installState.destinationFolder.clear();
    EXPECT_TRUE(FileExists(folder + L"\\made.txt"));
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

TEST(RunAndWait, AMissingProgramIsIgnored)
{
    RunAndWait(L"C:\\pxtest\\no-such-folder\\nothing.exe -unregonly", L"C:\\", 5000);
    RunAndWait(L"", nullptr, 5000);
    SUCCEED();
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

TEST(GetSpecialFolderPath, AnswersFromTheShellAndCreatesTheFolder)
{
    const std::wstring pictures = GetSpecialFolderPath(39);
    EXPECT_FALSE(pictures.empty());
    EXPECT_TRUE(FolderExists(pictures));
    EXPECT_EQ(GetSpecialFolderPath(23), L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs");
}

TEST(GetSpecialFolderPath, FallsBackToExplorersShellFoldersWhenTheShellFails)
{
    // A folder that would have to be made inside a file: the shell cannot
    // create it and fails, though it still mirrors the path into "Shell
    // Folders", which is what the fallback then reads.
    const std::wstring scratch = MakeScratchFolder(L"special-folder");
    WriteTextFile(scratch + L"\\afile.txt", "x");
    const std::wstring unusable = scratch + L"\\afile.txt\\Pictures";
    const std::wstring saved = GetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures");
    ASSERT_TRUE(SetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures", unusable));

    EXPECT_EQ(GetSpecialFolderPath(54), unusable);
    EXPECT_FALSE(FolderExists(unusable));

    SetRegString(HKEY_LOCAL_MACHINE, kMachineUserShellFolders, L"CommonPictures", saved);
}

TEST(GetSpecialFolderPath, AnUnknownFolderReadsTheDefaultValueOfTheUsersShellFolders)
{
    constexpr wchar_t kUserShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, kUserShellFolders, nullptr, L"C:\\Elsewhere"));
    EXPECT_EQ(GetSpecialFolderPath(0x7E), L"C:\\Elsewhere");

    UniqueRegKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, kUserShellFolders, 0, KEY_ALL_ACCESS, key.Put()), ERROR_SUCCESS);
    ::RegDeleteValueW(key.Get(), nullptr);
    EXPECT_EQ(GetSpecialFolderPath(0x7E), L"");
}

TEST(AppendLineToFile, AppendsLinesEndedByCarriageReturnLineFeed)
{
    const std::wstring log = MakeScratchFolder(L"append") + L"\\PxvUnInst.log";
    AppendLineToFile(log.c_str(), L"File Copy: Pixvn8.exe");
    AppendLineToFile(log.c_str(), L"");
    AppendLineToFile(log.c_str(), L"Made Dir: C:\\Gr\u00FCppe");
    EXPECT_EQ(ReadTextFile(log), "File Copy: Pixvn8.exe\r\n\r\nMade Dir: C:\\Gr\xFCppe\r\n");
}

TEST(AppendLineToFile, StopsTheTextAtACharacterTheCodePageCannotHold)
{
    const std::wstring log = MakeScratchFolder(L"append-wide") + L"\\PxvUnInst.log";
    AppendLineToFile(log.c_str(), L"Shell Link: C:\\\u0416\\a.lnk");
    EXPECT_EQ(ReadTextFile(log), "Shell Link: C:\\\r\n");
}

TEST(AppendLineToFile, LeavesAFileItCannotOpenAlone)
{
    // Held open without sharing by another owner (Wine lets root write a
    // read-only file, so a lock is the honest way to refuse the open).
    const std::wstring log = MakeScratchFolder(L"append-locked") + L"\\PxvUnInst.log";
    WriteTextFile(log, "old\r\n");
    {
        UniqueFileHandle lock(::CreateFileW(log.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(lock);
        AppendLineToFile(log.c_str(), L"new");
    }
    EXPECT_EQ(ReadTextFile(log), "old\r\n");

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

TEST(LoadResString, GivesCatalogueTextsWholeAndNothingForUnknownNumbers)
{
    EXPECT_EQ(LoadResString(2), L"Pixvane Setup");
    EXPECT_EQ(LoadResString(57344), L"Pixvane Setup");
    EXPECT_EQ(LoadResString(25000), L"");
}
