#include "install/shortcuts.h"

#include "app/globals.h"
#include "app/product_names.h"
#include "install/closing_page_text.h"
#include "install/install_log_writer.h"
#include "install/install_state.h"
#include "install/install_text.h"
#include "licence/licence.h"
#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/services.h"
#include "system/user_start.h"
#include "ui/message_box.h"
#include "uninstall/install_log_text.h"

#include <objbase.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

// COM is started for the thread of the first shortcut and left running: the
// program ends soon after its shortcuts are made.
bool g_comStarted = false;

// Only an interactive run may show these; a silent one never shows a window.
void ReportShortcutFailure(const wchar_t* text)
{
    if (SilentLevel == 0) {
        ShowMessageText(text, MB_OK);
    }
}

// The file's text as the system's code page reads it; empty when it cannot
// be read, or is too big to be the small link file it should be.
std::wstring ReadAnsiTextFile(const std::wstring& path)
{
    UniqueFileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !::GetFileSizeEx(file.Get(), &size) || size.QuadPart <= 0 || size.QuadPart > (1 << 20)) {
        return std::wstring();
    }
    std::vector<char> bytes(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) || read == 0) {
        return std::wstring();
    }
    const int chars = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(read), nullptr, 0);
    std::wstring text(static_cast<size_t>(chars), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(read), text.data(), chars);
    return text;
}

}  // namespace

void CreateShortcut(const std::wstring& target, const std::wstring& linkPath, const std::wstring& description,
                    int showCommand, const wchar_t* arguments, const wchar_t* workingFolder)
{
    if (!g_comStarted) {
        // A run that shows nothing takes the multithreaded apartment, which
        // needs no hidden window and so no desktop (under Wine, starting one
        // costs a silent run a fifth of a second); the shell link serves both
        // kinds. A run with windows keeps the single-threaded one that they
        // and the shell's handlers expect. A failure, an already started COM
        // among them, is ignored: that COM serves as well.
        ::CoInitializeEx(nullptr, SilentLevel == 1 ? COINIT_MULTITHREADED : COINIT_APARTMENTTHREADED);
        g_comStarted = true;
    }
    ComPtr<IShellLinkW> link;
    if (FAILED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link)))) {
        return;
    }
    ComPtr<IPersistFile> file;
    if (FAILED(link.As(&file))) {
        return;
    }
    // The link is still saved after either failure: it opens something, if
    // not all the user expects.
    if (FAILED(link->SetPath(UnquoteTarget(target).c_str()))) {
        ReportShortcutFailure(L"SetPath failed!");
    }
    if (FAILED(link->SetDescription(description.c_str()))) {
        ReportShortcutFailure(L"SetDescription failed!");
    }
    // The remaining settings are best effort; a link without them still works.
    if (showCommand != SW_SHOWNORMAL) {
        link->SetShowCmd(showCommand);
    }
    if (arguments) {
        link->SetArguments(arguments);
    }
    if (workingFolder) {
        link->SetWorkingDirectory(workingFolder);
    }
    // Only a saved link is logged, by the name it was saved under: a path
    // too long for the system is not cut to one that is some other file.
    if (DiagResult(FitsPathLimit(linkPath, false) && SUCCEEDED(file->Save(linkPath.c_str(), TRUE)), L"shortcut ",
                   linkPath, L" to ", target)) {
        AppendToInstalledLog(kShellLinkPrefix, linkPath);
    }
}

void OpenClosingWebPage()
{
    const InstallState& state = g_installState;
    if (SilentLevel != 0) {
        return;
    }
    // A re-run over the same or a newer version has nothing new to show.
    if (!state.freshInstall && !state.upgrade) {
        return;
    }
    // A deployment that brought its own settings and licence is a managed one.
    if (state.settingsSupplied && IsLicencePresent()) {
        return;
    }
    const std::wstring query = ClosingPageQuery(ReadAnsiTextFile(state.destinationFolder + L"\\HomePage.url"));
    const std::wstring address = kInstallScriptAddress + query;
    DiagLog(L"open the closing web page ", address);
    // The browser runs with the user's rights, not setup's elevated ones.
    OpenAddressForUser(address);
}
