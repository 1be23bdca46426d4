// The demo: the real setup.exe of two sample packages and the real
// PxvUnInst.exe at work in a throwaway Wine prefix, driven and watched the
// way a user, a deployment tool and a support engineer would, every step
// printed.
#include "install/version_checks.h"
#include "support/machine_snapshot.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/services.h"

#include <shlobj.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr DWORD kBoxWaitMs = 20000;
constexpr DWORD kRunWaitMs = 120000;
const std::wstring kProductFolder = L"C:\\Program Files\\Pixvane 8";
const std::wstring kUninstallKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
const std::wstring kProductKey = L"SOFTWARE\\Quorvex\\Pixvane 8";

std::string Printable(const std::wstring& text)
{
    std::string out;
    for (wchar_t c : text) {
        if (c == L'\n') {
            out += "\n      ";
        } else if (c != L'\r') {
            out += (c < 128) ? static_cast<char>(c) : '?';
        }
    }
    return out;
}

void Say(const std::wstring& text)
{
    std::printf("%s\n", Printable(text).c_str());
    std::fflush(stdout);
}

void Heading(const std::wstring& text)
{
    Say(L"");
    Say(L"== " + text);
}

std::wstring Widen(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

void ListFolder(const std::wstring& folder, const std::wstring& indent)
{
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
    if (!search) {
        return;
    }
    do {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") {
            continue;
        }
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            Say(indent + name + L"\\");
            ListFolder(folder + L"\\" + name, indent + L"  ");
        } else {
            Say(indent + name);
        }
    } while (::FindNextFileW(search.Get(), &found));
}

// Runs a program to its end and returns what it printed.
std::wstring OutputOf(const std::wstring& commandLine)
{
    const std::wstring file = MakeScratchFolder(L"demo-output") + L"\\out.txt";
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    UniqueFileHandle output(::CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    startup.hStdError = output.Get();
    PROCESS_INFORMATION process = {};
    std::wstring writable = commandLine;
    if (::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        ::WaitForSingleObject(process.hProcess, kRunWaitMs);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    output.Reset();
    return Widen(ReadTextFile(file));
}

std::wstring VersionOf(const std::wstring& path)
{
    const FileVersion v = ReadFileVersion(path);
    return std::to_wstring(v.major) + L"." + std::to_wstring(v.minor) + L"." + std::to_wstring(v.third) + L"." +
           std::to_wstring(v.fourth);
}

void ShowWhatWasMade()
{
    Say(L"   product folder " + kProductFolder + L" (Pixvn8.exe " + VersionOf(kProductFolder + L"\\Pixvn8.exe") +
        L"):");
    ListFolder(kProductFolder, L"     ");
    const std::wstring group = GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS) + L"\\Pixvane 8";
    Say(L"   Start-menu group " + group + L":");
    ListFolder(group, L"     ");
    Say(L"   desktop: " + std::wstring(FileExists(GetSpecialFolderPath(CSIDL_COMMON_DESKTOPDIRECTORY) +
                                                   L"\\Pixvane 8.lnk")
                                            ? L"Pixvane 8.lnk"
                                            : L"(no shortcut)"));
    Say(L"   wine uninstaller --list: " + OutputOf(L"uninstaller.exe --list"));
    for (const wchar_t* name : {L"DisplayName", L"DisplayVersion", L"UninstallString"}) {
        Say(L"   HKLM\\" + kUninstallKey + L" " + name + L" = " + GetRegString(HKEY_LOCAL_MACHINE, kUninstallKey, name));
    }
    for (const wchar_t* name : {L"Path", L"AllUsers"}) {
        Say(L"   HKLM\\" + kProductKey + L" " + name + L" = " + GetRegString(HKEY_LOCAL_MACHINE, kProductKey, name));
    }
    Say(L"   the product completed its registration: " + ProductCallsLog());
}

// The product double's record of the window messages it was sent.
std::wstring ProductMessages()
{
    return Widen(ReadTextFile(L"C:\\ProgramData\\Pixvn8Double\\messages.log"));
}

}  // namespace

