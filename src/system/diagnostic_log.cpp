#include "system/diagnostic_log.h"

#include "app/globals.h"

#include <windows.h>

#include <cwchar>

namespace {

constexpr wchar_t kLogOption[] = L"-log=";
constexpr size_t kLogOptionChars = 5;
// How the first uninstall stage tells its second stage where the log is: the
// second stage's command line is fixed, its environment is inherited.
constexpr wchar_t kLogVariable[] = L"PIXVANE_SETUP_LOG";

std::wstring g_logPath;
// Open to the end of the process, where the system closes it: both uninstall
// stages and a reader may have the file open at once, each appending.
HANDLE g_log = INVALID_HANDLE_VALUE;

// "C:\...", "C:..." (a drive's current folder), "\\server\..." and "\..." name
// their place themselves.
bool IsRelative(const std::wstring& path)
{
    if (path.size() >= 2 && path[1] == L':') {
        return false;
    }
    return path.empty() || (path[0] != L'\\' && path[0] != L'/');
}

std::wstring FullPath(const std::wstring& path)
{
    const std::wstring named = IsRelative(path) && !PackageFolder.empty() ? PackageFolder + L"\\" + path : path;
    wchar_t full[MAX_PATH * 2] = {};
    const DWORD length = ::GetFullPathNameW(named.c_str(), MAX_PATH * 2, full, nullptr);
    return length > 0 && length < MAX_PATH * 2 ? std::wstring(full, length) : named;
}

std::string Utf8(const std::wstring& text)
{
    const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                            nullptr, nullptr);
    std::string utf8(bytes > 0 ? static_cast<size_t>(bytes) : 0, '\0');
    if (bytes > 0) {
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(), bytes, nullptr,
                              nullptr);
    }
    return utf8;
}

void WriteRaw(const std::string& bytes)
{
    DWORD written = 0;
    if (!::WriteFile(g_log, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
        g_log = INVALID_HANDLE_VALUE;  // a log that cannot be written is given up; the handle goes with the process
    }
}

}  // namespace

void StartDiagnosticLog(const std::vector<std::wstring>& args, bool secondStage)
{
    std::wstring path;
    for (size_t i = 1; i < args.size(); ++i) {
        if (args[i].size() > kLogOptionChars && ::_wcsnicmp(args[i].c_str(), kLogOption, kLogOptionChars) == 0) {
            path = args[i].substr(kLogOptionChars);
        }
    }
    if (path.empty() && secondStage) {
        wchar_t inherited[MAX_PATH * 2] = {};
        const DWORD length = ::GetEnvironmentVariableW(kLogVariable, inherited, MAX_PATH * 2);
        path = length > 0 && length < MAX_PATH * 2 ? inherited : L"";
    }
    ::SetEnvironmentVariableW(kLogVariable, nullptr);  // not for the programs this one starts
    if (path.empty()) {
        return;
    }
    g_logPath = FullPath(path);
    g_log = ::CreateFileW(g_logPath.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                          nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (g_log == INVALID_HANDLE_VALUE) {
        return;
    }
    LARGE_INTEGER size = {};
    if (::GetFileSizeEx(g_log, &size) && size.QuadPart == 0) {
        WriteRaw("\xEF\xBB\xBF");  // so that every editor reads it as UTF-8
    }
    wchar_t ownPath[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, ownPath, MAX_PATH);
    DiagLog(L"---- ", ownPath, L" started, process ", ::GetCurrentProcessId());
    for (size_t i = 1; i < args.size(); ++i) {
        DiagLog(L"argument ", i, L": ", args[i]);
    }
}

void HandDiagnosticLogOn()
{
    ::SetEnvironmentVariableW(kLogVariable, IsDiagnosticLogOn() ? g_logPath.c_str() : nullptr);
}

bool IsDiagnosticLogOn()
{
    return g_log != INVALID_HANDLE_VALUE;
}

void WriteDiagnosticLine(const std::wstring& line)
{
    if (!IsDiagnosticLogOn()) {
        return;
    }
    const DWORD lastError = ::GetLastError();
    SYSTEMTIME now = {};
    ::GetLocalTime(&now);
    wchar_t stamp[40] = {};
    std::swprintf(stamp, 40, L"%04u-%02u-%02u %02u:%02u:%02u.%03u [%lu] ", unsigned{now.wYear}, unsigned{now.wMonth},
                  unsigned{now.wDay}, unsigned{now.wHour}, unsigned{now.wMinute}, unsigned{now.wSecond},
                  unsigned{now.wMilliseconds}, static_cast<unsigned long>(::GetCurrentProcessId()));
    WriteRaw(Utf8(stamp + line + L"\r\n"));
    ::SetLastError(lastError);
}

std::wstring diagnostic_log_detail::Failure()
{
    const DWORD error = ::GetLastError();
    return L": failed (error " + std::to_wstring(error) + L")";
}
