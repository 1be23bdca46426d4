#include "support/wizard_driver.h"

#include <shlobj.h>

namespace {

constexpr int kSidePicture = 1002;  // only the wizard frame has it

void Click(HWND window, int id)
{
    // Sent, not posted: handled in order with the messages that follow.
    ::SendNotifyMessageW(window, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED),
                         reinterpret_cast<LPARAM>(::GetDlgItem(window, id)));
}

}  // namespace

bool WizardDriver::Start(const std::wstring& arguments)
{
    DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex\\Pixvane 8");
    DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe");
    DeleteRegTree(HKEY_CLASSES_ROOT, L"Pixvane8.License");
    if (!m_setup.Start(L"\"" + PackagePath(L"setup.exe") + L"\" " + arguments, BuildPath(L"package").c_str())) {
        return false;
    }
    return Attach(m_setup.Id(), 20000);
}

bool WizardDriver::Attach(DWORD processId, DWORD timeoutMs)
{
    const auto isWizard = [](HWND window) { return ::GetDlgItem(window, kSidePicture) != nullptr; };
    WaitUntil([&] { return (m_wizard = FindDialog(processId, isWizard)) != nullptr; }, timeoutMs);
    return m_wizard != nullptr;
}

HWND WizardDriver::Page() const
{
    return ::FindWindowExW(m_wizard, nullptr, L"#32770", nullptr);
}

std::wstring WizardDriver::PageName() const
{
    HWND page = Page();
    // Each page is told by a control only it has.
    const std::pair<int, const wchar_t*> marks[] = {
        {1005, L"folder"}, {1008, L"group"}, {1010, L"ready"}, {1003, L"welcome"}, {1000, L"agreement"}};
    for (const auto& [id, name] : marks) {
        if (page && ::GetDlgItem(page, id)) {
            return name;
        }
    }
    return page ? L"?" : L"";
}

std::wstring WizardDriver::Caption() const
{
    return WindowText(m_wizard);
}

std::wstring WizardDriver::Text(int id, bool page) const
{
    return WindowText(Item(id, page));
}

void WizardDriver::Sync() const
{
    // Sent messages are handled in order: this one comes back once the
    // click before it has been handled, or while a box it opened waits.
    DWORD_PTR ignored = 0;
    ::SendMessageTimeoutW(m_wizard, WM_NULL, 0, 0, SMTO_NORMAL, 60000, &ignored);
}

void WizardDriver::Press(int id, bool page)
{
    Click(page ? Page() : m_wizard, id);
    Sync();
}

void WizardDriver::Choose(int id, int firstId, int lastId)
{
    for (int radio = firstId; radio <= lastId; ++radio) {
        Check(radio, radio == id);
    }
    Press(id, true);
}

HWND WizardDriver::OtherDialog() const
{
    return FindDialog(m_setup.Id(), [](HWND window) {
        return !::GetDlgItem(window, kSidePicture) && WindowText(window) != L"Pixvane Setup";
    });
}

bool WizardDriver::BrowseTo(const std::wstring& folder)
{
    // A browser that misses the selection is closed and opened again: under
    // Wine the first one of a process may not find folders below the top.
    for (int attempt = 0; attempt < 3; ++attempt) {
        Click(Page(), 1005);
        HWND browser = nullptr;
        WaitUntil([&] { return (browser = OtherDialog()) != nullptr; }, 10000);
        HWND edit = ::FindWindowExW(browser, nullptr, L"Edit", nullptr);
        if (!edit) {
            return false;
        }
        // The browser shows itself before it has selected the destination;
        // a selection made earlier would be overridden.
        WaitUntil([&] { return !WindowText(edit).empty(); }, 5000);
        const int button = SelectInBrowser(browser, edit, folder) ? IDOK : IDCANCEL;
        Click(browser, button);
        // The browser's own loop may answer before it ends; Browse goes on after.
        WaitUntil([&] { return !::IsWindow(browser); }, 10000);
        Sync();
        if (button == IDOK) {
            return true;
        }
    }
    return false;
}

bool WizardDriver::SelectInBrowser(HWND browser, HWND edit, const std::wstring& folder) const
{
    // Typed as a user would. Wine's browser does not read its edit box back,
    // so the folder is also selected through the browser's own message,
    // with the path placed in setup's memory where the browser reads it. A
    // selection shows its name in the edit box.
    ::SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(folder.c_str()));
    const SIZE_T bytes = (folder.size() + 1) * sizeof(wchar_t);
    void* remote = ::VirtualAllocEx(m_setup.Handle(), nullptr, bytes, MEM_COMMIT, PAGE_READWRITE);
    if (!remote || !::WriteProcessMemory(m_setup.Handle(), remote, folder.c_str(), bytes, nullptr)) {
        return false;
    }
    ::SendMessageW(browser, BFFM_SETSELECTIONW, TRUE, reinterpret_cast<LPARAM>(remote));
    ::VirtualFreeEx(m_setup.Handle(), remote, 0, MEM_RELEASE);
    return WindowText(edit) != folder;
}
