// The folder page: install kind and destination folder.
#include "ui/wizard_pages.h"

#include "app/product_names.h"
#include "install/deployment.h"
#include "install/install_state.h"
#include "system/handles.h"
#include "system/path_text.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "uninstall/install_log_text.h"

#include <shlobj.h>

namespace {

constexpr int kRadioIds[] = {IDC_KIND_CURRENT_USER, IDC_KIND_ALL_USERS, IDC_KIND_PORTABLE};

bool FileExists(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool HasEntries(const std::wstring& folder)
{
    WIN32_FIND_DATAW entry = {};
    UniqueFindHandle find(::FindFirstFileW(JoinPath(folder, L"*").c_str(), &entry));
    if (!find) {
        return false;
    }
    do {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..") {
            return true;
        }
    } while (::FindNextFileW(find.Get(), &entry));
    return false;
}

}  // namespace

void CFolderDlg::ExchangeData(bool save)
{
    if (save) {
        m_radioIndex = -1;
        for (int i = 0; i < 3; ++i) {
            if (IsChecked(kRadioIds[i])) {
                m_radioIndex = i;
            }
        }
    } else {
        for (int i = 0; i < 3; ++i) {
            SetChecked(kRadioIds[i], i == m_radioIndex);
        }
    }
}

BOOL CFolderDlg::OnInitDialog()
{
    m_portableFolderChosen = false;
    m_defaultHint = GetItemText(IDC_FOLDER_HINT);
    // Before the buttons are set: this first reading sees no kind chosen.
    Refresh();
    SetItemText(IDC_DESTINATION, g_installState.destinationFolder);
    m_radioIndex = g_installState.kind;
    ExchangeData(false);
    return TRUE;
}

bool CFolderDlg::OnCommand(int id, int code)
{
    if (code != BN_CLICKED) {
        return false;
    }
    if (id == IDC_KIND_CURRENT_USER || id == IDC_KIND_ALL_USERS || id == IDC_KIND_PORTABLE) {
        Refresh();
        return true;
    }
    if (id == IDC_BROWSE) {
        Browse();
        return true;
    }
    return false;
}

void CFolderDlg::Refresh()
{
    ExchangeData(true);
    const std::wstring& destination = g_installState.destinationFolder;
    if (m_radioIndex != Portable) {
        SetItemText(IDC_DESTINATION, destination);
        const bool earlierCopy =
            !g_installState.freshInstall && FileExists(destination + L"\\" + kProductExe);
        SetItemText(IDC_FOLDER_HINT, earlierCopy ? LoadMessageText(IDS_PREVIOUS_COPY_IN_FOLDER) : m_defaultHint);
    } else {
        if (!m_portableFolderChosen) {
            SetItemText(IDC_DESTINATION, L"");
        }
        SetItemText(IDC_FOLDER_HINT, LoadMessageText(IDS_PORTABLE_BROWSE_HINT));
    }
}

int CALLBACK CFolderDlg::BrowseCallback(HWND browser, UINT message, LPARAM, LPARAM)
{
    if (message == BFFM_INITIALIZED) {
        ::SendMessageW(browser, BFFM_SETSELECTIONW, TRUE,
                       reinterpret_cast<LPARAM>(g_installState.destinationFolder.c_str()));
    } else if (message == BFFM_VALIDATEFAILEDW) {
        ShowMessageText(LoadMessageText(IDS_INVALID_FOLDER), MB_OK, browser);
        return 1;  // keeps the browser open
    }
    return 0;
}

void CFolderDlg::Browse()
{
    const std::wstring title = LoadMessageText(IDS_SELECT_FOLDER);
    BROWSEINFOW browse = {};
    browse.hwndOwner = m_hWnd;
    browse.lpszTitle = title.c_str();
    browse.ulFlags = BIF_RETURNONLYFSDIRS | BIF_EDITBOX | BIF_VALIDATE | BIF_NEWDIALOGSTYLE;
    browse.lpfn = BrowseCallback;

    // The browser can preselect only a folder that exists; the destination
    // is made for it and removed again if still empty (errors ignored).
    const std::wstring previous = g_installState.destinationFolder;
    ::CreateDirectoryW(previous.c_str(), nullptr);
    PIDLIST_ABSOLUTE chosen = ::SHBrowseForFolderW(&browse);
    ::RemoveDirectoryW(previous.c_str());
    if (!chosen) {
        return;
    }
    wchar_t path[kPathChars] = {};
    const bool hasPath = ::SHGetPathFromIDListW(chosen, path) != FALSE;
    ::CoTaskMemFree(chosen);
    if (!hasPath) {
        return;
    }
    std::wstring folder = path;
    // A folder just made with the browser's new-folder button goes again;
    // the installation makes it.
    ::RemoveDirectoryW(folder.c_str());

    if (FileExists(JoinPath(folder, L"Pixvn5.exe")) || FileExists(JoinPath(folder, L"Pixvn6.exe"))) {
        ShowMessage(IDS_OLDER_VERSION_FOLDER);
        return;
    }
    bool addSubfolder = true;
    if (m_radioIndex != Portable) {
        addSubfolder = !FileExists(JoinPath(folder, kProductExe)) && HasEntries(folder);
    }
    if (addSubfolder) {
        folder = JoinPath(folder, kProductFolderName);
    }
    g_installState.destinationFolder = folder;
    SetItemText(IDC_DESTINATION, folder);
    if (m_radioIndex == Portable) {
        m_portableFolderChosen = true;
    }
    Refresh();
}

bool CFolderDlg::ConfirmLeave()
{
    if (GetItemText(IDC_DESTINATION).empty()) {
        ShowMessage(IDS_PORTABLE_BROWSE_FIRST);
        return false;
    }
    ExchangeData(true);
    g_installState.kind = static_cast<InstallKind>(m_radioIndex);
    if (!DestinationHoldsPackage(JoinPath(g_installState.sourceFolder, kInstallLogName))) {
        ShowMessage(IDS_DESTINATION_TOO_LONG);
        return false;
    }
    return DestroyWindow();
}
