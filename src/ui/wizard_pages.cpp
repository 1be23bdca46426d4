#include "ui/wizard_pages.h"

#include "install/install_state.h"
#include "system/handles.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/wizard_text.h"

#include <shlobj.h>

#include <cstdio>
#include <vector>

namespace {

constexpr size_t kFormattedChars = 512;

std::wstring FormatText(const wchar_t* format, ...)
{
    wchar_t text[kFormattedChars] = {};
    va_list values;
    va_start(values, format);
    // The runtime's own formatter: "%s" takes a wide string with MSVC and MinGW alike.
    _vsnwprintf(text, kFormattedChars - 1, format, values);
    va_end(values);
    return text;
}

std::wstring ToLowerCase(std::wstring text)
{
    if (!text.empty()) {
        ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    }
    return text;
}

std::string ReadWholeFile(const wchar_t* path, bool& opened)
{
    UniqueStdioFile file(_wfopen(path, L"rb"));
    opened = file.IsValid();
    std::string bytes;
    if (!opened) {
        return bytes;
    }
    char chunk[4096];
    for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, file.Get())) > 0;) {
        bytes.append(chunk, got);
    }
    return bytes;
}

}  // namespace

void CWizardPage::OnOK()
{
    // Posted, not sent: the frame destroys this page while it moves on.
    ::PostMessageW(::GetParent(m_hWnd), WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
}

void CWizardPage::OnCancel()
{
    ::PostMessageW(::GetParent(m_hWnd), WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
}

BOOL CIntoDlg::OnInitDialog()
{
    const FileVersion& version = g_installState.packageVersion;
    const std::wstring beta =
        g_installState.betaNumber != 0 ? FormatText(L"Beta %d", g_installState.betaNumber) : std::wstring();
    SYSTEMTIME now = {};
    ::GetLocalTime(&now);
    const std::wstring format = GetItemText(IDC_INTRO_VERSION);
    SetItemText(IDC_INTRO_VERSION,
                FormatText(format.c_str(), LoadMessageText(IDS_PRODUCT_SHORT_NAME).c_str(), version.major,
                           version.minor, version.third, beta.c_str(), static_cast<int>(now.wYear)));
    return TRUE;
}

BOOL CAgreementDlg::OnInitDialog()
{
    // A missing file leaves the box empty, unreported.
    bool opened = false;
    const std::string bytes = ReadWholeFile(L"agreement.txt", opened);
    if (opened) {
        m_agreement = DecodeUtf16Le(bytes);
    }
    HWND text = GetDlgItem(IDC_AGREEMENT_TEXT);
    ::SetWindowTextW(text, m_agreement.c_str());
    ::SendMessageW(text, EM_SETSEL, 0, 0);
    ::SendMessageW(text, EM_SCROLLCARET, 0, 0);
    ::SetWindowPos(m_hWnd, HWND_TOP, 4, 4, 0, 0, SWP_NOSIZE | SWP_SHOWWINDOW);
    return TRUE;
}

void CGroupDlg::ExchangeData(bool save)
{
    if (save) {
        m_autostart = IsChecked(IDC_GROUP_AUTOSTART);
        m_desktopIcon = IsChecked(IDC_GROUP_DESKTOP_ICON);
        m_groupName = GetItemText(IDC_GROUP_NAME);
    } else {
        SetChecked(IDC_GROUP_AUTOSTART, m_autostart);
        SetChecked(IDC_GROUP_DESKTOP_ICON, m_desktopIcon);
        SetItemText(IDC_GROUP_NAME, m_groupName);
    }
}

BOOL CGroupDlg::OnInitDialog()
{
    m_autostart = g_installState.autostart;
    m_desktopIcon = g_installState.desktopIcon;
    m_groupName = g_installState.groupName;
    ExchangeData(false);
    return TRUE;
}

bool CGroupDlg::ConfirmLeave()
{
    ExchangeData(true);
    m_groupName = TrimWhiteSpace(m_groupName);
    if (m_groupName.size() < 3) {
        ShowMessage(IDS_GROUP_TOO_SHORT);
        return false;
    }
    // Shortcuts must not land in the Startup folder, whatever it is called
    // in this system's language.
    const std::wstring name = ToLowerCase(m_groupName);
    if (name == ToLowerCase(LastPathComponent(GetSpecialFolderPath(CSIDL_STARTUP))) ||
        name == ToLowerCase(LastPathComponent(GetSpecialFolderPath(CSIDL_COMMON_STARTUP)))) {
        ShowMessage(IDS_GROUP_UNUSABLE);
        return false;
    }
    g_installState.autostart = m_autostart;
    g_installState.desktopIcon = m_desktopIcon;
    g_installState.groupName = m_groupName;
    return DestroyWindow();
}
