#include "install/registration.h"

#include "app/product_names.h"
#include "install/install_state.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/services.h"
#include "ui/resource.h"
#include "uninstall/association_table.h"

#include <cwchar>

namespace {

constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8";
constexpr wchar_t kFileAssociationsKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8\\Capabilities\\FileAssociations";
constexpr wchar_t kCapabilitiesKey[] = L"SOFTWARE\\Quorvex\\Pixvane 8\\Capabilities";
constexpr wchar_t kAppPathsKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
constexpr wchar_t kPublisher[] = L"Quorvex Technology LLC";

bool WriteValue(HKEY hive, const wchar_t* keyPath, const wchar_t* name, DWORD type, const void* data, DWORD bytes)
{
    UniqueRegKey key;
    if (::RegCreateKeyExW(hive, keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, key.Put(),
                          nullptr) != ERROR_SUCCESS) {
        DiagLog(L"registry key not made: ", keyPath);
        return false;
    }
    return DiagStatus(::RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE*>(data), bytes),
                      L"registry write: ", hive == HKEY_CLASSES_ROOT ? L"HKCR\\" : L"HKLM\\", keyPath, L" | ",
                      name ? name : L"@") == ERROR_SUCCESS;
}

// Windows 8 lets a program offer its own ProgID in Default Programs; earlier
// systems only know the application's own class.
const wchar_t* ProductProgId()
{
    const bool windows8OrLater = g_osVersion.dwMajorVersion > 6 ||
                                 (g_osVersion.dwMajorVersion == 6 && g_osVersion.dwMinorVersion >= 2);
    return windows8OrLater ? L"Pixvane.8" : L"Applications\\Pixvn8.exe";
}

// The handler library the package installed for this system; empty when
// there is none.
std::wstring ThumbnailHandlerPath(const std::wstring& folder)
{
    const bool vista = IsVistaOrLater();
    if (IsWow64()) {
        return vista ? folder + L"\\x64\\ThumbPvi64.dll" : std::wstring();
    }
    return folder + (vista ? L"\\ThumbPvi32.dll" : L"\\ThumbPviXP32.dll");
}

std::wstring Decimal(unsigned number)
{
    wchar_t text[16] = {};
    std::swprintf(text, 16, L"%d", static_cast<int>(number));
    return text;
}

}  // namespace

bool WriteRegString(HKEY hive, const wchar_t* keyPath, const wchar_t* name, const std::wstring& text)
{
    const DWORD bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return WriteValue(hive, keyPath, name, REG_SZ, text.c_str(), bytes);
}

bool WriteRegDword(HKEY hive, const wchar_t* keyPath, const wchar_t* name, DWORD number)
{
    return WriteValue(hive, keyPath, name, REG_DWORD, &number, sizeof(number));
}

void RegisterProduct()
{
    const HKEY hklm = HKEY_LOCAL_MACHINE;
    const HKEY hkcr = HKEY_CLASSES_ROOT;
    const InstallState& state = g_installState;
    const std::wstring& folder = state.destinationFolder;
    const std::wstring exe = folder + L"\\" + kProductExe;
    const std::wstring open = L"\"" + exe + L"\" \"%1\"";
    const FileVersion& version = state.packageVersion;
    wchar_t displayVersion[32] = {};
    std::swprintf(displayVersion, 32, L"%d.%02d.%02d", static_cast<int>(version.major),
                  static_cast<int>(version.minor), static_cast<int>(version.third));

    // Every write is attempted whatever became of the one before; without
    // administrator rights they all fail, and the installation goes on.
    WriteRegString(hklm, kProductKey, L"AllUsers", state.kind == AllUsers ? L"B" : L"A");
    WriteRegString(hklm, kProductKey, L"Path", folder);
    WriteRegString(hkcr, L"Pixvane.8\\shell\\open\\command", nullptr, open);
    const wchar_t* progId = ProductProgId();
    for (const FileAssociation& association : g_associationTable) {
        WriteRegString(hklm, kFileAssociationsKey, association.extension, progId);
    }
    WriteRegString(hklm, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8", kCapabilitiesKey);
    WriteRegString(hkcr, L".pv8lic", nullptr, L"Pixvane8.License");
    WriteRegString(hkcr, L"Pixvane8.License\\shell\\open\\command", nullptr, open);
    WriteRegString(hklm, kAppPathsKey, nullptr, exe);
    WriteRegString(hklm, kAppPathsKey, L"Path", folder);
    WriteRegString(hklm, kUninstallKey, L"Contact", L"Support");
    WriteRegString(hklm, kUninstallKey, L"DisplayName", LoadResString(IDS_PRODUCT_NAME));
    WriteRegString(hklm, kUninstallKey, L"InstallLocation", folder);
    WriteRegString(hklm, kUninstallKey, L"DisplayVersion", displayVersion);
    // The version twice on purpose: as text for the programs list, as numbers
    // for tools that compare.
    WriteRegString(hklm, kUninstallKey, L"VersionMajor", Decimal(version.major));
    WriteRegString(hklm, kUninstallKey, L"VersionMinor", Decimal(version.minor));
    WriteRegDword(hklm, kUninstallKey, L"MajorVersion", version.major);
    WriteRegDword(hklm, kUninstallKey, L"MinorVersion", version.minor);
    WriteRegString(hklm, kUninstallKey, L"Publisher", kPublisher);
    // Without quotes even when the folder holds blanks: that is how it has
    // always been written, and the programs list copes with it.
    WriteRegString(hklm, kUninstallKey, L"UninstallString", folder + L"\\PxvUnInst.exe");
    WriteRegString(hklm, kUninstallKey, L"URLInfoAbout", kMakerHomePage);
    WriteRegString(hkcr, L"Applications\\Pixvn8.exe\\shell\\open\\command", nullptr, open);

    const std::wstring handler = ThumbnailHandlerPath(folder);
    if (handler.size() > 4) {
        // Not waited for: regsvr32 finishes on its own while setup goes on.
        RunAndWait((L"regsvr32.exe /s \"" + handler + L"\"").c_str(), nullptr, 0);
    }
}
