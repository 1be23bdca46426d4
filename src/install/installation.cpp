#include "install/installation.h"

#include "app/globals.h"
#include "app/setup_app.h"
#include "install/deployment.h"
#include "install/install_log_writer.h"
#include "install/install_state.h"
#include "install/install_text.h"
#include "install/registration.h"
#include "install/shortcuts.h"
#include "install/version_checks.h"
#include "licence/licence.h"
#include "system/diagnostic_log.h"
#include "system/file_access.h"
#include "system/handles.h"
#include "system/path_text.h"
#include "system/services.h"
#include "system/user_start.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/setup_dlg.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/install_log_text.h"
#include "uninstall/log_removal.h"

#include <shlobj.h>

ExitWindowsExFn g_pfnExitWindowsEx = ::ExitWindowsEx;

namespace {

std::wstring ProductExePath()
{
    return g_installState.destinationFolder + L"\\" + kProductExe;
}

std::wstring InstalledLogPath()
{
    return g_installState.destinationFolder + L"\\" + kInstallLogName;
}

std::wstring OwnFolder()
{
    wchar_t path[kPathChars] = {};
    ::GetModuleFileNameW(nullptr, path, static_cast<DWORD>(kPathChars));
    const std::wstring own = path;
    const size_t last = own.rfind(L'\\');
    return last == std::wstring::npos ? std::wstring() : own.substr(0, last);
}

const wchar_t* KindName(int kind)
{
    return kind == Portable ? L"portable" : kind == AllUsers ? L"for all users" : L"for the current user";
}

bool IsDamagedPackage()
{
    const InstallState& state = g_installState;
    return state.packageVersion.major == 0 ||
           ::GetFileAttributesW((state.sourceFolder + L"\\" + kInstallLogName).c_str()) == INVALID_FILE_ATTRIBUTES;
}

// Only an interactive run says so and sends the user to the maker's site.
void ReportDamagedPackage()
{
    if (SilentLevel != 0) {
        return;
    }
    ShowMessage(IDS_DAMAGED_PACKAGE, MB_OK | MB_ICONERROR);
    DiagLog(L"open the maker's web site ", kMakerHomePage);
    OpenAddressForUser(kMakerHomePage);  // no browser, no page
}

// The earlier installation gives up only its shortcuts and group, and the
// files the new list retires. Its other files stay where they are: the new
// copies overwrite them, and one the new list no longer names is kept. A
// full removal would hand a loaded library to the restart under its own
// name, and the restart would then delete the new copy written there.
void RemoveEarlierInstallation()
{
    const InstallState& state = g_installState;
    for (const wchar_t* logName : kInstallLogNames) {
        RemoveLoggedLinksAndFolders(state.destinationFolder + L"\\" + logName);
    }
    RemoveLoggedFiles(state.sourceFolder + L"\\" + kInstallLogName, state.destinationFolder, kFileDelPrefix);
}

// The Start-menu group, made level by level; its path, logged even when it
// was already there.
std::wstring MakeGroupFolder(const std::wstring& programsFolder)
{
    const std::vector<std::wstring> chain = GroupFolderChain(programsFolder, CleanGroupName(g_installState.groupName));
    for (const auto& folder : chain) {
        ::CreateDirectoryW(folder.c_str(), nullptr);  // an existing level is fine
    }
    // Only a folder that is there is logged: removal must find what it names.
    if (::GetFileAttributesW(chain.back().c_str()) != INVALID_FILE_ATTRIBUTES) {
        AppendToInstalledLog(kMadeDirPrefix, chain.back());
    }
    return chain.back();
}

void MakeShortcuts()
{
    InstallState& state = g_installState;
    std::wstring programs;
    if (state.kind == AllUsers) {
        programs = GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS);
        if (programs.size() < 4) {
            state.kind = CurrentUser;
        }
    }
    if (state.kind == CurrentUser) {
        programs = GetSpecialFolderPath(CSIDL_PROGRAMS);
    }
    const bool allUsers = state.kind == AllUsers;
    const std::wstring product = ProductExePath();
    const std::wstring pictures = GetSpecialFolderPath(CSIDL_MYPICTURES);
    const std::wstring productLink = LoadResString(IDS_PRODUCT_NAME) + L".lnk";

