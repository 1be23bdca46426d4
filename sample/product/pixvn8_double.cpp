// A stand-in for the Pixvane 8 product: the same file name, a real version
// resource and a main window titled like the product's, so that setup's
// start-up and removal can be exercised against it. It records the
// registration runs ("-regonly", "-unregonly") outside the product folder,
// where a test can still read them after an uninstall. While its window is
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

// Appends one line to C:\ProgramData\Pixvn8Double\<fileName>.
void AppendRecord(const wchar_t* fileName, const std::wstring& line)
{
    wchar_t common[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, common))) {
        return;
    }
    const std::wstring folder = std::wstring(common) + L"\\Pixvn8Double";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    FILE* log = ::_wfopen((folder + L"\\" + fileName).c_str(), L"at");
    if (!log) {
        return;
    }
    std::fwprintf(log, L"%ls\n", line.c_str());
    std::fclose(log);
}

// calls.log: one line per registration run.
void RecordCall(const wchar_t* what)
{
    AppendRecord(L"calls.log", std::wstring(what) + L" " + OwnFolder());
}

// messages.log: "<event> <own id> [<other id>]" for each registry message and
// for setup's close request, so that a test can tell a polite close from a kill.
void RecordMessage(const wchar_t* event, LPARAM other, bool withOther)
{
    std::wstring line = std::wstring(event) + L" " + std::to_wstring(::GetCurrentProcessId());
    if (withOther) {
        line += L" " + std::to_wstring(static_cast<DWORD>(other));
    }
    AppendRecord(L"messages.log", line);
}

constexpr WPARAM kCloseFromSetup = 1001;

LRESULT CALLBACK MainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case kInstanceJoinedMessage:
        RecordMessage(L"joined", lParam, true);
        return 0;
    case kInstanceLeftMessage:
        RecordMessage(L"left", lParam, true);
        return 0;
    case WM_CLOSE:
        // Setup ends the process 10 ms after asking, so the record comes first.
        if (wParam == kCloseFromSetup) {
            RecordMessage(L"close-1001", 0, false);
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
            return 0;
        }
    }
    return RunMainWindow(instance);
}
