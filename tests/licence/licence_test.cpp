#include "licence/licence.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

// The licence is looked for beside the running program: here, the test program.
TEST(LicencePresence, OnlyACurrentOrPreviousMajorVersionLicenceFileBesideTheProgramCounts)
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring folder = std::wstring(path).substr(0, std::wstring(path).rfind(L'\\') + 1);
    ASSERT_FALSE(IsLicencePresent());
    WriteTextFile(folder + L"owner.pv6lic", "licence");
    WriteTextFile(folder + L"owner.pv8lic.bak", "licence");
    MakeFolders(folder + L"licences.pv8lic");
    EXPECT_FALSE(IsLicencePresent()) << "other versions, other names and folders do not count";
    for (const wchar_t* name : {L"owner.pv8lic", L"Owner Name.PV7LIC"}) {
        WriteTextFile(folder + name, "licence");
        EXPECT_TRUE(IsLicencePresent()) << name;
        ::DeleteFileW((folder + name).c_str());
    }
    for (const wchar_t* name : {L"owner.pv6lic", L"owner.pv8lic.bak", L"licences.pv8lic"}) {
        RemoveTree(folder + name);
    }
}
