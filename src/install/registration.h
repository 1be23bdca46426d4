// The registry entries that make the installed product known to Windows, and
// the thumbnail handler's registration. Removal takes back exactly these.
#pragma once

#include <windows.h>

#include <string>

// Writes every entry for the installation state's destination and package
// version, then registers the thumbnail handler. Failures are ignored.
void RegisterProduct();

// Set one value, creating every missing key of keyPath; name null sets the
// key's default value. False when the key cannot be made or the value written.
bool WriteRegString(HKEY hive, const wchar_t* keyPath, const wchar_t* name, const std::wstring& text);
bool WriteRegDword(HKEY hive, const wchar_t* keyPath, const wchar_t* name, DWORD number);
