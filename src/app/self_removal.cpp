#include "app/self_removal.h"

#include "app/globals.h"
#include "system/diagnostic_log.h"
#include "system/file_access.h"
#include "system/path_text.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/uninstall_sequence.h"

#include <process.h>

#include <cstdlib>
#include <vector>

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

UniqueFileHandle MakeSecondStageCopy(const std::wstring& program, const std::wstring& folder, std::wstring& copyPath)
{
    copyPath.clear();
    // The system's own naming, but the file is made here: it must never exist
    // with the temporary folder's access list, not even for a moment.
    UniqueFileHandle written;
    wchar_t name[kPathChars] = {};
    const UINT first = ::GetTickCount();
    for (UINT tried = 0; tried < 0x10000 && !written; ++tried) {
        const UINT unique = (first + tried) & 0xFFFF;
        if (unique == 0 || !::GetTempFileNameW(folder.c_str(), L"uni", unique, name)) {
            continue;
        }
        written = CreateNewFileWithAccess(name, kSecondStageAccess);
        if (!written && ::GetLastError() != ERROR_FILE_EXISTS) {
            return UniqueFileHandle();
        }
    }
    if (!written) {
        return UniqueFileHandle();
    }
    // A copy that could not be completed is taken back: a half-written
    // program is never left, let alone started.
    const auto discard = [&] {
        written.Reset();
        ::DeleteFileW(name);
        return UniqueFileHandle();
    };
    UniqueFileHandle source(::CreateFileW(program.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!source) {
        return discard();
    }
    std::vector<char> buffer(1 << 16);
    DWORD read = 0;
    DWORD wrote = 0;
    while (::ReadFile(source.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr) && read > 0) {
        if (!::WriteFile(written.Get(), buffer.data(), read, &wrote, nullptr) || wrote != read) {
            return discard();
        }
    }
    // Read access only, so that the system can start it; while either handle
    // is open nobody can rename or delete the file, and the access list keeps
    // others from writing it.
    UniqueFileHandle held(::CreateFileW(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    if (held) {
        copyPath = name;
    }
    return held;
}

void RelaunchForSelfRemoval()
{
    wchar_t tempFolder[kPathChars] = {};
    ::GetTempPathW(static_cast<DWORD>(kPathChars), tempFolder);
    const std::wstring ownPath = OwnPath();
    std::wstring tempFile;
    // Held until the process is replaced; a failure shows up as a failed exec below.
    UniqueFileHandle copy = MakeSecondStageCopy(ownPath, tempFolder, tempFile);

    const std::wstring program = QuotedIfBlank(tempFile);
    const std::wstring uninstaller = QuotedIfBlank(ownPath);
    DiagLog(L"handing over to the second stage: ", program, L" -delself ", uninstaller);
    HandDiagnosticLogOn();
    if (SilentLevel != 0) {
        _wexecl(tempFile.c_str(), program.c_str(), L"-delself", uninstaller.c_str(), L"-s", nullptr);
    } else {
        _wexecl(tempFile.c_str(), program.c_str(), L"-delself", uninstaller.c_str(), nullptr);
    }
    // Only reached when the copy could not be started: the uninstaller ends
    // having removed nothing, and takes back the copy it may have left.
    DiagLog(L"the second stage could not be started: nothing removed");
    copy.Reset();
    if (!tempFile.empty()) {
        ::DeleteFileW(tempFile.c_str());
    }
}

void RunSelfRemovalCopy(const std::wstring& uninstallerPath)
{
    ::Sleep(kFirstStageExitWaitMs);

    DeleteAtRestart(OwnPath().c_str());

    const std::wstring installFolder = DriveAndFolder(uninstallerPath);
    const std::wstring handler = ThumbnailHandlerToUnregister(installFolder);
    if (handler.size() > 4) {
        const std::wstring command = L"regsvr32.exe /s /u \"" + handler + L"\"";
        const std::wstring regsvr32 = SystemProgramPath(L"regsvr32.exe");
        RunAndWait(regsvr32.c_str(), command.c_str(), installFolder.c_str(), kRegsvr32WaitMs);
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
