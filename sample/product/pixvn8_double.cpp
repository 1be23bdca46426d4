// A stand-in for the Pixvane 8 product: the same file name, a real version
// resource and a main window titled like the product's, so that setup's
// start-up and removal can be exercised against it. It records the
// registration runs ("-regonly", "-unregonly") outside the product folder,
// where a test can still read them after an uninstall; with a file
// "hang-on-unregister" beside it, a run then takes 20 s to end. While its window is
// open it is a member of the running-instance registry, like the product,
// and records what the other members and setup tell it.
#include "app/instance_manager.h"

#include <windows.h>
#include <shlobj.h>

#include <cstdio>
#include <string>

namespace {

std::wstring OwnFolder()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    return folder.substr(0, folder.find_last_of(L'\\'));
}

// C:\ProgramData\Pixvn8Double, where the records go.
std::wstring RecordFolder()
{
    wchar_t common[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, common))) {
        return {};
    }
    const std::wstring folder = std::wstring(common) + L"\\Pixvn8Double";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

// calls.log: one line per registration run, with the folder it ran in.
void RecordCall(const wchar_t* what)
{
    const std::wstring folder = RecordFolder();
    FILE* log = folder.empty() ? nullptr : ::_wfopen((folder + L"\\calls.log").c_str(), L"at");
    if (!log) {
        return;
    }
    wchar_t current[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, current);
    std::fwprintf(log, L"%ls %ls in %ls\n", what, OwnFolder().c_str(), current);
    std::fclose(log);
}

// messages.log, open for appending while the window lives: setup ends the
// process 10 ms after asking it to close, too soon to look up and open a file.
UniqueFileHandle g_messagesLog;

void OpenMessagesLog()
{
    const std::wstring folder = RecordFolder();
    if (!folder.empty()) {
        g_messagesLog.Reset(::CreateFileW((folder + L"\\messages.log").c_str(), FILE_APPEND_DATA,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
}

// "<event> <own id> [<other id>]" for each registry message and for setup's
// close request, so that a test can tell a polite close from a kill.
void RecordMessage(const char* event, LPARAM other, bool withOther)
{
    std::string line = event;
    line += ' ';
    line += std::to_string(::GetCurrentProcessId());
    if (withOther) {
        line += ' ';
        line += std::to_string(static_cast<DWORD>(other));
    }
    line += "\r\n";
    DWORD written = 0;
    ::WriteFile(g_messagesLog.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

constexpr WPARAM kCloseFromSetup = 1001;
constexpr DWORD kHangMs = 20000;
// Started with "-ignoreclose" it records setup's close request and stays,
// like a product busy with unsaved work, so that setup has to end it.
bool g_ignoreSetupClose = false;

LRESULT CALLBACK MainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case kInstanceJoinedMessage:
        RecordMessage("joined", lParam, true);
        return 0;
    case kInstanceLeftMessage:
        RecordMessage("left", lParam, true);
        return 0;
    case WM_CLOSE:
        // Setup ends the process 10 ms after asking, so the record comes first.
        if (wParam == kCloseFromSetup) {
            RecordMessage("close-1001", 0, false);
            if (g_ignoreSetupClose) {
                return 0;
            }
        }
        break;
    case WM_DESTROY:
        ::PostQuitMessage(0);
        return 0;
    default:
        break;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

int RunMainWindow(HINSTANCE instance)
{
    // Joined only by the windowed run: the registration runs are not instances.
    OpenMessagesLog();
    COXInstanceManager registry(kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, true);

    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = MainWindowProc;
    windowClass.hInstance = instance;
    windowClass.lpszClassName = L"Pixvane8MainFrame";
    windowClass.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    ::RegisterClassW(&windowClass);
    HWND window = ::CreateWindowExW(0, windowClass.lpszClassName, L"Pixvane 8 - untitled", WS_OVERLAPPEDWINDOW,
                                    CW_USEDEFAULT, CW_USEDEFAULT, 640, 480, nullptr, nullptr, instance, nullptr);
    if (!window) {
        return 1;
    }
    ::ShowWindow(window, SW_SHOWNORMAL);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
    return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int)
{
    for (int i = 1; i < __argc; ++i) {
        if (::lstrcmpiW(__wargv[i], L"-regonly") == 0 || ::lstrcmpiW(__wargv[i], L"-unregonly") == 0) {
            RecordCall(__wargv[i] + 1);
            // A product that hangs while it unregisters, for setup's time limit.
            if (::GetFileAttributesW((OwnFolder() + L"\\hang-on-unregister").c_str()) != INVALID_FILE_ATTRIBUTES) {
                ::Sleep(kHangMs);
            }
            return 0;
        }
        g_ignoreSetupClose = g_ignoreSetupClose || ::lstrcmpiW(__wargv[i], L"-ignoreclose") == 0;
    }
    return RunMainWindow(instance);
}
