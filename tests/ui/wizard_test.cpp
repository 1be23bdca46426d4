// The user interface: every text of the built program against the catalogue,
// and the wizard as a user meets it, the real setup.exe driven from outside
// with the clicks and keys a user would give, and afterwards what the
// installation it ran left on the machine.
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "support/wizard_driver.h"
#include "system/handles.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <algorithm>
#include <map>
#include <string>

namespace {

constexpr DWORD kBoxWaitMs = 10000;
constexpr DWORD kExitWaitMs = 60000;
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8";
constexpr wchar_t kDefaultFolder[] = L"C:\\Program Files\\Pixvane 8";

// The text of the box that came, after answering it; empty when none came.
std::wstring Answer(WizardDriver& wizard, int button)
{
    const auto box = AnswerMessageBox(button, kBoxWaitMs, wizard.Process().Id());
    return box ? box->text : L"";
}

void StartAtFolderPage(WizardDriver& wizard, const std::wstring& arguments = L"")
{
    ASSERT_TRUE(wizard.Start(arguments));
    wizard.Press(IDOK);
    wizard.Press(IDOK);
    ASSERT_EQ(wizard.PageName(), L"folder");
}

// Next on the ready page: the installation runs and the finished page shows.
void InstallFromReadyPage(WizardDriver& wizard)
{
    ASSERT_EQ(wizard.PageName(), L"ready");
    wizard.Press(IDOK);
    EXPECT_EQ(wizard.Text(IDOK, false), L"&Finish >");
    EXPECT_TRUE(wizard.IsEnabled(IDOK, false));
    EXPECT_FALSE(wizard.IsEnabled(IDCANCEL, false));
    EXPECT_FALSE(wizard.IsEnabled(IDC_BACK, false));
    EXPECT_EQ(wizard.Text(IDC_START_HEADING), L"Pixvane 8.01.05 has been successfully installed.");
    // The page stands 4 pixels right of the picture, level with its top.
    RECT picture = {};
    RECT page = {};
    ::GetWindowRect(wizard.Item(IDC_SIDE_PICTURE, false), &picture);
    ::GetWindowRect(::GetParent(wizard.Item(IDC_START_HEADING)), &page);
    EXPECT_EQ(page.left, picture.right + 4);
    EXPECT_EQ(page.top, picture.top);
}

// Finish, with the finish check box as runAfter says; the exit code.
int Finish(WizardDriver& wizard, bool runAfter = false)
{
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

using Table = std::map<UINT, std::wstring>;

// The catalogue as the product's texts are written, typos included; an empty
// text stands for an entry whose wording is the maker's (licence handling,
// addresses, the offer's rich text) and only has to be there.
Table Catalogue()
{
    Table texts = {
        {1, L"Pixvane 8"},
        {2, L"Pixvane Setup"},
        {3, L"Pixvane"},
        {4, L"%d instances of Pixvane are currently opened. ff you click \"Yes\" button, SETUP will try to close them "
            L"without saving any editing work you may have done. \n\nContinue installation?"},
        {6, L"This will completely uninstall Pixvane 8.\nDo you want to continue?"},
        {7, L"Please accept the License Agreement"},
        {8, L"&Finish >"},
        {9, L"Pixvane 8 has been successfully installed."},
        {10, L"Press the Finish button to exit this installation."},
        {11, L"Do you really want to cancel Pixvane setup?"},
        {12, L"Select the folder where where Pixvane should be installed."},
        {13, L"You have entered and invalid folder name. Please correct.\nIf you want to create a new folder, select its "
             L"parent folder in the list and click \"Make New Foilder\" button."},
        {14, L"Pixvane ver. 8 can not be installed into the same folder where the older version is. Please select a "
             L"different folder."},
        {15, L"Setup of Pixvane aborted. Please close other instances of Pixvane manually, saving any editing work you "
             L"have done in them, then restart this setup program."},
        {16, L"Pixvane v. %d.%02d.%02d.%02d is already installed on this machine. You are trying to install an older "
             L"version %d.%02d.%02d.%02d .\n\nDo you still want to continue?"},
        {17, L"Pixvane ver. %d.%02d.%02d.%02d is already installed on this machine.\n\nWould you like to run this "
             L"setup again to select different options or repair the files?"},
        {19, L"This folder already contains a previous copy of Pixvane 8. To upgrade or re-install that copy, please "
             L"do not change the destination folder."},
        {20, L"Pixvane 8 has been completely uninstalled from this computer.\n\nIf some Pixvane files could not be "
             L"deleted at this time, they will be removed upon the reboot of this computer."},
        {21, L"Yes"},
        {22, L"No"},
        {23, L"Error: Please enter a valid group name, minimum 3 letters"},
        {24, L"Error: Can not install shortcuts into this group, please select a different name."},
        {26, L"Click the Browse button and select a folder on a removable disk/USB key or network drive."},
        {27, L"Please click BROWSE button first and select the folder for portable installation."},
        {28, L"To run portable Pixvane, double-click 'StartPV8' icon located at:\n%s"},
        {30, L"It is necessary to restart your computer before using the product, otherwise it may not work "
             L"correctly."},
        {31, L"Restart the computer when I click \"Finish\""},
        {33, L"1 instance of Pixvane is currently opened. If you click \"Yes\" button, SETUP will try to close it "
             L"without saving any editing work you may have done. \n\nContinue installation?"},
        {101, L"Pixvane 8 Help"},
        {102, L"Read about Pixvane 8"},
        {103, L"Register Pixvane 8"},
        {104, L"Uninstall Pixvane 8"},
        {105, L"Please insert your original Pixvane CD-ROM."},
        {57344, L"Pixvane Setup"},
    };
    for (UINT id : {5u, 18u, 25u, 29u, 32u, 34u, 106u, 107u, 108u, 109u, 2704u}) {
        texts[id] = L"";
    }
    for (UINT id = 27000; id <= 27024; ++id) {
        texts[id] = L"";
    }
    return texts;
}

}  // namespace

TEST(WizardFlow, ButtonsFollowThePageAndCancelOrDecliningEndsWith1602)
{
    WizardDriver wizard;
    ASSERT_TRUE(wizard.Start());
    EXPECT_NE(CommonControlsOf(wizard.Process().Id()).find(L"common-controls_6595b64144ccf1df_6."), std::wstring::npos)
        << CommonControlsOf(wizard.Process().Id());
    EXPECT_EQ(wizard.PageName(), L"welcome");
    EXPECT_EQ(wizard.Caption(), L"Pixvane Setup");
    EXPECT_FALSE(wizard.IsShown(IDC_BACK, false));
    EXPECT_TRUE(wizard.IsShown(IDC_SIDE_PICTURE, false));
    SYSTEMTIME now = {};
    ::GetLocalTime(&now);
    const std::wstring year = std::to_wstring(now.wYear);
    const std::wstring version = wizard.Text(IDC_INTRO_VERSION);
    EXPECT_EQ(version.substr(0, 21), L"Pixvane ver. 8.01.05 ");
    EXPECT_NE(version.find(L"-" + year + L" "), std::wstring::npos) << version;

    // Cancel asks, with No as the default; No keeps the page.
    wizard.Press(IDCANCEL);
    const auto box = AnswerMessageBox(IDNO, kBoxWaitMs, wizard.Process().Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, LoadResString(IDS_CONFIRM_CANCEL));
    EXPECT_EQ(box->form, L"Yes No* icon");
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

    // Back to the welcome page takes the captions back.
    wizard.Press(IDC_BACK);
    EXPECT_EQ(wizard.Caption() + wizard.Text(IDCANCEL, false), L"Pixvane SetupCancel");
    wizard.Press(IDOK);

    // Declining the agreement is Cancel.
    wizard.Press(IDCANCEL);
    EXPECT_EQ(Answer(wizard, IDYES), LoadResString(IDS_CONFIRM_CANCEL));
    EXPECT_EQ(wizard.Process().Wait(kExitWaitMs), 1602);

    // The close box asks the same.
    WizardDriver closed;
    ASSERT_TRUE(closed.Start());
    ::PostMessageW(closed.Window(), WM_CLOSE, 0, 0);
    EXPECT_EQ(Answer(closed, IDYES), LoadResString(IDS_CONFIRM_CANCEL));
    EXPECT_EQ(closed.Process().Wait(kExitWaitMs), 1602);
}

TEST(WizardFlow, PortableSkipsTheGroupPageBothWaysAndWantsAFolderFirst)
{
    RemoveTree(L"C:\\Pixvane 8");
    RemoveTree(kDefaultFolder);
    WizardDriver wizard;
    StartAtFolderPage(wizard);
    wizard.Choose(IDC_KIND_PORTABLE, IDC_KIND_CURRENT_USER, IDC_KIND_PORTABLE);
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), L"");
    EXPECT_EQ(wizard.Text(IDC_FOLDER_HINT), LoadResString(IDS_PORTABLE_BROWSE_HINT));
    wizard.Press(IDOK);
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_PORTABLE_BROWSE_FIRST));
    EXPECT_EQ(wizard.PageName(), L"folder");

    // A drive root takes the product folder without a second backslash.
    ASSERT_TRUE(wizard.BrowseTo(L"C:\\"));
    EXPECT_FALSE(FolderExists(kDefaultFolder));  // made only for the browser to show it
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), L"C:\\Pixvane 8");
    wizard.Press(IDOK);
    EXPECT_EQ(wizard.PageName(), L"ready");
    wizard.Press(IDC_BACK);
    EXPECT_EQ(wizard.PageName(), L"folder");
    EXPECT_TRUE(wizard.IsChecked(IDC_KIND_PORTABLE));
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), L"C:\\Pixvane 8");
    wizard.Press(IDOK);

    InstallFromReadyPage(wizard);
    EXPECT_TRUE(wizard.IsShown(IDC_START_INSTALLING));
    EXPECT_EQ(wizard.Text(IDC_START_INSTALLING),
              L"To run portable Pixvane, double-click 'StartPV8' icon located at:\nC:");
    EXPECT_FALSE(wizard.IsShown(IDC_START_FINISH_CHECK));
    EXPECT_EQ(Finish(wizard), 0);
    EXPECT_TRUE(FileExists(L"C:\\Pixvane 8\\Pixvn8.exe"));
    EXPECT_FALSE(FileExists(Shortcut(CSIDL_COMMON_PROGRAMS, L"Pixvane 8")));
    EXPECT_FALSE(FileExists(Shortcut(CSIDL_COMMON_DESKTOPDIRECTORY)));
    RemoveTree(L"C:\\Pixvane 8");
}

