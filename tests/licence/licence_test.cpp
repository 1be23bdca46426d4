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

TEST(LicencePresence, OnlyACurrentOrPreviousMajorVersionLicenceFileBesideTheProgramCounts)
{
    ASSERT_FALSE(IsLicencePresent());
    const std::wstring others[] = {OwnFolderFile(L"owner.pv6lic"), OwnFolderFile(L"owner.pv8lic.bak")};
    for (const std::wstring& file : others) {
        WriteTextFile(file, "licence");
    }
    ::CreateDirectoryW(OwnFolderFile(L"licences.pv8lic").c_str(), nullptr);
    EXPECT_FALSE(IsLicencePresent()) << "other versions, other names and folders do not count";
    for (const wchar_t* name : {L"owner.pv8lic", L"Owner Name.PV7LIC"}) {
        const std::wstring file = OwnFolderFile(name);
        WriteTextFile(file, "licence");
        EXPECT_TRUE(IsLicencePresent()) << std::string(file.begin(), file.end());
        ::DeleteFileW(file.c_str());
    }
    for (const std::wstring& file : others) {
        ::DeleteFileW(file.c_str());
    }
    ::RemoveDirectoryW(OwnFolderFile(L"licences.pv8lic").c_str());
}
