#include "install/install_state.h"
#include "install/registration.h"
#include "support/registry_snapshot.h"
#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The thumbnail doubles write their class under these ids and the ".pvi"
// thumbnail extension.
constexpr wchar_t kThumbClsid32[] = L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}";
constexpr wchar_t kThumbClsidXp32[] = L"{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}";
constexpr wchar_t kThumbShellEx[] = L".pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";

struct WindowsCase {
    DWORD major, minor;
    InstallKind kind;
    const wchar_t *progId, *handler, *handlerClsid;
};

// A value's line as the snapshot writes it; REG_SZ unless data names its type.
std::wstring Sz(const std::wstring& key, const wchar_t* name, const std::wstring& data)
{
    return key + L"\\|" + name + L" = " + (data.rfind(L"REG_DWORD:", 0) == 0 ? L"" : L"REG_SZ:") + data;
}

// Every value registration must add, and nothing else.
RegistrySnapshot ExpectedValues(const WindowsCase& windows, const std::wstring& folder)
{
    const std::wstring product = L"HKLM\\SOFTWARE\\Quorvex\\Pixvane 8";
    const std::wstring classes = L"HKLM\\SOFTWARE\\Classes\\";
    const std::wstring uninstall = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
    const std::wstring appPath = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe";
    const std::wstring open = L"\"" + folder + L"\\Pixvn8.exe\" \"%1\"";
    const std::wstring clsid = classes + L"CLSID\\" + windows.handlerClsid;
    RegistrySnapshot values = {
        Sz(product, L"AllUsers", windows.kind == AllUsers ? L"B" : L"A"),
        Sz(product, L"Path", folder),
        Sz(classes + L"Pixvane.8\\shell\\open\\command", L"@", open),
        Sz(L"HKLM\\SOFTWARE\\RegisteredApplications", L"Pixvane.8", L"SOFTWARE\\Quorvex\\Pixvane 8\\Capabilities"),
        Sz(classes + L".pv8lic", L"@", L"Pixvane8.License"),
        Sz(classes + L"Pixvane8.License\\shell\\open\\command", L"@", open),
        Sz(appPath, L"@", folder + L"\\Pixvn8.exe"),
        Sz(appPath, L"Path", folder),
        Sz(uninstall, L"Contact", L"Support"),
        Sz(uninstall, L"DisplayName", L"Pixvane 8"),
        Sz(uninstall, L"InstallLocation", folder),
        Sz(uninstall, L"DisplayVersion", L"8.01.05"),
        Sz(uninstall, L"VersionMajor", L"8"),
        Sz(uninstall, L"VersionMinor", L"1"),
        Sz(uninstall, L"MajorVersion", L"REG_DWORD:8"),
        Sz(uninstall, L"MinorVersion", L"REG_DWORD:1"),
        Sz(uninstall, L"Publisher", L"Quorvex Technology LLC"),
        Sz(uninstall, L"UninstallString", folder + L"\\PxvUnInst.exe"),
        Sz(uninstall, L"URLInfoAbout", L"https://www.quorvex.example/pixvane"),
        Sz(classes + L"Applications\\Pixvn8.exe\\shell\\open\\command", L"@", open),
        // What the thumbnail double writes when regsvr32 registers it.
        Sz(clsid, L"@", L"Pixvane 8 Thumbnail Handler"),
        Sz(clsid + L"\\InprocServer32", L"@", folder + L"\\" + windows.handler),
        Sz(clsid + L"\\InprocServer32", L"ThreadingModel", L"Apartment"),
        Sz(classes + kThumbShellEx, L"@", windows.handlerClsid),
    };
    for (const wchar_t* extension : {L".bmp", L".dib", L".gif", L".jpg", L".jpeg", L".tif", L".tiff", L".png",
                                     L".cmp", L".tga", L".wpg", L".jp2", L".j2k", L".pvi"}) {
        values.insert(Sz(product + L"\\Capabilities\\FileAssociations", extension, windows.progId));
    }
    return values;
}

// The values that after holds and before does not.
RegistrySnapshot AddedValues(const RegistrySnapshot& before, const RegistrySnapshot& after)
{
    RegistrySnapshot values;
    for (const std::wstring& line : after) {
        if (line.find(L'|') != std::wstring::npos && !before.count(line)) {
            values.insert(line);
        }
    }
    return values;
}

}  // namespace

// Register, then take back as the uninstaller does (its clean-up and the
// handler's unregistration): the registry must be as it was, on every
// system the program tells apart.
TEST(RegisterProduct, WritesEveryEntryAndRemovalTakesThemAllBack)
{
    const WindowsCase cases[] = {
        {5, 1, AllUsers, L"Applications\\Pixvn8.exe", L"ThumbPviXP32.dll", kThumbClsidXp32},
        {6, 1, CurrentUser, L"Applications\\Pixvn8.exe", L"ThumbPvi32.dll", kThumbClsid32},
        {6, 2, CurrentUser, L"Pixvane.8", L"ThumbPvi32.dll", kThumbClsid32},
        {10, 0, AllUsers, L"Pixvane.8", L"ThumbPvi32.dll", kThumbClsid32},
    };
    const OSVERSIONINFOEXW realVersion = g_osVersion;
    const std::wstring folder = MakeScratchFolder(L"Pixvane 8 registered");
    for (const wchar_t* handler : {L"ThumbPvi32.dll", L"ThumbPviXP32.dll"}) {
        ASSERT_TRUE(::CopyFileW(PackagePath(handler).c_str(), (folder + L"\\" + handler).c_str(), FALSE));
    }
    g_installState.destinationFolder = folder;
    g_installState.packageVersion = {8, 1, 5, 0};
    const RegistrySnapshot before = SnapshotRegistry();
    // Registration makes this key where the system has none (before Vista, or
    // a fresh Wine prefix); removal takes only its value, so the empty key stays.
    const std::wstring registeredApps = L"HKLM\\SOFTWARE\\RegisteredApplications\\";
    std::vector<std::wstring> knownResidue;
    if (!before.count(registeredApps)) {
        knownResidue.push_back(L"+ " + registeredApps);
    }

    for (const WindowsCase& windows : cases) {
        SCOPED_TRACE(std::to_string(windows.major) + "." + std::to_string(windows.minor));
        g_osVersion.dwMajorVersion = windows.major;
        g_osVersion.dwMinorVersion = windows.minor;
        g_installState.kind = windows.kind;

        RegisterProduct();
        // regsvr32 is not waited for; its last key says it is done.
        ASSERT_TRUE(WaitUntil([] { return RegKeyExists(HKEY_CLASSES_ROOT, kThumbShellEx); }, 20000));
        // "+" for a value written that should not be, "-" for one missing.
        EXPECT_EQ(RegistryChanges(ExpectedValues(windows, folder), AddedValues(before, SnapshotRegistry())),
                  std::vector<std::wstring>());

        RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");
        RestoreFileAssociations();
        RunToEnd(L"regsvr32.exe /s /u \"" + folder + L"\\" + windows.handler + L"\"");
        EXPECT_EQ(RegistryChanges(before, SnapshotRegistry()), knownResidue);
    }
    g_osVersion = realVersion;
}
