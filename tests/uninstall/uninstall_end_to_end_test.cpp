// The whole removal as a user's machine sees it: an installed product, the
// real uninstaller in its folder, the confirmation, the temporary second
// stage, and the restart that finishes what was in use.
#include "support/installed_product.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/services.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr DWORD kStageTimeoutMs = 60000;
constexpr wchar_t kConfirmation[] = L"This will completely uninstall Pixvane 8.\nDo you want to continue?";

using Texts = std::vector<std::wstring>;

std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

// Every program started while it lives sees Windows XP (x64): the programs
// of the removal, whose names are not known beforehand, included.
class OlderWindowsForNewPrograms {
public:
    OlderWindowsForNewPrograms()
        : m_before(GetRegString(HKEY_CURRENT_USER, kWineKey, L"Version")),
          m_set(SetRegString(HKEY_CURRENT_USER, kWineKey, L"Version", L"winxp64"))
    {
    }
    ~OlderWindowsForNewPrograms()
    {
        if (!m_before.empty()) {
            SetRegString(HKEY_CURRENT_USER, kWineKey, L"Version", m_before);
            return;
        }
        UniqueRegKey key;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, kWineKey, 0, KEY_SET_VALUE, key.Put()) == ERROR_SUCCESS) {
            ::RegDeleteValueW(key.Get(), L"Version");
        }
    }
    bool IsSet() const { return m_set; }

private:
    static constexpr wchar_t kWineKey[] = L"Software\\Wine";
    const std::wstring m_before;
    const bool m_set;
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
    // and waits for the second stage to finish. Returns the second stage's
    // command line.
    std::wstring RemoveConfirmed()
    {
        ChildProcess firstStage;
        EXPECT_TRUE(firstStage.Start(Quoted(Uninstaller())));
        const auto box = AnswerMessageBox(IDYES, 30000, firstStage.Id());
        EXPECT_TRUE(box);
        std::wstring secondStage;
        EXPECT_TRUE(WaitForSecondStage(kStageTimeoutMs, &secondStage));
        return secondStage;
    }

    InstalledProduct m_product;
};

TEST_F(UninstallEndToEnd, RemovalFromTheProgramsListLeavesOnlyWhatTheUserAdded)
{
    Install();
    ChildProcess programsList;
    ASSERT_TRUE(programsList.Start(L"uninstaller.exe --remove \"Pixvane 8\""));
    const auto box = AnswerMessageBox(IDYES, 30000);
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kConfirmation);
    std::wstring secondStage;
    ASSERT_TRUE(WaitForSecondStage(kStageTimeoutMs, &secondStage));
    EXPECT_EQ(programsList.Wait(30000), 0);

    EXPECT_NE(ProductCallsLog().find(L"unregonly " + Folder() + L"\r\n"), std::wstring::npos) << ProductCallsLog();
    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, m_product.thumbnailHandlerClassKey));
    EXPECT_FALSE(FileExists(Uninstaller()));
    EXPECT_FALSE(FolderExists(m_product.groupFolder));
    // Interactive, so three arguments; the folder with its blank comes whole.
    const std::vector<std::wstring> arguments = SplitCommandLine(secondStage);
    ASSERT_EQ(arguments.size(), 3u) << secondStage;
    EXPECT_EQ(arguments[1], L"-delself");
    EXPECT_EQ(arguments[2], Uninstaller());
    EXPECT_NE(secondStage.find(L" -delself " + Quoted(Uninstaller())), std::wstring::npos) << secondStage;
    const std::wstring temporaryCopy = arguments[0];
    EXPECT_TRUE(FileExists(temporaryCopy));
    EXPECT_TRUE(IsPendingDeletion(temporaryCopy));
    // The user's file keeps the product folder, and without an x32 folder it
    // is not left to the restart either.
    EXPECT_FALSE(IsPendingDeletion(Folder()));
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});

    SimulateRestart();

    EXPECT_FALSE(FileExists(temporaryCopy));
    EXPECT_TRUE(FolderExists(Folder()));
    EXPECT_EQ(LeftoversOf(m_product), Texts{});
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});
}

// Before Vista the product kept each extension's former program in
// "PixvnOld"; the removal gives it back and unregisters the XP handler.
TEST_F(UninstallEndToEnd, OnAnOlderSystemTheFormerProgramsGetTheirExtensionsBack)
{
    OlderWindowsForNewPrograms xp;
    ASSERT_TRUE(xp.IsSet());
    InstallationLayout layout;
    layout.vistaOrLater = false;
    Install(layout);

    RemoveConfirmed();
    SimulateRestart();

    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, m_product.thumbnailHandlerClassKey));
    EXPECT_EQ(LeftoversOf(m_product), Texts{});
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});
}

