#include "support/shell_links.h"

#include "support/test_env.h"

#include <objbase.h>
#include <shlobj.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

std::wstring ReadShellLink(const std::wstring& path)
{
    ComPtr<IShellLinkW> link;
    ComPtr<IPersistFile> file;
    wchar_t target[MAX_PATH] = {};
    wchar_t folder[MAX_PATH] = {};
    if (SUCCEEDED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link))) &&
        SUCCEEDED(link.As(&file)) && SUCCEEDED(file->Load(path.c_str(), STGM_READ))) {
        link->GetPath(target, MAX_PATH, nullptr, 0);
        link->GetWorkingDirectory(folder, MAX_PATH);
    }
    return std::wstring(target) + L" | " + folder;
}

// Wine starts a Linux program as such but gives no handle to wait on, so the
// output is moved to its final name only when complete.
std::string LnkInfoOf(const std::wstring& path)
{
    const auto unixPath = [](const std::wstring& zPath) {
        std::string text;
        for (size_t i = 2; i < zPath.size(); ++i) {  // after "Z:"
            text += zPath[i] == L'\\' ? '/' : static_cast<char>(zPath[i]);
        }
        return text;
    };
    const std::wstring output = path + L".txt";
    ::DeleteFileW(output.c_str());
    const std::string out = unixPath(output);
    const std::string script =
        "lnkinfo '" + unixPath(path) + "' >'" + out + ".tmp' 2>&1; mv '" + out + ".tmp' '" + out + "'";
    ChildProcess shell;
    if (!shell.Start(L"Z:\\bin\\sh -c \"" + std::wstring(script.begin(), script.end()) + L"\"") ||
        !WaitUntil([&] { return FileExists(output); }, 20000)) {
        return "lnkinfo did not run";
    }
    return ReadTextFile(output);
}
