#include "support/test_env.h"

#include <tlhelp32.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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

bool FileExists(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool FolderExists(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
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

void RemoveTree(const std::wstring& path)
{
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);  // a read-only file would stay
    if (!FolderExists(path)) {
        ::DeleteFileW(path.c_str());
        return;
    }
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((path + L"\\*").c_str(), &found));
    for (bool more = search.IsValid(); more; more = ::FindNextFileW(search.Get(), &found)) {
        if (std::wstring(found.cFileName) != L"." && std::wstring(found.cFileName) != L"..") {
            RemoveTree(path + L"\\" + found.cFileName);
        }
    }
    search.Reset();
    ::RemoveDirectoryW(path.c_str());
}

void MakeFolders(const std::wstring& path)
{
    for (size_t i = 3; i <= path.size(); ++i) {
        if (i == path.size() || path[i] == L'\\') {
            ::CreateDirectoryW(path.substr(0, i).c_str(), nullptr);
        }
    }
}

bool ChildProcess::Start(const std::wstring& commandLine, const wchar_t* workingFolder, bool inheritHandles)
{
    std::vector<wchar_t> writable(commandLine.begin(), commandLine.end());
    writable.push_back(L'\0');
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

std::vector<DWORD> FindProcesses(const std::wstring& prefix, const std::wstring& suffix)
{
    std::vector<DWORD> found;
    UniqueFileHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));  // INVALID_HANDLE_VALUE on failure
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32FirstW(snapshot.Get(), &entry); more; more = ::Process32NextW(snapshot.Get(), &entry)) {
        const std::wstring name = entry.szExeFile;
        if (name.size() >= prefix.size() + suffix.size() &&
            ::_wcsnicmp(name.c_str(), prefix.c_str(), prefix.size()) == 0 &&
            ::_wcsicmp(name.c_str() + name.size() - suffix.size(), suffix.c_str()) == 0) {
            found.push_back(entry.th32ProcessID);
        }
    }
    return found;
}

bool WaitForNoProcesses(const std::wstring& prefix, const std::wstring& suffix, DWORD timeoutMs)
{
    return WaitUntil([&] { return FindProcesses(prefix, suffix).empty(); }, timeoutMs);
}

HWND FindDialog(DWORD processId, const std::function<bool(HWND)>& match)
{
    struct Search {
        DWORD processId;
        const std::function<bool(HWND)>& match;
        HWND found;
    } search{processId, match, nullptr};
    ::EnumWindows(
        [](HWND window, LPARAM param) -> BOOL {
            auto* search = reinterpret_cast<Search*>(param);
            DWORD owner = 0;
            ::GetWindowThreadProcessId(window, &owner);
            wchar_t className[16] = {};
            ::GetClassNameW(window, className, 16);
            if ((search->processId == 0 || owner == search->processId) && std::wstring(className) == L"#32770" &&
                ::IsWindowVisible(window) && search->match(window)) {
                search->found = window;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
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
    UniqueRegKey opened;
    return ::RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr,
                             opened.Put(), nullptr) == ERROR_SUCCESS &&
           ::RegSetValueExW(opened.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

namespace {

// The key opened for reading in the 64-bit view; empty when it cannot be.
UniqueRegKey OpenForReading(HKEY root, const std::wstring& key)
{
    UniqueRegKey opened;
    ::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, opened.Put());
    return opened;
}

}  // namespace

bool RegKeyExists(HKEY root, const std::wstring& key)
{
    return OpenForReading(root, key).IsValid();
}

bool RegValueExists(HKEY root, const std::wstring& key, const wchar_t* name)
{
    const UniqueRegKey opened = OpenForReading(root, key);
    return opened && ::RegQueryValueExW(opened.Get(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

std::wstring GetRegString(HKEY root, const std::wstring& key, const wchar_t* name)
{
    const UniqueRegKey opened = OpenForReading(root, key);
    DWORD size = 0;
    if (!opened || ::RegQueryValueExW(opened.Get(), name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring value(size / sizeof(wchar_t) + 1, L'\0');
    ::RegQueryValueExW(opened.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()), &size);
    value.resize(size / sizeof(wchar_t));
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
