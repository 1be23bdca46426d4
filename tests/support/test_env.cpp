#include "support/test_env.h"

#include "system/path_text.h"

#include <sddl.h>
#include <tlhelp32.h>

#include <filesystem>
#include <fstream>
#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

std::wstring BuildPath(const std::wstring& relative)
{
    // The build directory is a Unix path; Wine shows the Unix root as drive Z:.
    std::wstring path = L"Z:";
    for (const char* c = SETUP_BUILD_DIR; *c; ++c) {
        path += (*c == '/') ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(*c));
    }
    return path + L"\\" + relative;
}

std::wstring PackagePath(const std::wstring& name)
{
    return BuildPath(L"package\\" + name);
}

std::wstring MakeScratchFolder(const std::wstring& name)
{
    const std::wstring folder = L"C:\\pxtest\\" + name;
    RemoveTree(folder);
    MakeFolders(folder);
    return folder;
}

// INVALID_FILE_ATTRIBUTES has every bit set.
bool FileExists(const std::wstring& path)
{
    return (::GetFileAttributesW(path.c_str()) & (FILE_ATTRIBUTE_DIRECTORY | 0x80000000)) == 0;
}

bool FolderExists(const std::wstring& path)
{
    return (::GetFileAttributesW(path.c_str()) & (FILE_ATTRIBUTE_DIRECTORY | 0x80000000)) == FILE_ATTRIBUTE_DIRECTORY;
}

void WriteTextFile(const std::wstring& path, const std::string& bytes)
{
    std::ofstream(std::filesystem::path(path), std::ios::binary) << bytes;
}

std::string ReadTextFile(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::set<std::wstring> NamesIn(const std::wstring& folder)
{
    std::set<std::wstring> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        names.insert(entry.path().filename().wstring());
    }
    return names;
}

void RemoveTree(const std::wstring& path)
{
    std::error_code ignored;
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);  // a read-only file would stay
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path, ignored)) {
        ::SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    std::filesystem::remove_all(path, ignored);
}

void MakeFolders(const std::wstring& path)
{
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
}

bool ChildProcess::Start(const std::wstring& commandLine, const wchar_t* workingFolder, bool inheritHandles)
{
    std::wstring writable = commandLine;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    if (!::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, inheritHandles, 0, nullptr, workingFolder,
                          &startup, &info)) {
        return false;
    }
    UniqueHandle thread(info.hThread);
    m_process.Reset(info.hProcess);
    m_id = info.dwProcessId;
    return true;
}

int ChildProcess::Wait(DWORD timeoutMs)
{
    if (!m_process || ::WaitForSingleObject(m_process.Get(), timeoutMs) != WAIT_OBJECT_0) {
        return -1;
    }
    DWORD code = 0;
    ::GetExitCodeProcess(m_process.Get(), &code);
    return static_cast<int>(code);
}

bool ChildProcess::IsRunning() const
{
    return m_process && ::WaitForSingleObject(m_process.Get(), 0) == WAIT_TIMEOUT;
}

void ChildProcess::Kill()
{
    if (IsRunning()) {
        ::TerminateProcess(m_process.Get(), 99);
        ::WaitForSingleObject(m_process.Get(), 5000);
    }
}

int RunToEnd(const std::wstring& commandLine, DWORD timeoutMs)
{
    ChildProcess child;
    return child.Start(commandLine) ? child.Wait(timeoutMs) : -1;
}

bool UnixLink(const std::wstring& link, const std::wstring& target)
{
    const auto unixName = reinterpret_cast<char* (*)(const wchar_t*)>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    const auto quoted = [&](const std::wstring& path) {
        const std::string name = unixName(path.c_str());  // a few bytes left to the test's end
        return L"\"" + std::wstring(name.begin(), name.end()) + L"\"";
    };
    // Wine starts a Unix program like a Windows one but does not tell its
    // end: the link is watched instead.
    RunToEnd(target.empty() ? L"/bin/rm " + quoted(link) : L"/bin/ln -s " + quoted(target) + L" " + quoted(link));
    return WaitUntil([&] { return FolderExists(link) != target.empty(); }, 5000);
}

