#include "support/message_boxes.h"

#include "support/test_env.h"

std::optional<SeenMessageBox> WaitForMessageBox(DWORD timeoutMs, DWORD processId)
{
    HWND found = nullptr;
    const auto isSetupBox = [](HWND window) {
        // The wizard frame shares the caption; its side picture tells it apart.
        return WindowText(window) == L"Pixvane Setup" && !::GetDlgItem(window, 1002);
    };
    if (!WaitUntil([&] { return (found = FindDialog(processId, isSetupBox)) != nullptr; }, timeoutMs)) {
        return std::nullopt;
    }
    SeenMessageBox box;
    box.window = found;
    box.text = WindowText(::GetDlgItem(found, 0xFFFF));  // the static that holds the text
    for (const auto& [id, name] : {std::pair{IDOK, L"OK"}, {IDYES, L"Yes"}, {IDNO, L"No"}}) {
        if (HWND button = ::GetDlgItem(found, id)) {
            const bool isDefault = (::GetWindowLongW(button, GWL_STYLE) & 0x0F) == BS_DEFPUSHBUTTON;
            box.form += (box.form.empty() ? L"" : L" ") + std::wstring(name) + (isDefault ? L"*" : L"");
        }
    }
    // Which icon cannot be told from another process under Wine: each
    // process loads its own copy and, without a display, icons have no
    // pixels to compare.
    HWND icon = ::GetDlgItem(found, 0x0440);
    if (icon && ::IsWindowVisible(icon) && ::SendMessageW(icon, STM_GETICON, 0, 0) != 0) {
        box.form += L" icon";
    }
    return box;
}

std::optional<SeenMessageBox> AnswerMessageBox(int button, DWORD timeoutMs, DWORD processId)
{
    auto box = WaitForMessageBox(timeoutMs, processId);
    if (box) {
        ::PostMessageW(box->window, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                       reinterpret_cast<LPARAM>(::GetDlgItem(box->window, button)));
        // Wait for it to go, so a following box is not mistaken for this one.
        WaitUntil([&] { return !::IsWindow(box->window); }, 5000);
    }
    return box;
}
