#include "uninstall/registry_cleanup.h"

#include "app/product_names.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/services.h"
#include "system/user_keys.h"
#include "uninstall/association_table.h"

#include <shlobj.h>

#include <cwchar>
#include <string>

namespace {

// Registry key names are at most 255 characters; the buffer is the program's
// usual one for key names.
constexpr DWORD kRegKeyNameChars = 512;

// An association value is read up to 1,024 bytes. One extra character keeps
// a value stored without its terminating zero a terminated string.
constexpr DWORD kAssociationValueChars = 512;
using AssociationText = wchar_t[kAssociationValueChars + 1];

// What each extension of the table goes back to, and the one buffer the
// association values are read into; the uninstaller has a single thread.
AssociationText g_savedAssociations[kAssociationCount];
AssociationText g_associationValue;

constexpr wchar_t kProductProgId[] = L"Applications\\Pixvn8.exe";
// Where registration kept the association it replaced.
constexpr wchar_t kPreviousAssociation[] = L"PixvnOld";
constexpr wchar_t kFileExtsKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts";

// Full access, so that whatever is opened can also be emptied and deleted.
// Empty when the key is missing or refused.
UniqueRegKey OpenKey(HKEY root, const wchar_t* subkey, REGSAM extraAccess = 0)
{
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(root, subkey, 0, KEY_ALL_ACCESS | extraAccess, &opened) != ERROR_SUCCESS) {
        return UniqueRegKey();
    }
    return UniqueRegKey(opened);
}

// Reads a string value into text; on any failure (missing, too long) text is
// left empty and the result is false. The type is not checked.
bool ReadAssociationValue(HKEY key, const wchar_t* name, AssociationText& text)
{
    DWORD bytes = kAssociationValueChars * sizeof(wchar_t);
    if (::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &bytes) != ERROR_SUCCESS) {
        text[0] = L'\0';
        return false;
    }
    text[bytes / sizeof(wchar_t)] = L'\0';
    return true;
}

bool NamesProduct(const wchar_t* association)
{
    return std::wcsstr(association, kProductExe) != nullptr;
}

// The product's settings and its application class, relative to one user's
// key under HKU. Results ignored: what cannot be deleted stays.
void RemoveUserEntries(HKEY userRoot, const std::wstring& productKey, const std::wstring& makerKey,
                       const std::wstring& applicationKey)
{
    DeleteRegistryTree(userRoot, productKey.c_str());
    DeleteRegistryKeyIfEmpty(userRoot, makerKey.c_str());
    DeleteRegistryTree(userRoot, applicationKey.c_str());
}

// Removes subkey below parentPath of root; parentPath is opened with the
// extra access given, the tree below it without.
void DeleteTreeBelow(HKEY root, const wchar_t* parentPath, const wchar_t* subkey, REGSAM extraAccess = 0)
{
    if (UniqueRegKey parent = OpenKey(root, parentPath, extraAccess)) {
        DeleteRegistryTree(parent.Get(), subkey);  // ignored: a key that stays is harmless
    }
}

}  // namespace

