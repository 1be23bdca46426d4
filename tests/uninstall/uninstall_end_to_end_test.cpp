// The whole removal as a user's machine sees it: an installed product, the
// real uninstaller in its folder, the confirmation, the temporary second
// stage, and the restart that finishes what was in use.
#include "support/installed_product.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr DWORD kStageTimeoutMs = 60000;
const std::wstring kConfirmation = LoadMessageText(IDS_CONFIRM_UNINSTALL);

using Texts = std::vector<std::wstring>;

std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

// Every program started while it lives sees Windows XP (x64): the programs
// of the removal, whose names are not known beforehand, included. A fresh
// prefix has no such setting of its own.
struct OlderWindowsForNewPrograms {
    OlderWindowsForNewPrograms() { SetRegString(HKEY_CURRENT_USER, L"Software\\Wine", L"Version", L"winxp64"); }
    ~OlderWindowsForNewPrograms() { ::RegDeleteKeyValueW(HKEY_CURRENT_USER, L"Software\\Wine", L"Version"); }
};

// An environment variable of this process, and so of the programs it starts,
// for the life of the object.
class ScopedVariable {
public:
    ScopedVariable(const wchar_t* name, const std::wstring& value) : m_name(name)
    {
        wchar_t before[MAX_PATH] = {};
        m_had = ::GetEnvironmentVariableW(name, before, MAX_PATH) != 0;
        m_before = before;
        ::SetEnvironmentVariableW(name, value.c_str());
    }
    ~ScopedVariable() { ::SetEnvironmentVariableW(m_name, m_had ? m_before.c_str() : nullptr); }

private:
    const wchar_t* m_name;
    bool m_had = false;
    std::wstring m_before;
};

class UninstallEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Nothing an earlier run left for the restart may act on this one.
        SimulateRestart();
        ClearProductCallsLog();
    }

    void TearDown() override { ClearInstallation(m_product); }

    void Install(InstallationLayout layout = {})
    {
        m_product = InstallSampleProduct(layout);
        ASSERT_EQ(MissingPartsOf(m_product), Texts{});
        ASSERT_TRUE(SecondStageProcesses().empty());
    }

    std::wstring Folder() const { return m_product.layout.productFolder; }
    std::wstring Uninstaller() const { return Folder() + L"\\PxvUnInst.exe"; }

    // Starts the product folder's uninstaller without arguments, says Yes,
    // and waits for the second stage to finish.
    void RemoveConfirmed()
    {
        ChildProcess firstStage;
        EXPECT_TRUE(firstStage.Start(Quoted(Uninstaller())));
        const auto box = AnswerMessageBox(IDYES, 30000, firstStage.Id());
        EXPECT_TRUE(box);
        EXPECT_TRUE(WaitForSecondStage(kStageTimeoutMs));
    }

    InstalledProduct m_product;
};

TEST_F(UninstallEndToEnd, RemovalFromTheProgramsListLeavesOnlyWhatTheUserAdded)
{
    Install();
    // The handler of the other Windows version is not this removal's to unregister.
    const std::wstring xpHandler = L"regsvr32.exe /s \"" + Folder() + L"\\ThumbPviXP32.dll\"";
    ASSERT_EQ(RunToEnd(xpHandler), 0);
    ChildProcess programsList;
    ASSERT_TRUE(programsList.Start(L"uninstaller.exe --remove \"Pixvane 8\""));
    const auto box = AnswerMessageBox(IDYES, 30000);
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kConfirmation);

    // The copy first gives the first stage a second to end, then schedules itself.
    std::vector<DWORD> stages;
    ASSERT_TRUE(WaitUntil([&] { return !(stages = SecondStageProcesses()).empty(); }, 30000));
    UniqueHandle stage(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, stages.front()));
    FILETIME created = {};
    FILETIME unused[3] = {};
    ASSERT_TRUE(::GetProcessTimes(stage.Get(), &created, &unused[0], &unused[1], &unused[2]));
    std::wstring secondStage;
    ASSERT_TRUE(WaitUntil([&] { return !(secondStage = CommandLineOf(stages.front())).empty(); }, 500));
    const std::vector<std::wstring> arguments = SplitCommandLine(secondStage);
    ASSERT_EQ(arguments.size(), 3u) << secondStage;  // interactive: no "-s"
    ASSERT_TRUE(WaitUntil([&] { return IsPendingDeletion(arguments[0]); }, 30000));
    FILETIME scheduled = {};
    ::GetSystemTimeAsFileTime(&scheduled);
    const auto ticks = [](FILETIME time) { return ULARGE_INTEGER{{time.dwLowDateTime, time.dwHighDateTime}}.QuadPart; };
    EXPECT_GE((ticks(scheduled) - ticks(created)) / 10000, 1000u);
    EXPECT_EQ(::WaitForSingleObject(stage.Get(), kStageTimeoutMs), WAIT_OBJECT_0);
    EXPECT_EQ(programsList.Wait(30000), 0);

    EXPECT_NE(ProductCallsLog().find(L"unregonly " + Folder() + L" in " + Folder() + L"\r\n"), std::wstring::npos)
        << ProductCallsLog();
    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, m_product.thumbnailHandlerClassKey));
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}"));
    RunToEnd(L"regsvr32.exe /s /u \"" + Folder() + L"\\ThumbPviXP32.dll\"");
    EXPECT_FALSE(FileExists(Uninstaller()));
    // The folder with its blank comes whole, quoted on the command line.
    EXPECT_EQ(arguments[1], L"-delself");
    EXPECT_EQ(arguments[2], Uninstaller());
    EXPECT_NE(secondStage.find(L" -delself " + Quoted(Uninstaller())), std::wstring::npos) << secondStage;
    EXPECT_TRUE(FileExists(arguments[0]));
    // The x64 folder is handed to the restart even when gone; a missing x32
    // folder is not, and without it the product folder that keeps the
    // user's file is not either.
    EXPECT_TRUE(IsPendingDeletion(Folder() + L"\\x64"));
    EXPECT_FALSE(IsPendingDeletion(Folder() + L"\\x32"));
    EXPECT_FALSE(IsPendingDeletion(Folder()));
    // "." and ".." of the "*.*" search in a user's group fail as files and
    // wait for the restart like any file in use.
    EXPECT_TRUE(IsPendingDeletion(L"C:\\users\\pxother\\Start Menu\\Programs")) << PendingFileRenames();
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});

    SimulateRestart();

    EXPECT_FALSE(FileExists(arguments[0]));
    EXPECT_TRUE(FolderExists(Folder()));
    EXPECT_EQ(LeftoversOf(m_product), Texts{});
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});
}

