#include "uninstall/uninstall_sequence.h"

#include "app/product_names.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/path_text.h"
#include "system/services.h"
#include "system/user_keys.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/log_removal.h"
#include "uninstall/registry_cleanup.h"

#include <shlobj.h>

#include <cwchar>

namespace {


constexpr DWORD kUnregisterWaitMs = 5000;
// Shell-folder values are read into a buffer of this many bytes.
constexpr DWORD kShellFolderValueBytes = 1024;
// Shorter answers than this from the shell are not real folders.
constexpr size_t kMinFolderChars = 4;

constexpr wchar_t kShellFoldersKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

bool PathExists(const std::wstring& path)
{
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Lets the product undo what it registered for itself; a product program
// that is missing or hangs does not hold the removal up.
void UnregisterProduct(const std::wstring& productFolder)
{
    const std::wstring command = L"\"" + productFolder + kProductExe + L"\" -unregonly";
    RunAndWait(command.c_str(), productFolder.c_str(), kUnregisterWaitMs);
}

void RemoveLoggedItems(const std::wstring& productFolder)
{
    // The older installers' log first, in both passes, as the installer reads them too.
    const std::wstring oldLog = productFolder + L"install.log";
    const std::wstring log = productFolder + L"PxvUnInst.log";
    RemoveLoggedLinksAndFolders(oldLog);
    RemoveLoggedLinksAndFolders(log);
    RemoveLoggedFiles(oldLog, productFolder, nullptr);
    RemoveLoggedFiles(log, productFolder, nullptr);
    // The log is read up to here, so it goes last.
    DeleteMatchingFiles(productFolder, L"PxvUnInst.log");
}

// The product folder and its two platform folders. The product folder ends in
// a backslash, so the subfolder paths carry a doubled one, which the file
// system reads as a single separator.
void RemoveProductFolders(const std::wstring& productFolder)
{
    const std::wstring x64Folder = productFolder + L"\\x64";
    if (!DiagResult(::RemoveDirectoryW(x64Folder.c_str()), L"remove folder ", x64Folder)) {
        DeleteAtRestart(x64Folder.c_str());  // registered even when it does not exist
    }

    const std::wstring x32Folder = productFolder + L"\\x32";
    if (!DiagResult(::RemoveDirectoryW(x32Folder.c_str()), L"remove folder ", x32Folder) && PathExists(x32Folder)) {
        DeleteAtRestart(x32Folder.c_str());
    }

    // Whether the product folder waits for the restart is decided by the x32
    // folder, not by the product folder itself: without a surviving x32
    // folder a product folder that still holds something is left in place.
    if (!DiagResult(::RemoveDirectoryW(productFolder.c_str()), L"remove folder ", productFolder) &&
        PathExists(x32Folder)) {
        DeleteAtRestart(productFolder.c_str());
    }

    // A nested default folder also leaves its maker folder behind.
    if (std::wcschr(kProductFolderName, L'\\')) {
        std::wstring folder = productFolder;
        while (!folder.empty() && folder.back() == L'\\') {
            folder.pop_back();
        }
        const std::wstring parent = ParentFolder(folder);
        if (!::RemoveDirectoryW(parent.c_str())) {
            DeleteAtRestart(parent.c_str());
        }
    }
}

// Product shortcuts in one set of folders: startup and desktop by name, the
// programs folder's group "Pixvane 8" with everything in it. Shortcuts are
// never left to the restart.
void RemoveProductShortcuts(const std::wstring& startup, const std::wstring& desktop, const std::wstring& programs)
{
    if (!startup.empty()) {
        DiagResult(::DeleteFileW((startup + L"\\" + kProductShortcut).c_str()), L"delete shortcut in ", startup);
    }
    if (!desktop.empty()) {
        DiagResult(::DeleteFileW((desktop + L"\\" + kProductShortcut).c_str()), L"delete shortcut in ", desktop);
    }
    if (!programs.empty()) {
        const std::wstring group = programs + L"\\" + kProductName + L"\\";
        DeleteMatchingFiles(group, L"*.*");
        DiagResult(::RemoveDirectoryW(group.c_str()), L"remove folder ", group);  // stays when something else is in it
    }
}

// A common folder, or empty when the shell has no real one.
std::wstring CommonFolder(int csidl)
{
    std::wstring folder = GetSpecialFolderPath(csidl);
    return folder.size() > kMinFolderChars ? folder : std::wstring();
}

void RemoveCommonShortcuts()
{
    RemoveProductShortcuts(CommonFolder(CSIDL_COMMON_STARTUP), CommonFolder(CSIDL_COMMON_DESKTOPDIRECTORY),
                           CommonFolder(CSIDL_COMMON_PROGRAMS));
}

// One "Shell Folders" value; empty when it is missing or unreadable.
std::wstring ReadShellFolder(HKEY shellFolders, const wchar_t* name)
{
    // One spare character keeps a value that fills the whole buffer terminated.
    wchar_t value[kShellFolderValueBytes / sizeof(wchar_t) + 1] = {};
    DWORD size = kShellFolderValueBytes;
    if (::RegQueryValueExW(shellFolders, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    return value;
}

// Every user known under HKU, logged on or loaded, with the folders that
// user's own Explorer settings name.
void RemoveEveryUsersShortcuts()
{
    ForEachUserKey(KEY_READ, [](HKEY user) {
        UniqueRegKey shellFolders;
        if (::RegOpenKeyExW(user, kShellFoldersKey, 0, KEY_READ, shellFolders.Put()) != ERROR_SUCCESS) {
            return;
        }
        RemoveProductShortcuts(ReadShellFolder(shellFolders.Get(), L"Startup"),
                               ReadShellFolder(shellFolders.Get(), L"Desktop"),
                               ReadShellFolder(shellFolders.Get(), L"Programs"));
    });
}

}  // namespace

void RunUninstall(const std::wstring& productFolder)
{
    DiagLog(L"removing the product from ", productFolder);
    UnregisterProduct(productFolder);
    RemoveRegistration(kMakerName, kProductName, kUninstallKeyName, kProductExe);
    RestoreFileAssociations();
    RemoveLoggedItems(productFolder);

    // Our current folder would keep the product folder from being removed.
    ::SetCurrentDirectoryW(L"\\");
    RemoveProductFolders(productFolder);

    RemoveCommonShortcuts();
    RemoveEveryUsersShortcuts();
}
