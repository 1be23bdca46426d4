#include "licence/licence.h"

#include "system/handles.h"
#include "system/path_text.h"
#include "system/services.h"

namespace {

constexpr const wchar_t* kLicenceExtensions[] = {L".pv8lic", L".pv7lic"};

bool AnyFileMatches(const std::wstring& pattern)
{
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW(pattern.c_str(), &found));
    if (!search) {
        return false;
    }
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
            return true;
        }
    } while (::FindNextFileW(search.Get(), &found));
    return false;
}

}  // namespace

bool IsLicencePresent()
{
    wchar_t ownPath[kPathChars] = {};
    ::GetModuleFileNameW(nullptr, ownPath, static_cast<DWORD>(kPathChars));
    const std::wstring folder = DriveAndFolder(ownPath);
    for (const wchar_t* extension : kLicenceExtensions) {
        if (AnyFileMatches(folder + L"*" + extension)) {
            return true;
        }
    }
    return false;
}

std::vector<std::wstring> LicenceFilesIn(const std::wstring& folder)
{
    std::vector<std::wstring> names;
    for (const wchar_t* extension : kLicenceExtensions) {
        WIN32_FIND_DATAW found = {};
        UniqueFindHandle search(::FindFirstFileW(JoinPath(folder, std::wstring(L"*") + extension).c_str(), &found));
        if (!search) {
            continue;
        }
        do {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
                names.emplace_back(found.cFileName);
            }
        } while (::FindNextFileW(search.Get(), &found));
    }
    return names;
}
