#include "install/version_checks.h"

#include "app/globals.h"
#include "install/install_text.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/services.h"
#include "uninstall/install_log.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <shlobj.h>

#include <vector>

namespace {

constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8";
constexpr wchar_t kAppPathKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe";
// The machine's class, not HKCR: there a key the user made in his own
// classes would name the folder where the elevated installer reads a log and
// deletes what it says.
constexpr wchar_t kLicenceCommandKey[] = L"SOFTWARE\\Classes\\Pixvane8.License\\shell\\open\\command";

// version.dll is not one of the libraries Windows always takes from the
// system folder. Imported by name, it would be loaded before any of our code
// runs from wherever this program was started: a download folder, or the
// temporary folder the uninstaller's second stage runs from, elevated. So it
// is loaded by its full path in the system folder, and only when needed.
struct VersionLibrary {
    decltype(&::GetFileVersionInfoSizeW) infoSize = nullptr;
    decltype(&::GetFileVersionInfoW) info = nullptr;
    decltype(&::VerQueryValueW) query = nullptr;

    static const VersionLibrary& Get()
    {
        static const VersionLibrary library;
        return library;
    }

private:
    VersionLibrary()
    {
        const std::wstring library = SystemProgramPath(L"version.dll");
        // Kept loaded for the rest of the process, like a linked library.
        HMODULE module = library.empty() ? nullptr : ::LoadLibraryW(library.c_str());
        if (!module) {
            return;
        }
        infoSize = Proc<decltype(infoSize)>(module, "GetFileVersionInfoSizeW");
        info = Proc<decltype(info)>(module, "GetFileVersionInfoW");
        query = Proc<decltype(query)>(module, "VerQueryValueW");
    }

