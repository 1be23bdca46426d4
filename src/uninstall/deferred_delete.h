// Work left to the operating system's next start: files and folders in use
// are deleted, or replaced, when Windows restarts.
#pragma once

#include <windows.h>

// Nonzero on success. Registers the path even when it does not exist.
int DeleteAtRestart(const wchar_t* path);

// Nonzero on success; the result is also kept in g_restartPending.
int ReplaceAtRestart(const wchar_t* source, const wchar_t* destination);

// Set by ReplaceAtRestart: the installer offers a restart instead of starting the product.
extern int g_restartPending;

// The system's delayed move, called through this pointer so that a test can
// make it refuse and reach the WININIT.INI fallback.
using MoveFileExWFn = BOOL(WINAPI*)(LPCWSTR, LPCWSTR, DWORD);
extern MoveFileExWFn g_pfnMoveFileExW;
