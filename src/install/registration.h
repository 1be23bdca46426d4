// The registry entries that make the installed product known to Windows, and
// the thumbnail handler's registration. Removal takes back exactly these.
#pragma once

// Writes every entry for the installation state's destination and package
// version, then registers the thumbnail handler. Failures are ignored.
void RegisterProduct();
