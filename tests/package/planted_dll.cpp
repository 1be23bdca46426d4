// A library planted beside a downloaded package under a system library's
// name. Loaded by anyone, it leaves "<its own path>.loaded" behind.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    wchar_t path[MAX_PATH + 8] = {};
    const DWORD length = ::GetModuleFileNameW(instance, path, MAX_PATH);
    if (reason == DLL_PROCESS_ATTACH && length > 0 && length < MAX_PATH) {
        ::lstrcatW(path, L".loaded");
        ::CloseHandle(::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    }
    return TRUE;
}
