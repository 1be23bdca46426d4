// The portable launcher: it stands beside the portable product folder
// "Pixvane 8" (on a removable disk, say) and starts the product from there.
#include <windows.h>

#include <string>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    wchar_t own[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, own, MAX_PATH);
    std::wstring folder(own);
    folder.erase(folder.find_last_of(L'\\') + 1);
    std::wstring command = L"\"" + folder + L"Pixvane 8\\Pixvn8.exe\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
        return 1;
    }
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return 0;
}
