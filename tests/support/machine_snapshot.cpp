#include "support/machine_snapshot.h"

#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/handles.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
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

// Left out, by the end of their path: nothing the installer or its removal
// touches lives there. The interface and type-library lists hold most of the
// registry; the 32-bit view shows some 64-bit keys a second time; Wine keeps
// its own passing state, and registers the xmlfile class the first time its
// desktop shows a window.
bool IsSkipped(const std::wstring& path)
{
    for (const std::wstring skip : {L"\\Classes\\Interface\\", L"\\Classes\\TypeLib\\", L"\\Wow6432Node\\",
                                    L"\\Software\\Wine\\", L"\\Classes\\xmlfile\\"}) {
        if (path.size() >= skip.size() && ::lstrcmpiW(path.c_str() + path.size() - skip.size(), skip.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

void AddKey(HKEY root, const std::wstring& key, const std::wstring& path, MachineSnapshot& lines)
{
    UniqueRegKey opened;
    DWORD subkeys = 0, values = 0, maxNameChars = 0, maxDataBytes = 0;
    if (IsSkipped(path) || ::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, opened.Put()) != ERROR_SUCCESS ||
        ::RegQueryInfoKeyW(opened.Get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                           &maxNameChars, &maxDataBytes, nullptr, nullptr) != ERROR_SUCCESS) {
        return;
    }
    lines.insert(path);
    std::vector<wchar_t> name(std::max<DWORD>(maxNameChars + 1, 256));
    std::vector<BYTE> data(maxDataBytes + 2);
    for (DWORD i = 0; i < values; ++i) {
        DWORD nameChars = static_cast<DWORD>(name.size());
        DWORD type = 0;
        DWORD bytes = static_cast<DWORD>(data.size());
        if (::RegEnumValueW(opened.Get(), i, name.data(), &nameChars, nullptr, &type, data.data(), &bytes) ==
            ERROR_SUCCESS) {
            lines.insert(path + L"|" + (name[0] ? name.data() : L"@") + L" = " + DescribeData(type, data.data(), bytes));
        }
    }
    for (DWORD i = 0; i < subkeys; ++i) {
        DWORD nameChars = static_cast<DWORD>(name.size());
        if (::RegEnumKeyExW(opened.Get(), i, name.data(), &nameChars, nullptr, nullptr, nullptr, nullptr) ==
            ERROR_SUCCESS) {
            AddKey(opened.Get(), name.data(), path + name.data() + L"\\", lines);
        }
    }
}

}  // namespace

MachineSnapshot TakeMachineSnapshot(bool files)
{
    MachineSnapshot lines;
    AddKey(HKEY_LOCAL_MACHINE, L"SOFTWARE", L"HKLM\\SOFTWARE\\", lines);
    wchar_t user[256] = {};
    for (DWORD i = 0, chars = 256; ::RegEnumKeyExW(HKEY_USERS, i, user, &chars, nullptr, nullptr, nullptr, nullptr) ==
                                   ERROR_SUCCESS;
         ++i, chars = 256) {
        AddKey(HKEY_USERS, std::wstring(user) + L"\\Software", L"HKU\\" + std::wstring(user) + L"\\Software\\", lines);
    }
    for (const wchar_t* folder : {L"C:\\Program Files", L"C:\\ProgramData", L"C:\\users", L"C:\\windows\\Installer",
                                  L"P:\\"}) {
        std::error_code ignored;
        for (auto entry = std::filesystem::recursive_directory_iterator(folder, ignored);
             files && entry != std::filesystem::recursive_directory_iterator(); entry.increment(ignored)) {
            // Temporary folders, the double's records and the tests' scratch folders change on their own.
            const std::wstring name = entry->path().filename().wstring();
            if (name == L"Temp" || name == L"temp" || name == L"Pixvn8Double") {
                entry.disable_recursion_pending();
            } else {
                lines.insert(entry->path().wstring());
            }
        }
    }
    return lines;
}

std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after)
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

void MachineTest::SetUp()
{
    MachineTest::TearDown();
    SimulateRestart();
    ClearProductCallsLog();
    // Windows has these keys, which registration writes into (and a user's
    // copy of the classes would) and removal leaves; a fresh Wine prefix lacks them.
    SetRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer", L"SOFTWARE\\Other");
    SetRegString(HKEY_CURRENT_USER, L"Software\\Classes\\.otherview", nullptr, L"Other.Viewer");
    m_before = TakeMachineSnapshot();
}

void MachineTest::TearDown()
{
    if (RegKeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8")) {
        EXPECT_TRUE(RemoveThroughProgramsList());
    }
    for (const wchar_t* folder : {L"C:\\Program Files\\Pixvane 8", L"C:\\Pixvane Apps", L"C:\\Apps",
                                  L"C:\\Программы", L"P:\\Pixvane 8", L"P:\\StartPV8.exe"}) {
        RemoveTree(folder);
    }
}
