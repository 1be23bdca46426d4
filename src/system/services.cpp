#include "system/services.h"

#include "install/install_state.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"

#include <shlobj.h>

#include <cstdio>
#include <cwchar>
#include <vector>

IsWow64ProcessFn g_pfnIsWow64Process = nullptr;
AdjustTokenPrivilegesFn g_pfnAdjustTokenPrivileges = nullptr;
LookupPrivilegeValueWFn g_pfnLookupPrivilegeValueW = nullptr;
OpenProcessTokenFn g_pfnOpenProcessToken = nullptr;
OSVERSIONINFOEXW g_osVersion = {};

namespace {

template <typename Fn>
Fn LookUp(HMODULE module, const char* name)
{
    if (!module) {
        return nullptr;
    }
    // GetProcAddress returns a generic FARPROC; the signatures above are the documented ones.
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

// Runs before InitInstance: the pointers and the version record are there for
// every later step. Modules are taken only if already loaded, never loaded here.
struct StaticStart {
    StaticStart()
    {
        // Before anything is loaded: libraries come from System32 only, so a
        // bare-name load asks whether the system supplies a library and never
        // picks up a copy beside setup.exe (the package's own, or a planted one).
        using SetDefaultDllDirectoriesFn = BOOL(WINAPI*)(DWORD);
        HMODULE kernel = ::GetModuleHandleW(L"kernel32");
        if (auto limitSearch = LookUp<SetDefaultDllDirectoriesFn>(kernel, "SetDefaultDllDirectories")) {
            limitSearch(LOAD_LIBRARY_SEARCH_SYSTEM32);
        }
        g_pfnIsWow64Process = LookUp<IsWow64ProcessFn>(kernel, "IsWow64Process");
        HMODULE advapi = ::GetModuleHandleA("Advapi32.dll");
        g_pfnAdjustTokenPrivileges = LookUp<AdjustTokenPrivilegesFn>(advapi, "AdjustTokenPrivileges");
        g_pfnLookupPrivilegeValueW = LookUp<LookupPrivilegeValueWFn>(advapi, "LookupPrivilegeValueW");
        g_pfnOpenProcessToken = LookUp<OpenProcessTokenFn>(advapi, "OpenProcessToken");
        GetOsVersion(g_osVersion);
    }
};
const StaticStart g_staticStart;

struct ShellFolderFallback {
    int csidl;
    const wchar_t* valueName;
    HKEY root;
};

// Where Explorer mirrors the folders when the shell itself cannot answer.
const ShellFolderFallback kShellFolderFallbacks[] = {
    {0, L"Desktop", HKEY_CURRENT_USER},
    {2, L"Programs", HKEY_CURRENT_USER},
    {5, L"Personal", HKEY_CURRENT_USER},
    {7, L"Startup", HKEY_CURRENT_USER},
    {23, L"Common Programs", HKEY_LOCAL_MACHINE},
    {24, L"Common Startup", HKEY_LOCAL_MACHINE},
    {25, L"Common Desktop", HKEY_LOCAL_MACHINE},
    {26, L"AppData", HKEY_CURRENT_USER},
    {35, L"Common AppData", HKEY_LOCAL_MACHINE},
    {39, L"MyPictures", HKEY_CURRENT_USER},
    {46, L"Common Documents", HKEY_LOCAL_MACHINE},
    {54, L"CommonPictures", HKEY_LOCAL_MACHINE},
};

constexpr wchar_t kShellFoldersKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

}  // namespace

bool IsVistaOrLater()
{
    return g_osVersion.dwMajorVersion >= 6;
}

void RunAndWait(const wchar_t* commandLine, const wchar_t* folder, DWORD waitMs)
{
    // CreateProcessW may write into the command line, so it gets its own copy.
    const size_t length = std::wcslen(commandLine);
    std::vector<wchar_t> writable(length < kCommandLineChars ? kCommandLineChars : length + 1, L'\0');
    std::wmemcpy(writable.data(), commandLine, length);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    const wchar_t* workingFolder = folder ? folder : g_installState.destinationFolder.c_str();
    if (workingFolder[0] == L'\0') {
        workingFolder = nullptr;  // outside an installation: the caller's own folder
    }
    if (!DiagResult(::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, FALSE, 0, nullptr, workingFolder,
                                     &startup, &process),
                    L"start ", commandLine, L" in ", workingFolder ? workingFolder : L"the current folder")) {
        return;
    }
    UniqueHandle thread(process.hThread);
    UniqueHandle child(process.hProcess);
    if (waitMs != 0) {
        // outcome not needed: time-out or end both go on
        const bool ended = ::WaitForSingleObject(child.Get(), waitMs) == WAIT_OBJECT_0;
        DiagLog(L"waited for it: ", ended ? L"ended" : L"not ended");
    }
}

