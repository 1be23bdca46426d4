// Starting a program with the user's own rights from an elevated setup: as a
// child of the desktop shell's process, which runs unelevated for the user
// who is logged on.
#pragma once

#include <windows.h>

#include <string>

// Starts program (a full path, also given as the application name) with
// arguments in folder (null: the caller's current folder), as a child of the
// shell's process, without waiting. False when no shell runs (a service's
// session, a system without a desktop) or it would not take the child; the
// caller then starts the program its own way.
bool StartAsShellChild(const std::wstring& program, const std::wstring& arguments, const wchar_t* folder);

// Opens address in the user's browser, as the shell's child (through the
// system's URL handler) where a shell runs, else through the shell's own
// open verb; a failure is not reported.
void OpenAddressForUser(const std::wstring& address);

// What opens an address when no shell takes the child; tests put their own
// here so that no browser is ever started.
using ShellExecuteWFn = HINSTANCE(WINAPI*)(HWND, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, INT);
extern ShellExecuteWFn g_pfnShellExecuteW;

// The window of the desktop's shell, through this pointer so that a test can
// be a machine where none runs. The attribute calls exist from Vista on and
// are null before.
using GetShellWindowFn = HWND(WINAPI*)();
using InitializeProcThreadAttributeListFn = BOOL(WINAPI*)(LPPROC_THREAD_ATTRIBUTE_LIST, DWORD, DWORD, PSIZE_T);
using UpdateProcThreadAttributeFn = BOOL(WINAPI*)(LPPROC_THREAD_ATTRIBUTE_LIST, DWORD, DWORD_PTR, PVOID, SIZE_T,
                                                  PVOID, PSIZE_T);
using DeleteProcThreadAttributeListFn = VOID(WINAPI*)(LPPROC_THREAD_ATTRIBUTE_LIST);
extern GetShellWindowFn g_pfnGetShellWindow;
extern InitializeProcThreadAttributeListFn g_pfnInitializeProcThreadAttributeList;
extern UpdateProcThreadAttributeFn g_pfnUpdateProcThreadAttribute;
extern DeleteProcThreadAttributeListFn g_pfnDeleteProcThreadAttributeList;
