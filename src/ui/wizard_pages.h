// The wizard's pages: child dialogs that the wizard frame creates modeless,
// shows beside its picture and destroys when it moves on. A page that takes
// input shows the installation state when created and stores into it when
// it may be left, so choices survive Back and Next.
#pragma once

#include "ui/dialog.h"
#include "ui/resource.h"

#include <string>

class CWizardPage : public CDialog {
public:
    using CDialog::CDialog;
    // Whether the page may be left; a page that takes input checks and
    // stores it here. By default it only closes the page's window.
    virtual bool ConfirmLeave() { return DestroyWindow(); }

protected:
    // Enter in a page control and Esc belong to the wizard frame.
    void OnOK() override;
    void OnCancel() override;
};

// Welcome: the product's version line.
class CIntoDlg : public CWizardPage {
public:
    CIntoDlg() : CWizardPage(IDD_INTRO) {}

protected:
    BOOL OnInitDialog() override;
};

// The licence agreement, read from "agreement.txt" in the current folder.
class CAgreementDlg : public CWizardPage {
public:
    CAgreementDlg() : CWizardPage(IDD_AGREEMENT) {}

protected:
    BOOL OnInitDialog() override;

private:
    std::wstring m_agreement;
};

// Install kind and destination folder.
class CFolderDlg : public CWizardPage {
public:
    CFolderDlg() : CWizardPage(IDD_FOLDER) {}
    bool ConfirmLeave() override;

protected:
    BOOL OnInitDialog() override;
    bool OnCommand(int id, int code) override;

private:
    static int CALLBACK BrowseCallback(HWND browser, UINT message, LPARAM lParam, LPARAM data);
    // The controls into the members (true) or back (false).
    void ExchangeData(bool save);
    void Refresh();
    void Browse();

    std::wstring m_defaultHint;
    int m_radioIndex = -1;  // the install kind; -1 while no button is selected
    bool m_portableFolderChosen = false;
};

// Start-menu group, auto-start and desktop icon.
class CGroupDlg : public CWizardPage {
public:
    CGroupDlg() : CWizardPage(IDD_GROUP) {}
    bool ConfirmLeave() override;

protected:
    BOOL OnInitDialog() override;

private:
    void ExchangeData(bool save);

    bool m_autostart = false;
    bool m_desktopIcon = true;
    std::wstring m_groupName;
};

// Ready to install; the wizard rewrites it as the installing and finished page.
class CStartDlg : public CWizardPage {
public:
    CStartDlg() : CWizardPage(IDD_START) {}
};
