#include "app/instance_manager.h"

#include "app/instance_list_text.h"

#include <sddl.h>

#include <span>

namespace {

constexpr wchar_t kMappingPrefix[] = L"Local\\COXInstanceManager_FileMap_";
constexpr wchar_t kListMutexPrefix[] = L"Local\\COXInstanceManager_InstanceList_Mutex_";
constexpr wchar_t kAdditionalMutexPrefix[] = L"Local\\COXInstanceManager_Additional_Mutex_";
constexpr int kTitleChars = 512;

// Holds a named mutex until destruction. The wait has no limit: every
// holder only edits a few bytes and posts, never sends, while holding it.
class MutexHold {
public:
    MutexHold() = default;
    explicit MutexHold(HANDLE mutex) { Acquire(mutex); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;
    ~MutexHold()
    {
        if (m_mutex) {
            ::ReleaseMutex(m_mutex);
        }
    }

    void Acquire(HANDLE mutex)
    {
        const DWORD wait = ::WaitForSingleObject(mutex, INFINITE);
        // A member that died holding the mutex hands it over abandoned; the
        // list itself is still intact, so it is ours to use like any other.
        if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
            m_mutex = mutex;
        }
    }

private:
    HANDLE m_mutex = nullptr;
};

// The objects' access list. Created elevated with the default one, they
// would admit only administrators, and a product the user starts meanwhile
// could not join. Opening an existing object by name asks for all access, so
// that is what the session's interactive users get; nobody else is admitted
// beyond the system and the administrators.
class InstanceObjectSecurity {
public:
    InstanceObjectSecurity()
    {
        if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kInstanceObjectsAccess, SDDL_REVISION_1,
                                                                  &m_descriptor, nullptr)) {
            m_descriptor = nullptr;  // then the default access list, as before
        }
        m_attributes.lpSecurityDescriptor = m_descriptor;
    }
    InstanceObjectSecurity(const InstanceObjectSecurity&) = delete;
    InstanceObjectSecurity& operator=(const InstanceObjectSecurity&) = delete;
    ~InstanceObjectSecurity() { ::LocalFree(m_descriptor); }

    SECURITY_ATTRIBUTES* Get() { return &m_attributes; }

private:
    PSECURITY_DESCRIPTOR m_descriptor = nullptr;
    SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

struct WindowSearch {
    DWORD processId;
    HWND found;
};

BOOL CALLBACK MatchInstanceWindow(HWND window, LPARAM param)
{
    auto* search = reinterpret_cast<WindowSearch*>(param);
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (owner != search->processId || ::GetWindow(window, GW_OWNER) != nullptr ||
        (::GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOOLWINDOW) != 0) {
        return TRUE;
    }
    wchar_t title[kTitleChars] = {};
    ::GetWindowTextW(window, title, kTitleChars);
    if (!IsInstanceWindowTitle(title)) {
        return TRUE;
    }
    search->found = window;
    return FALSE;
}

}  // namespace

// The frame of every list operation: a view of the list area, then the list
// mutex; on the way out the view goes first, then the mutex. Without a view
// nothing is locked and the operation gives up at once.
class COXInstanceManager::ListLock {
public:
    explicit ListLock(const COXInstanceManager& manager) : m_size(manager.m_listAreaSize)
    {
        if (manager.m_mapping) {
            m_view.Reset(::MapViewOfFile(manager.m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, m_size));
        }
        if (m_view) {
            m_hold.Acquire(manager.m_listMutex.Get());
        }
    }
    ListLock(const ListLock&) = delete;
    ListLock& operator=(const ListLock&) = delete;

    explicit operator bool() const { return m_view.IsValid(); }

    InstanceListBuffer List() const
    {
        return InstanceListBuffer(std::span<uint8_t>(static_cast<uint8_t*>(m_view.Get()), m_size));
    }

private:
    uint32_t m_size;
    MutexHold m_hold;         // declared before the view so that it is released after it
    UniqueMappedView m_view;
};

COXInstanceManager::COXInstanceManager(const wchar_t* name, uint32_t additionalSize, bool addSelf)
    : m_name(name), m_listAreaSize(kInstanceListBytes), m_additionalAreaSize(additionalSize)
{
    InstanceObjectSecurity security;
    m_listMutex.Reset(::CreateMutexW(security.Get(), FALSE, (kListMutexPrefix + m_name).c_str()));
    m_additionalMutex.Reset(::CreateMutexW(security.Get(), FALSE, (kAdditionalMutexPrefix + m_name).c_str()));

    SYSTEM_INFO system = {};
    ::GetSystemInfo(&system);
    m_listAreaSize = RoundAreaSize(m_listAreaSize, system.dwAllocationGranularity);
    m_additionalAreaSize = RoundAreaSize(m_additionalAreaSize, system.dwAllocationGranularity);

    {
        // Creating and initialising under the list mutex: otherwise a process
        // started at the same moment could open the fresh mapping and join
        // before the creator zeroes the list, and vanish from it.
        MutexHold hold(m_listMutex.Get());
        HANDLE mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, security.Get(), PAGE_READWRITE | SEC_COMMIT, 0,
                                              m_listAreaSize + m_additionalAreaSize,
                                              (kMappingPrefix + m_name).c_str());
        const bool existed = ::GetLastError() == ERROR_ALREADY_EXISTS;
        m_mapping.Reset(mapping);
        if (m_mapping && !existed) {
            UniqueMappedView view(::MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, m_listAreaSize));
            if (view) {
                InstanceListBuffer(std::span<uint8_t>(static_cast<uint8_t*>(view.Get()), m_listAreaSize))
                    .Initialise();
            }
        }
    }

    if (addSelf) {
        AddInstance(::GetCurrentProcessId());  // a full list simply leaves us out
    }
}

