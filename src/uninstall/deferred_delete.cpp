#include "uninstall/deferred_delete.h"

#include <windows.h>

int g_restartPending = 0;

int DeleteAtRestart(const wchar_t* path)
{
    return ::MoveFileExW(path, nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

int ReplaceAtRestart(const wchar_t* source, const wchar_t* destination)
{
    g_restartPending = ::MoveFileExW(source, destination, MOVEFILE_DELAY_UNTIL_REBOOT);
    return g_restartPending;
}
