#include "ui/setup_dlg.h"

#include "app/globals.h"
#include "install/install_state.h"
#include "install/installation.h"
#include "install/shortcuts.h"
#include "system/path_text.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/side_picture.h"
#include "ui/wizard_pages.h"
#include "ui/wizard_text.h"
#include "uninstall/deferred_delete.h"

#include <commctrl.h>
#include <ole2.h>

namespace {

// The texts Next and Cancel have in the template; the agreement page
// renames them to Yes and No.
std::wstring g_nextCaption;
std::wstring g_cancelCaption;

// Page indices of the sequence.
constexpr int kWelcomePage = 0;
constexpr int kAgreementPage = 1;
constexpr int kFolderPage = 2;
constexpr int kGroupPage = 3;
constexpr int kReadyPage = 4;
constexpr int kFinishedPage = 5;
constexpr int kWizardClosed = 6;

// The gap between the picture and the page, in pixels.
constexpr int kPageGap = 4;

}  // namespace

CSetupDlg::CSetupDlg(int pageIndex) : CDialog(IDD_SETUP), m_pageIndex(pageIndex) {}

CSetupDlg::~CSetupDlg() = default;

BOOL CSetupDlg::OnInitDialog()
{
    g_nextCaption = GetItemText(IDOK);
    g_cancelCaption = GetItemText(IDCANCEL);
    ::SetWindowTextW(m_hWnd, LoadMessageText(IDS_SETUP_CAPTION).c_str());
    SetSidePicture(GetDlgItem(IDC_SIDE_PICTURE));
    Advance();
    return FALSE;
}

bool CSetupDlg::OnCommand(int id, int code)
{
    if (id == IDC_BACK && code == BN_CLICKED) {
        Back();
        return true;
    }
    return false;
}

void CSetupDlg::OnOK()
{
    // Enter arrives here too; it is Next only while Next can be pressed.
    if (::IsWindowEnabled(GetDlgItem(IDOK))) {
        Advance();
    }
}

void CSetupDlg::OnCancel()
{
    // From the installing step on there is nothing to cancel: Esc and the
    // close box follow the disabled button.
    if (!::IsWindowEnabled(GetDlgItem(IDCANCEL))) {
        return;
    }
    if (ShowMessage(IDS_CONFIRM_CANCEL, MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) == IDYES) {
        EndDialog(IDCANCEL);
    }
}

void CSetupDlg::Advance()
{
    // The finished page stays: the last step reads its check box.
    if (m_page && m_pageIndex < kFinishedPage) {
        if (!m_page->ConfirmLeave()) {
            return;
        }
        m_page.reset();
    }
    ++m_pageIndex;
    if (m_pageIndex == kGroupPage && g_installState.kind == Portable) {
        m_pageIndex = kReadyPage;
    }
    if (m_savedCaption.empty()) {
        m_savedCaption.resize(static_cast<size_t>(::GetWindowTextLengthW(m_hWnd)) + 1);
        m_savedCaption.resize(static_cast<size_t>(
            ::GetWindowTextW(m_hWnd, m_savedCaption.data(), static_cast<int>(m_savedCaption.size()))));
    }
    if (m_pageIndex != kAgreementPage) {
        SetItemText(IDOK, g_nextCaption);
        SetItemText(IDCANCEL, g_cancelCaption);
    }
    switch (m_pageIndex) {
    case kWelcomePage:
        ShowPage(std::make_unique<CIntoDlg>());
        ShowItem(IDC_BACK, false);
        break;
    case kAgreementPage:
        SetItemText(IDOK, LoadMessageText(IDS_YES));
        SetItemText(IDCANCEL, LoadMessageText(IDS_NO));
        ShowItem(IDC_BACK, true);
        ShowItem(IDC_SIDE_PICTURE, false);
        ShowPage(std::make_unique<CAgreementDlg>());  // places itself over the picture's place
        ::SetWindowTextW(m_hWnd, LoadMessageText(IDS_ACCEPT_AGREEMENT).c_str());
        return;
    case kFolderPage:
        ShowPage(std::make_unique<CFolderDlg>());
        break;
    case kGroupPage:
        ShowPage(std::make_unique<CGroupDlg>());
        break;
    case kReadyPage:
        ShowPage(std::make_unique<CStartDlg>());
        break;
    case kFinishedPage:
        InstallAndShowResult();
        break;
    case kWizardClosed:
        Finish();
        return;
    default:
        return;
    }
    ::SetWindowTextW(m_hWnd, m_savedCaption.c_str());
    ShowItem(IDC_SIDE_PICTURE, true);
    EnableItem(IDOK, true);
    ::SendMessageW(m_hWnd, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(IDOK)), TRUE);
    PlacePage();
}

