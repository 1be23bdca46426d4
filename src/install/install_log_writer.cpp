#include "install/install_log_writer.h"

#include "install/install_state.h"
#include "install/install_text.h"
#include "system/services.h"
#include "uninstall/install_log_text.h"

#include <windows.h>

namespace {

// The 8-bit log stops at the first letter above U+00FF; the short form of
// such a path names the same file in letters it can hold. A path the system
// has no short form for is written as it is.
std::wstring LoggablePath(const std::wstring& path)
{
    if (!NeedsWideCharacters(path)) {
        return path;
    }
    const DWORD needed = ::GetShortPathNameW(path.c_str(), nullptr, 0);
    if (needed == 0) {
        return path;
    }
    std::wstring shortPath(needed, L'\0');
    const DWORD length = ::GetShortPathNameW(path.c_str(), shortPath.data(), needed);
    if (length == 0 || length >= needed) {
        return path;
    }
    shortPath.resize(length);
    return shortPath;
}

}  // namespace

void AppendToInstalledLog(const wchar_t* prefix, const std::wstring& path)
{
    const std::wstring log = g_installState.destinationFolder + L"\\" + kInstallLogName;
    AppendLineToFile(log.c_str(), MakeLogLine(prefix, LoggablePath(path)).c_str());
}
