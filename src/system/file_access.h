// Access lists for what setup makes where a standard user could otherwise
// change it while an elevated step relies on it: the uninstaller's temporary
// second stage and a product folder outside Program Files. The descriptors go
// to the system through the two pointers below, so that what is handed over
// can be watched where the file system does not keep it.
#pragma once

#include "system/handles.h"

#include <windows.h>
#include <aclapi.h>

#include <string>

// The second stage's own file: written and run by the system and the administrators only.
constexpr wchar_t kSecondStageAccess[] = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)";
// A product folder outside Program Files, owned by the administrators: they
// and the system change it, users read and run what is in it.
constexpr wchar_t kProductFolderAccess[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

using CreateFileWFn = HANDLE(WINAPI*)(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE);
using SetNamedSecurityInfoWFn = DWORD(WINAPI*)(LPWSTR, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL);
extern CreateFileWFn g_pfnCreateFileW;
extern SetNamedSecurityInfoWFn g_pfnSetNamedSecurityInfoW;

// Creates path as a new file (never one that is already there) with the
// access list of sddl, open for writing and shared for reading only; empty
// when it exists or cannot be made.
UniqueFileHandle CreateNewFileWithAccess(const std::wstring& path, const wchar_t* sddl);

// Gives folder the owner and protected access list of sddl, passed on to what
// is inside; when the owner cannot be changed, the access list alone. False
// when even that is refused.
bool SetFolderAccess(const std::wstring& folder, const wchar_t* sddl);

// Whether folder is the package's own unpacked copy, which it deletes when
// setup ends: a folder directly in the system's temporary folder with the
// package's name for it ("Pxv-" and 20 hexadecimal digits), reached through
// no link, and, where the volume keeps access lists, owned by and open only
// to the administrators and the system, as the package makes it. Nobody else
// can then have put a file there or hold one open, so what is in it may be
// moved rather than copied.
bool IsPackagesOwnFolder(const std::wstring& folder);

// Gives a file moved into place the access it would have had as a copy made
// there: only what its new folder passes on (its access list from where it
// was made is dropped). Its owner, whoever made it in the package's own
// folder, is the one a copy would have.
bool TakeAccessFromFolder(const std::wstring& path);
