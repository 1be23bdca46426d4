#include "app/globals.h"
#include "app/product_names.h"
#include "install/install_state.h"
#include "install/shortcuts.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <string>

namespace {

using Microsoft::WRL::ComPtr;

struct LinkContents {
    std::wstring target;
    std::wstring workingFolder;
};

LinkContents ReadLink(const std::wstring& path)
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
    return {target, folder};
}

std::string UnixPath(const std::wstring& buildTreePath)
{
    std::string path;
    for (size_t i = 2; i < buildTreePath.size(); ++i) {  // after "Z:"
        path += buildTreePath[i] == L'\\' ? '/' : static_cast<char>(buildTreePath[i]);
    }
    return path;
}

// What the Linux parser lnkinfo reads from a link file in the build tree.
// Wine starts a Linux program as such but gives no handle to wait on, so
// the output arrives under its final name only when complete.
std::string LnkInfoOf(const std::wstring& link)
{
    const std::wstring output = link + L".txt";
    ::DeleteFileW(output.c_str());
    const std::string out = UnixPath(output);
    const std::string script =
        "lnkinfo '" + UnixPath(link) + "' >'" + out + ".tmp' 2>&1; mv '" + out + ".tmp' '" + out + "'";
    ChildProcess shell;
    if (!shell.Start(L"Z:\\bin\\sh -c \"" + std::wstring(script.begin(), script.end()) + L"\"") ||
        !WaitUntil([&] { return FileExists(output); }, 20000)) {
        return "lnkinfo did not run";
    }
    return ReadTextFile(output);
}

// Opens nothing; remembers what it was asked to open.
struct OpenedPage {
    int calls = 0;
    std::wstring verb;
    std::wstring address;
    int show = 0;
};
OpenedPage g_opened;

HINSTANCE WINAPI RecordOpen(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT show)
{
    ++g_opened.calls;
    g_opened.verb = verb;
    g_opened.address = file;
    g_opened.show = show;
    return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(33));
}

std::wstring OwnFolder()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    return folder.substr(0, folder.rfind(L'\\'));
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

    CreateShortcut(L"\"" + target + L"\"", link, L"", 1, nullptr, pictures.c_str());
    CreateShortcut(target, destination + L"\\missing\\Never.lnk", L"", 1, nullptr, nullptr);

    const LinkContents contents = ReadLink(link);
    EXPECT_EQ(contents.target, target);
    EXPECT_EQ(contents.workingFolder, pictures);
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
    const std::wstring licence = OwnFolder() + L"\\page-test.pv8lic";
    InstallState& state = g_installState;
    state.destinationFolder = destination;
    const std::wstring address = kInstallScriptAddress;
    const std::string linkFile =
        "[InternetShortcut]\r\nURL=http://www.quorvex.example/?ref=12\r\nUpdate=http://u.example/de\r\n";
    const std::wstring withQuery = address + L"?ref=12&Lang=DE";
    struct Case {
        int silentLevel;
        bool fresh, upgrade, settingsSupplied, licence, linkFile;
        std::wstring opened;  // empty: nothing may be opened
    };
    const Case cases[] = {
        {0, true, false, false, false, true, withQuery},
        {0, false, true, true, false, false, address},
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
        g_opened = {};

        OpenClosingWebPage();

        ::DeleteFileW(licence.c_str());
        ::DeleteFileW((destination + L"\\HomePage.url").c_str());
        if (c.opened.empty()) {
            EXPECT_EQ(g_opened.calls, 0);
            continue;
        }
        EXPECT_EQ(g_opened.calls, 1);
        EXPECT_EQ(g_opened.verb, L"open");
        EXPECT_EQ(g_opened.address, c.opened);
        EXPECT_EQ(g_opened.show, SW_SHOW);
    }
    SilentLevel = 1;
}
