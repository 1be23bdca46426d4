// The free-licence offer that may be shown before uninstalling. Nothing in
// the uninstall sequence opens it; accepting ends it with IDOK, declining
// ("Uninstall anyway") with IDCANCEL.
#pragma once

#include "ui/dialog.h"
#include "ui/resource.h"

#include <string>

class CUninstOfferDlg : public CDialog {
public:
    CUninstOfferDlg();

protected:
    BOOL OnInitDialog() override;

private:
    std::wstring m_offerText;
};