// Browse adds the product folder only to a folder in use and shuns one with
// an older version; the group page checks its name on Back too; choices
// survive Back and Next.
TEST(WizardFlow, TheFolderAndGroupPagesCheckWhatTheyAreGivenAndKeepTheChoices)
{
    const std::wstring empty = MakeScratchFolder(L"wizard-empty");
    const std::wstring used = MakeScratchFolder(L"wizard-used");
    WriteTextFile(used + L"\\notes.txt", "mine");
    const std::wstring older = MakeScratchFolder(L"wizard-pv6");
    WriteTextFile(older + L"\\Pixvn6.exe", "MZ");
    RemoveTree(kDefaultFolder);
    WizardDriver wizard;
    // One character too deep for the package's longest name (32 characters).
    const std::wstring tooDeep = L"C:\\" + std::wstring(224, L'd');
    StartAtFolderPage(wizard, L"-instdir " + tooDeep);
    wizard.Press(IDOK);
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_DESTINATION_TOO_LONG));
    ASSERT_TRUE(wizard.BrowseTo(empty));
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), empty);
    EXPECT_FALSE(FolderExists(empty));  // the installation makes it again
    ASSERT_TRUE(wizard.BrowseTo(older));
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_OLDER_VERSION_FOLDER));
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), empty);
    ASSERT_TRUE(wizard.BrowseTo(used));
    EXPECT_EQ(wizard.Text(IDC_DESTINATION), used + L"\\Pixvane 8");
    wizard.Choose(IDC_KIND_CURRENT_USER, IDC_KIND_CURRENT_USER, IDC_KIND_PORTABLE);
    wizard.Press(IDOK);
    ASSERT_EQ(wizard.PageName(), L"group");
    EXPECT_EQ(wizard.Text(IDC_GROUP_NAME), L"Pixvane 8");

    // Back asks the page too, and a refusal leaves the index lowered.
    wizard.Type(IDC_GROUP_NAME, L"x");
    wizard.Press(IDC_BACK);
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_GROUP_TOO_SHORT));
    EXPECT_EQ(wizard.PageName(), L"group");
    wizard.Type(IDC_GROUP_NAME, L"  ab \t");
    wizard.Press(IDOK);
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_GROUP_TOO_SHORT));
    wizard.Type(IDC_GROUP_NAME, L"STARTUP");
    wizard.Press(IDOK);
    EXPECT_EQ(Answer(wizard, IDOK), LoadResString(IDS_GROUP_UNUSABLE));
    wizard.Type(IDC_GROUP_NAME, L" Abc ");
    wizard.Check(IDC_GROUP_AUTOSTART, true);
    wizard.Check(IDC_GROUP_DESKTOP_ICON, false);
    wizard.Press(IDOK);
    EXPECT_EQ(wizard.PageName(), L"folder");

    wizard.Press(IDOK);
    EXPECT_EQ(wizard.Text(IDC_GROUP_NAME), L"Abc");
    EXPECT_TRUE(wizard.IsChecked(IDC_GROUP_AUTOSTART));
    EXPECT_FALSE(wizard.IsChecked(IDC_GROUP_DESKTOP_ICON));
    wizard.Press(IDOK);

    InstallFromReadyPage(wizard);
    EXPECT_FALSE(wizard.IsShown(IDC_START_INSTALLING));
    EXPECT_TRUE(wizard.IsShown(IDC_START_FINISH_CHECK));
    EXPECT_EQ(wizard.Text(IDC_START_FINISH_CHECK), L"Run Pixvane");
    EXPECT_FALSE(wizard.IsChecked(IDC_START_FINISH_CHECK));
    EXPECT_EQ(wizard.Text(IDC_START_DETAIL), LoadResString(IDS_PRESS_FINISH));
    // This test is the desktop's shell, as Explorer is for a logged-on user.
    HWND shell = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(SetShellWindow(shell));
    EXPECT_EQ(Finish(wizard, true), 0);
    // "Run Pixvane" was checked: the product runs, with the shell's rights
    // as its child, and is closed again.
    HWND product = nullptr;
    EXPECT_TRUE(WaitUntil([&] { return (product = ::FindWindowW(L"Pixvane8MainFrame", nullptr)) != nullptr; }, 10000));
    EXPECT_EQ(FindProcesses(L"Pixvn8", L".exe", ::GetCurrentProcessId()).size(), 1u);
    ::DestroyWindow(shell);
    ::PostMessageW(product, WM_CLOSE, 0, 0);
    EXPECT_TRUE(WaitForNoProcesses(L"Pixvn8", L".exe", 10000));
    EXPECT_TRUE(FileExists(used + L"\\Pixvane 8\\Pixvn8.exe"));
    EXPECT_EQ(GetRegString(HKEY_LOCAL_MACHINE, kProductKey, L"AllUsers"), L"A");
    EXPECT_TRUE(FileExists(Shortcut(CSIDL_PROGRAMS, L"Abc")));
    EXPECT_TRUE(FileExists(Shortcut(CSIDL_STARTUP)));
    EXPECT_FALSE(FileExists(Shortcut(CSIDL_DESKTOPDIRECTORY)));
    ::DeleteFileW(Shortcut(CSIDL_STARTUP).c_str());
}

