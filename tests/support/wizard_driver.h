// Drives the wizard of a running setup.exe from outside, the way a user's
// clicks reach it: finds it by caption, reads its controls by id, presses
// buttons with BN_CLICKED, types into edits, works the folder browser.
#pragma once

#include "support/test_env.h"

#include <windows.h>

#include <string>

class WizardDriver {
public:
    // Starts the sample package's setup.exe (in the package folder, with
    // arguments) as a first installation, the registry's record of earlier
    // ones forgotten, and waits for the wizard; false when it did not come.
    bool Start(const std::wstring& arguments = L"");
    // Waits for the wizard of a setup.exe started by someone else (the
    // self-extracting package); false when none came within timeoutMs.
    bool Attach(DWORD processId, DWORD timeoutMs);
    ChildProcess& Process() { return m_setup; }
    HWND Window() const { return m_wizard; }

    // "welcome", "agreement", "folder", "group", "ready" (also the
    // installing and finished page: tell them by their texts), or "" when
    // no page shows.
    std::wstring PageName() const;
    std::wstring Caption() const;
    // A control of the frame (page false) or of the page on screen.
    HWND Item(int id, bool page = true) const { return ::GetDlgItem(page ? Page() : m_wizard, id); }
    std::wstring Text(int id, bool page = true) const;
    bool IsShown(int id, bool page = true) const { return ::IsWindowVisible(Item(id, page)) != FALSE; }
    bool IsEnabled(int id, bool page = true) const { return ::IsWindowEnabled(Item(id, page)) != FALSE; }
    bool IsChecked(int id) const { return ::SendMessageW(Item(id), BM_GETCHECK, 0, 0) == BST_CHECKED; }

    // Next, Back, Cancel (IDOK, 3, IDCANCEL), or a push button of the page;
    // returns once the wizard has handled the click (or opened a box).
    void Press(int id, bool page = false);
    void Check(int id, bool checked) { ::SendMessageW(Item(id), BM_SETCHECK, checked ? BST_CHECKED : 0, 0); }
    // Selects one of the radio buttons firstId..lastId and clicks it.
    void Choose(int id, int firstId, int lastId);
    void Type(int id, const std::wstring& text)
    {
        ::SendMessageW(Item(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
    }
    // Presses Browse, types folder into the browser's edit box and presses
    // its OK; false when no browser came.
    bool BrowseTo(const std::wstring& folder);

    // Waits until the wizard has handled everything sent to it so far.
    void Sync() const;

private:
    // The process's dialog that is neither the wizard nor a message box
    // (the folder browser), or null.
    HWND OtherDialog() const;
    HWND Page() const;
    bool SelectInBrowser(HWND browser, HWND edit, const std::wstring& folder) const;

    ChildProcess m_setup;
    HWND m_wizard = nullptr;
};
