#include "ui/setup_dlg.h"

INT_PTR RunSetupWizard(int)
{
    // The wizard is not built yet.
    return IDCANCEL;
}
