// The whole removal of an installed product, in its fixed order.
#pragma once

#include <string>

// Removes everything the installation made in and for productFolder (which
// ends in a backslash). Asks nothing and reports nothing; what is in use is
// left to deletion at the next restart.
void RunUninstall(const std::wstring& productFolder);
