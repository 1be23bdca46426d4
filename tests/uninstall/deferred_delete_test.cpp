// Deferred deletion and replacement when the system's delayed move is
// refused: the "rename" section of WININIT.INI. The delayed move itself is
// proven by the end-to-end tests' restarts.
#include "support/test_env.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/deferred_delete_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

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
