#include "support/uninstall_run.h"

#include "support/message_boxes.h"
#include "support/test_env.h"
#include "system/handles.h"

#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <cwctype>

namespace {

std::wstring CallsLogPath()
{
    wchar_t common[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common);
    return std::wstring(common) + L"\\Pixvn8Double\\calls.log";
}

// Lower case, single separators, no trailing one.
std::wstring NormalPath(const std::wstring& path)
{
    std::wstring normal;
    for (wchar_t c : path) {
        if (c == L'\\' && !normal.empty() && normal.back() == L'\\') {
            continue;
        }
        normal += static_cast<wchar_t>(std::towlower(c));
    }
    while (!normal.empty() && normal.back() == L'\\') {
        normal.pop_back();
    }
    return normal;
}

template <typename T>
bool ReadRemote(HANDLE process, const void* address, T& value)
{
    SIZE_T read = 0;
    return ::ReadProcessMemory(process, address, &value, sizeof(T), &read) && read == sizeof(T);
}

}  // namespace

std::vector<DWORD> SecondStageProcesses()
{
    return FindProcesses(L"uni", L".tmp");
}

bool WaitForSecondStage(DWORD timeoutMs, std::wstring* commandLine)
{
    const ULONGLONG start = ::GetTickCount64();
    std::vector<DWORD> stages;
    if (!WaitUntil([&] { return !(stages = SecondStageProcesses()).empty(); }, timeoutMs)) {
        return false;
    }
    if (commandLine) {
        // The stage waits a second before it starts working: time enough to
        // find its parameters in place.
        WaitUntil([&] { return !(*commandLine = CommandLineOf(stages.front())).empty(); }, 500);
    }
    const DWORD spent = static_cast<DWORD>(::GetTickCount64() - start);
    return WaitUntil([] { return SecondStageProcesses().empty(); }, timeoutMs > spent ? timeoutMs - spent : 0);
}

std::wstring CommandLineOf(DWORD processId)
{
    UniqueHandle process(::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    if (!process) {
        return {};
    }
    using QueryFn = NTSTATUS(NTAPI*)(HANDLE, PROCESSINFOCLASS, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<QueryFn>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess")));
    PROCESS_BASIC_INFORMATION basic = {};
    if (!query || query(process.Get(), ProcessBasicInformation, &basic, sizeof(basic), nullptr) != 0) {
        return {};
    }
    PEB peb = {};
    RTL_USER_PROCESS_PARAMETERS parameters = {};
    if (!ReadRemote(process.Get(), basic.PebBaseAddress, peb) ||
        !ReadRemote(process.Get(), peb.ProcessParameters, parameters)) {
        return {};
    }
    std::wstring text(parameters.CommandLine.Length / sizeof(wchar_t), L'\0');
    SIZE_T read = 0;
    if (!::ReadProcessMemory(process.Get(), parameters.CommandLine.Buffer, text.data(),
                             parameters.CommandLine.Length, &read)) {
        return {};
    }
    return text;
}

std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine)
{
    std::vector<std::wstring> arguments;
    int count = 0;
    LPWSTR* split = ::CommandLineToArgvW(commandLine.c_str(), &count);
    if (!split) {
        return arguments;
    }
    for (int i = 0; i < count; ++i) {
        arguments.emplace_back(split[i]);
    }
    ::LocalFree(split);
    return arguments;
}

bool IsPendingDeletion(const std::wstring& path)
{
    // The list holds pairs of NT paths, source and target; an empty target
    // means deletion.
    std::vector<std::wstring> entries;
    const std::wstring pending = PendingFileRenames() + L'\0';
    for (size_t at = 0, end = 0; (end = pending.find(L'\0', at)) != std::wstring::npos; at = end + 1) {
        entries.push_back(pending.substr(at, end - at));
    }
    const std::wstring wanted = NormalPath(L"\\??\\" + path);
    for (size_t i = 0; i < entries.size(); i += 2) {
        const bool deletion = i + 1 >= entries.size() || entries[i + 1].empty();
        if (deletion && NormalPath(entries[i]) == wanted) {
            return true;
        }
    }
    return false;
}

void SimulateRestart()
{
    RunToEnd(L"wineboot.exe -r", 120000);
}

bool RemoveThroughProgramsList()
{
    ChildProcess programsList;
    if (!programsList.Start(L"uninstaller.exe --remove \"Pixvane 8\"")) {
        return false;
    }
    while (programsList.Wait(100) == -1) {
        if (const auto box = WaitForMessageBox(100)) {
            PressButton(*box, IDYES);
        }
    }
    const bool ended = WaitForNoProcesses(L"uni", L".tmp", 60000);
    SimulateRestart();
    return ended;
}

std::wstring ProductCallsLog()
{
    const std::string bytes = ReadTextFile(CallsLogPath());
    return std::wstring(bytes.begin(), bytes.end());
}

void ClearProductCallsLog()
{
    ::DeleteFileW(CallsLogPath().c_str());
}

bool FileHolder::Hold(const std::wstring& path)
{
    Release();
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    UniqueFileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) {
        return false;
    }
    // Any long-lived program will do: it inherits the handle and keeps it
    // until it ends, whatever it does meanwhile.
    wchar_t commandLine[] = L"notepad.exe";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    if (!::CreateProcessW(nullptr, commandLine, nullptr, nullptr, TRUE, 0, nullptr, L"C:\\", &startup, &info)) {
        return false;
    }
    UniqueHandle thread(info.hThread);
    m_process.Reset(info.hProcess);
    return true;
}

void FileHolder::Release()
{
    if (m_process) {
        ::TerminateProcess(m_process.Get(), 0);
        ::WaitForSingleObject(m_process.Get(), 5000);
        m_process.Reset();
    }
}
