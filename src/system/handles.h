// Owners for system handles: one small move-only type per handle kind, each
// knowing its own "empty" value and how to release it.
#pragma once

#include <windows.h>

#include <cstdio>
#include <utility>

template <typename Traits>
class UniqueResource {
public:
    using Type = typename Traits::Type;

    UniqueResource() noexcept : m_value(Traits::Empty()) {}
    explicit UniqueResource(Type value) noexcept : m_value(value) {}
    UniqueResource(const UniqueResource&) = delete;
    UniqueResource& operator=(const UniqueResource&) = delete;
    UniqueResource(UniqueResource&& other) noexcept : m_value(other.Detach()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept
    {
        if (this != &other) {
            Reset(other.Detach());
        }
        return *this;
    }
    ~UniqueResource() { Reset(); }

    Type Get() const noexcept { return m_value; }
    bool IsValid() const noexcept { return m_value != Traits::Empty(); }
    explicit operator bool() const noexcept { return IsValid(); }

    // Releases what is held and takes ownership of value.
    void Reset(Type value = Traits::Empty()) noexcept
    {
        if (IsValid()) {
            Traits::Release(m_value);
        }
        m_value = value;
    }

    Type Detach() noexcept { return std::exchange(m_value, Traits::Empty()); }

    // For APIs that return the handle through an out-parameter.
    Type* Put() noexcept
    {
        Reset();
        return &m_value;
    }

private:
    Type m_value;
};

struct KernelHandleTraits {
    using Type = HANDLE;
    static Type Empty() noexcept { return nullptr; }
    static void Release(Type h) noexcept { ::CloseHandle(h); }
};

struct FileHandleTraits {
    using Type = HANDLE;
    static Type Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type h) noexcept { ::CloseHandle(h); }
};

struct FindHandleTraits {
    using Type = HANDLE;
    static Type Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type h) noexcept { ::FindClose(h); }
};

struct RegKeyTraits {
    using Type = HKEY;
    static Type Empty() noexcept { return nullptr; }
    static void Release(Type h) noexcept { ::RegCloseKey(h); }
};

struct ModuleTraits {
    using Type = HMODULE;
    static Type Empty() noexcept { return nullptr; }
    static void Release(Type h) noexcept { ::FreeLibrary(h); }
};

struct MappedViewTraits {
    using Type = void*;
    static Type Empty() noexcept { return nullptr; }
    static void Release(Type p) noexcept { ::UnmapViewOfFile(p); }
};

struct StdioFileTraits {
    using Type = FILE*;
    static Type Empty() noexcept { return nullptr; }
    static void Release(Type f) noexcept { std::fclose(f); }
};

using UniqueHandle = UniqueResource<KernelHandleTraits>;
using UniqueFileHandle = UniqueResource<FileHandleTraits>;
using UniqueFindHandle = UniqueResource<FindHandleTraits>;
using UniqueRegKey = UniqueResource<RegKeyTraits>;
using UniqueModule = UniqueResource<ModuleTraits>;
using UniqueMappedView = UniqueResource<MappedViewTraits>;
using UniqueStdioFile = UniqueResource<StdioFileTraits>;