TEST(FinishedPage, AFileInUseOffersTheRestartAfterTheFolderPageNamedTheEarlierCopy)
{
    const std::wstring folder = MakeScratchFolder(L"wizard-busy");
    ::CopyFileW(BuildPath(L"sample-versions\\8.1.2.3\\Pixvn8.exe").c_str(), (folder + L"\\Pixvn8.exe").c_str(), FALSE);
    ::CopyFileW(PackagePath(L"pvcodec8.dll").c_str(), (folder + L"\\pvcodec8.dll").c_str(), FALSE);
    FileHolder holder;
    ASSERT_TRUE(holder.Hold(folder + L"\\pvcodec8.dll"));
    WizardDriver wizard;
    StartAtFolderPage(wizard, L"-instdir " + folder);
    EXPECT_EQ(wizard.Text(IDC_FOLDER_HINT), LoadResString(IDS_PREVIOUS_COPY_IN_FOLDER));
    wizard.Press(IDOK);
    wizard.Press(IDOK);

    InstallFromReadyPage(wizard);
    EXPECT_EQ(wizard.Text(IDC_START_DETAIL), LoadResString(IDS_RESTART_NEEDED));
    EXPECT_EQ(wizard.Text(IDC_START_FINISH_CHECK), L"Restart the computer when I click \"Finish\"");
    EXPECT_TRUE(wizard.IsChecked(IDC_START_FINISH_CHECK));
    // Left checked, Finish would restart this test's own session.
    EXPECT_EQ(Finish(wizard, false), 3010);
}