void SetTokenPrivilege(HANDLE token, const wchar_t* privilegeName, bool enable)
{
    if (!g_pfnLookupPrivilegeValueW || !g_pfnAdjustTokenPrivileges) {
        return;
    }
    LUID luid = {};
    if (!g_pfnLookupPrivilegeValueW(nullptr, privilegeName, &luid)) {
        std::printf("LookupPrivilegeValue error: %u\n", static_cast<unsigned>(::GetLastError()));
        return;
    }
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Luid = luid;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;
    if (!g_pfnAdjustTokenPrivileges(token, FALSE, &privileges, sizeof(TOKEN_PRIVILEGES), nullptr, nullptr)) {
        std::printf("AdjustTokenPrivileges error: %u\n", static_cast<unsigned>(::GetLastError()));
        return;
    }
    if (::GetLastError() == ERROR_NOT_ALL_ASSIGNED) {
        std::printf("The token does not have the specified privilege. \n");
    }
}

bool GetOsVersion(OSVERSIONINFOEXW& record)
{
    using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    record = {};
    record.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXW);
    const auto rtlGetVersion = LookUp<RtlGetVersionFn>(::GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
    if (!rtlGetVersion) {
        return false;
    }
    return rtlGetVersion(&record) == 0;
}

bool IsWow64()
{
    if (!g_pfnIsWow64Process) {
        return false;
    }
    BOOL wow64 = FALSE;
    g_pfnIsWow64Process(::GetCurrentProcess(), &wow64);
    return wow64 != FALSE;
}

std::wstring GetSpecialFolderPath(int csidl)
{
    wchar_t path[kPathChars] = {};
    if (SUCCEEDED(::SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path))) {
        return path;
    }
    const wchar_t* valueName = nullptr;
    HKEY root = HKEY_CURRENT_USER;
    for (const auto& fallback : kShellFolderFallbacks) {
        if (fallback.csidl == csidl) {
            valueName = fallback.valueName;
            root = fallback.root;
            break;
        }
    }
    return ReadRegString(root, kShellFoldersKey, valueName);
}

std::wstring ReadRegString(HKEY root, const wchar_t* subkey, const wchar_t* name)
{
    UniqueRegKey key;
    if (::RegOpenKeyExW(root, subkey, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return {};
    }
    // One spare character keeps the text terminated even when the value fills
    // all 260 bytes without a terminator of its own.
    wchar_t buffer[kRegStringBytes / sizeof(wchar_t) + 1] = {};
    DWORD size = kRegStringBytes;
    if (::RegQueryValueExW(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    return buffer;
}

void AppendLineToFile(const wchar_t* path, const wchar_t* text)
{
    UniqueStdioFile file(::_wfopen(path, L"at"));
    if (!file) {
        return;
    }
    // Text mode turns the line feed into CR LF and each character into the
    // current code page; an unconvertible character ends the line there.
    std::fputws(text, file.Get());
    std::fputwc(L'\n', file.Get());
}

std::wstring LoadResString(UINT id)
{
    // With a zero buffer size LoadStringW hands out a pointer into the
    // resource itself, so texts of any length come back whole.
    const wchar_t* text = nullptr;
    const int length = ::LoadStringW(::GetModuleHandleW(nullptr), id, reinterpret_cast<wchar_t*>(&text), 0);
    if (length <= 0 || !text) {
        return {};
    }
    return std::wstring(text, static_cast<size_t>(length));
}