int main()
{
    const std::wstring older = BuildPath(L"sample-versions\\8.1.2.3\\setup.exe");
    const std::wstring current = PackagePath(L"setup.exe");
    SimulateRestart();
    ClearProductCallsLog();
    // Windows has this key, which registration writes into and removal
    // leaves; a fresh Wine prefix lacks it.
    UniqueRegKey applications;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", 0, nullptr, 0, KEY_READ, nullptr,
                      applications.Put(), nullptr);
    const MachineSnapshot before = TakeMachineSnapshot();

    Heading(L"The older package, 8.1.2.3, as its self-extracting package unpacks it");
    ListFolder(BuildPath(L"sample-versions\\8.1.2.3"), L"   ");

    Heading(L"A deployment tool installs it: setup.exe -s");
    Say(L"   exit code " + std::to_wstring(RunToEnd(Quoted(older) + L" -s", kRunWaitMs)));
    WaitUntil([] { return !ProductCallsLog().empty(); }, 10000);
    ShowWhatWasMade();

    Heading(L"Upgrade to " + VersionOf(PackagePath(L"Pixvn8.exe")) +
            L" with setup.exe -s while Pixvane runs and its help file is open");
    ChildProcess running;
    running.Start(Quoted(kProductFolder + L"\\Pixvn8.exe"));
    WaitUntil([] { return ::FindWindowW(nullptr, L"Pixvane 8 - untitled") != nullptr; }, 15000);
    Say(L"   Pixvane is running (window \"Pixvane 8 - untitled\")");
    FileHolder reader;
    reader.Hold(kProductFolder + L"\\Pixvn8Man.chm");
    Say(L"   another program holds Pixvn8Man.chm open");
    ClearProductCallsLog();
    ChildProcess upgrade;
    upgrade.Start(Quoted(current) + L" -s");
    if (auto box = AnswerMessageBox(IDYES, kBoxWaitMs, upgrade.Id())) {
        Say(L"   the one window a lone \"-s\" can show: " + box->text);
        Say(L"   answered: Yes");
    }
    Say(L"   exit code " + std::to_wstring(upgrade.Wait(kRunWaitMs)) + L" (3010: a restart completes it)");
    Say(L"   what Pixvane heard: " + ProductMessages());
    Say(std::wstring(L"   Pixvane still running: ") + (running.IsRunning() ? L"yes" : L"no"));
    Say(L"   Pixvn8.exe is now " + VersionOf(kProductFolder + L"\\Pixvn8.exe") + L"; PvCapHlp.dll of 8.1.2.3 " +
        (FileExists(kProductFolder + L"\\PvCapHlp.dll") ? L"still there" : L"deleted (\"File Del: \")"));
    Say(L"   Pixvn8Man.chm says: " + Widen(ReadTextFile(kProductFolder + L"\\Pixvn8Man.chm")));
    Say(L"   Pixvn8Man.chm.new says: " + Widen(ReadTextFile(kProductFolder + L"\\Pixvn8Man.chm.new")));
    std::wstring pending = PendingFileRenames();
    for (auto& c : pending) {
        c = c == L'\0' ? L'\n' : c;
    }
    Say(L"   waiting for the restart (pairs of source and target, an empty target deletes):\n" + pending);

    Heading(L"The help file is closed and Windows restarts (wineboot -r)");
    reader.Release();
    SimulateRestart();
    Say(L"   Pixvn8Man.chm says: " + Widen(ReadTextFile(kProductFolder + L"\\Pixvn8Man.chm")));
    Say(std::wstring(L"   Pixvn8Man.chm.new: ") +
        (FileExists(kProductFolder + L"\\Pixvn8Man.chm.new") ? L"still there" : L"gone"));
    ShowWhatWasMade();

    Heading(L"Removing Pixvane 8 from the list of installed programs (wine uninstaller --remove)");
    {
        ClearProductCallsLog();
        ChildProcess list;
        list.Start(L"uninstaller.exe --remove \"Pixvane 8\"");
        if (auto box = AnswerMessageBox(IDYES, kBoxWaitMs)) {
            Say(L"   PxvUnInst.exe asks: " + box->text);
            Say(L"   answered: Yes");
        }
        std::wstring secondStage;
        const bool ended = WaitForSecondStage(kRunWaitMs, &secondStage);
        list.Wait(kRunWaitMs);
        Say(L"   second stage: " + secondStage + (ended ? L" (ended)" : L" (still running!)"));
        Say(L"   the product was run for its own clean-up: " + ProductCallsLog());
    }
    Heading(L"The next restart, then what is left of it all");
    SimulateRestart();
    const auto changes = SnapshotChanges(before, TakeMachineSnapshot());
    Say(L"   files, folders, registry keys and values changed since the start: " + std::to_wstring(changes.size()));
    for (const auto& change : changes) {
        Say(L"     " + change);
    }
    Say(L"   wine uninstaller --list: " + OutputOf(L"uninstaller.exe --list"));

    Heading(L"Demo finished");
    return changes.empty() ? 0 : 1;
}