bool DeleteRegistryTree(HKEY root, const wchar_t* subkey)
{
    if (UniqueRegKey key = OpenKey(root, subkey)) {
        wchar_t name[kRegKeyNameChars];
        DWORD index = 0;
        for (;;) {
            DWORD nameChars = kRegKeyNameChars;
            if (::RegEnumKeyExW(key.Get(), index, name, &nameChars, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS) {
                break;
            }
            // A deleted child lets the next one move into its index; one that
            // stays must be stepped over, or the loop would try it forever.
            if (!DeleteRegistryTree(key.Get(), name)) {
                ++index;
            }
        }
    }
    // Fails when a child stayed; the caller learns that the tree is not gone.
    return DiagStatus(::RegDeleteKeyW(root, subkey), L"registry key deleted: ", subkey) == ERROR_SUCCESS;
}

void DeleteRegistryKeyIfEmpty(HKEY root, const wchar_t* subkey)
{
    bool hasSubkey = false;
    {
        UniqueRegKey key = OpenKey(root, subkey);
        if (!key) {
            return;
        }
        wchar_t name[kRegKeyNameChars];
        DWORD nameChars = kRegKeyNameChars;
        hasSubkey = ::RegEnumKeyExW(key.Get(), 0, name, &nameChars, nullptr, nullptr, nullptr, nullptr) ==
                    ERROR_SUCCESS;
    }
    if (!hasSubkey) {
        DiagStatus(::RegDeleteKeyW(root, subkey), L"registry key deleted: ", subkey);  // ignored: best effort
    }
}

void RemoveRegistration(const wchar_t* maker, const wchar_t* product, const wchar_t* uninstallKeyName,
                        const wchar_t* exeName)
{
    const std::wstring makerKey = std::wstring(L"SOFTWARE\\") + maker;
    const std::wstring productKey = makerKey + L"\\" + product;
    const std::wstring applicationKey = std::wstring(L"SOFTWARE\\Classes\\Applications\\") + exeName;

    // Every result below is ignored on purpose: what cannot be deleted stays,
    // and the rest still goes.
    DeleteRegistryTree(HKEY_LOCAL_MACHINE, productKey.c_str());
    DeleteRegistryTree(HKEY_CURRENT_USER, productKey.c_str());
    // The maker's key may still hold the maker's other products.
    DeleteRegistryKeyIfEmpty(HKEY_LOCAL_MACHINE, makerKey.c_str());
    DeleteRegistryKeyIfEmpty(HKEY_CURRENT_USER, makerKey.c_str());
    DeleteRegistryTree(HKEY_LOCAL_MACHINE, applicationKey.c_str());

    // The product also ran under other accounts whose profiles are loaded;
    // a profile that refuses access keeps its entries.
    ForEachUserKey(KEY_ALL_ACCESS, [&](HKEY user) { RemoveUserEntries(user, productKey, makerKey, applicationKey); });

    for (const wchar_t* productClass : {L"PV8.Document", L".pv8lic", L"Pixvane8.License", L"Pixvane.8"}) {
        DeleteRegistryTree(HKEY_CLASSES_ROOT, productClass);
    }

    // The uninstall entry holds values only, so one deletion takes it.
    if (UniqueRegKey uninstall =
            OpenKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall")) {
        // ignored: best effort
        DiagStatus(::RegDeleteKeyW(uninstall.Get(), uninstallKeyName), L"uninstall entry deleted: ", uninstallKeyName);
    }
    DeleteTreeBelow(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths", exeName);
    if (UniqueRegKey registered = OpenKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications")) {
        // ignored: best effort
        DiagStatus(::RegDeleteValueW(registered.Get(), L"Pixvane.8"), L"registered application deleted: Pixvane.8");
    }

    // The browser reads its hosts from the 64-bit view; a 32-bit process must
    // ask for that view explicitly.
    const REGSAM browserView = IsWow64() ? KEY_WOW64_64KEY : 0;
    DeleteTreeBelow(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Mozilla\\NativeMessagingHosts", L"pixvff", browserView);
    DeleteTreeBelow(HKEY_CURRENT_USER, L"SOFTWARE\\Mozilla\\NativeMessagingHosts", L"pixvff", browserView);
}

void RestoreFileAssociations()
{
    // Explorer's per-user choices when it keeps them, else the classes'
    // default values.
    const wchar_t* valueName = L"Application";
    UniqueRegKey root = OpenKey(HKEY_CURRENT_USER, kFileExtsKey);
    if (!root) {
        valueName = nullptr;
        root = OpenKey(HKEY_CLASSES_ROOT, nullptr);
    }
    if (!root) {
        return;  // nothing could be read, so nothing is written either
    }
    // Before Vista the choice is the named program itself; later systems keep
    // it in a "UserChoice" subkey that only its removal gives back.
    const bool oldSystem = !IsVistaOrLater();

    for (size_t i = 0; i < kAssociationCount; ++i) {
        FileAssociation& entry = g_associationTable[i];
        AssociationText& saved = g_savedAssociations[i];
        saved[0] = L'\0';
        entry.flag = 0;
        UniqueRegKey extension = OpenKey(root.Get(), entry.extension);
        if (!extension) {
            continue;
        }
        if (oldSystem) {
            if (ReadAssociationValue(extension.Get(), valueName, g_associationValue) &&
                g_associationValue[0] != L'\0') {
                if (NamesProduct(g_associationValue)) {
                    entry.flag = 1;
                    // Missing: the value is deleted rather than rewritten below.
                    ReadAssociationValue(extension.Get(), kPreviousAssociation, saved);
                } else {
                    std::wmemcpy(saved, g_associationValue, std::wcslen(g_associationValue) + 1);
                }
            }
        } else if (ReadRegString(extension.Get(), L"UserChoice", L"Progid").find(kProductProgId) !=
                   std::wstring::npos) {
            entry.flag = 1;
        }
    }

    bool changed = false;
    for (size_t i = 0; i < kAssociationCount; ++i) {
        const FileAssociation& entry = g_associationTable[i];
        const AssociationText& saved = g_savedAssociations[i];
        UniqueRegKey extension = OpenKey(root.Get(), entry.extension);
        if (!extension) {
            continue;
        }
        // Every write and delete below is best effort; a failure leaves that
        // extension as it was.
        if (oldSystem) {
            if (ReadAssociationValue(extension.Get(), valueName, g_associationValue) &&
                NamesProduct(g_associationValue)) {
                changed = true;
                if (saved[0] != L'\0') {
                    const DWORD bytes = static_cast<DWORD>((std::wcslen(saved) + 1) * sizeof(wchar_t));
                    DiagStatus(::RegSetValueExW(extension.Get(), valueName, 0, REG_SZ,
                                                reinterpret_cast<const BYTE*>(saved), bytes),
                               L"association restored: ", entry.extension, L" = ", saved);
                } else {
                    DiagStatus(::RegDeleteValueW(extension.Get(), valueName), L"association deleted: ",
                               entry.extension);
                }
                ::RegDeleteValueW(extension.Get(), kPreviousAssociation);
            }
        } else {
            if (entry.flag != 0) {
                DiagStatus(::RegDeleteKeyW(extension.Get(), L"UserChoice"), L"user choice deleted: ",
                           entry.extension);
                changed = true;
            }
            ::RegDeleteValueW(extension.Get(), kPreviousAssociation);
        }
    }

    if (changed) {
        ::SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
    }
}
