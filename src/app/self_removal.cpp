#include "app/self_removal.h"

#include "app/globals.h"
#include "system/diagnostic_log.h"
#include "system/path_text.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/uninstall_sequence.h"

#include <process.h>

#include <cstdlib>

namespace {
constexpr DWORD kFirstStageExitWaitMs = 1000;
constexpr DWORD kRegsvr32WaitMs = 5000;

std::wstring OwnPath()
{
    wchar_t path[kPathChars] = {};
    ::GetModuleFileNameW(nullptr, path, static_cast<DWORD>(kPathChars));
    return path;
}

// _wexecl joins its arguments with single blanks and adds no quotes.
std::wstring QuotedIfBlank(const std::wstring& path)
{
    return HasBlankOrTab(path) ? L"\"" + path + L"\"" : path;
}

}  // namespace

std::wstring ThumbnailHandlerToUnregister(const std::wstring& installFolder)
{
    // A 64-bit build never runs under emulation, so the second branch is the
    // one taken; the first stays for a 32-bit build of the same code.
    if (IsWow64()) {
        return IsVistaOrLater() ? installFolder + L"x64\\ThumbPvi64.dll" : std::wstring();
    }
    return installFolder + (IsVistaOrLater() ? L"ThumbPvi32.dll" : L"ThumbPviXP32.dll");
}

void RelaunchForSelfRemoval()
{
    wchar_t tempFolder[kPathChars] = {};
    ::GetTempPathW(static_cast<DWORD>(kPathChars), tempFolder);
    wchar_t tempFile[kPathChars] = {};
    ::GetTempFileNameW(tempFolder, L"uni", 0, tempFile);  // failure shows up as a failed exec below

    const std::wstring ownPath = OwnPath();
    ::CopyFileW(ownPath.c_str(), tempFile, FALSE);

    const std::wstring program = QuotedIfBlank(tempFile);
    const std::wstring uninstaller = QuotedIfBlank(ownPath);
    DiagLog(L"handing over to the second stage: ", program, L" -delself ", uninstaller);
    HandDiagnosticLogOn();
    if (SilentLevel != 0) {
        _wexecl(tempFile, program.c_str(), L"-delself", uninstaller.c_str(), L"-s", nullptr);
    } else {
        _wexecl(tempFile, program.c_str(), L"-delself", uninstaller.c_str(), nullptr);
    }
    // Only reached when the copy could not be started: the uninstaller ends
    // having removed nothing.
    DiagLog(L"the second stage could not be started: nothing removed");
}

void RunSelfRemovalCopy(const std::wstring& uninstallerPath)
{
    ::Sleep(kFirstStageExitWaitMs);

    DeleteAtRestart(OwnPath().c_str());

    const std::wstring installFolder = DriveAndFolder(uninstallerPath);
    const std::wstring handler = ThumbnailHandlerToUnregister(installFolder);
    if (handler.size() > 4) {
        const std::wstring command = L"regsvr32.exe /s /u \"" + handler + L"\"";
        RunAndWait(command.c_str(), installFolder.c_str(), kRegsvr32WaitMs);
    }

    // may fail; the file then stays behind
    DiagResult(::DeleteFileW(uninstallerPath.c_str()), L"delete the first stage ", uninstallerPath);

    RunUninstall(installFolder);
    DiagLog(L"removal done, exit code 0");

    if (SilentLevel != 0) {
        std::exit(0);
    }
    ShowMessageText(LoadMessageText(IDS_UNINSTALL_DONE), MB_OK);
    std::exit(0);
}
