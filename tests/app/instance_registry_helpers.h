// What the running-instance tests share: the registry's raw mapping as another
// participant sees it, plain windows of the test process, product copies.
#pragma once

#include "app/instance_manager.h"
#include "support/test_env.h"
#include "system/handles.h"

#include <windows.h>

#include <cstdint>
#include <string>

// A registry's mapping opened by name and viewed whole, as the product would.
class RawInstanceMapping {
public:
    explicit RawInstanceMapping(const std::wstring& registryName)
        : m_mapping(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE,
                                       (L"Local\\COXInstanceManager_FileMap_" + registryName).c_str())),
          m_view(m_mapping ? ::MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0) : nullptr)
    {
    }

    bool IsOpen() const { return m_view.IsValid(); }
    uint8_t* Bytes() const { return static_cast<uint8_t*>(m_view.Get()); }
    // A little-endian field at a multiple of 4, and an identifier's slot.
    uint32_t& Word(size_t offset) const { return *reinterpret_cast<uint32_t*>(Bytes() + offset); }
    uint32_t& Slot(size_t position) const { return Word(8 + 4 * position); }

private:
    UniqueHandle m_mapping;
    UniqueMappedView m_view;
};

// A hidden top-level window of the test process; what it is sent stays in
// the queue, to be looked at with TakePosted.
class TestWindow {
public:
    TestWindow(const wchar_t* title, DWORD extendedStyle = 0, HWND owner = nullptr)
        : m_window(::CreateWindowExW(extendedStyle, L"STATIC", title, WS_OVERLAPPED, 0, 0, 50, 50, owner, nullptr,
                                     nullptr, nullptr))
    {
    }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;
    ~TestWindow() { ::DestroyWindow(m_window); }

    HWND Get() const { return m_window; }

    // Takes the next posted message of that kind from the queue; false when none waits.
    bool TakePosted(UINT message, MSG& taken) const
    {
        return ::PeekMessageW(&taken, m_window, message, message, PM_REMOVE) != 0;
    }

private:
    HWND m_window;
};

// Process ids are multiples of 4: odd ones stand for members long gone.
constexpr uint32_t kAbsentProcessId = 0x7FFF0001;

// Thread messages (null window) posted to members without a window.
inline void DiscardThreadMessages()
{
    MSG message;
    while (::PeekMessageW(&message, reinterpret_cast<HWND>(-1), 0, 0, PM_REMOVE)) {
    }
}

// Starts the sample package's product double and waits until it has joined
// the registry and shows its main window.
inline bool StartProductCopy(ChildProcess& product)
{
    return product.Start(L"\"" + PackagePath(L"Pixvn8.exe") + L"\"") &&
           WaitUntil([&] { return COXInstanceManager::FindInstanceWindow(product.Id()) != nullptr; }, 10000);
}
