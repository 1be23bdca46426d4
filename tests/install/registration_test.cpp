#include "install/install_state.h"
#include "install/registration.h"
#include "support/machine_snapshot.h"
#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Register, then take back as the uninstaller does (its clean-up and the
// handler's unregistration): every value written exactly, and nothing else,
// and the registry as it was afterwards, on every system the program tells apart.
TEST(RegisterProduct, WritesEveryEntryAndRemovalTakesThemAllBack)
{
    const struct {
        DWORD major, minor;
        InstallKind kind;
        const wchar_t *progId, *handler, *clsid;
    } cases[] = {
        {5, 1, AllUsers, L"Applications\\Pixvn8.exe", L"ThumbPviXP32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}"},
        {6, 1, CurrentUser, L"Applications\\Pixvn8.exe", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
        {6, 2, CurrentUser, L"Pixvane.8", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
        {10, 0, AllUsers, L"Pixvane.8", L"ThumbPvi32.dll", L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"},
    };
    const OSVERSIONINFOEXW realVersion = g_osVersion;
    const std::wstring folder = MakeScratchFolder(L"Pixvane 8 registered");
    for (const wchar_t* handler : {L"ThumbPvi32.dll", L"ThumbPviXP32.dll"}) {
        ASSERT_TRUE(::CopyFileW(PackagePath(handler).c_str(), (folder + L"\\" + handler).c_str(), FALSE));
    }
    g_installState.destinationFolder = folder;
    g_installState.packageVersion = {8, 1, 5, 0};
    // Windows has this key, which registration writes into and removal leaves.
    SetRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer", L"SOFTWARE\\Other");
    const MachineSnapshot before = TakeMachineSnapshot(false);
    const std::wstring thumbShellEx = L".pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";

    for (const auto& windows : cases) {
        SCOPED_TRACE(std::to_string(windows.major) + "." + std::to_string(windows.minor));
        g_osVersion.dwMajorVersion = windows.major;
        g_osVersion.dwMinorVersion = windows.minor;
        g_installState.kind = windows.kind;

        RegisterProduct();
        // regsvr32 is not waited for; its last key says it is done.
        ASSERT_TRUE(WaitUntil([&] { return RegKeyExists(HKEY_CLASSES_ROOT, thumbShellEx); }, 20000));
        const std::wstring product = L"HKLM\\SOFTWARE\\Quorvex\\Pixvane 8\\";
        const std::wstring classes = L"HKLM\\SOFTWARE\\Classes\\";
        const std::wstring uninstall = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8\\|";
        const std::wstring appPath = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe\\|";
        const std::wstring open = L" = REG_SZ:\"" + folder + L"\\Pixvn8.exe\" \"%1\"";
        const std::wstring clsid = classes + L"CLSID\\" + windows.clsid + L"\\";
        MachineSnapshot expected = {
            product + L"|AllUsers = REG_SZ:" + (windows.kind == AllUsers ? L"B" : L"A"),
            product + L"|Path = REG_SZ:" + folder,
            classes + L"Pixvane.8\\shell\\open\\command\\|@" + open,
            L"HKLM\\SOFTWARE\\RegisteredApplications\\|Pixvane.8 = REG_SZ:SOFTWARE\\Quorvex\\Pixvane 8\\Capabilities",
            classes + L".pv8lic\\|@ = REG_SZ:Pixvane8.License",
            classes + L"Pixvane8.License\\shell\\open\\command\\|@" + open,
            appPath + L"@ = REG_SZ:" + folder + L"\\Pixvn8.exe",
            appPath + L"Path = REG_SZ:" + folder,
            uninstall + L"Contact = REG_SZ:Support",
            uninstall + L"DisplayName = REG_SZ:Pixvane 8",
            uninstall + L"InstallLocation = REG_SZ:" + folder,
            uninstall + L"DisplayVersion = REG_SZ:8.01.05",
            uninstall + L"VersionMajor = REG_SZ:8",
            uninstall + L"VersionMinor = REG_SZ:1",
            uninstall + L"MajorVersion = REG_DWORD:8",
            uninstall + L"MinorVersion = REG_DWORD:1",
            uninstall + L"Publisher = REG_SZ:Quorvex Technology LLC",
            uninstall + L"UninstallString = REG_SZ:" + folder + L"\\PxvUnInst.exe",
            uninstall + L"URLInfoAbout = REG_SZ:https://www.quorvex.example/pixvane",
            classes + L"Applications\\Pixvn8.exe\\shell\\open\\command\\|@" + open,
            // What the thumbnail double writes when regsvr32 registers it.
            clsid + L"|@ = REG_SZ:Pixvane 8 Thumbnail Handler",
            clsid + L"InprocServer32\\|@ = REG_SZ:" + folder + L"\\" + windows.handler,
            clsid + L"InprocServer32\\|ThreadingModel = REG_SZ:Apartment",
            classes + thumbShellEx + L"\\|@ = REG_SZ:" + windows.clsid,
        };
        for (const wchar_t* extension : {L".bmp", L".dib", L".gif", L".jpg", L".jpeg", L".tif", L".tiff", L".png",
                                         L".cmp", L".tga", L".wpg", L".jp2", L".j2k", L".pvi"}) {
            expected.insert(product + L"Capabilities\\FileAssociations\\|" + extension + L" = REG_SZ:" + windows.progId);
        }
        MachineSnapshot added;  // the values only: keys follow from them
        for (const std::wstring& line : TakeMachineSnapshot(false)) {
            if (line.find(L'|') != std::wstring::npos && !before.count(line)) {
                added.insert(line);
            }
        }
        // "+" for a value written that should not be, "-" for one missing.
        EXPECT_EQ(SnapshotChanges(expected, added), std::vector<std::wstring>());

        RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");
        RestoreFileAssociations();
        RunToEnd(L"regsvr32.exe /s /u \"" + folder + L"\\" + windows.handler + L"\"");
        EXPECT_EQ(SnapshotChanges(before, TakeMachineSnapshot(false)), std::vector<std::wstring>());
    }
    g_osVersion = realVersion;
}
