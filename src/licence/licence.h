// The one question start-up asks of the licence handling.
#pragma once

// True when a licence of the current or the previous major version (a
// ".pv8lic" or ".pv7lic" file) stands in the program's own folder.
bool IsLicencePresent();
