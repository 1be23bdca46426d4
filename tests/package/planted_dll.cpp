// A library or a program planted beside a downloaded package or a running
// setup under a system one's name. Loaded or run by anyone, it leaves
// "<its own path>.loaded" behind.
#include <windows.h>

static void LeaveMark(HMODULE self)
{
    wchar_t path[MAX_PATH + 8] = {};
    const DWORD length = ::GetModuleFileNameW(self, path, MAX_PATH);
    if (length > 0 && length < MAX_PATH) {
        ::lstrcatW(path, L".loaded");
        ::CloseHandle(::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    }
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        LeaveMark(instance);
    }
    return TRUE;
}

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    LeaveMark(nullptr);
    return 0;
}