COXInstanceManager::~COXInstanceManager()
{
    RemoveInstance(::GetCurrentProcessId());  // not a member when the list was full
    // The additional view, the mapping and the mutexes are released by
    // their owners, in that order.
}

bool COXInstanceManager::AddInstance(DWORD processId)
{
    ListLock lock(*this);
    if (!lock) {
        return false;
    }
    InstanceListBuffer list = lock.List();
    if (list.Count() >= kMaxInstanceIds) {
        return false;
    }
    for (uint32_t member : list.Ids()) {
        // For a member without a window (a dead one) the null window sends
        // the post into our own queue, where no window takes it: harmless.
        ::PostMessageW(FindInstanceWindow(member), kInstanceJoinedMessage, 0, static_cast<LPARAM>(processId));
    }
    return list.Append(processId);
}

bool COXInstanceManager::RemoveInstance(DWORD processId)
{
    ListLock lock(*this);
    if (!lock) {
        return false;
    }
    InstanceListBuffer list = lock.List();
    if (!list.Remove(processId)) {
        return false;
    }
    for (uint32_t member : list.Ids()) {
        ::PostMessageW(FindInstanceWindow(member), kInstanceLeftMessage, 0, static_cast<LPARAM>(processId));
    }
    return true;
}

uint32_t COXInstanceManager::GetInstanceCount()
{
    ListLock lock(*this);
    return lock ? lock.List().Count() : 0;
}

bool COXInstanceManager::GetInstanceList(std::vector<uint32_t>& processIds)
{
    ListLock lock(*this);
    if (!lock) {
        return false;
    }
    processIds = lock.List().Ids();
    return true;
}

uint32_t COXInstanceManager::GetMaxInstances()
{
    ListLock lock(*this);
    return lock ? lock.List().Allowed() : 0;
}

bool COXInstanceManager::SetMaxInstances(uint32_t allowed, bool closeSurplus)
{
    std::vector<uint32_t> members;
    int64_t surplus = 0;
    {
        ListLock lock(*this);
        if (!lock) {
            return false;
        }
        InstanceListBuffer list = lock.List();
        list.SetAllowed(allowed);
        members = list.Ids();
        surplus = static_cast<int64_t>(list.Count()) - allowed;
    }
    if (!closeSurplus || surplus < 1) {
        return true;
    }
    const DWORD self = ::GetCurrentProcessId();
    // The newest members go first; this process only when the others could
    // not make room.
    for (auto member = members.rbegin(); member != members.rend() && surplus >= 1; ++member) {
        if (*member != self && CloseInstance(*member)) {
            --surplus;
        }
    }
    if (surplus >= 1) {
        CloseInstance(self);  // asked, not forced: the answer does not change ours
    }
    return true;
}

bool COXInstanceManager::ActivateFirstInstance(bool activate)
{
    std::vector<uint32_t> members;
    bool tooMany = false;
    {
        ListLock lock(*this);
        if (!lock) {
            return false;
        }
        InstanceListBuffer list = lock.List();
        tooMany = list.Allowed() < list.Count();
        members = list.Ids();
    }
    // The window is brought forward after the mutex is released: showing a
    // window of another process waits for that process.
    if (!tooMany || !activate || members.empty()) {
        return tooMany;
    }
    DWORD target = members[0];
    if (target == ::GetCurrentProcessId()) {
        if (members.size() < 2) {
            return tooMany;
        }
        target = members[1];
    }
    if (HWND window = FindInstanceWindow(target)) {
        ::SetForegroundWindow(window);  // the system may refuse; nothing else to try
        if (::IsIconic(window)) {
            ::ShowWindow(window, SW_RESTORE);
        }
    }
    return tooMany;
}

bool COXInstanceManager::CloseInstance(DWORD processId)
{
    HWND window = FindInstanceWindow(processId);
    if (!window || !::IsWindowEnabled(window)) {
        return false;
    }
    ::PostMessageW(window, WM_CLOSE, 0, 0);
    return true;
}

void* COXInstanceManager::MapAdditionalArea()
{
    if (!m_additionalView && m_mapping) {
        m_additionalView.Reset(
            ::MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, m_listAreaSize, m_additionalAreaSize));
    }
    return m_additionalView.Get();
}

HWND COXInstanceManager::FindInstanceWindow(DWORD processId)
{
    WindowSearch search{processId, nullptr};
    ::EnumWindows(MatchInstanceWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}
