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

void ForgetWininit()
{
    ::DeleteFileW(WininitPath().c_str());
    // The profile functions keep the file cached; this makes them look again.
    ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, L"WININIT.INI");
}

// Every test starts and ends without a WININIT.INI, so no test leaves work
// for a later restart.
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

    std::wstring m_folder;
};

using DeferredDeleteFallback = DeferredDelete;

}  // namespace

TEST_F(DeferredDelete, ReplacementIsRegisteredAsAMoveAndRaisesThePendingFlag)
{
    const std::wstring target = m_folder + L"\\Pixvn8.exe";
    const std::wstring update = m_folder + L"\\Pixvn8.exe.new";
    WriteTextFile(target, "old");
    WriteTextFile(update, "new");
    UniqueFileHandle holder(::CreateFileW(target.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(holder);

    EXPECT_NE(ReplaceAtRestart(update.c_str(), target.c_str()), 0);

    EXPECT_NE(g_restartPending, 0);
    // Source, then destination; no WININIT.INI when the system said yes.
    const std::wstring pending = PendingFileRenames();
    const size_t source = pending.find(update);
    ASSERT_NE(source, std::wstring::npos);
    EXPECT_NE(pending.find(target, source + update.size()), std::wstring::npos);
    EXPECT_FALSE(FileExists(WininitPath()));
}

TEST_F(DeferredDelete, MissingPathIsRegisteredAllTheSame)
{
    const std::wstring missing = m_folder + L"\\never-there.dll";
    EXPECT_NE(DeleteAtRestart(missing.c_str()), 0);
    EXPECT_NE(PendingFileRenames().find(missing), std::wstring::npos);
    EXPECT_FALSE(FileExists(WininitPath()));
}

TEST_F(DeferredDeleteFallback, EmptySectionGetsExactlyOneDeletion)
{
    g_pfnMoveFileExW = RefuseMoveFileEx;
    const std::wstring path = m_folder + L"\\a.dll";

    EXPECT_NE(DeleteAtRestart(path.c_str()), 0);

    EXPECT_EQ(ReadRenameSection(), L"NUL=" + path + L"\0"s);
    EXPECT_EQ(ReadTextFile(WininitPath()), "[rename]\r\nNUL=C:\\pxtest\\deferred\\a.dll\r\n");
    EXPECT_EQ(PendingFileRenames().find(path), std::wstring::npos);
}

TEST_F(DeferredDeleteFallback, OlderEntriesStayInFront)
{
    ASSERT_TRUE(::WritePrivateProfileSectionW(L"rename", L"C:\\from.dll=C:\\to.dll\0"s.c_str(), L"WININIT.INI"));
    g_pfnMoveFileExW = RefuseMoveFileEx;
    const std::wstring first = m_folder + L"\\first.dll";
    const std::wstring second = m_folder + L"\\second.dll";

    EXPECT_NE(DeleteAtRestart(first.c_str()), 0);
    EXPECT_NE(DeleteAtRestart(second.c_str()), 0);

    EXPECT_EQ(ReadRenameSection(), L"C:\\from.dll=C:\\to.dll\0NUL="s + first + L"\0NUL="s + second + L"\0"s);
}

TEST_F(DeferredDeleteFallback, ReplaceDeletesTheNewCopyInsteadAndSetsThePendingFlag)
{
    g_pfnMoveFileExW = RefuseMoveFileEx;
    const std::wstring update = m_folder + L"\\Pixvn8.exe.new";
    const std::wstring target = m_folder + L"\\Pixvn8.exe";

    EXPECT_NE(ReplaceAtRestart(update.c_str(), target.c_str()), 0);

    EXPECT_NE(g_restartPending, 0);
    EXPECT_EQ(ReadRenameSection(), L"NUL=" + update + L"\0"s);
}

TEST_F(DeferredDeleteFallback, OverflowEndsTheProcessWithoutWriting)
{
    // Older entries fill the section to within a few characters of its end.
    std::wstring section;
    for (int i = 0; section.size() < kWininitSectionChars - 300; ++i) {
        section += L"NUL=" + m_folder + L"\\" + std::wstring(150, L'a') + std::to_wstring(i) + L'\0';
    }
    section += L'\0';
    ASSERT_TRUE(::WritePrivateProfileSectionW(L"rename", section.c_str(), L"WININIT.INI"));
    const std::string before = ReadTextFile(WininitPath());
    ASSERT_EQ(ReadRenameSection().size(), section.size() - 1);
    const std::wstring path = m_folder + L"\\" + std::wstring(300, L'b');

    // Gtest starts this same program again for the statement and watches it end.
    EXPECT_EXIT(
        {
            g_pfnMoveFileExW = RefuseMoveFileEx;
            DeleteAtRestart(path.c_str());
            std::exit(0);
        },
        [](int code) { return code != 0; }, "");

    // Compared as a whole; a dump of 16 KB would bury the message.
    EXPECT_TRUE(ReadTextFile(WininitPath()) == before) << "WININIT.INI was written";
}
