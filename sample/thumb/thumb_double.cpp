// A stand-in for the product's shell thumbnail handler. Registering it writes
// what a real handler writes (its class under CLSID and the thumbnail
// extension of ".pvi"); unregistering takes exactly that away again.
#include <windows.h>

#include <cstdio>

#include <string>

// THUMB_CLSID is set per library by the build, so the three can be told apart.
#define WIDEN2(x) L##x
#define WIDEN(x) WIDEN2(x)

namespace {

HMODULE g_module = nullptr;
constexpr wchar_t kClsid[] = WIDEN(THUMB_CLSID);
constexpr wchar_t kThumbnailProviderShellEx[] = L".pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";

std::wstring ClassKey()
{
    return std::wstring(L"CLSID\\") + kClsid;
}

bool SetString(const std::wstring& keyPath, const wchar_t* name, const std::wstring& value)
{
    HKEY key = nullptr;
    if (::RegCreateKeyExW(HKEY_CLASSES_ROOT, keyPath.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    const LONG result = ::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    ::RegCloseKey(key);
    return result == ERROR_SUCCESS;
}

// Removes keyPath when nothing is left in it, so other handlers' data stays.
void DeleteKeyIfUnused(const wchar_t* keyPath)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, keyPath, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return;
    }
    DWORD subkeys = 0;
    DWORD values = 0;
    const LONG result = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                                           nullptr, nullptr, nullptr, nullptr);
    ::RegCloseKey(key);
    if (result == ERROR_SUCCESS && subkeys == 0 && values == 0) {
        ::RegDeleteKeyW(HKEY_CLASSES_ROOT, keyPath);
    }
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        g_module = instance;
    }
    return TRUE;
}

extern "C" HRESULT __stdcall DllRegisterServer()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(g_module, path, MAX_PATH);
    const bool ok = SetString(ClassKey(), nullptr, L"Pixvane 8 Thumbnail Handler") &&
                    SetString(ClassKey() + L"\\InprocServer32", nullptr, path) &&
                    SetString(ClassKey() + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
                    SetString(kThumbnailProviderShellEx, nullptr, kClsid);
    return ok ? S_OK : E_FAIL;
}

namespace {

// Notes the unregistration with the folder it ran in beside the product
// double's own records; with a file "hang-on-unregister" beside the library
// it then takes 20 s to return.
void RecordUnregistration()
{
    wchar_t path[MAX_PATH] = {};
    wchar_t current[MAX_PATH] = {};
    wchar_t folder[MAX_PATH] = {};
    ::GetModuleFileNameW(g_module, path, MAX_PATH);
    ::GetCurrentDirectoryW(MAX_PATH, current);
    // Beside the product double's records; no shell library, so that
    // loading the handler stays as quick as before.
    if (!::ExpandEnvironmentStringsW(L"%ProgramData%\\Pixvn8Double", folder, MAX_PATH)) {
        return;
    }
    ::CreateDirectoryW(folder, nullptr);
    if (FILE* log = ::_wfopen((std::wstring(folder) + L"\\calls.log").c_str(), L"at")) {
        std::fwprintf(log, L"unregister %ls in %ls\n", path, current);
        std::fclose(log);
    }
}

bool HangsOnUnregister()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(g_module, path, MAX_PATH);
    std::wstring marker(path);
    marker = marker.substr(0, marker.find_last_of(L'\\') + 1) + L"hang-on-unregister";
    return ::GetFileAttributesW(marker.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

extern "C" HRESULT __stdcall DllUnregisterServer()
{
    RecordUnregistration();
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, (ClassKey() + L"\\InprocServer32").c_str());
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, ClassKey().c_str());
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, kThumbnailProviderShellEx);
    DeleteKeyIfUnused(L".pvi\\ShellEx");
    DeleteKeyIfUnused(L".pvi");
    if (HangsOnUnregister()) {
        ::Sleep(20000);
    }
    return S_OK;
}
