#include "app/running_instances.h"

#include "app/instance_manager.h"
#include "app/product_names.h"
#include "system/diagnostic_log.h"
#include "system/path_text.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <algorithm>

// Joined before InitInstance runs, so that setup is always one of the
// instances it counts, and left again at process end.
COXInstanceManager g_instanceManager(kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, true);

namespace {

// Tells the product that setup is closing it, not the user.
constexpr WPARAM kCloseFromSetup = 1001;
// All the time an instance gets to go by itself; the question warns that
// unsaved work is lost.
constexpr DWORD kCloseGraceMs = 10;

// Message 33 for one other instance, message 4 with the number for more.
std::wstring InstanceQuestion(int others)
{
    return others == 1 ? LoadMessageText(IDS_INSTANCE_OPEN_ONE) : FormatMessageText(IDS_INSTANCES_OPEN_MANY, others);
}

// The file name of a process's program, lower-cased; empty when unknown.
std::wstring ProgramNameOf(HANDLE process)
{
    wchar_t path[kPathChars] = {};
    DWORD chars = static_cast<DWORD>(kPathChars);
    if (!::QueryFullProcessImageNameW(process, 0, path, &chars)) {
        return {};
    }
    const std::wstring_view full(path, chars);
    return ToLowerAscii(full.substr(full.find_last_of(L"\\/") + 1));
}

// Whether the process runs the product or this program (any copy of it,
// under whatever name it was started).
bool IsMemberProgram(HANDLE process)
{
    const std::wstring name = ProgramNameOf(process);
    return !name.empty() && (name == ToLowerAscii(kProductExe) || name == ProgramNameOf(::GetCurrentProcess()));
}

// Asks each of the first `others` members but this process to close, then
// ends it. Only the first positions are looked at: when this process stands
// among them, the last other member is left running.
void CloseInstances(int others)
{
    std::vector<uint32_t> members;
    if (!g_instanceManager.GetInstanceList(members)) {
        return;
    }
    const DWORD self = ::GetCurrentProcessId();
    // The list may have shrunk since it was counted; only what is there is closed.
    const size_t positions = std::min(static_cast<size_t>(others), members.size());
    for (size_t position = 0; position < positions; ++position) {
        const DWORD member = members[position];
        if (member == self) {
            continue;
        }
        // A dead member has no window: the post then lands in our own queue,
        // harmlessly.
        const HWND window = COXInstanceManager::FindInstanceWindow(member);
        DiagResult(::PostMessageW(window, WM_CLOSE, kCloseFromSetup, 0), L"ask running copy ", member, L" to close");
        ::Sleep(kCloseGraceMs);
        UniqueHandle process(::OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, member));
        // The identifier of a member that died without leaving may since have
        // gone to an unrelated program: only a proven member is ended.
        if (process && (window || IsMemberProgram(process.Get()))) {
            // already gone is as good as ended
            DiagResult(::TerminateProcess(process.Get(), 0), L"end running copy ", member);
        }
    }
}

}  // namespace

bool CloseOtherInstances(SetupMode mode, const std::vector<std::wstring>& args)
{
    const int others = static_cast<int>(g_instanceManager.GetInstanceCount()) - 1;
    DiagLog(L"other running copies: ", others);
    if (others <= 0) {
        return true;
    }
    // The question does not look at SilentLevel: "/s" or "-s" from the second
    // argument on is what keeps it away, so "setup.exe -s" still asks.
    if (mode == SetupMode::Install && !SkipsInstanceQuestion(args)) {
        if (ShowMessageText(InstanceQuestion(others), kQuestionBox) != IDYES) {
            ShowMessage(IDS_SETUP_ABORTED_INSTANCES, MB_OK | MB_ICONINFORMATION);
            return false;
        }
    }
    CloseInstances(others);
    return true;
}
