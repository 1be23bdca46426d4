// The registry of running processes that Pixvane and its setup share: a named
// page-file mapping holding a list of process identifiers, guarded by a named
// mutex. Setup and the product both build this same class, so the mapping
// name, layout and sizes must not drift apart.
#pragma once

#include "system/handles.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

// The registry every Pixvane 8 process joins, with the size of its second area.
constexpr wchar_t kPixvaneInstanceRegistry[] = L"Quorvex.Pixvane-DX.v4";
constexpr uint32_t kPixvaneAdditionalAreaBytes = 1024;

// Access to the mapping and both mutexes: all for the system, the
// administrators and the interactive users of the session, nobody else.
constexpr wchar_t kInstanceObjectsAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)";

// Posted (never sent) to the other participants' main windows, lParam being
// the process that joined or left.
constexpr UINT kInstanceJoinedMessage = 1946;
constexpr UINT kInstanceLeftMessage = 1947;

class COXInstanceManager {
public:
    // Creates or opens the mapping "Local\COXInstanceManager_FileMap_" + name
    // and both mutexes; joins with the current process when addSelf is set.
    // When the mapping cannot be created every operation below answers
    // false, 0 or null.
    COXInstanceManager(const wchar_t* name, uint32_t additionalSize, bool addSelf);
    // Leaves the list and releases the views, the mapping and the mutexes.
    ~COXInstanceManager();

    COXInstanceManager(const COXInstanceManager&) = delete;
    COXInstanceManager& operator=(const COXInstanceManager&) = delete;

    // Tells the present members, then appends id; false when the list is full.
    bool AddInstance(DWORD processId);
    // Removes the first occurrence of id, then tells the remaining members;
    // false when id is not present.
    bool RemoveInstance(DWORD processId);
    // The number of members, dead ones included.
    uint32_t GetInstanceCount();
    // The members in order of joining.
    bool GetInstanceList(std::vector<uint32_t>& processIds);
    uint32_t GetMaxInstances();
    // Stores the allowed number; with closeSurplus, asks the newest members
    // other than this process to close until the surplus is gone, and this
    // process last if that was not enough.
    bool SetMaxInstances(uint32_t allowed, bool closeSurplus);
    // True when more members are present than allowed; with activate, brings
    // the first member other than this process to the front.
    bool ActivateFirstInstance(bool activate);
    // Posts WM_CLOSE to the member's main window when it has an enabled one.
    bool CloseInstance(DWORD processId);
    // The participants' free area, mapped on first use and kept; null without a mapping.
    void* MapAdditionalArea();
    // The process's main window: the first top-level window of that process
    // with no owner, not a tool window, whose title starts with "Pixvane".
    static HWND FindInstanceWindow(DWORD processId);

private:
    class ListLock;

    std::wstring m_name;
    uint32_t m_listAreaSize;
    uint32_t m_additionalAreaSize;
    UniqueHandle m_listMutex;
    UniqueHandle m_additionalMutex;  // created for the product's sake; setup never takes it
    UniqueHandle m_mapping;
    UniqueMappedView m_additionalView;
};