TEST(FinishedPage, SconfShowsTheFinishedPageOfASilentInstallAndInstallsOnce)
{
    ClearProductCallsLog();
    // A window would hold a silent run up: every unattended run of the
    // end-to-end tests proves that none comes.
    ASSERT_EQ(RunToEnd(L"\"" + PackagePath(L"setup.exe") + L"\" -s", kExitWaitMs), 0);

    WizardDriver wizard;
    ASSERT_TRUE(wizard.Start(L"-sconf"));
    EXPECT_EQ(wizard.PageName(), L"ready");
    EXPECT_EQ(wizard.Text(IDC_START_HEADING), L"Pixvane 8.01.05 has been successfully installed.");
    EXPECT_FALSE(wizard.IsEnabled(IDCANCEL, false));
    EXPECT_EQ(Finish(wizard), 0);
    WaitForNoProcesses(L"Pixvn8", L".exe", 10000);  // the registration runs are not waited for
    const std::wstring calls = ProductCallsLog();  // a line for each installation
    EXPECT_EQ(std::count(calls.begin(), calls.end(), L'\n'), 2) << calls;
}

TEST(MessageCatalogue, TheBuiltProgramHoldsEveryTextAsWrittenAndNothingElseAndAnUnknownNumberGivesNoText)
{
    UniqueModule setup(::LoadLibraryExW(PackagePath(L"setup.exe").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(setup);
    Table built;  // every string-table entry, by number
    for (UINT id = 0; id < 65536; ++id) {
        const wchar_t* text = nullptr;
        const int length = ::LoadStringW(setup.Get(), id, reinterpret_cast<wchar_t*>(&text), 0);
        if (length > 0) {
            built[id] = std::wstring(text, static_cast<size_t>(length));
        }
    }
    const Table catalogue = Catalogue();
    for (const auto& [id, text] : catalogue) {
        ASSERT_TRUE(built.count(id)) << "missing " << id;
        if (!text.empty()) {
            EXPECT_EQ(built.at(id), text) << id;
        }
    }
    for (const auto& [id, text] : built) {
        EXPECT_TRUE(catalogue.count(id)) << "not in the catalogue: " << id;
    }
    EXPECT_EQ(built.at(5).rfind(L"This BETA TEST version of Pixvane has now expired. Please download and install a "
                                L"newer beta or a fully released version from ", 0), 0u);
    EXPECT_EQ(built.at(18).rfind(L"This setup files are damaged, installation aborted.\n\nPlease download the "
                                 L"product again from ", 0), 0u);
    EXPECT_TRUE(built.at(18).ends_with(L" and re-try the setup."));
    EXPECT_EQ(LoadMessageText(4242), L"");
}