    const std::wstring group = MakeGroupFolder(programs);
    if (::GetFileAttributesW(group.c_str()) != INVALID_FILE_ATTRIBUTES) {
        CreateShortcut(product, group + L"\\" + productLink, L"", SW_SHOWNORMAL, nullptr, pictures.c_str());
        CreateShortcut(state.destinationFolder + L"\\Pixvn8Man.chm",
                       group + L"\\" + LoadResString(IDS_SHORTCUT_HELP) + L".lnk", L"", SW_SHOWNORMAL, nullptr,
                       nullptr);
    }
    if (state.desktopIcon) {
        const std::wstring desktop = GetSpecialFolderPath(allUsers ? CSIDL_COMMON_DESKTOPDIRECTORY : CSIDL_DESKTOP);
        CreateShortcut(product, desktop + L"\\" + productLink, L"", SW_SHOWNORMAL, nullptr, pictures.c_str());
    }
    if (state.autostart) {
        const std::wstring startup = GetSpecialFolderPath(allUsers ? CSIDL_COMMON_STARTUP : CSIDL_STARTUP);
        CreateShortcut(product, startup + L"\\" + productLink, L"", SW_SHOWNORMAL, nullptr, pictures.c_str());
    }
}

// A file taken from beside the package: the administrator's settings or the
// user's licence, not a file of the package. It is not logged, so removal
// leaves it, and a later installation finds it in place.
bool CopyFromPackageFolder(const std::wstring& name)
{
    const InstallState& state = g_installState;
    if (!CopyOneFile(name, state.packageFolder, state.destinationFolder, nullptr)) {
        DiagLog(L"not beside the package or not copied: ", name);
        return false;
    }
    return true;
}

// Outside the user's session ExitWindowsEx can answer yes and restart
// nothing; there the system's own shutdown call is asked instead.
bool RequestRestart()
{
    if (IsInteractiveSession()) {
        return g_pfnExitWindowsEx(EWX_REBOOT, kRestartReason) != FALSE;
    }
    return g_pfnInitiateShutdownW &&
           g_pfnInitiateShutdownW(nullptr, nullptr, 0, SHUTDOWN_RESTART, kRestartReason) == ERROR_SUCCESS;
}

// Judged on the full path, so that ".." cannot climb out of one unseen.
bool IsInProgramFiles(const std::wstring& folder)
{
    wchar_t full[kPathChars] = {};
    const DWORD length = ::GetFullPathNameW(folder.c_str(), static_cast<DWORD>(kPathChars), full, nullptr);
    if (length == 0 || length >= kPathChars) {
        return false;
    }
    const std::wstring path = ToLowerAscii(full) + L"\\";
    for (const int csidl : {CSIDL_PROGRAM_FILES, CSIDL_PROGRAM_FILESX86}) {
        const std::wstring programFiles = GetSpecialFolderPath(csidl);
        if (programFiles.size() > 3 && StartsWith(path, ToLowerAscii(programFiles) + L"\\")) {
            return true;
        }
    }
    return false;
}

}  // namespace

void ProtectProductFolder()
{
    // Elsewhere the folder would take the access list of the folder above it,
    // which on a drive root or a data drive lets every user replace what the
    // elevated installer and uninstaller later run, load and read. Portable
    // media are the user's own.
    const InstallState& state = g_installState;
    if (state.kind == Portable || IsInProgramFiles(state.destinationFolder)) {
        return;
    }
    for (const auto& folder : FolderChain(state.destinationFolder)) {
        ::CreateDirectoryW(folder.c_str(), nullptr);  // an existing level is fine
    }
    SetFolderAccess(state.destinationFolder, kProductFolderAccess);  // refused: the folder keeps what it has
}

