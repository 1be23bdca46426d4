// Deferred deletion and replacement: through the system's delayed move, and,
// when that is refused, through the "rename" section of WININIT.INI.
#include "support/test_env.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/deferred_delete_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

using namespace std::string_literals;

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

// The section as the profile API hands it out: entries with their zeros.
std::wstring ReadRenameSection()
{
    std::vector<wchar_t> buffer(kWininitSectionChars, L'\0');
    const DWORD used =
        ::GetPrivateProfileSectionW(L"rename", buffer.data(), static_cast<DWORD>(buffer.size()), L"WININIT.INI");
    return std::wstring(buffer.data(), used);
}

// Every test starts and ends without a WININIT.INI, so none leaves work for
// a later restart, and with the real MoveFileExW.
class DeferredDelete : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = MakeScratchFolder(L"deferred");
        ForgetWininit();
        g_restartPending = 0;
    }
    void TearDown() override
    {
        g_pfnMoveFileExW = ::MoveFileExW;
        ForgetWininit();
        RemoveTree(m_folder);
    }
    static void ForgetWininit()
    {
        ::DeleteFileW(WininitPath().c_str());
        ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, L"WININIT.INI");  // drops the cached copy
    }

    std::wstring m_folder;
};

}  // namespace

TEST_F(DeferredDelete, SystemRegistersMovesAndMissingPathsAlike)
{
    const std::wstring target = m_folder + L"\\Pixvn8.exe";
    const std::wstring update = m_folder + L"\\Pixvn8.exe.new";
    const std::wstring missing = m_folder + L"\\never-there.dll";
    WriteTextFile(update, "new");

    EXPECT_NE(ReplaceAtRestart(update.c_str(), target.c_str()), 0);
    EXPECT_NE(g_restartPending, 0);
    EXPECT_NE(DeleteAtRestart(missing.c_str()), 0);

    const std::wstring pending = PendingFileRenames();
    const size_t source = pending.find(update);
    ASSERT_NE(source, std::wstring::npos);
    EXPECT_NE(pending.find(target, source + update.size()), std::wstring::npos);
    EXPECT_NE(pending.find(missing), std::wstring::npos);
    EXPECT_FALSE(FileExists(WininitPath()));
}

// A refused replacement leaves the new copy to be deleted, not moved over
// the destination, and still counts as pending.
TEST_F(DeferredDelete, RefusedMovesFallBackToWininitBehindOlderEntries)
{
    g_pfnMoveFileExW = RefuseMoveFileEx;
    const std::wstring first = m_folder + L"\\a.dll";
    const std::wstring update = m_folder + L"\\Pixvn8.exe.new";

    EXPECT_NE(DeleteAtRestart(first.c_str()), 0);
    EXPECT_EQ(ReadTextFile(WininitPath()), "[rename]\r\nNUL=C:\\pxtest\\deferred\\a.dll\r\n");
    EXPECT_NE(ReplaceAtRestart(update.c_str(), (m_folder + L"\\Pixvn8.exe").c_str()), 0);
    EXPECT_NE(g_restartPending, 0);
    EXPECT_EQ(ReadRenameSection(), L"NUL=" + first + L"\0NUL="s + update + L"\0"s);
    EXPECT_EQ(PendingFileRenames().find(first), std::wstring::npos);
}

TEST_F(DeferredDelete, OverflowingSectionEndsTheProcessWithoutWriting)
{
    std::wstring section;
    for (int i = 0; section.size() < kWininitSectionChars - 300; ++i) {
        section += L"NUL=" + m_folder + L"\\" + std::wstring(150, L'a') + std::to_wstring(i) + L'\0';
    }
    ASSERT_TRUE(::WritePrivateProfileSectionW(L"rename", (section + L'\0').c_str(), L"WININIT.INI"));
    const std::string before = ReadTextFile(WininitPath());
    const std::wstring path = m_folder + L"\\" + std::wstring(300, L'b');

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