TEST_F(UninstallEndToEnd, DecliningTheConfirmationLeavesEverythingInPlace)
{
    Install();
    ChildProcess firstStage;
    ASSERT_TRUE(firstStage.Start(Quoted(Uninstaller())));
    const auto box = AnswerMessageBox(IDNO, 30000, firstStage.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kConfirmation);
    EXPECT_EQ(firstStage.Wait(30000), 0);

    EXPECT_TRUE(SecondStageProcesses().empty());
    EXPECT_EQ(MissingPartsOf(m_product), Texts{});
    EXPECT_EQ(LostUserItemsOf(m_product), Texts{});
    EXPECT_EQ(ProductCallsLog(), L"");
}

// Another program has a logged file open: it cannot go now, is left to the
// restart, and the removal goes on around it.
TEST_F(UninstallEndToEnd, FileInUseSurvivesTheRunAndGoesAtTheRestart)
{
    InstallationLayout layout;
    layout.userFileInProductFolder = false;
    Install(layout);
    const std::wstring inUse = Folder() + L"\\Languages\\English.lng";
    FileHolder holder;
    ASSERT_TRUE(holder.Hold(inUse));

    RemoveConfirmed();

    EXPECT_TRUE(FileExists(inUse));
    EXPECT_TRUE(IsPendingDeletion(inUse));
    EXPECT_TRUE(IsPendingDeletion(Folder() + L"\\Languages"));
    EXPECT_FALSE(FileExists(Folder() + L"\\Languages\\Deutsch.lng"));

    holder.Release();
    SimulateRestart();

    EXPECT_FALSE(FileExists(inUse));
    // Without an x32 folder the product folder itself was not handed to the
    // restart, so it stays behind, empty.
    EXPECT_EQ(LeftoversOf(m_product), Texts{Folder() + L"\\"});
}

TEST_F(UninstallEndToEnd, ProductFolderWaitsForTheRestartOnlyWhileX32Survives)
{
    InstallationLayout layout;
    layout.userFileInProductFolder = false;
    Install(layout);
    const std::wstring x32 = Folder() + L"\\x32";
    ASSERT_TRUE(::CreateDirectoryW(x32.c_str(), nullptr));
    // Held without delete sharing, the folder cannot be removed now.
    UniqueFileHandle held(::CreateFileW(x32.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    ASSERT_TRUE(held);

    RemoveConfirmed();

    EXPECT_TRUE(FolderExists(x32));
    EXPECT_TRUE(IsPendingDeletion(x32));
    EXPECT_TRUE(IsPendingDeletion(Folder()));

    held.Reset();
    SimulateRestart();

    EXPECT_FALSE(FolderExists(x32));
    EXPECT_EQ(LeftoversOf(m_product), Texts{});
}

// The copy's command line: quotes only where a blank needs them, and "-s"
// only from a silent first stage.
TEST_F(UninstallEndToEnd, TemporaryFolderWithABlankGivesTheCopyAQuotedNameOnly)
{
    Install();
    const std::wstring temporary = MakeScratchFolder(L"A B\\Temp");
    const ScopedVariable tmp(L"TMP", temporary);
    const ScopedVariable temp(L"TEMP", temporary);

    const std::wstring commandLine = RemoveConfirmed();

    // The copy was started from its unquoted path, or it would not have run.
    EXPECT_EQ(commandLine.rfind(L"\"" + temporary + L"\\uni", 0), 0u) << commandLine;
    const std::vector<std::wstring> arguments = SplitCommandLine(commandLine);
    ASSERT_EQ(arguments.size(), 3u) << commandLine;
    EXPECT_TRUE(IsPendingDeletion(arguments[0]));
    EXPECT_FALSE(FileExists(Folder() + L"\\Pixvn8.exe"));
}

TEST_F(UninstallEndToEnd, LicensedRemovalAsksNothingAndPassesDashS)
{
    Install();
    WriteTextFile(Folder() + L"\\Pixvane.pv8lic", "licence");
    ChildProcess firstStage;
    ASSERT_TRUE(firstStage.Start(Quoted(Uninstaller())));

    std::wstring commandLine;
    ASSERT_TRUE(WaitForSecondStage(kStageTimeoutMs, &commandLine));

    EXPECT_TRUE(NoMessageBoxWithin(0));
    const std::vector<std::wstring> arguments = SplitCommandLine(commandLine);
    ASSERT_EQ(arguments.size(), 4u) << commandLine;
    EXPECT_EQ(arguments[2], Uninstaller());
    EXPECT_EQ(arguments[3], L"-s");
    EXPECT_FALSE(FileExists(Folder() + L"\\Pixvn8.exe"));
}

}  // namespace