void CSetupDlg::Back()
{
    // Lowered before the page is asked: a page that refuses stays on screen
    // with the index already two lower, and the next Next shows the page
    // before it.
    m_pageIndex -= 2;
    if (m_pageIndex == kFolderPage && g_installState.kind == Portable) {
        m_pageIndex = kAgreementPage;
    }
    Advance();
}

void CSetupDlg::ShowPage(std::unique_ptr<CWizardPage> page)
{
    page->Create(m_hWnd);
    m_page = std::move(page);
}

void CSetupDlg::PlacePage()
{
    if (!m_page) {
        return;
    }
    RECT picture = {};
    ::GetWindowRect(GetDlgItem(IDC_SIDE_PICTURE), &picture);
    ::MapWindowPoints(nullptr, m_hWnd, reinterpret_cast<POINT*>(&picture), 2);
    ::SetWindowPos(m_page->GetSafeHwnd(), HWND_TOP, picture.right + kPageGap, picture.top, 0, 0,
                   SWP_NOSIZE | SWP_SHOWWINDOW);
}

void CSetupDlg::InstallAndShowResult()
{
    ShowPage(std::make_unique<CStartDlg>());
    m_page->ShowItem(IDC_START_HEADING, false);
    m_page->ShowItem(IDC_START_DETAIL, false);
    m_page->ShowItem(IDC_START_INSTALLING, true);
    // Shown in place before the long wait, so that "please wait" is seen.
    PlacePage();
    ::UpdateWindow(m_page->GetSafeHwnd());
    EnableItem(IDC_BACK, false);
    EnableItem(IDOK, false);
    EnableItem(IDCANCEL, false);

    if (SilentLevel == 0) {
        ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
        PerformInstall();
        ::SetCursor(::LoadCursorW(nullptr, IDC_ARROW));
    }

    EnableItem(IDOK, true);
    if (g_restartPending) {
        m_page->SetItemText(IDC_START_FINISH_CHECK, LoadMessageText(IDS_RESTART_ON_FINISH));
        m_page->SetChecked(IDC_START_FINISH_CHECK, true);
    }
    SetItemText(IDOK, LoadMessageText(IDS_FINISH_BUTTON));
    if (g_installState.kind != Portable) {
        m_page->ShowItem(IDC_START_INSTALLING, false);
        m_page->ShowItem(IDC_START_FINISH_CHECK, true);
    } else {
        // The folder the user picked, where the portable start program is.
        const std::wstring picked = ParentFolder(g_installState.destinationFolder);
        m_page->SetItemText(IDC_START_INSTALLING, FormatMessageText(IDS_PORTABLE_HOW_TO_RUN, picked.c_str()));
    }
    const FileVersion& version = g_installState.packageVersion;
    m_page->SetItemText(IDC_START_HEADING,
                        WithMinorAndBuild(LoadMessageText(IDS_INSTALLED_OK), version.minor, version.third));
    m_page->SetItemText(IDC_START_DETAIL, LoadMessageText(g_restartPending ? IDS_RESTART_NEEDED : IDS_PRESS_FINISH));
    m_page->ShowItem(IDC_START_HEADING, true);
    m_page->ShowItem(IDC_START_DETAIL, true);
}

void CSetupDlg::Finish()
{
    g_installState.runAfter = m_page && m_page->IsChecked(IDC_START_FINISH_CHECK);
    OpenClosingWebPage();
    EndDialog(IDOK);
}

INT_PTR RunSetupWizard(int startPageIndex)
{
    // Silent runs without "-sconf" show nothing of the wizard.
    if (SilentLevel == 1) {
        return IDCANCEL;
    }
    // The common controls are loaded only here, for the wizard: loaded with
    // the program they would open the desktop for every silent run as well,
    // which costs a run under Wine the start of its desktop process.
    using InitCommonControlsExFn = BOOL(WINAPI*)(const INITCOMMONCONTROLSEX*);
    if (HMODULE controls = ::LoadLibraryW(L"comctl32.dll")) {  // left loaded: the wizard's windows need it
        const auto initControls = reinterpret_cast<InitCommonControlsExFn>(
            reinterpret_cast<void*>(::GetProcAddress(controls, "InitCommonControlsEx")));
        INITCOMMONCONTROLSEX classes = {sizeof classes, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
        if (initControls) {
            initControls(&classes);
        }
    }
    // The folder browser's new-style dialog needs OLE on this thread; when
    // the thread is already set up otherwise, it is used as it is.
    const bool oleStarted = SUCCEEDED(::OleInitialize(nullptr));
    CSetupDlg wizard(startPageIndex);
    const INT_PTR result = wizard.DoModal(nullptr);
    if (oleStarted) {
        ::OleUninitialize();
    }
    return result == IDOK ? IDOK : IDCANCEL;
}
