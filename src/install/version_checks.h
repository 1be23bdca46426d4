// What is already on the machine: where an earlier copy lives, which version
// it has and how it was installed, the default folder of a fresh
// installation, and the question before a re-installation or a downgrade.
#pragma once

#include "install/install_state.h"

#include <string>

// The earlier installation's folder from the product's "Path", the "App
// Paths" entry or the licence file's open command, in that order; no
// trailing "\". Empty when none names one.
std::wstring FindEarlierInstallFolder();

// "ProgramFilesDir", else the Windows drive's "Program Files"; no trailing "\".
std::wstring DefaultProgramsFolder();

// The four numbers of the file's version record; all 0 without one.
FileVersion ReadFileVersion(const std::wstring& path);

// Reads the installed and the package version into the installation state.
// Interactive, a package that is not newer is asked about (messages 16 and
// 17); false when the answer was not Yes. Otherwise sets the upgrade flag.
bool CheckVersions();

// The earlier installation's kind (unless portable), start-menu group and
// autostart choice, into the installation state.
void RecoverEarlierChoices();

// "B" for an installation for all users, "A" for any other kind, under
// "AllUsers" of the product's key.
bool EarlierInstallWasForAllUsers();
