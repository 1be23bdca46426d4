// Small operating-system services shared by start-up, installation and
// removal. None of them reports a failure to the user: each says below what
// it returns when the system refuses.
#pragma once

#include <windows.h>

#include <string>

// Buffer limits that decide behaviour, kept as the program has always had them.
constexpr DWORD kRegStringBytes = 260;      // ReadRegString: bytes, not characters
constexpr size_t kPathChars = MAX_PATH;     // 260
constexpr size_t kCommandLineChars = 1024;  // RunAndWait's writable copy

// Function pointers resolved once during static initialisation; each may be
// null when the system lacks the export.
using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);
using AdjustTokenPrivilegesFn = BOOL(WINAPI*)(HANDLE, BOOL, PTOKEN_PRIVILEGES, DWORD, PTOKEN_PRIVILEGES, PDWORD);
using LookupPrivilegeValueWFn = BOOL(WINAPI*)(LPCWSTR, LPCWSTR, PLUID);
using OpenProcessTokenFn = BOOL(WINAPI*)(HANDLE, DWORD, PHANDLE);
using ProcessIdToSessionIdFn = BOOL(WINAPI*)(DWORD, DWORD*);
using InitiateShutdownWFn = DWORD(WINAPI*)(LPWSTR, LPWSTR, DWORD, DWORD, DWORD);

extern IsWow64ProcessFn g_pfnIsWow64Process;
extern AdjustTokenPrivilegesFn g_pfnAdjustTokenPrivileges;
extern LookupPrivilegeValueWFn g_pfnLookupPrivilegeValueW;
extern OpenProcessTokenFn g_pfnOpenProcessToken;
extern ProcessIdToSessionIdFn g_pfnProcessIdToSessionId;
extern InitiateShutdownWFn g_pfnInitiateShutdownW;  // Vista or later

// The process-wide OS version record, filled during static initialisation.
extern OSVERSIONINFOEXW g_osVersion;

// Vista or later: the OS major version is 6 or more.
bool IsVistaOrLater();

// Starts program, a full path that is never searched for, with commandLine
// (what the child sees, its own name first) and waits up to waitMs (0: no
// wait). folder null means the installation's destination folder. A program
// that cannot be started is silently ignored; the child's exit status is
// never read.
void RunAndWait(const wchar_t* program, const wchar_t* commandLine, const wchar_t* folder, DWORD waitMs);

// A file of the system folder by its full path ("regsvr32.exe" gives
// "C:\Windows\system32\regsvr32.exe"); empty when the folder cannot be read.
std::wstring SystemProgramPath(const wchar_t* name);

// Enables or disables one privilege in token. Failures are written to standard
// output only (which a windowed program discards).
void SetTokenPrivilege(HANDLE token, const wchar_t* privilegeName, bool enable);

// Fills record through RtlGetVersion; false when that cannot be called or fails.
bool GetOsVersion(OSVERSIONINFOEXW& record);

// True only when this process runs under 32-bit emulation on 64-bit Windows.
bool IsWow64();

// False in the services' session (0 from Vista on) or on a window station
// that is never shown, where a deployment tool runs setup as SYSTEM and no
// user is there to see or answer anything.
bool IsInteractiveSession();

// The shell folder for csidl (created if missing), else the Explorer
// "Shell Folders" value that belongs to it; may be empty.
std::wstring GetSpecialFolderPath(int csidl);

// A registry string; empty on any failure, including a value longer than
// 129 characters (the buffer is 260 bytes). name null reads the default value.
std::wstring ReadRegString(HKEY root, const wchar_t* subkey, const wchar_t* name);

// Appends text and a line break to the file in text mode (CR LF, current code
// page). Does nothing when the file cannot be opened for appending.
void AppendLineToFile(const wchar_t* path, const wchar_t* text);

// A text of the message catalogue; empty when there is none.
std::wstring LoadResString(UINT id);
