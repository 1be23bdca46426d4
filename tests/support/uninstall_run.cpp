#include "support/uninstall_run.h"

#include "support/message_boxes.h"
#include "support/test_env.h"
#include "system/path_text.h"
#include "system/services.h"

#include <shellapi.h>
#include <shlobj.h>
#include <winternl.h>

namespace {

std::wstring CallsLogPath()
{
    return GetSpecialFolderPath(CSIDL_COMMON_APPDATA) + L"\\Pixvn8Double\\calls.log";
}

}  // namespace

bool WaitForSecondStage(DWORD timeoutMs, std::wstring* commandLine)
{
    const ULONGLONG start = ::GetTickCount64();
    std::vector<DWORD> stages;
    if (!WaitUntil([&] { return !(stages = FindProcesses(L"uni", L".tmp")).empty(); }, timeoutMs)) {
        return false;
    }
    if (commandLine) {
        // The stage waits a second before it starts working: time enough to
        // find its parameters in place.
        WaitUntil([&] { return !(*commandLine = CommandLineOf(stages.front())).empty(); }, 500);
    }
    const DWORD spent = static_cast<DWORD>(::GetTickCount64() - start);
    return WaitUntil([] { return FindProcesses(L"uni", L".tmp").empty(); }, timeoutMs > spent ? timeoutMs - spent : 0);
}

std::wstring CommandLineOf(DWORD processId)
{
    UniqueHandle process(::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    using QueryFn = NTSTATUS(NTAPI*)(HANDLE, PROCESSINFOCLASS, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<QueryFn>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess")));
    const auto read = [&](const void* address, void* into, SIZE_T bytes) {
        SIZE_T done = 0;
        return ::ReadProcessMemory(process.Get(), address, into, bytes, &done) && done == bytes;
    };
    PROCESS_BASIC_INFORMATION basic = {};
    PEB peb = {};
    RTL_USER_PROCESS_PARAMETERS parameters = {};
    std::wstring text;
    if (process && query(process.Get(), ProcessBasicInformation, &basic, sizeof(basic), nullptr) == 0 &&
        read(basic.PebBaseAddress, &peb, sizeof(peb)) && read(peb.ProcessParameters, &parameters, sizeof(parameters))) {
        text.resize(parameters.CommandLine.Length / sizeof(wchar_t));
        if (!read(parameters.CommandLine.Buffer, text.data(), parameters.CommandLine.Length)) {
            text.clear();
        }
    }
    return text;
}

std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine)
{
    int count = 0;
    LPWSTR* split = ::CommandLineToArgvW(commandLine.c_str(), &count);
    std::vector<std::wstring> arguments(split, split + (split ? count : 0));
    ::LocalFree(split);
    return arguments;
}

bool IsPendingDeletion(const std::wstring& path)
{
    // Lower case, single separators, no trailing one.
    const auto normal = [](const std::wstring& text) {
        std::wstring folded;
        for (wchar_t c : text) {
            if (c != L'\\' || folded.empty() || folded.back() != L'\\') {
                folded += FoldAscii(c);
            }
        }
        return folded.ends_with(L'\\') ? folded.substr(0, folded.size() - 1) : folded;
    };
    // Pairs of NT paths, source and target; an empty target means deletion.
    std::vector<std::wstring> entries;
    const std::wstring pending = PendingFileRenames() + L'\0';
    for (size_t at = 0, end = 0; (end = pending.find(L'\0', at)) != std::wstring::npos; at = end + 1) {
        entries.push_back(pending.substr(at, end - at));
    }
    for (size_t i = 0; i < entries.size(); i += 2) {
        if ((i + 1 >= entries.size() || entries[i + 1].empty()) && normal(entries[i]) == normal(L"\\??\\" + path)) {
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
        AnswerMessageBox(IDYES, 100);
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
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    UniqueFileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    // Any long-lived program will do: it inherits the handle and keeps it
    // until it ends, whatever it does meanwhile.
    return file && m_holder.Start(L"notepad.exe", L"C:\\", true);
}
