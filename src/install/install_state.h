// The installation's settings and results: one record for the whole run,
// filled by the installation driver and the wizard, read by deployment,
// registration and shortcuts.
#pragma once

#include "app/product_names.h"

#include <cstdint>
#include <string>

enum InstallKind : int32_t {
    CurrentUser = 0,
    AllUsers = 1,
    Portable = 2,
};

struct FileVersion {
    unsigned major = 0;
    unsigned minor = 0;
    unsigned third = 0;
    unsigned fourth = 0;
};

struct InstallState {
    std::wstring destinationFolder;  // never ends in a backslash
    std::wstring sourceFolder;
    std::wstring packageFolder;  // the folder of the self-extracting package; empty without "-sfxname="
    InstallKind kind = AllUsers;
    bool freshInstall = false;
    std::wstring groupName = kProductName;
    bool desktopIcon = true;
    bool autostart = false;
    bool runAfter = false;
    FileVersion installedVersion;
    FileVersion packageVersion;
    unsigned betaNumber = 0;  // 0 for a released version
    bool upgrade = false;
    bool settingsSupplied = false;
};

extern InstallState g_installState;
