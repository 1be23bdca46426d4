#include "system/file_access.h"

#include <sddl.h>

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

}  // namespace

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
