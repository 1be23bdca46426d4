#include "ui/dialog.h"

#include "ui/message_box.h"

#include <vector>

CDialog::~CDialog()
{
    // A modeless page still on screen goes with its object; the procedure
    // must not reach the object afterwards.
    if (m_hWnd && !m_modal) {
        ::SetWindowLongPtrW(m_hWnd, DWLP_USER, 0);
        ::DestroyWindow(m_hWnd);
    }
}

INT_PTR CDialog::DoModal(HWND owner)
{
    m_modal = true;
    return ::DialogBoxParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(m_templateId), owner, DialogProc,
                             reinterpret_cast<LPARAM>(this));
}

bool CDialog::Create(HWND parent)
{
    m_modal = false;
    return ::CreateDialogParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(m_templateId), parent, DialogProc,
                                reinterpret_cast<LPARAM>(this)) != nullptr;
}

bool CDialog::DestroyWindow()
{
    return m_hWnd && ::DestroyWindow(m_hWnd);
}

void CDialog::EndDialog(INT_PTR result)
{
    ::EndDialog(m_hWnd, result);
}

std::wstring CDialog::GetItemText(int id) const
{
    HWND item = GetDlgItem(id);
    std::vector<wchar_t> text(static_cast<size_t>(::GetWindowTextLengthW(item)) + 1, L'\0');
    ::GetWindowTextW(item, text.data(), static_cast<int>(text.size()));
    return text.data();
}

void CDialog::SetItemText(int id, const std::wstring& text) const
{
    ::SetDlgItemTextW(m_hWnd, id, text.c_str());
}

void CDialog::ShowItem(int id, bool show) const
{
    ::ShowWindow(GetDlgItem(id), show ? SW_SHOW : SW_HIDE);
}

void CDialog::EnableItem(int id, bool enable) const
{
    ::EnableWindow(GetDlgItem(id), enable ? TRUE : FALSE);
}

bool CDialog::IsChecked(int id) const
{
    return ::IsDlgButtonChecked(m_hWnd, id) == BST_CHECKED;
}

void CDialog::SetChecked(int id, bool checked) const
{
    ::CheckDlgButton(m_hWnd, id, checked ? BST_CHECKED : BST_UNCHECKED);
}

int CDialog::ShowMessage(UINT messageId, UINT type) const
{
    return ShowMessageText(LoadMessageText(messageId), type, m_hWnd);
}

INT_PTR CALLBACK CDialog::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    CDialog* self = nullptr;
    if (message == WM_INITDIALOG) {
        self = reinterpret_cast<CDialog*>(lParam);
        self->m_hWnd = window;
        ::SetWindowLongPtrW(window, DWLP_USER, lParam);
    } else {
        self = reinterpret_cast<CDialog*>(::GetWindowLongPtrW(window, DWLP_USER));
    }
    if (!self) {
        return FALSE;
    }
    if (message == WM_NCDESTROY) {
        self->m_hWnd = nullptr;
        return FALSE;
    }
    // Nothing may unwind through the system's dialog code; a handler that
    // fails leaves the dialog as it was.
    try {
        return self->Dispatch(message, wParam, lParam);
    } catch (...) {
        return FALSE;
    }
}

INT_PTR CDialog::Dispatch(UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG:
        return OnInitDialog();
    case WM_CLOSE:
        // The close box is Cancel.
        OnCancel();
        return TRUE;
    case WM_COMMAND: {
        const int id = LOWORD(wParam);
        const int code = HIWORD(wParam);
        if (id == IDOK && code == BN_CLICKED) {
            OnOK();
            return TRUE;
        }
        if (id == IDCANCEL && code == BN_CLICKED) {
            OnCancel();
            return TRUE;
        }
        return OnCommand(id, code) ? TRUE : FALSE;
    }
    default:
        return FALSE;
    }
}
