#include "uninstall/deferred_delete.h"

#include "system/diagnostic_log.h"
#include "uninstall/deferred_delete_text.h"

#include <cstdlib>
#include <string>
#include <vector>

int g_restartPending = 0;
MoveFileExWFn g_pfnMoveFileExW = ::MoveFileExW;

namespace {

constexpr wchar_t kWininitFile[] = L"WININIT.INI";
constexpr wchar_t kWininitSection[] = L"rename";

// A section that would not fit its buffer is a fault of this program, not
// of the system: stop at once rather than write a cut list that the next
// start would carry out.
[[noreturn]] void EndProcessOnRangeCheckFailure()
{
    ::RaiseFailFastException(nullptr, nullptr, 0);
    // Neither call below is reached where fail-fast is implemented in full.
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(STATUS_STACK_BUFFER_OVERRUN));
    std::abort();
}

// The Windows 9x way: a "NUL=" line in the "rename" section deletes the path
// at the next start. Older entries stay in front.
int ScheduleDeletionInWininit(const wchar_t* path)
{
    std::vector<wchar_t> section(kWininitSectionChars, L'\0');
    const DWORD used = ::GetPrivateProfileSectionW(kWininitSection, section.data(),
                                                   static_cast<DWORD>(section.size()), kWininitFile);
    std::wstring block;
    if (!BuildWininitDeletionBlock(std::wstring_view(section.data(), section.size()), used, path, block)) {
        EndProcessOnRangeCheckFailure();
    }
    return DiagResult(::WritePrivateProfileSectionW(kWininitSection, block.c_str(), kWininitFile),
                      L"delete at the restart through WININIT.INI: ", path);
}

}  // namespace

int DeleteAtRestart(const wchar_t* path)
{
    if (const BOOL moved = DiagResult(g_pfnMoveFileExW(path, nullptr, MOVEFILE_DELAY_UNTIL_REBOOT),
                                      L"delete at the restart: ", path)) {
        return moved;
    }
    return ScheduleDeletionInWininit(path);
}

int ReplaceAtRestart(const wchar_t* source, const wchar_t* destination)
{
    int result = DiagResult(g_pfnMoveFileExW(source, destination, MOVEFILE_DELAY_UNTIL_REBOOT),
                            L"at the restart ", source, L" replaces ", destination);
    if (!result) {
        // The old mechanism is given the new copy to delete, not the move over
        // the destination: long-standing behaviour, kept on purpose.
        result = ScheduleDeletionInWininit(source);
    }
    g_restartPending = result;
    return result;
}
