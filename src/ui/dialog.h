// A thin dialog class over a template: a static dialog procedure finds the
// object through the pointer stored at WM_INITDIALOG and calls its virtual
// handlers. Used modal (DoModal) and as modeless child pages (Create).
#pragma once

#include <windows.h>

#include <string>

class CDialog {
public:
    explicit CDialog(UINT templateId) : m_templateId(templateId) {}
    virtual ~CDialog();
    CDialog(const CDialog&) = delete;
    CDialog& operator=(const CDialog&) = delete;

    // Runs the dialog modally; the value given to EndDialog, or -1 when the
    // template could not be made into a window.
    INT_PTR DoModal(HWND owner);
    // Creates the dialog modeless as a child of parent; false on failure.
    bool Create(HWND parent);
    // Closes a modeless dialog's window; true when it is gone.
    bool DestroyWindow();
    void EndDialog(INT_PTR result);

    HWND GetSafeHwnd() const { return m_hWnd; }
    HWND GetDlgItem(int id) const { return ::GetDlgItem(m_hWnd, id); }
    std::wstring GetItemText(int id) const;
    void SetItemText(int id, const std::wstring& text) const;
    void ShowItem(int id, bool show) const;
    void EnableItem(int id, bool enable) const;
    bool IsChecked(int id) const;
    void SetChecked(int id, bool checked) const;
    // A catalogue message over this dialog: OK and no icon unless type says otherwise.
    int ShowMessage(UINT messageId, UINT type = MB_OK) const;

protected:
    // Returns TRUE to let the system focus the first control.
    virtual BOOL OnInitDialog() { return TRUE; }
    // A WM_COMMAND other than IDOK and IDCANCEL; true when handled.
    virtual bool OnCommand(int /*id*/, int /*code*/) { return false; }
    // Enter and the default button.
    virtual void OnOK() { EndDialog(IDOK); }
    // Esc, the close box and the Cancel button.
    virtual void OnCancel() { EndDialog(IDCANCEL); }

    HWND m_hWnd = nullptr;

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR Dispatch(UINT message, WPARAM wParam, LPARAM lParam);

    UINT m_templateId;
    bool m_modal = false;
};
