#include "support/registry_snapshot.h"

#include "system/handles.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace {

std::wstring DescribeData(DWORD type, const std::vector<BYTE>& data)
{
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
        std::wstring text(reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t));
        // A string stored without its terminating zero is marked, so it differs.
        const bool terminated = !text.empty() && text.back() == L'\0';
        if (terminated) {
            text.pop_back();
        }
        return (type == REG_SZ ? L"REG_SZ:" : L"REG_EXPAND_SZ:") + text + (terminated ? L"" : L"<no zero>");
    }
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        DWORD number = 0;
        std::memcpy(&number, data.data(), sizeof(number));
        return L"REG_DWORD:" + std::to_wstring(number);
    }
    std::wstring text = L"type " + std::to_wstring(type) + L":";
    for (BYTE b : data) {
        wchar_t hex[4] = {};
        std::swprintf(hex, 4, L"%02x", b);
        text += hex;
    }
    return text;
}

// Left out: nothing the installer or its removal touches lives there. The
// interface and type-library lists hold most of the registry; the 32-bit view
// shows some 64-bit keys a second time; Wine keeps its own passing state.
bool IsSkipped(const std::wstring& path)
{
    for (const wchar_t* skipped : {L"HKLM\\SOFTWARE\\Classes\\Interface\\", L"HKLM\\SOFTWARE\\Classes\\TypeLib\\",
                                   L"HKLM\\SOFTWARE\\Wow6432Node\\", L"HKLM\\SOFTWARE\\Classes\\Wow6432Node\\",
                                   L"HKCU\\Software\\Wine\\"}) {
        if (::lstrcmpiW(path.c_str(), skipped) == 0) {
            return true;
        }
    }
    return false;
}

void AddTree(HKEY key, const std::wstring& path, RegistrySnapshot& lines)
{
    lines.insert(path);
    DWORD subkeys = 0;
    DWORD values = 0;
    DWORD maxNameChars = 0;
    DWORD maxDataBytes = 0;
    if (::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, &maxNameChars,
                           &maxDataBytes, nullptr, nullptr) != ERROR_SUCCESS) {
        return;
    }
    std::vector<wchar_t> name(std::max<DWORD>(maxNameChars + 1, 256));
    std::vector<BYTE> data(maxDataBytes + 2);
    for (DWORD i = 0; i < values; ++i) {
        DWORD nameChars = static_cast<DWORD>(name.size());
        DWORD type = 0;
        DWORD bytes = static_cast<DWORD>(data.size());
        if (::RegEnumValueW(key, i, name.data(), &nameChars, nullptr, &type, data.data(), &bytes) == ERROR_SUCCESS) {
            const std::vector<BYTE> value(data.begin(), data.begin() + bytes);
            lines.insert(path + L"|" + (name[0] ? name.data() : L"@") + L" = " + DescribeData(type, value));
        }
    }
    for (DWORD i = 0; i < subkeys; ++i) {
        DWORD nameChars = static_cast<DWORD>(name.size());
        if (::RegEnumKeyExW(key, i, name.data(), &nameChars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        const std::wstring childPath = path + name.data() + L"\\";
        UniqueRegKey child;
        if (!IsSkipped(childPath) && ::RegOpenKeyExW(key, name.data(), 0, KEY_READ, child.Put()) == ERROR_SUCCESS) {
            AddTree(child.Get(), childPath, lines);
        }
    }
}

}  // namespace

RegistrySnapshot SnapshotRegistry()
{
    RegistrySnapshot lines;
    const struct {
        HKEY root;
        const wchar_t* key;
        const wchar_t* name;
    } roots[] = {{HKEY_LOCAL_MACHINE, L"SOFTWARE", L"HKLM\\SOFTWARE\\"},
                 {HKEY_CURRENT_USER, L"Software", L"HKCU\\Software\\"}};
    for (const auto& root : roots) {
        UniqueRegKey key;
        if (::RegOpenKeyExW(root.root, root.key, 0, KEY_READ, key.Put()) == ERROR_SUCCESS) {
            AddTree(key.Get(), root.name, lines);
        }
    }
    return lines;
}

std::vector<std::wstring> RegistryChanges(const RegistrySnapshot& before, const RegistrySnapshot& after)
{
    std::vector<std::wstring> changes;
    for (const std::wstring& line : after) {
        if (!before.count(line)) {
            changes.push_back(L"+ " + line);
        }
    }
    for (const std::wstring& line : before) {
        if (!after.count(line)) {
            changes.push_back(L"- " + line);
        }
    }
    return changes;
}
