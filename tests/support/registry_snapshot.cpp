#include "support/registry_snapshot.h"

#include "system/handles.h"

#include <windows.h>

#include <algorithm>
#include <tuple>

namespace {

// Strings as text (with a mark when stored without their zero), numbers in
// decimal, anything else by type and size.
std::wstring DescribeData(DWORD type, const BYTE* data, DWORD bytes)
{
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
        std::wstring text(reinterpret_cast<const wchar_t*>(data), bytes / sizeof(wchar_t));
        const bool terminated = !text.empty() && text.back() == L'\0';
        text.resize(text.size() - (terminated ? 1 : 0));
        return (type == REG_SZ ? L"REG_SZ:" : L"REG_EXPAND_SZ:") + text + (terminated ? L"" : L"<no zero>");
    }
    if (type == REG_DWORD && bytes == sizeof(DWORD)) {
        return L"REG_DWORD:" + std::to_wstring(*reinterpret_cast<const DWORD*>(data));
    }
    return L"type " + std::to_wstring(type) + L", " + std::to_wstring(bytes) + L" bytes";
}

// Left out: nothing the installer or its removal touches lives there. The
// interface and type-library lists hold most of the registry; the 32-bit view
// shows some 64-bit keys a second time; Wine keeps its own passing state.
constexpr const wchar_t* kSkippedKeys[] = {
    L"HKLM\\SOFTWARE\\Classes\\Interface\\",   L"HKLM\\SOFTWARE\\Classes\\TypeLib\\", L"HKLM\\SOFTWARE\\Wow6432Node\\",
    L"HKLM\\SOFTWARE\\Classes\\Wow6432Node\\", L"HKCU\\Software\\Wine\\",
};

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
            const std::wstring valueName = name[0] ? name.data() : L"@";
            lines.insert(path + L"|" + valueName + L" = " + DescribeData(type, data.data(), bytes));
        }
    }
    for (DWORD i = 0; i < subkeys; ++i) {
        DWORD nameChars = static_cast<DWORD>(name.size());
        UniqueRegKey child;
        if (::RegEnumKeyExW(key, i, name.data(), &nameChars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        const std::wstring childPath = path + name.data() + L"\\";
        const auto skipped = [&](const wchar_t* skip) { return ::lstrcmpiW(childPath.c_str(), skip) == 0; };
        if (std::none_of(std::begin(kSkippedKeys), std::end(kSkippedKeys), skipped) &&
            ::RegOpenKeyExW(key, name.data(), 0, KEY_READ, child.Put()) == ERROR_SUCCESS) {
            AddTree(child.Get(), childPath, lines);
        }
    }
}

}  // namespace

RegistrySnapshot SnapshotRegistry()
{
    RegistrySnapshot lines;
    UniqueRegKey machine;
    UniqueRegKey user;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_READ, machine.Put()) == ERROR_SUCCESS) {
        AddTree(machine.Get(), L"HKLM\\SOFTWARE\\", lines);
    }
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, user.Put()) == ERROR_SUCCESS) {
        AddTree(user.Get(), L"HKCU\\Software\\", lines);
    }
    return lines;
}

std::vector<std::wstring> RegistryChanges(const RegistrySnapshot& before, const RegistrySnapshot& after)
{
    std::vector<std::wstring> changes;
    for (const auto& [from, to, mark] : {std::tuple(&before, &after, L"+ "), std::tuple(&after, &before, L"- ")}) {
        for (const std::wstring& line : *to) {
            if (!from->count(line)) {
                changes.push_back(mark + line);
            }
        }
    }
    return changes;
}
