#include "install/install_log_writer.h"

#include "install/install_state.h"
#include "install/install_text.h"
#include "system/services.h"
#include "uninstall/install_log_text.h"

#include <windows.h>

namespace {

// The 8-bit log stops at the first letter above U+00FF; the short form of
// such a path names the same file in letters it can hold. Where the volume
// keeps no short names the system answers with the long form, which is then
// written in the log's own escapes.
std::wstring LoggablePath(const std::wstring& path)
{
    if (!NeedsWideCharacters(path)) {
        return EncodeLoggedPath(path);
    }
    std::wstring shortPath(kPathChars, L'\0');
    const DWORD length = g_pfnGetShortPathNameW(path.c_str(), shortPath.data(), static_cast<DWORD>(kPathChars));
    if (length == 0 || length >= kPathChars) {
        return EncodeLoggedPath(path);
    }
    shortPath.resize(length);
    return EncodeLoggedPath(shortPath);
}

}  // namespace

GetShortPathNameWFn g_pfnGetShortPathNameW = ::GetShortPathNameW;

void AppendToInstalledLog(const wchar_t* prefix, const std::wstring& path)
{
    const std::wstring log = g_installState.destinationFolder + L"\\" + kInstallLogName;
    AppendLineToFile(log.c_str(), MakeLogLine(prefix, LoggablePath(path)).c_str());
}