std::vector<DWORD> FindProcesses(const std::wstring& prefix, const std::wstring& suffix, DWORD parentId)
{
    std::vector<DWORD> found;
    UniqueFileHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));  // INVALID_HANDLE_VALUE on failure
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32FirstW(snapshot.Get(), &entry); more; more = ::Process32NextW(snapshot.Get(), &entry)) {
        const std::wstring name = ToLowerAscii(entry.szExeFile);
        if (name.size() >= prefix.size() + suffix.size() && name.starts_with(ToLowerAscii(prefix)) &&
            name.ends_with(ToLowerAscii(suffix)) && (parentId == 0 || entry.th32ParentProcessID == parentId)) {
            found.push_back(entry.th32ProcessID);
        }
    }
    return found;
}

bool WaitForNoProcesses(const std::wstring& prefix, const std::wstring& suffix, DWORD timeoutMs)
{
    return WaitUntil([&] { return FindProcesses(prefix, suffix).empty(); }, timeoutMs);
}

WatchedRun RunWatched(const std::wstring& commandLine, bool waitForProduct)
{
    WatchedRun run;
    ChildProcess program;
    std::set<std::wstring> seen;
    const bool started = program.Start(commandLine);
    const ULONGLONG end = ::GetTickCount64() + 120000;
    while (started && (run.exitCode = program.Wait(20)) == -1 && ::GetTickCount64() < end) {
        std::vector<DWORD> watched = FindProcesses(L"setup", L".exe");
        watched.push_back(program.Id());
        FindShownWindow(watched, [&](HWND window) {
            seen.insert(WindowText(window));
            return false;  // noted, and the search goes on through them all
        });
    }
    run.windows.assign(seen.begin(), seen.end());
    WaitForNoProcesses(L"regsvr32", L".exe", 10000);
    if (waitForProduct) {
        WaitForNoProcesses(L"Pixvn8", L".exe", 10000);
    }
    return run;
}

HWND FindShownWindow(const std::vector<DWORD>& processIds, const std::function<bool(HWND)>& match)
{
    struct Search {
        const std::vector<DWORD>& processIds;
        const std::function<bool(HWND)>& match;
        HWND found;
    } search{processIds, match, nullptr};
    ::EnumWindows(
        [](HWND window, LPARAM param) -> BOOL {
            auto* search = reinterpret_cast<Search*>(param);
            DWORD owner = 0;
            ::GetWindowThreadProcessId(window, &owner);
            if ((search->processIds.empty() || std::ranges::count(search->processIds, owner) > 0) &&
                ::IsWindowVisible(window) && search->match(window)) {
                search->found = window;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HWND FindDialog(DWORD processId, const std::function<bool(HWND)>& match)
{
    return FindShownWindow(processId ? std::vector{processId} : std::vector<DWORD>{}, [&](HWND window) {
        wchar_t className[16] = {};
        ::GetClassNameW(window, className, 16);
        return std::wstring(className) == L"#32770" && match(window);
    });
}

std::wstring WindowText(HWND window)
{
    wchar_t text[4096] = {};
    DWORD_PTR ignored = 0;
    ::SendMessageTimeoutW(window, WM_GETTEXT, 4096, reinterpret_cast<LPARAM>(text), SMTO_NORMAL, 10000, &ignored);
    return text;
}

bool SetRegString(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& value)
{
    return ::RegSetKeyValueW(root, key.c_str(), name, REG_SZ, value.c_str(),
                             static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

bool RegKeyExists(HKEY root, const std::wstring& key)
{
    UniqueRegKey opened;
    return ::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, opened.Put()) == ERROR_SUCCESS;
}

std::wstring GetRegString(HKEY root, const std::wstring& key, const wchar_t* name)
{
    const DWORD types = RRF_RT_REG_SZ | RRF_RT_REG_MULTI_SZ;
    DWORD size = 0;
    if (::RegGetValueW(root, key.c_str(), name, types, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring value(size / sizeof(wchar_t), L'\0');
    ::RegGetValueW(root, key.c_str(), name, types, nullptr, value.data(), &size);
    while (!value.empty() && value.back() == L'\0') {
        value.pop_back();
    }
    return value;
}

void DeleteRegTree(HKEY root, const std::wstring& key)
{
    ::RegDeleteTreeW(root, key.c_str());
    ::RegDeleteKeyW(root, key.c_str());
}

std::wstring PendingFileRenames()
{
    return GetRegString(HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Control\\Session Manager",
                        L"PendingFileRenameOperations");
}

std::wstring SddlOf(PSECURITY_DESCRIPTOR descriptor)
{
    wchar_t* text = nullptr;
    if (descriptor) {
        ::ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &text, nullptr);
    }
    const std::wstring sddl = text ? text : L"none";
    ::LocalFree(text);
    return sddl;
}
