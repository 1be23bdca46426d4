// A stand-in for the Pixvane 8 product: the same file name, a real version
// resource and a main window titled like the product's, so that setup's
// start-up and removal can be exercised against it. It records the
// registration runs ("-regonly", "-unregonly") outside the product folder,
// where a test can still read them after an uninstall.
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

// C:\ProgramData\Pixvn8Double\calls.log: one line per registration run.
void RecordCall(const wchar_t* what)
{
    wchar_t common[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, common))) {
        return;
    }
    const std::wstring folder = std::wstring(common) + L"\\Pixvn8Double";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    FILE* log = ::_wfopen((folder + L"\\calls.log").c_str(), L"at");
    if (!log) {
        return;
    }
    std::fwprintf(log, L"%ls %ls\n", what, OwnFolder().c_str());
    std::fclose(log);
}

LRESULT CALLBACK MainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_DESTROY) {
        ::PostQuitMessage(0);
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

int RunMainWindow(HINSTANCE instance)
{
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