    template <typename Fn>
    static Fn Proc(HMODULE module, const char* name)
    {
        // GetProcAddress returns a generic FARPROC; the types above are the documented signatures.
        return reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    }
};

std::wstring DropTrailingBackslash(std::wstring folder)
{
    if (!folder.empty() && folder.back() == L'\\') {
        folder.pop_back();
    }
    return folder;
}

// The "Shell Link: " paths of the earlier installation's log: "PxvUnInst.log",
// or "install.log" when that cannot be opened.
std::vector<std::wstring> EarlierShellLinks(const std::wstring& folder)
{
    InstallLogReader log(folder + L"\\" + kInstallLogName);
    if (!log.IsOpen()) {
        log = InstallLogReader(folder + L"\\install.log");
    }
    std::vector<std::wstring> links;
    std::wstring line;
    std::wstring_view rest;
    while (log.ReadLine(line)) {
        if (MatchLogPrefix(line, kShellLinkPrefix, rest)) {
            links.push_back(DecodeLoggedPath(rest));
        }
    }
    return links;
}

// Makes, opens, closes and deletes a scratch file: the outcome is not used.
void ProbeWriting(const std::wstring& folder)
{
    wchar_t name[kPathChars] = {};
    if (!::GetTempFileNameW(folder.c_str(), L"h5t", 0, name)) {
        return;
    }
    UniqueFileHandle file(::CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    file.Reset();
    ::DeleteFileW(name);  // a probe that cannot be removed is not worth a report
}

bool ProductShortcutIn(const std::wstring& folder)
{
    return ::GetFileAttributesW((folder + L"\\" + kProductShortcut).c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

std::wstring FindEarlierInstallFolder()
{
    std::wstring folder = ReadRegString(HKEY_LOCAL_MACHINE, kProductKey, L"Path");
    if (folder.empty()) {
        folder = FolderBeforeProductExe(ReadRegString(HKEY_LOCAL_MACHINE, kAppPathKey, nullptr), false);
    }
    if (folder.empty()) {
        const std::wstring command = ReadRegString(HKEY_LOCAL_MACHINE, kLicenceCommandKey, nullptr);
        if (!command.empty()) {
            folder = FolderBeforeProductExe(command, true);
        }
    }
    return DropTrailingBackslash(folder);
}

std::wstring DefaultProgramsFolder()
{
    std::wstring folder = ReadRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                                        L"ProgramFilesDir");
    if (folder.empty()) {
        wchar_t windows[kPathChars] = {};
        ::GetWindowsDirectoryW(windows, static_cast<UINT>(kPathChars));
        const std::wstring windowsFolder = windows;
        const size_t root = windowsFolder.find(L'\\');
        folder = (root == std::wstring::npos ? windowsFolder : windowsFolder.substr(0, root + 1)) + L"Program Files";
    }
    return DropTrailingBackslash(folder);
}

FileVersion ReadFileVersion(const std::wstring& path)
{
    FileVersion version;
    const VersionLibrary& library = VersionLibrary::Get();
    if (!library.infoSize || !library.info || !library.query) {
        return version;
    }
    DWORD ignored = 0;
    const DWORD size = library.infoSize(path.c_str(), &ignored);
    if (size == 0) {
        return version;
    }
    std::vector<BYTE> data(size);
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT fixedSize = 0;
    if (!library.info(path.c_str(), 0, size, data.data()) ||
        !library.query(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &fixedSize) || !fixed ||
        fixedSize < sizeof(VS_FIXEDFILEINFO)) {
        return version;
    }
    version.major = HIWORD(fixed->dwFileVersionMS);
    version.minor = LOWORD(fixed->dwFileVersionMS);
    version.third = HIWORD(fixed->dwFileVersionLS);
    version.fourth = LOWORD(fixed->dwFileVersionLS);
    return version;
}

bool CheckVersions()
{
    InstallState& state = g_installState;
    state.installedVersion = ReadFileVersion(state.destinationFolder + L"\\" + kProductExe);
    state.packageVersion = ReadFileVersion(state.sourceFolder + L"\\" + kProductExe);
    DiagLog(L"installed version ", state.installedVersion.major, L".", state.installedVersion.minor, L".",
            state.installedVersion.third, L".", state.installedVersion.fourth);
    const FileVersion& installed = state.installedVersion;
    const FileVersion& package = state.packageVersion;
    const uint32_t installedNumber = VersionNumber(installed);
    const uint32_t packageNumber = VersionNumber(package);
    if (SilentLevel == 0 && packageNumber <= installedNumber) {
        const std::wstring question =
            packageNumber < installedNumber
                ? FormatMessageText(IDS_OLDER_PACKAGE, installed.major, installed.minor, installed.third,
                                    installed.fourth, package.major, package.minor, package.third, package.fourth)
                : FormatMessageText(IDS_SAME_VERSION, installed.major, installed.minor, installed.third,
                                    installed.fourth);
        return ShowMessageText(question, MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) == IDYES;
    }
    state.upgrade = true;
    return true;
}

bool EarlierInstallWasForAllUsers()
{
    return ReadRegString(HKEY_LOCAL_MACHINE, kProductKey, L"AllUsers") == L"B";
}

void RecoverEarlierChoices()
{
    InstallState& state = g_installState;
    if (state.kind != Portable) {
        state.kind = EarlierInstallWasForAllUsers() ? AllUsers : CurrentUser;
    }

    const bool allUsers = state.kind == AllUsers;
    const std::wstring programsRoot =
        GetSpecialFolderPath(allUsers ? CSIDL_COMMON_PROGRAMS : CSIDL_PROGRAMS);
    const std::wstring startup = GetSpecialFolderPath(allUsers ? CSIDL_COMMON_STARTUP : CSIDL_STARTUP);
    if (auto group = GroupFromShellLinks(EarlierShellLinks(state.destinationFolder), programsRoot, startup)) {
        state.groupName = *group;
    }

    // Whether the product started with Windows, for anyone or for this user.
    bool autostart = false;
    const std::wstring commonStartup = GetSpecialFolderPath(CSIDL_COMMON_STARTUP);
    if (commonStartup.size() > 4) {
        ProbeWriting(commonStartup);
        autostart = ProductShortcutIn(commonStartup);
    }
    const std::wstring userStartup = GetSpecialFolderPath(CSIDL_STARTUP);
    if (userStartup.size() >= 5) {
        autostart = autostart || ProductShortcutIn(userStartup);
    }
    state.autostart = autostart;
}
