#include "support/message_boxes.h"

#include "support/test_env.h"

namespace {

constexpr int kMessageTextControl = 0xFFFF;  // the static that holds a message box's text
constexpr int kMessageIconControl = 0x0440;
constexpr int kWizardSidePicture = 1002;

struct Search {
    DWORD processId;
    HWND found;
};

BOOL CALLBACK FindSetupBox(HWND window, LPARAM param)
{
    auto* search = reinterpret_cast<Search*>(param);
    wchar_t className[64] = {};
    wchar_t caption[64] = {};
    ::GetClassNameW(window, className, 64);
    ::GetWindowTextW(window, caption, 64);
    // The wizard frame shares the caption; its side picture tells it apart.
    if (std::wstring(className) != L"#32770" || std::wstring(caption) != L"Pixvane Setup" ||
        !::IsWindowVisible(window) || ::GetDlgItem(window, kWizardSidePicture)) {
        return TRUE;
    }
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (search->processId != 0 && owner != search->processId) {
        return TRUE;
    }
    search->found = window;
    return FALSE;
}

// Whether the box shows an icon. Which icon cannot be told from another
// process under Wine: each process loads its own copy and, without a
// display, icons have no pixels to compare.
bool HasIcon(HWND box)
{
    HWND icon = ::GetDlgItem(box, kMessageIconControl);
    return icon && ::IsWindowVisible(icon) && ::SendMessageW(icon, STM_GETICON, 0, 0) != 0;
}

// The button drawn as the default one.
int DefaultButtonOf(HWND box)
{
    for (int id : {IDOK, IDCANCEL, IDABORT, IDRETRY, IDIGNORE, IDYES, IDNO}) {
        HWND button = ::GetDlgItem(box, id);
        if (button && (::GetWindowLongW(button, GWL_STYLE) & 0x0F) == BS_DEFPUSHBUTTON) {
            return id;
        }
    }
    return 0;
}

}  // namespace

std::optional<SeenMessageBox> WaitForMessageBox(DWORD timeoutMs, DWORD processId)
{
    Search search{processId, nullptr};
    const bool seen = WaitUntil(
        [&] {
            ::EnumWindows(FindSetupBox, reinterpret_cast<LPARAM>(&search));
            return search.found != nullptr;
        },
        timeoutMs);
    if (!seen) {
        return std::nullopt;
    }
    SeenMessageBox box;
    box.window = search.found;
    ::GetWindowThreadProcessId(box.window, &box.processId);
    wchar_t text[2048] = {};
    ::GetDlgItemTextW(box.window, kMessageTextControl, text, 2048);
    box.text = text;
    box.hasOk = ::GetDlgItem(box.window, IDOK) != nullptr;
    box.hasYes = ::GetDlgItem(box.window, IDYES) != nullptr;
    box.hasNo = ::GetDlgItem(box.window, IDNO) != nullptr;
    box.defaultButton = DefaultButtonOf(box.window);
    box.hasIcon = HasIcon(box.window);
    return box;
}

void PressButton(const SeenMessageBox& box, int button)
{
    ::PostMessageW(box.window, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                   reinterpret_cast<LPARAM>(::GetDlgItem(box.window, button)));
}

std::optional<SeenMessageBox> AnswerMessageBox(int button, DWORD timeoutMs, DWORD processId)
{
    auto box = WaitForMessageBox(timeoutMs, processId);
    if (box) {
        PressButton(*box, button);
        // Wait for it to go, so a following box is not mistaken for this one.
        WaitUntil([&] { return !::IsWindow(box->window); }, 5000);
    }
    return box;
}

bool NoMessageBoxWithin(DWORD timeoutMs, DWORD processId)
{
    return !WaitForMessageBox(timeoutMs, processId).has_value();
}
