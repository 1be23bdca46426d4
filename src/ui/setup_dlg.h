// The installation wizard.
#pragma once

#include <windows.h>

// The wizard page index that shows only the finished page (after an
// unattended install at "-sconf"): the first Advance goes to the installing
// step, which does not install again.
constexpr int kWizardFinishedOnly = 4;

// Runs the wizard modally from the welcome page (startPageIndex -1), or at
// kWizardFinishedOnly. IDOK when Finish was pressed, IDCANCEL otherwise.
INT_PTR RunSetupWizard(int startPageIndex);