// Before Vista the product kept each extension's former program in
// "PixvnOld"; the removal gives it back and unregisters the XP handler.
TEST_F(UninstallEndToEnd, OnAnOlderSystemTheFormerProgramsGetTheirExtensionsBack)
{
    const OlderWindowsForNewPrograms xp;
    InstallationLayout layout;
    layout.vistaOrLater = false;
    Install(layout);
    // The Uninstall entry goes by a single key deletion, not a tree deletion.
    const std::wstring uninstallKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
    ASSERT_TRUE(SetRegString(HKEY_LOCAL_MACHINE, uninstallKey + L"\\Extra", L"x", L"y"));

    RemoveConfirmed();
    SimulateRestart();

    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, m_product.thumbnailHandlerClassKey));
    EXPECT_EQ(LeftoversOf(m_product), Texts{L"HKLM\\" + uninstallKey});
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});
}

// Another program has a logged file and the x32 folder open: they cannot go
// now, are left to the restart with the product folder, and the removal goes
// on around them.
TEST_F(UninstallEndToEnd, WhatIsInUseGoesAtTheRestartWithTheProductFolder)
{
    InstallationLayout layout;
    layout.userFileInProductFolder = false;
    Install(layout);
    const std::wstring inUse = Folder() + L"\\Languages\\English.lng";
    const std::wstring x32 = Folder() + L"\\x32";
    ASSERT_TRUE(::CreateDirectoryW(x32.c_str(), nullptr));
    FileHolder fileHolder;
    FileHolder folderHolder;
    ASSERT_TRUE(fileHolder.Hold(inUse));
    ASSERT_TRUE(folderHolder.Hold(x32));

    RemoveConfirmed();

    EXPECT_TRUE(FileExists(inUse));
    EXPECT_FALSE(FileExists(Folder() + L"\\Languages\\Deutsch.lng"));
    for (const std::wstring& pending : {inUse, Folder() + L"\\Languages", x32, Folder()}) {
        EXPECT_TRUE(IsPendingDeletion(pending)) << std::string(pending.begin(), pending.end());
    }

    fileHolder.Release();
    folderHolder.Release();
    SimulateRestart();

    EXPECT_FALSE(FolderExists(x32));
    EXPECT_EQ(LeftoversOf(m_product), Texts{});
}

// A licensed removal asks nothing and passes "-s"; a temporary folder with a
// blank quotes only the copy's name.
TEST_F(UninstallEndToEnd, LicensedRemovalWithABlankInTheTemporaryFolder)
{
    Install();
    WriteTextFile(Folder() + L"\\Pixvane.pv8lic", "licence");
    const std::wstring temporary = MakeScratchFolder(L"A B\\Temp");
    const ScopedVariable tmp(L"TMP", temporary);
    const ScopedVariable temp(L"TEMP", temporary);
    ChildProcess firstStage;
    ASSERT_TRUE(firstStage.Start(Quoted(Uninstaller())));

    std::wstring commandLine;
    ASSERT_TRUE(WaitForSecondStage(kStageTimeoutMs, &commandLine));

    EXPECT_TRUE(NoMessageBoxWithin(0));
    // The copy was started from its unquoted path, or it would not have run.
    EXPECT_EQ(commandLine.rfind(L"\"" + temporary + L"\\uni", 0), 0u) << commandLine;
    const std::vector<std::wstring> arguments = SplitCommandLine(commandLine);
    ASSERT_EQ(arguments.size(), 4u) << commandLine;
    EXPECT_EQ(arguments[2], Uninstaller());
    EXPECT_EQ(arguments[3], L"-s");
    EXPECT_TRUE(IsPendingDeletion(arguments[0]));
    EXPECT_FALSE(FileExists(Folder() + L"\\Pixvn8.exe"));
}

}  // namespace
