#include "app/globals.h"
#include "app/product_names.h"
#include "install/install_state.h"
#include "install/shortcuts.h"
#include "support/test_env.h"

#include <gtest/gtest.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <string>

namespace {

// "target | working folder" as the shell's link object reads them back.
std::wstring ReadShellLink(const std::wstring& path)
{
    Microsoft::WRL::ComPtr<IShellLinkW> link;
    Microsoft::WRL::ComPtr<IPersistFile> file;
    wchar_t target[MAX_PATH] = {};
    wchar_t folder[MAX_PATH] = {};
    if (SUCCEEDED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link))) &&
        SUCCEEDED(link.As(&file)) && SUCCEEDED(file->Load(path.c_str(), STGM_READ))) {
        link->GetPath(target, MAX_PATH, nullptr, 0);
        link->GetWorkingDirectory(folder, MAX_PATH);
    }
    return std::wstring(target) + L" | " + folder;
}

// What the Linux program lnkinfo (Debian's liblnk-utils) prints about a link
// file on Wine's "Z:" drive. Wine starts a Linux program as such but gives
// no handle to wait on, so the output gets its final name only when complete.
std::string LnkInfoOf(const std::wstring& path)
{
    std::string unixPath;
    for (size_t i = 2; i < path.size(); ++i) {  // after "Z:"
        unixPath += path[i] == L'\\' ? '/' : static_cast<char>(path[i]);
    }
    const std::string script = "lnkinfo '" + unixPath + "' >'" + unixPath + ".tmp' 2>&1; mv '" + unixPath + ".tmp' '" +
                               unixPath + ".txt'";
    ChildProcess shell;
    if (!shell.Start(L"Z:\\bin\\sh -c \"" + std::wstring(script.begin(), script.end()) + L"\"") ||
        !WaitUntil([&] { return FileExists(path + L".txt"); }, 20000)) {
        return "lnkinfo did not run";
    }
    return ReadTextFile(path + L".txt");
}

// Opens nothing; writes down what it was asked to open, a line a page.
std::wstring g_opened;

HINSTANCE WINAPI RecordOpen(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT show)
{
    g_opened += std::wstring(verb) + L" " + file + L" " + std::to_wstring(show) + L"\n";
    return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(33));  // above 32: success
}

}  // namespace

TEST(CreateShortcut, SavesTheUnquotedTargetAndLogsOnlyWhatWasSaved)
{
    const std::wstring destination = MakeScratchFolder(L"Pixvane 8 links");
    g_installState.destinationFolder = destination;
    SilentLevel = 1;
    const std::wstring target = destination + L"\\" + kProductExe;
    WriteTextFile(target, "product");
    // In the build tree, so that the Linux side reads the same file.
    const std::wstring linkFolder = BuildPath(L"install-links");
    RemoveTree(linkFolder);
    MakeFolders(linkFolder);
    const std::wstring link = linkFolder + L"\\Pixvane 8.lnk";
    const std::wstring pictures = L"C:\\users\\Public\\Pictures";

    // The shell's link object drops a pair of quotes on its own; a lone one
    // only CreateShortcut does.
    CreateShortcut(L"\"" + target, link, L"", 1, nullptr, pictures.c_str());
    CreateShortcut(target, destination + L"\\missing\\Never.lnk", L"", 1, nullptr, nullptr);

    EXPECT_EQ(ReadShellLink(link), target + L" | " + pictures);
    const std::string parsed = LnkInfoOf(link);
    EXPECT_NE(parsed.find("Local path\t\t\t: C:\\pxtest\\Pixvane 8 links\\Pixvn8.exe"), std::string::npos) << parsed;
    EXPECT_NE(parsed.find("Working directory\t\t: C:\\users\\Public\\Pictures"), std::string::npos) << parsed;
    // The link that could not be saved left no line.
    EXPECT_EQ(ReadTextFile(destination + L"\\PxvUnInst.log"),
              "Shell Link: " + std::string(link.begin(), link.end()) + "\r\n");
}

// The page is opened only after an interactive run that installed something
// new, and not for a managed deployment that brought settings and a licence.
TEST(OpenClosingWebPage, OpensTheInstallPageWithTheQueryOfTheInstalledLinkFile)
{
    g_pfnShellExecuteW = &RecordOpen;
    const std::wstring destination = MakeScratchFolder(L"Pixvane 8 page");
    const std::wstring licence = BuildPath(L"tests\\page-test.pv8lic");  // beside the test program
    InstallState& state = g_installState;
    state.destinationFolder = destination;
    const std::string linkFile =
        "[InternetShortcut]\r\nURL=http://www.quorvex.example/?ref=12\r\nUpdate=http://u.example/de\r\n";
    const std::wstring plain = L"open " + std::wstring(kInstallScriptAddress) + L" 5\n";
    const std::wstring withQuery = L"open " + std::wstring(kInstallScriptAddress) + L"?ref=12&Lang=DE 5\n";
    struct Case {
        int silentLevel;
        bool fresh, upgrade, settingsSupplied, licence, linkFile;
        std::wstring opened;  // empty: nothing may be opened
    };
    const Case cases[] = {
        {0, true, false, false, false, true, withQuery},
        {0, false, true, true, false, false, plain},
        {0, true, false, false, true, true, withQuery},
        {0, true, true, true, true, true, L""},
        {0, false, false, false, false, true, L""},
        {1, true, false, false, false, true, L""},
        {2, true, true, false, false, true, L""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "case " << (&c - cases));
        SilentLevel = c.silentLevel;
        state.freshInstall = c.fresh;
        state.upgrade = c.upgrade;
        state.settingsSupplied = c.settingsSupplied;
        if (c.licence) {
            WriteTextFile(licence, "licence");
        }
        if (c.linkFile) {
            WriteTextFile(destination + L"\\HomePage.url", linkFile);
        }
        g_opened.clear();

        OpenClosingWebPage();

        EXPECT_EQ(g_opened, c.opened);
        ::DeleteFileW(licence.c_str());
        ::DeleteFileW((destination + L"\\HomePage.url").c_str());
    }
    SilentLevel = 1;
}
