// The removal run in this process on folders that no installation log
// describes: what it finds by the product's own names must still go, and
// nothing else.
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "uninstall/uninstall_sequence.h"

#include <shlobj.h>

#include <gtest/gtest.h>

namespace {

constexpr wchar_t kUserSid[] = L"S-1-5-21-1000-1000-1000-1002";
constexpr wchar_t kShellFolders[] = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

std::wstring CommonFolder(int csidl)
{
    wchar_t path[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path);
    return path;
}

class UninstallWithoutLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        SimulateRestart();
        m_product = MakeScratchFolder(L"nolog\\Pixvane 8");
        m_user = MakeScratchFolder(L"nolog-user");
        MakeFolders(m_product + L"\\x64");
        MakeFolders(m_product + L"\\x32");
        SetRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex\\Pixvane 8", L"Path", m_product);
    }

    void TearDown() override
    {
        RemoveTree(L"C:\\pxtest\\nolog");
        RemoveTree(m_user);
        for (const std::wstring& file : m_cleanUp) {
            RemoveTree(file);
        }
        DeleteRegTree(HKEY_USERS, kUserSid);
        DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex");
    }

    std::wstring Place(const std::wstring& path)
    {
        WriteTextFile(path, "link");
        m_cleanUp.push_back(path);
        return path;
    }

    // A user whose folders are known only from that user's own settings.
    void AddUser(const std::wstring& desktop, const std::wstring& startup, const std::wstring& programs)
    {
        const std::wstring key = std::wstring(kUserSid) + kShellFolders;
        SetRegString(HKEY_USERS, key, L"Desktop", desktop);
        SetRegString(HKEY_USERS, key, L"Startup", startup);
        SetRegString(HKEY_USERS, key, L"Programs", programs);
    }

    std::wstring m_product;
    std::wstring m_user;
    std::vector<std::wstring> m_cleanUp;
};

TEST_F(UninstallWithoutLog, RemovesEmptyFoldersAndTheShortcutsNamedAfterTheProduct)
{
    const std::wstring programs = CommonFolder(CSIDL_COMMON_PROGRAMS);
    const std::wstring desktop = CommonFolder(CSIDL_COMMON_DESKTOPDIRECTORY);
    const std::wstring startup = CommonFolder(CSIDL_COMMON_STARTUP);
    const std::wstring group = programs + L"\\Pixvane 8";
    MakeFolders(group);
    m_cleanUp.push_back(group);
    Place(group + L"\\Pixvane 8.lnk");
    ::SetFileAttributesW(Place(group + L"\\Pixvane 8 Help.lnk").c_str(), FILE_ATTRIBUTE_READONLY);
    const std::wstring commonLinks[] = {Place(desktop + L"\\Pixvane 8.lnk"), Place(startup + L"\\Pixvane 8.lnk")};
    const std::wstring othersLink = Place(desktop + L"\\Pixvane 7.lnk");

    for (const wchar_t* folder : {L"\\Desktop", L"\\Startup", L"\\Programs\\Pixvane 8"}) {
        MakeFolders(m_user + folder);
    }
    AddUser(m_user + L"\\Desktop", m_user + L"\\Startup", m_user + L"\\Programs");
    const std::wstring userLinks[] = {Place(m_user + L"\\Desktop\\Pixvane 8.lnk"),
                                      Place(m_user + L"\\Startup\\Pixvane 8.lnk"),
                                      Place(m_user + L"\\Programs\\Pixvane 8\\Pixvane 8.lnk")};
    const std::wstring usersOwn = Place(m_user + L"\\Desktop\\notes.txt");

    RunUninstall(m_product + L"\\");

    EXPECT_FALSE(FolderExists(m_product));
    EXPECT_FALSE(RegKeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex"));
    EXPECT_FALSE(FolderExists(group));
    for (const std::wstring& link : commonLinks) {
        EXPECT_FALSE(FileExists(link)) << link;
    }
    for (const std::wstring& link : userLinks) {
        EXPECT_FALSE(FileExists(link)) << link;
    }
    EXPECT_FALSE(FolderExists(m_user + L"\\Programs\\Pixvane 8"));
    EXPECT_TRUE(FileExists(othersLink));
    EXPECT_TRUE(FileExists(usersOwn));
}

TEST_F(UninstallWithoutLog, MissingX64FolderIsStillHandedToTheRestart)
{
    RemoveTree(m_product + L"\\x64");
    WriteTextFile(m_product + L"\\kept.txt", "the user's own");

    RunUninstall(m_product + L"\\");

    EXPECT_TRUE(IsPendingDeletion(m_product + L"\\x64"));
    EXPECT_FALSE(IsPendingDeletion(m_product + L"\\x32"));
    EXPECT_FALSE(IsPendingDeletion(m_product));
    EXPECT_TRUE(FileExists(m_product + L"\\kept.txt"));
}

}  // namespace
