// Walks the wizard through a normal and a portable installation and the
// finished page that offers a restart, saving a picture of every page into
// the folder given (as .bmp; scripts/screenshots.sh makes PNGs of them).
// With "welcome" after the folder, only the welcome page is pictured, for a
// look at a larger screen scale.
// A program run by scripts/screenshots.sh, not a test.
#include "support/test_env.h"
#include "support/wizard_driver.h"
#include "ui/resource.h"

#include <cstdio>
#include <string>

namespace {

std::wstring g_outFolder;

// Saves what the screen shows of window (with its frame) as a 24-bit .bmp.
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

void Shoot(const WizardDriver& wizard, const wchar_t* name, HWND window = nullptr)
{
    ::Sleep(300);  // let the page finish painting
    SaveWindowPicture(window ? window : wizard.Window(), g_outFolder + L"\\" + name + L".bmp");
    std::fwprintf(stderr, L"%ls\n", name);
}

bool NormalInstallation()
{
    WizardDriver wizard;
    if (!wizard.Start()) {
        return false;
    }
    Shoot(wizard, L"01-welcome");
    wizard.Press(IDOK);
    Shoot(wizard, L"02-agreement");
    wizard.Press(IDOK);
    Shoot(wizard, L"03-folder");
    wizard.Press(IDOK);
    Shoot(wizard, L"04-group");
    wizard.Press(IDOK);
    Shoot(wizard, L"05-ready");
    // The installing page shows while the wizard is busy installing: asked
    // without waiting, caught with its Next button still disabled, and held
    // there (the wizard's thread paused) while it is pictured.
    ::SendNotifyMessageW(wizard.Window(), WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
    UniqueHandle thread(::OpenThread(THREAD_SUSPEND_RESUME, FALSE,
                                     ::GetWindowThreadProcessId(wizard.Window(), nullptr)));
    const bool caught = WaitUntil(
        [&] {
            if (!wizard.IsShown(IDC_START_INSTALLING) || wizard.IsEnabled(IDOK, false)) {
                return false;
            }
            ::SuspendThread(thread.Get());
            if (!wizard.IsEnabled(IDOK, false)) {
                return true;
            }
            ::ResumeThread(thread.Get());
            return false;
        },
        10000);
    if (caught) {
        SaveWindowPicture(wizard.Window(), g_outFolder + L"\\06-installing.bmp");
        ::ResumeThread(thread.Get());
    }
    wizard.Sync();
    Shoot(wizard, L"07-finished");
    wizard.Press(IDOK);
    return wizard.Process().Wait(60000) == 0;
}

bool PortableInstallation()
{
    const std::wstring stick = MakeScratchFolder(L"USB stick");
    WizardDriver wizard;
    if (!wizard.Start()) {
        return false;
    }
    wizard.Press(IDOK);
    wizard.Press(IDOK);
    wizard.Choose(IDC_KIND_PORTABLE, IDC_KIND_CURRENT_USER, IDC_KIND_PORTABLE);
    Shoot(wizard, L"08-portable-folder");
    if (!wizard.BrowseTo(stick)) {
        return false;
    }
    Shoot(wizard, L"09-portable-folder-chosen");
    wizard.Press(IDOK);
    Shoot(wizard, L"10-portable-ready");
    wizard.Press(IDOK);
    Shoot(wizard, L"11-portable-finished");
    wizard.Press(IDOK);
    return wizard.Process().Wait(60000) == 0;
}

// A file of the earlier copy held open as a running program would: it can
// only be replaced at the restart, which the finished page then offers.
bool RestartOffered()
{
    const std::wstring folder = MakeScratchFolder(L"Pixvane busy");
    ::CopyFileW(BuildPath(L"sample-versions\\8.1.2.3\\Pixvn8.exe").c_str(), (folder + L"\\Pixvn8.exe").c_str(), FALSE);
    ::CopyFileW(PackagePath(L"pvcodec8.dll").c_str(), (folder + L"\\pvcodec8.dll").c_str(), FALSE);
    UniqueFileHandle held(::CreateFileW((folder + L"\\pvcodec8.dll").c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    WizardDriver wizard;
    if (!wizard.Start(L"-instdir \"" + folder + L"\"")) {
        return false;
    }
    for (int page = 0; page < 5; ++page) {
        wizard.Press(IDOK);
    }
    Shoot(wizard, L"12-finished-restart");
    // Not restarting the session this program runs in.
    wizard.Check(IDC_START_FINISH_CHECK, false);
    wizard.Press(IDOK);
    return wizard.Process().Wait(60000) >= 0;
}

bool WelcomeOnly()
{
    WizardDriver wizard;
    if (!wizard.Start()) {
        return false;
    }
    Shoot(wizard, L"13-welcome-at-150-percent");
    wizard.Process().Kill();
    return true;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc < 2) {
        std::fwprintf(stderr, L"usage: wizard_tour OUTPUT-FOLDER\n");
        return 2;
    }
    g_outFolder = argv[1];
    MakeFolders(g_outFolder);
    if (argc > 2 && std::wstring(argv[2]) == L"welcome") {
        return WelcomeOnly() ? 0 : 1;
    }
    const bool done = NormalInstallation() && PortableInstallation() && RestartOffered();
    return done ? 0 : 1;
}
