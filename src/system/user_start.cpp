#include "system/user_start.h"

#include "system/handles.h"
#include "system/services.h"

#include <shellapi.h>

#include <vector>

GetShellWindowFn g_pfnGetShellWindow = ::GetShellWindow;
ShellExecuteWFn g_pfnShellExecuteW = &::ShellExecuteW;
InitializeProcThreadAttributeListFn g_pfnInitializeProcThreadAttributeList = nullptr;
UpdateProcThreadAttributeFn g_pfnUpdateProcThreadAttribute = nullptr;
DeleteProcThreadAttributeListFn g_pfnDeleteProcThreadAttributeList = nullptr;

namespace {

// Resolved at start-up like the other optional calls: linked by name they
// would keep setup from starting at all on a system without them.
struct AttributeCalls {
    AttributeCalls()
    {
        HMODULE kernel = ::GetModuleHandleW(L"kernel32");
        if (!kernel) {
            return;
        }
        const auto lookUp = [kernel](const char* name) {
            return reinterpret_cast<void*>(::GetProcAddress(kernel, name));
        };
        g_pfnInitializeProcThreadAttributeList =
            reinterpret_cast<InitializeProcThreadAttributeListFn>(lookUp("InitializeProcThreadAttributeList"));
        g_pfnUpdateProcThreadAttribute =
            reinterpret_cast<UpdateProcThreadAttributeFn>(lookUp("UpdateProcThreadAttribute"));
        g_pfnDeleteProcThreadAttributeList =
            reinterpret_cast<DeleteProcThreadAttributeListFn>(lookUp("DeleteProcThreadAttributeList"));
    }
};
const AttributeCalls g_attributeCalls;

// The attribute list owns its buffer and is deleted with it.
class ParentAttribute {
public:
    explicit ParentAttribute(HANDLE parent) : m_parent(parent)
    {
        SIZE_T size = 0;
        g_pfnInitializeProcThreadAttributeList(nullptr, 1, 0, &size);  // fails, telling the size
        m_buffer.resize(size);
        auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_buffer.data());
        if (size == 0 || !g_pfnInitializeProcThreadAttributeList(list, 1, 0, &size)) {
            return;
        }
        m_list = list;
        if (!g_pfnUpdateProcThreadAttribute(m_list, 0, PROC_THREAD_ATTRIBUTE_PARENT_PROCESS, &m_parent,
                                            sizeof(m_parent), nullptr, nullptr)) {
            g_pfnDeleteProcThreadAttributeList(m_list);
            m_list = nullptr;
        }
    }
    ~ParentAttribute()
    {
        if (m_list) {
            g_pfnDeleteProcThreadAttributeList(m_list);
        }
    }
    ParentAttribute(const ParentAttribute&) = delete;
    ParentAttribute& operator=(const ParentAttribute&) = delete;
    LPPROC_THREAD_ATTRIBUTE_LIST List() const { return m_list; }

private:
    HANDLE m_parent;  // read by the list until it is deleted
    std::vector<unsigned char> m_buffer;
    LPPROC_THREAD_ATTRIBUTE_LIST m_list = nullptr;
};

}  // namespace

bool StartAsShellChild(const std::wstring& program, const std::wstring& arguments, const wchar_t* folder)
{
    if (!g_pfnInitializeProcThreadAttributeList || !g_pfnUpdateProcThreadAttribute ||
        !g_pfnDeleteProcThreadAttributeList) {
        return false;
    }
    const HWND shell = g_pfnGetShellWindow();
    DWORD shellId = 0;
    if (!shell || !::GetWindowThreadProcessId(shell, &shellId) || shellId == 0) {
        return false;
    }
    UniqueHandle parent(::OpenProcess(PROCESS_CREATE_PROCESS, FALSE, shellId));
    if (!parent) {
        return false;
    }
    const ParentAttribute attribute(parent.Get());
    if (!attribute.List()) {
        return false;
    }
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.lpAttributeList = attribute.List();
    std::wstring commandLine = L"\"" + program + L"\"" + (arguments.empty() ? L"" : L" " + arguments);
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, EXTENDED_STARTUPINFO_PRESENT,
                          nullptr, folder, &startup.StartupInfo, &process)) {
        return false;
    }
    UniqueHandle thread(process.hThread);
    UniqueHandle child(process.hProcess);
    return true;
}

void OpenAddressForUser(const std::wstring& address)
{
    const std::wstring handler = SystemProgramPath(L"rundll32.exe");
    if (handler.empty() || !StartAsShellChild(handler, L"url.dll,FileProtocolHandler " + address, nullptr)) {
        g_pfnShellExecuteW(nullptr, L"open", address.c_str(), nullptr, nullptr, SW_SHOW);
    }
}
