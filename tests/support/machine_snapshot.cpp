#include "support/machine_snapshot.h"

#include "support/test_env.h"
#include "system/handles.h"

#include <windows.h>

namespace {

bool IsVolatile(const std::wstring& path)
{
    for (const wchar_t* part : {L"\\Temp", L"\\temp", L"\\Pixvn8Double", L"\\pxtest"}) {
        if (path.find(part) != std::wstring::npos) {
            return true;
        }
    }
    return false;
}

void AddFiles(const std::wstring& folder, MachineSnapshot& snapshot)
{
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
    if (!search) {
        return;
    }
    do {
        const std::wstring name = found.cFileName;
        const std::wstring path = folder + L"\\" + name;
        if (name == L"." || name == L".." || IsVolatile(path)) {
            continue;
        }
        snapshot.insert(path);
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            AddFiles(path, snapshot);
        }
    } while (::FindNextFileW(search.Get(), &found));
}

void AddKeys(HKEY root, const std::wstring& name, MachineSnapshot& snapshot)
{
    UniqueRegKey key;
    if (::RegOpenKeyExW(root, name.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, key.Put()) != ERROR_SUCCESS) {
        return;
    }
    snapshot.insert(name);
    wchar_t valueName[16384];
    BYTE data[4096];
    for (DWORD i = 0;; ++i) {
        DWORD nameChars = 16384;
        DWORD size = sizeof(data);
        DWORD type = 0;
        const LONG result = ::RegEnumValueW(key.Get(), i, valueName, &nameChars, nullptr, &type, data, &size);
        if (result == ERROR_NO_MORE_ITEMS) {
            break;
        }
        std::wstring value = name + L" [" + valueName + L"]";
        if (result == ERROR_SUCCESS && (type == REG_SZ || type == REG_EXPAND_SZ)) {
            value += L" = " + std::wstring(reinterpret_cast<const wchar_t*>(data), size / sizeof(wchar_t));
        } else if (result == ERROR_SUCCESS && type == REG_DWORD) {
            value += L" = " + std::to_wstring(*reinterpret_cast<const DWORD*>(data));
        }
        snapshot.insert(value);
    }
    wchar_t subkey[256];
    for (DWORD i = 0;; ++i) {
        DWORD chars = 256;
        if (::RegEnumKeyExW(key.Get(), i, subkey, &chars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        AddKeys(root, name + L"\\" + subkey, snapshot);
    }
}

}  // namespace

MachineSnapshot TakeMachineSnapshot()
{
    MachineSnapshot snapshot;
    for (const wchar_t* folder : {L"C:\\Program Files", L"C:\\ProgramData", L"C:\\users", L"C:\\windows\\Installer",
                                  L"P:"}) {
        AddFiles(folder, snapshot);
    }
    AddKeys(HKEY_LOCAL_MACHINE, L"SOFTWARE", snapshot);
    MachineSnapshot user;
    AddKeys(HKEY_CURRENT_USER, L"Software", user);
    for (const auto& item : user) {
        snapshot.insert(L"HKCU\\" + item);
    }
    return snapshot;
}

std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after)
{
    std::vector<std::wstring> changes;
    for (const auto& item : after) {
        if (!before.count(item)) {
            changes.push_back(L"+ " + item);
        }
    }
    for (const auto& item : before) {
        if (!after.count(item)) {
            changes.push_back(L"- " + item);
        }
    }
    return changes;
}
