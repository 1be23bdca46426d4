#include "support/test_env.h"
#include "system/services.h"

#include <gtest/gtest.h>

#include <string>

// The folder RunAndWait runs in and its wait are proven by the product
// double's records in the end-to-end tests.
TEST(RunAndWait, AMissingProgramReturnsAtOnceAndShowsNothing)
{
    const ULONGLONG start = ::GetTickCount64();
    RunAndWait(L"C:\\pxtest\\no-such-folder\\nothing.exe", L"nothing.exe -unregonly", L"C:\\", 5000);
    RunAndWait(L"", L"", nullptr, 5000);
    EXPECT_LT(::GetTickCount64() - start, 1000u);
    EXPECT_EQ(FindDialog(::GetCurrentProcessId(), [](HWND) { return true; }), nullptr);
}

TEST(ReadRegString, KeepsItsTwoHundredSixtyByteLimit)
{
    const wchar_t* key = L"Software\\PixvaneTests\\Services";
    const std::pair<const wchar_t*, std::wstring> values[] = {
        {L"fits", std::wstring(129, L'a')}, {L"tooLong", std::wstring(130, L'b')}, {nullptr, L"default"}};
    for (const auto& [name, value] : values) {
        ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, key, name, value));
        EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, key, name), value.size() < 130 ? value : L"");
    }
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, key, L"missing"), L"");
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
    const std::wstring userShellFolders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
    const std::wstring saved = GetRegString(HKEY_LOCAL_MACHINE, userShellFolders, L"CommonPictures");
    ASSERT_TRUE(SetRegString(HKEY_LOCAL_MACHINE, userShellFolders, L"CommonPictures", unusable));
    EXPECT_EQ(GetSpecialFolderPath(54), unusable);
    SetRegString(HKEY_LOCAL_MACHINE, userShellFolders, L"CommonPictures", saved);
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
