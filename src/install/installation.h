// The installation driver: settles folders and options, checks what is
// already installed, then runs the wizard or installs unattended.
#pragma once

#include <windows.h>

// The install road from start-up; the result ends the program.
BOOL RunInstallation();
