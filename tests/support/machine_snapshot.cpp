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

}  // namespace

MachineSnapshot TakeMachineSnapshot()
{
    MachineSnapshot snapshot;
    for (const wchar_t* folder : {L"C:\\Program Files", L"C:\\ProgramData", L"C:\\users", L"C:\\windows\\Installer",
                                  L"P:"}) {
        AddFiles(folder, snapshot);
    }
    // Wine registers this class of its own the first time its desktop shows a window.
    for (auto& line : SnapshotRegistry()) {
        if (line.rfind(L"HKLM\\SOFTWARE\\Classes\\xmlfile\\", 0) != 0) {
            snapshot.insert(line);
        }
    }
    return snapshot;
}
