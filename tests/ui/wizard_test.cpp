// The wizard as a user meets it: the real setup.exe, driven from outside
// with the clicks and keys a user would give, and afterwards what the
// installation it ran left on the machine.
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "support/wizard_driver.h"
#include "system/services.h"
#include "ui/resource.h"

#include <gtest/gtest.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <ctime>
#include <string>

namespace {

constexpr DWORD kBoxWaitMs = 10000;
constexpr DWORD kExitWaitMs = 60000;
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8";
constexpr wchar_t kDefaultFolder[] = L"C:\\Program Files\\Pixvane 8";

std::wstring Message(UINT id)
{
    return LoadResString(id);
}

// The text of the box that came, after answering it; empty when none came.
std::wstring Answer(WizardDriver& wizard, int button)
{
    const auto box = AnswerMessageBox(button, kBoxWaitMs, wizard.Process().Id());
    return box ? box->text : L"";
}

// Each run starts as a first installation, wherever an earlier test installed.
void ForgetEarlierInstallations()
{
    DeleteRegTree(HKEY_LOCAL_MACHINE, kProductKey);
    DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe");
    DeleteRegTree(HKEY_CLASSES_ROOT, L"Pixvane8.License");
}

void StartAtFolderPage(WizardDriver& wizard, const std::wstring& arguments = L"")
{
    ForgetEarlierInstallations();
    ASSERT_TRUE(wizard.Start(arguments));
    wizard.Press(IDOK);
    wizard.Press(IDOK);
    ASSERT_EQ(wizard.PageName(), L"folder");
}

void ExpectPageBesidePicture(const WizardDriver& wizard)
{
    RECT picture = {};
    RECT page = {};
    ::GetWindowRect(wizard.Item(IDC_SIDE_PICTURE, false), &picture);
    ::GetWindowRect(::GetParent(wizard.Item(IDC_START_HEADING)), &page);
    EXPECT_EQ(page.left, picture.right + 4);
    EXPECT_EQ(page.top, picture.top);
}

// Ready page to finished page to the end of the run; the exit code.
int InstallAndFinish(WizardDriver& wizard, bool runAfter = false)
{
    EXPECT_EQ(wizard.PageName(), L"ready");
    wizard.Press(IDOK);
    EXPECT_EQ(wizard.Text(IDOK, false), L"&Finish >");
    EXPECT_FALSE(wizard.IsEnabled(IDCANCEL, false));
    EXPECT_FALSE(wizard.IsEnabled(IDC_BACK, false));
    EXPECT_EQ(wizard.Text(IDC_START_HEADING), L"Pixvane 8.01.05 has been successfully installed.");
    ExpectPageBesidePicture(wizard);
    wizard.Check(IDC_START_FINISH_CHECK, runAfter);
    wizard.Press(IDOK);
    return wizard.Process().Wait(kExitWaitMs);
}

std::wstring Shortcut(int csidl, const std::wstring& group = L"")
{
    return GetSpecialFolderPath(csidl) + (group.empty() ? L"" : L"\\" + group) + L"\\Pixvane 8.lnk";
}

// The comctl32 that a process loaded: the version 6 one lives in the side-by-side store.
std::wstring CommonControlsOf(DWORD processId)
{
    UniqueHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, processId));
    MODULEENTRY32W module = {};
    module.dwSize = sizeof module;
    for (BOOL more = ::Module32FirstW(snapshot.Get(), &module); more; more = ::Module32NextW(snapshot.Get(), &module)) {
        if (_wcsicmp(module.szModule, L"comctl32.dll") == 0) {
            return module.szExePath;
        }
    }
    return L"";
}

}  // namespace

TEST(WizardFlow, ButtonsFollowThePageAndCancelOrDecliningEndsWith1602)
{
    ForgetEarlierInstallations();
    WizardDriver wizard;
    ASSERT_TRUE(wizard.Start());
    EXPECT_NE(CommonControlsOf(wizard.Process().Id()).find(L"common-controls_6595b64144ccf1df_6."), std::wstring::npos)
        << CommonControlsOf(wizard.Process().Id());
    EXPECT_EQ(wizard.PageName(), L"welcome");
    EXPECT_EQ(wizard.Caption(), L"Pixvane Setup");
    EXPECT_FALSE(wizard.IsShown(IDC_BACK, false));
    EXPECT_TRUE(wizard.IsShown(IDC_SIDE_PICTURE, false));
    const std::wstring year = std::to_wstring(1900 + [] { std::time_t now = std::time(nullptr); return std::localtime(&now)->tm_year; }());
    const std::wstring version = wizard.Text(IDC_INTRO_VERSION);
    EXPECT_EQ(version.substr(0, 21), L"Pixvane ver. 8.01.05 ");
    EXPECT_NE(version.find(L"-" + year + L" "), std::wstring::npos) << version;

    // Cancel asks, with No as the default; No keeps the page.
    wizard.Press(IDCANCEL);
    const auto box = AnswerMessageBox(IDNO, kBoxWaitMs, wizard.Process().Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, Message(IDS_CONFIRM_CANCEL));
    EXPECT_TRUE(box->hasYes && box->hasNo && box->hasIcon);
    EXPECT_EQ(box->defaultButton, IDNO);
    EXPECT_EQ(wizard.PageName(), L"welcome");

    wizard.Press(IDOK);
    EXPECT_EQ(wizard.PageName(), L"agreement");
    EXPECT_EQ(wizard.Caption(), L"Please accept the License Agreement");
    EXPECT_EQ(wizard.Text(IDOK, false), L"Yes");
    EXPECT_EQ(wizard.Text(IDCANCEL, false), L"No");
    EXPECT_TRUE(wizard.IsShown(IDC_BACK, false));
    EXPECT_FALSE(wizard.IsShown(IDC_SIDE_PICTURE, false));
    // The file's byte-order mark is kept as text.
    EXPECT_EQ(wizard.Text(IDC_AGREEMENT_TEXT).substr(0, 19), L"\xFEFFPIXVANE 8 END-USER");

    // Back and Next again keep the captions right.
    wizard.Press(IDC_BACK);
    EXPECT_EQ(wizard.PageName(), L"welcome");
    EXPECT_EQ(wizard.Caption(), L"Pixvane Setup");
    EXPECT_EQ(wizard.Text(IDCANCEL, false), L"Cancel");
    wizard.Press(IDOK);

    // Declining the agreement is Cancel.
    wizard.Press(IDCANCEL);
    EXPECT_EQ(Answer(wizard, IDYES), Message(IDS_CONFIRM_CANCEL));
    EXPECT_EQ(wizard.Process().Wait(kExitWaitMs), 1602);

    // The close box asks the same.
    WizardDriver closed;
    ASSERT_TRUE(closed.Start());
    ::PostMessageW(closed.Window(), WM_CLOSE, 0, 0);
    EXPECT_EQ(Answer(closed, IDYES), Message(IDS_CONFIRM_CANCEL));
    EXPECT_EQ(closed.Process().Wait(kExitWaitMs), 1602);
}
