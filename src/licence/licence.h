// The one question start-up asks of the licence handling.
#pragma once

#include <string>
#include <vector>

// True when a licence of the current or the previous major version (a
// ".pv8lic" or ".pv7lic" file) stands in the program's own folder.
bool IsLicencePresent();

// The names of the licence files (".pv8lic", ".pv7lic") in folder, which an
// installation carries over into the product folder.
std::vector<std::wstring> LicenceFilesIn(const std::wstring& folder);