int RunInstallation()
{
    InstallState& state = g_installState;
    const std::vector<std::wstring> args = CSetupApp::CommandLineArguments();

    state.destinationFolder = FindEarlierInstallFolder();
    state.sourceFolder = OwnFolder();
    state.packageFolder = PackageFolder;

    InstallOptions options;
    options.kind = state.kind;
    options.runAfter = state.runAfter;
    options.autostart = state.autostart;
    options.desktopIcon = state.desktopIcon;
    options = ReadInstallOptions(args, options);
    state.kind = options.kind;
    state.runAfter = options.runAfter;
    state.autostart = options.autostart;
    state.desktopIcon = options.desktopIcon;
    DiagLog(L"earlier installation folder: ", state.destinationFolder, L"; source folder: ", state.sourceFolder);
    DiagLog(L"options: ", KindName(state.kind), L", run after ", state.runAfter, L", autostart ", state.autostart,
            L", desktop icon ", state.desktopIcon, L", folder named: ", options.folder);
    if (!options.folder.empty()) {
        state.destinationFolder = options.folder;
    }

    if (state.destinationFolder.empty()) {
        state.destinationFolder = DefaultProgramsFolder() + L"\\" + kProductFolderName;
        state.freshInstall = true;
    }
    state.groupName = kProductName;

    if (!state.freshInstall) {
        if (!CheckVersions()) {
            DiagLog(L"declined at the version question");
            return kExitUserDeclined;
        }
        RecoverEarlierChoices();
    } else {
        state.packageVersion = ReadFileVersion(state.sourceFolder + L"\\" + kProductExe);
    }

    const FileVersion& version = state.packageVersion;
    DiagLog(L"package version ", version.major, L".", version.minor, L".", version.third, L".", version.fourth);
    DiagLog(L"destination ", state.destinationFolder, L", fresh installation ", state.freshInstall);
    if (IsDamagedPackage()) {
        DiagLog(L"damaged package: no product version or no ", kInstallLogName, L" in ", state.sourceFolder);
        ReportDamagedPackage();
        return kExitDamagedPackage;
    }

    if (SilentLevel == 0) {
        if (RunSetupWizard(-1) != IDOK) {
            DiagLog(L"the wizard was cancelled");
            return kExitUserDeclined;
        }
    } else {
        if (state.freshInstall) {
            state.kind = AllUsers;
        }
        const PackageListing listing;
        // Half a product is worse than none: a destination too deep for the
        // package's longest names gets nothing at all.
        if (!DestinationHoldsPackage(state.sourceFolder + L"\\" + kInstallLogName)) {
            DiagLog(L"the destination is too deep for the package's longest names: ", state.destinationFolder);
            return kExitInstallFailed;
        }
        PerformInstall();
        if (SilentLevel == 2) {
            RunSetupWizard(kWizardFinishedOnly);  // the last page only says it is done
        }
    }
    return FinishInstallation();
}

void PerformInstall()
{
    InstallState& state = g_installState;
    const std::wstring packageList = state.sourceFolder + L"\\" + kInstallLogName;
    DiagLog(L"installing into ", state.destinationFolder, L", ", KindName(state.kind), L", group ", state.groupName,
            L", desktop icon ", state.desktopIcon, L", autostart ", state.autostart);
    ProtectProductFolder();
    if (!state.freshInstall) {
        DiagLog(L"step: remove what the earlier installation's logs name");
        RemoveEarlierInstallation();
    }
    DiagLog(L"step: copy what the package list ", packageList, L" names");
    DeployPackage(packageList);
    DiagLog(L"step: the package list becomes the installed log");
    CopyMatchingFiles(kInstallLogName, state.sourceFolder, state.destinationFolder);
    // The list's own last line may lack its line break.
    AppendLineToFile(InstalledLogPath().c_str(), L"");

    if (state.kind != Portable) {
        DiagLog(L"step: shortcuts");
        MakeShortcuts();
        DiagLog(L"step: registry entries");
        RegisterProduct();
    }

    if (!state.packageFolder.empty()) {
        DiagLog(L"step: files beside the package in ", state.packageFolder);
        state.settingsSupplied = CopyFromPackageFolder(L"Pixvn8.ini");
        CopyFromPackageFolder(L"Pixvn8.reg");
        for (const auto& licence : LicenceFilesIn(state.packageFolder)) {
            CopyFromPackageFolder(licence);
        }
    }

    if (state.kind != Portable) {
        DiagLog(L"step: the product registers itself");
        const std::wstring command = L"\"" + ProductExePath() + L"\" -regonly";
        RunAndWait(ProductExePath().c_str(), command.c_str(), nullptr, 0);
    }
}

int FinishInstallation()
{
    const InstallState& state = g_installState;
    ::SetCurrentDirectoryW(state.destinationFolder.c_str());  // only a convenience for what is started next
    bool restartStarted = false;
    if (state.runAfter) {
        if (!g_restartPending) {
            // Not with setup's elevated rights: the product would write its
            // files as administrator and refuse what the user's Explorer drops.
            if (!StartAsShellChild(ProductExePath(), L"", state.destinationFolder.c_str())) {
                RunAndWait(ProductExePath().c_str(), ProductExePath().c_str(), nullptr, 0);
            }
        } else {
            UniqueHandle token;
            if (g_pfnOpenProcessToken &&
                g_pfnOpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put())) {
                SetTokenPrivilege(token.Get(), SE_SHUTDOWN_NAME, true);
            }
            token.Reset();
            // A refused restart is not reported: the replacement then waits for the next one.
            restartStarted = DiagResult(RequestRestart(), L"start the restart of Windows");
        }
    }
    DiagLog(L"a file in use waits for the restart: ", g_restartPending != 0);
    if (::GetFileAttributesW(ProductExePath().c_str()) == INVALID_FILE_ATTRIBUTES) {
        DiagLog(L"no product program in the destination: ", ProductExePath());
        return kExitInstallFailed;
    }
    if (restartStarted) {
        return kExitRestartStarted;
    }
    return g_restartPending ? kExitRestartNeeded : kExitInstalled;
}
