#include "support/wizard_driver.h"

#include <shlobj.h>

#include <vector>

namespace {

constexpr int kSidePicture = 1002;  // only the wizard frame has it
constexpr DWORD kWizardWaitMs = 20000;

struct WindowSearch {
    DWORD processId;
    HWND exclude;
    HWND found;
};

bool IsDialogOf(HWND window, DWORD processId)
{
    wchar_t className[16] = {};
    ::GetClassNameW(window, className, 16);
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    return std::wstring(className) == L"#32770" && owner == processId && ::IsWindowVisible(window);
}

BOOL CALLBACK FindWizard(HWND window, LPARAM param)
{
    auto* search = reinterpret_cast<WindowSearch*>(param);
    if (IsDialogOf(window, search->processId) && ::GetDlgItem(window, kSidePicture)) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

BOOL CALLBACK FindOtherDialog(HWND window, LPARAM param)
{
    auto* search = reinterpret_cast<WindowSearch*>(param);
    wchar_t caption[64] = {};
    ::GetWindowTextW(window, caption, 64);
    if (window != search->exclude && IsDialogOf(window, search->processId) &&
        std::wstring(caption) != L"Pixvane Setup") {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

BOOL CALLBACK CollectEdits(HWND window, LPARAM param)
{
    wchar_t className[16] = {};
    ::GetClassNameW(window, className, 16);
    if (std::wstring(className) == L"Edit" && ::IsWindowVisible(window)) {
        reinterpret_cast<std::vector<HWND>*>(param)->push_back(window);
    }
    return TRUE;
}

// Asked of the control itself: for another process's window the system
// would otherwise answer with the text the window was created with.
std::wstring WindowText(HWND window)
{
    wchar_t text[4096] = {};
    DWORD_PTR ignored = 0;
    ::SendMessageTimeoutW(window, WM_GETTEXT, 4096, reinterpret_cast<LPARAM>(text), SMTO_NORMAL, 10000, &ignored);
    return text;
}

}  // namespace

bool WizardDriver::Start(const std::wstring& arguments)
{
    if (!m_setup.Start(L"\"" + PackagePath(L"setup.exe") + L"\" " + arguments, BuildPath(L"package").c_str())) {
        return false;
    }
    WindowSearch search{m_setup.Id(), nullptr, nullptr};
    WaitUntil(
        [&] {
            ::EnumWindows(FindWizard, reinterpret_cast<LPARAM>(&search));
            return search.found != nullptr;
        },
        kWizardWaitMs);
    m_wizard = search.found;
    return m_wizard != nullptr;
}

HWND WizardDriver::Page() const
{
    for (HWND child = ::GetWindow(m_wizard, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
        wchar_t className[16] = {};
        ::GetClassNameW(child, className, 16);
        if (std::wstring(className) == L"#32770" && ::IsWindowVisible(child)) {
            return child;
        }
    }
    return nullptr;
}

std::wstring WizardDriver::PageName() const
{
    HWND page = Page();
    if (!page) {
        return L"";
    }
    // Each page is told by a control only it has.
    const std::pair<int, const wchar_t*> marks[] = {
        {1005, L"folder"}, {1008, L"group"}, {1010, L"ready"}, {1003, L"welcome"}, {1000, L"agreement"}};
    for (const auto& [id, name] : marks) {
        if (::GetDlgItem(page, id)) {
            return name;
        }
    }
    return L"?";
}

std::wstring WizardDriver::Caption() const
{
    return WindowText(m_wizard);
}

HWND WizardDriver::Item(int id, bool page) const
{
    return ::GetDlgItem(page ? Page() : m_wizard, id);
}

std::wstring WizardDriver::Text(int id, bool page) const
{
    return WindowText(Item(id, page));
}

bool WizardDriver::IsShown(int id, bool page) const
{
    return ::IsWindowVisible(Item(id, page)) != FALSE;
}

bool WizardDriver::IsEnabled(int id, bool page) const
{
    return ::IsWindowEnabled(Item(id, page)) != FALSE;
}

bool WizardDriver::IsChecked(int id) const
{
    return ::SendMessageW(Item(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
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
    HWND target = page ? Page() : m_wizard;
    ::SendNotifyMessageW(target, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(::GetDlgItem(target, id)));
    Sync();
}

void WizardDriver::Check(int id, bool checked)
{
    ::SendMessageW(Item(id), BM_SETCHECK, checked ? BST_CHECKED : BST_UNCHECKED, 0);
}

void WizardDriver::Choose(int id, int firstId, int lastId)
{
    for (int radio = firstId; radio <= lastId; ++radio) {
        Check(radio, radio == id);
    }
    Press(id, true);
}

void WizardDriver::Type(int id, const std::wstring& text)
{
    ::SendMessageW(Item(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

HWND WizardDriver::OtherDialog() const
{
    WindowSearch search{m_setup.Id(), m_wizard, nullptr};
    ::EnumWindows(FindOtherDialog, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool WizardDriver::BrowseTo(const std::wstring& folder)
{
    // A browser that misses the selection is closed and opened again: under
    // Wine the first one of a process may not find folders below the top.
    for (int attempt = 0; attempt < 3; ++attempt) {
        HWND page = Page();
        ::SendNotifyMessageW(page, WM_COMMAND, MAKEWPARAM(1005, BN_CLICKED),
                             reinterpret_cast<LPARAM>(::GetDlgItem(page, 1005)));
        HWND browser = nullptr;
        WaitUntil([&] { return (browser = OtherDialog()) != nullptr; }, 10000);
        std::vector<HWND> edits;
        ::EnumChildWindows(browser, CollectEdits, reinterpret_cast<LPARAM>(&edits));
        if (edits.empty()) {
            return false;
        }
        // The browser shows itself before it has selected the destination;
        // a selection made earlier would be overridden.
        WaitUntil([&] { return !WindowText(edits.front()).empty(); }, 5000);
        const int button = SelectInBrowser(browser, edits.front(), folder) ? IDOK : IDCANCEL;
        ::SendNotifyMessageW(browser, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                             reinterpret_cast<LPARAM>(::GetDlgItem(browser, button)));
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

bool SaveWindowPicture(HWND window, const std::wstring& path)
{
    RECT area = {};
    if (!::GetWindowRect(window, &area)) {
        return false;
    }
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    HDC screen = ::GetDC(nullptr);
    HDC memory = ::CreateCompatibleDC(screen);
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = height;  // bottom-up, as .bmp files are
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 24;
    format.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP picture = ::CreateDIBSection(screen, &format, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = ::SelectObject(memory, picture);
    ::BitBlt(memory, 0, 0, width, height, screen, area.left, area.top, SRCCOPY);
    ::GdiFlush();
    const DWORD rowBytes = (static_cast<DWORD>(width) * 3 + 3) & ~3u;
    const DWORD imageBytes = rowBytes * static_cast<DWORD>(height);
    BITMAPFILEHEADER header = {};
    header.bfType = 0x4D42;
    header.bfOffBits = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
    header.bfSize = header.bfOffBits + imageBytes;
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes.append(reinterpret_cast<const char*>(&format.bmiHeader), sizeof(BITMAPINFOHEADER));
    bytes.append(static_cast<const char*>(bits), imageBytes);
    ::SelectObject(memory, old);
    ::DeleteObject(picture);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
    WriteTextFile(path, bytes);
    return true;
}
