#include "licence/licence.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

namespace {

// The licence is looked for beside the running program: here, the test program.
std::wstring OwnFolderFile(const std::wstring& name)
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    return folder.substr(0, folder.rfind(L'\\') + 1) + name;
}

}  // namespace

TEST(LicencePresence, ACurrentOrPreviousMajorVersionLicenceBesideTheProgramCounts)
{
    ASSERT_FALSE(IsLicencePresent());
    for (const wchar_t* name : {L"owner.pv8lic", L"Owner Name.PV7LIC"}) {
        const std::wstring file = OwnFolderFile(name);
        WriteTextFile(file, "licence");
        EXPECT_TRUE(IsLicencePresent()) << "with " << std::string(file.begin(), file.end());
        ::DeleteFileW(file.c_str());
    }
}

TEST(LicencePresence, OtherVersionsNamesAndFoldersDoNotCount)
{
    const std::wstring older = OwnFolderFile(L"owner.pv6lic");
    const std::wstring copy = OwnFolderFile(L"owner.pv8lic.bak");
    const std::wstring folder = OwnFolderFile(L"licences.pv8lic");
    WriteTextFile(older, "licence");
    WriteTextFile(copy, "licence");
    ::CreateDirectoryW(folder.c_str(), nullptr);
    EXPECT_FALSE(IsLicencePresent());
    ::DeleteFileW(older.c_str());
    ::DeleteFileW(copy.c_str());
    ::RemoveDirectoryW(folder.c_str());
}
