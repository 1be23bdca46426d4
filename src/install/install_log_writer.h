// Lines the installer adds to the installed log.
#pragma once

#include <windows.h>

#include <string>

// Appends prefix + path as one line of the destination's "PxvUnInst.log".
// The log is 8-bit text: a path with letters it cannot hold is written in a
// form it can (the file system's short name, else the log's own escapes),
// so that removal finds it again.
void AppendToInstalledLog(const wchar_t* prefix, const std::wstring& path);

// The short-name call, through this pointer so that a test can be a volume
// that keeps no short names.
using GetShortPathNameWFn = DWORD(WINAPI*)(LPCWSTR, LPWSTR, DWORD);
extern GetShortPathNameWFn g_pfnGetShortPathNameW;
