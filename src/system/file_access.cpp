#include "system/file_access.h"

#include "system/links.h"
#include "system/path_text.h"

#include <sddl.h>

#include <cwctype>

CreateFileWFn g_pfnCreateFileW = ::CreateFileW;
SetNamedSecurityInfoWFn g_pfnSetNamedSecurityInfoW = ::SetNamedSecurityInfoW;

namespace {

// A descriptor made from SDDL text, freed with the object; null when the text
// could not be converted.
class Descriptor {
public:
    explicit Descriptor(const wchar_t* sddl)
    {
        if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &m_descriptor, nullptr)) {
            m_descriptor = nullptr;
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::LocalFree(m_descriptor); }

    PSECURITY_DESCRIPTOR Get() const { return m_descriptor; }

private:
    PSECURITY_DESCRIPTOR m_descriptor = nullptr;
};

bool IsAdministratorsOrSystem(PSID sid)
{
    return sid && (::IsWellKnownSid(sid, WinBuiltinAdministratorsSid) || ::IsWellKnownSid(sid, WinLocalSystemSid));
}

// Owned by the administrators or the system, its access list protected from
// its parent's and allowing nobody else anything.
bool IsAdministratorsOnly(const std::wstring& folder)
{
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                &owner, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    bool only = IsAdministratorsOrSystem(owner) && list &&
                ::GetSecurityDescriptorControl(descriptor, &control, &revision) && (control & SE_DACL_PROTECTED);
    for (DWORD i = 0; only && i < list->AceCount; ++i) {
        void* entry = nullptr;
        only = ::GetAce(list, i, &entry);
        const auto* header = static_cast<const ACE_HEADER*>(entry);
        if (only && header->AceType != ACCESS_DENIED_ACE_TYPE) {
            only = header->AceType == ACCESS_ALLOWED_ACE_TYPE &&
                   IsAdministratorsOrSystem(&static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart);
        }
    }
    ::LocalFree(descriptor);
    return only;
}

// Whether the system keeps files from processes by access lists there. Wine
// says its volumes keep them, but it keeps none and runs every process as
// one user: every file is open to everything, whatever its descriptor reads.
bool KeepsAccessLists(const std::wstring& folder)
{
    wchar_t root[MAX_PATH] = {};
    DWORD flags = 0;
    const HMODULE system = ::GetModuleHandleW(L"ntdll.dll");
    if (system && ::GetProcAddress(system, "wine_get_version")) {
        return false;
    }
    return ::GetVolumePathNameW(folder.c_str(), root, MAX_PATH) &&
           ::GetVolumeInformationW(root, nullptr, 0, nullptr, nullptr, &flags, nullptr, 0) &&
           (flags & FILE_PERSISTENT_ACLS);
}

}  // namespace

bool IsPackagesOwnFolder(const std::wstring& folder)
{
    wchar_t windows[MAX_PATH] = {};
    const UINT length = ::GetSystemWindowsDirectoryW(windows, MAX_PATH);
    const std::wstring temporary = JoinPath(windows, L"Temp");
    const size_t last = folder.find_last_of(L"\\/");
    if (length == 0 || length >= MAX_PATH || last == std::wstring::npos ||
        !EqualsNoCase(folder.substr(0, last), temporary)) {
        return false;
    }
    const std::wstring name = folder.substr(last + 1);
    constexpr size_t kDigits = 20;
    if (name.size() != 4 + kDigits || !EqualsNoCase(name.substr(0, 4), L"Pxv-")) {
        return false;
    }
    for (const wchar_t c : name.substr(4)) {
        if (!std::iswxdigit(c)) {
            return false;
        }
    }
    // Where no access lists are kept, a copy would be as open to everyone
    // as the moved file.
    return !LeadsThroughLink(folder) && (!KeepsAccessLists(folder) || IsAdministratorsOnly(folder));
}

bool TakeAccessFromFolder(const std::wstring& path)
{
    // An empty list that is not protected leaves exactly what the folder passes on.
    ACL empty = {};
    std::wstring name = path;  // the system's declaration takes a writable name
    return ::InitializeAcl(&empty, sizeof(empty), ACL_REVISION) &&
           g_pfnSetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                                      DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                                      nullptr, &empty, nullptr) == ERROR_SUCCESS;
}

UniqueFileHandle CreateNewFileWithAccess(const std::wstring& path, const wchar_t* sddl)
{
    const Descriptor access(sddl);
    if (!access.Get()) {
        return UniqueFileHandle();  // never without its access list
    }
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), access.Get(), FALSE};
    return UniqueFileHandle(g_pfnCreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &attributes, CREATE_NEW,
                                             FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool SetFolderAccess(const std::wstring& folder, const wchar_t* sddl)
{
    const Descriptor access(sddl);
    PSID owner = nullptr;
    PACL list = nullptr;
    BOOL defaulted = FALSE;
    BOOL present = FALSE;
    if (!access.Get() || !::GetSecurityDescriptorOwner(access.Get(), &owner, &defaulted) ||
        !::GetSecurityDescriptorDacl(access.Get(), &present, &list, &defaulted) || !present) {
        return false;
    }
    std::wstring name = folder;  // the system's declaration takes a writable name
    const SECURITY_INFORMATION dacl = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
    if (owner && g_pfnSetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, dacl | OWNER_SECURITY_INFORMATION, owner,
                                            nullptr, list, nullptr) == ERROR_SUCCESS) {
        return true;
    }
    // A folder a user made is his; without the right to take it over the
    // access list still goes on.
    return g_pfnSetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, dacl, nullptr, nullptr, list, nullptr) ==
           ERROR_SUCCESS;
}
