// Every user profile the registry knows: the subkeys of HKEY_USERS.
#pragma once

#include "system/handles.h"

#include <windows.h>

// Key names under HKEY_USERS are read into a buffer of this many characters.
constexpr DWORD kUserKeyNameChars = 512;

// Calls visit(HKEY) with each subkey of HKEY_USERS opened for access, by
// index from 0 until the enumeration ends. A profile that refuses to open is
// skipped without a word; the key is closed again after each visit.
template <typename Visit>
void ForEachUserKey(REGSAM access, Visit visit)
{
    wchar_t userName[kUserKeyNameChars];
    for (DWORD index = 0;; ++index) {
        DWORD nameChars = kUserKeyNameChars;
        if (::RegEnumKeyExW(HKEY_USERS, index, userName, &nameChars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            return;
        }
        UniqueRegKey user;
        if (::RegOpenKeyExW(HKEY_USERS, userName, 0, access, user.Put()) == ERROR_SUCCESS) {
            visit(user.Get());
        }
    }
}
