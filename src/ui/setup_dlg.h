// The installation wizard: a frame dialog that shows one page at a time
// beside its picture and drives the pages with Back, Next and Cancel.
#pragma once

#include "ui/dialog.h"

#include <windows.h>

#include <memory>
#include <string>

class CWizardPage;

// The wizard page index that shows only the finished page (after an
// unattended install at "-sconf"): the first Advance goes to the installing
// step, which does not install again.
constexpr int kWizardFinishedOnly = 4;

// Runs the wizard modally from the welcome page (startPageIndex -1), or at
// kWizardFinishedOnly. IDOK when Finish was pressed, IDCANCEL otherwise.
INT_PTR RunSetupWizard(int startPageIndex);

class CSetupDlg : public CDialog {
public:
    explicit CSetupDlg(int pageIndex = -1);
    ~CSetupDlg() override;

protected:
    BOOL OnInitDialog() override;
    bool OnCommand(int id, int code) override;
    void OnOK() override;
    void OnCancel() override;

private:
    void Advance();
    void Back();
    void ShowPage(std::unique_ptr<CWizardPage> page);
    void InstallAndShowResult();
    void Finish();
    void PlacePage();

    int m_pageIndex;
    std::unique_ptr<CWizardPage> m_page;
    std::wstring m_savedCaption;
};
