// The self-extracting package as users and administrators meet it: the real
// Pixvane8-Setup.exe that the build packs from the sample package, run from
// a download folder, silent and interactive, and the machine it leaves
// compared with what setup.exe itself makes.
#include "install/installation.h"
#include "support/machine_snapshot.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "support/wizard_driver.h"
#include "system/path_text.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

const std::wstring kDefaultFolder = L"C:\\Program Files\\Pixvane 8";

// Where the package unpacks: the Windows temporary folder, not the user's.
std::wstring TempFolder()
{
    wchar_t path[MAX_PATH] = {};
    ::GetWindowsDirectoryW(path, MAX_PATH);
    return std::wstring(path) + L"\\Temp";
}

// A package of this build in a download folder of its own, with what an
// administrator puts beside it: settings and a licence. Its path.
std::wstring Download(const std::wstring& package = L"Pixvane8-Setup.exe")
{
    const std::wstring folder = MakeScratchFolder(L"My Downloads");
    for (const std::wstring file : {L"sfx\\Pixvn8.ini", L"sfx\\Pixvn8.reg", L"sfx\\Pixvane.pv8lic", package.c_str()}) {
        ::CopyFileW(BuildPath(file).c_str(), (folder + L"\\" + file.substr(file.rfind(L'\\') + 1)).c_str(), FALSE);
    }
    return folder + L"\\Pixvane8-Setup.exe";
}

class Package : public MachineTest {
protected:
    void SetUp() override
    {
        MachineTest::SetUp();
        m_tempBefore = NamesIn(TempFolder());
    }

    std::set<std::wstring> m_tempBefore;
};

TEST_F(Package, SilentlyInstallsWhatSetupItselfInstallsAndLeavesNothingBehind)
{
    // The diagnostic log named relative to the package lands beside it.
    const std::wstring package = Download();
    const WatchedRun run = RunWatched(Quoted(package) + L" -s \"-log=setup log.txt\"");
    EXPECT_EQ(run.exitCode, kExitInstalled);
    EXPECT_EQ(run.windows, Texts{});
    EXPECT_EQ(NamesIn(TempFolder()), m_tempBefore);
    const MachineSnapshot throughPackage = TakeMachineSnapshot();
    // Moved out of the unpacked folder, the files are the package's, byte for byte.
    const std::wstring unpacked = PackagePath(L"");
    for (const wchar_t* name : {L"Pixvn8.exe", L"Pixvn8Man.chm", L"ThumbPvi32.dll", L"Languages\\Deutsch.lng"}) {
        EXPECT_EQ(ReadTextFile(kDefaultFolder + L"\\" + name), ReadTextFile(unpacked + name)) << Narrow(std::wstring(name));
    }

    // What the administrator put beside the package reached the product
    // folder, and removal leaves it there, with the folder. A log name left in
    // the environment reaches neither uninstaller stage.
    const std::wstring planted = package.substr(0, package.rfind(L'\\')) + L"\\planted.log";
    ::SetEnvironmentVariableW(L"PIXVANE_SETUP_LOG", planted.c_str());
    EXPECT_TRUE(RemoveThroughProgramsList());
    ::SetEnvironmentVariableW(L"PIXVANE_SETUP_LOG", nullptr);
    EXPECT_FALSE(FileExists(planted));
    EXPECT_EQ(ChangesSinceStart(), (Texts{L"+ " + kDefaultFolder, L"+ " + kDefaultFolder + L"\\Pixvane.pv8lic",
                                          L"+ " + kDefaultFolder + L"\\Pixvn8.ini", L"+ " + kDefaultFolder + L"\\Pixvn8.reg"}));

    // setup.exe run from the unpacked folder, told of the same package file.
    // Only the package's own folder gives up its files.
    const std::wstring setup = Quoted(PackagePath(L"setup.exe"));
    const std::set<std::wstring> unpackedNames = NamesIn(unpacked);
    ASSERT_EQ(RunWatched(setup + L" -s " + Quoted(L"-sfxname=" + package)).exitCode, kExitInstalled);
    EXPECT_EQ(SnapshotChanges(throughPackage, TakeMachineSnapshot()), Texts{});
    EXPECT_EQ(NamesIn(unpacked), unpackedNames);
    // Only the run that asked for it wrote a log, there and nowhere else.
    EXPECT_EQ(NamesIn(TempFolder()), m_tempBefore);
    const std::string log = ReadTextFile(package.substr(0, package.rfind(L'\\')) + L"\\setup log.txt");
    EXPECT_NE(log.find("exit code 0\r\n"), std::string::npos) << log;
    // Files move one by one, and a folder the list fills whole in one go.
    EXPECT_NE(log.find("] move C:"), std::string::npos) << log;
    EXPECT_NE(log.find("] move the folder C:"), std::string::npos) << log;
    EXPECT_EQ(log.find(" started, process "), log.rfind(" started, process ")) << log;
}

TEST_F(Package, ADamagedPackageEndsWithOneAndShowsNothingWhenSilent)
{
    const WatchedRun run = RunWatched(Quoted(Download(L"damaged\\Pixvane8-Setup.exe")) + L" -s");
    EXPECT_EQ(run.exitCode, kExitDamagedPackage);
    EXPECT_EQ(run.windows, Texts{});
    EXPECT_EQ(NamesIn(TempFolder()), m_tempBefore);
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

TEST_F(Package, DoubleClickedItRunsSetupFromAPrivateFolderAndTheWizardInstalls)
{
    const std::wstring package = Download();
    ChildProcess run;
    ASSERT_TRUE(run.Start(Quoted(package)));
    std::vector<DWORD> setups;
    ASSERT_TRUE(WaitUntil([&] { return !(setups = FindProcesses(L"setup", L".exe")).empty(); }, 30000));
    WizardDriver wizard;
    ASSERT_TRUE(wizard.Attach(setups.front(), 30000));

    // A folder of its own, with a name nobody could have guessed, in the
    // Windows temporary folder; told where the package is.
    const Texts arguments = SplitCommandLine(CommandLineOf(setups.front()));
    ASSERT_EQ(arguments.size(), 2u);
    const std::wstring privateFolder = ParentFolder(arguments[0]);
    EXPECT_EQ(ParentFolder(privateFolder), TempFolder());
    const std::wstring name = privateFolder.substr(privateFolder.rfind(L'\\') + 1);
    EXPECT_EQ(name.size(), 24u);
    EXPECT_EQ(name.find_first_not_of(L"0123456789ABCDEF", 4), std::wstring::npos) << name;
    EXPECT_EQ(arguments[1], L"-sfxname=" + package);

    for (const wchar_t* page : {L"welcome", L"agreement", L"folder", L"group", L"ready"}) {
        EXPECT_EQ(wizard.PageName(), page);
        wizard.Press(IDOK);
    }
    EXPECT_EQ(wizard.Text(IDC_START_HEADING), L"Pixvane 8.01.05 has been successfully installed.");
    wizard.Check(IDC_START_FINISH_CHECK, false);
    wizard.Press(IDOK);
    EXPECT_EQ(run.Wait(60000), kExitInstalled);
    EXPECT_FALSE(FolderExists(privateFolder));
    EXPECT_TRUE(FileExists(kDefaultFolder + L"\\Pixvane.pv8lic"));
}

TEST_F(Package, PassesTheArgumentsOnAndLoadsNoLibraryPlantedBesideIt)
{
    const std::wstring package = Download();
    const std::wstring folder = ParentFolder(package);
    // System libraries that programs load from their own folder when nothing
    // stops them. Wine prefers its builtin copies; told to prefer files, it
    // searches as Windows does. Not for the first two in the package itself:
    // Wine's own user32 takes them by bare name as every program starts,
    // which the user32 of Windows does not.
    const Texts names = {L"version", L"uxtheme", L"userenv", L"dwmapi", L"cryptbase", L"propsys", L"apphelp",
                         L"profapi", L"oleacc", L"msimg32", L"riched20", L"cryptsp", L"ntmarta", L"secur32"};
    for (size_t i = 0; i < names.size(); ++i) {
        for (const wchar_t* program : {L"Pixvane8-Setup.exe", L"setup.exe"}) {
            if (i >= 2 || program == std::wstring(L"setup.exe")) {
                SetRegString(HKEY_CURRENT_USER, std::wstring(L"Software\\Wine\\AppDefaults\\") + program +
                             L"\\DllOverrides", names[i].c_str(), L"native,builtin");
            }
        }
        ::CopyFileW(BuildPath(L"planted\\planted.dll").c_str(), (folder + L"\\" + names[i] + L".dll").c_str(), FALSE);
    }
    const auto loaded = [&] {
        Texts found;
        for (const auto& name : names) {
            if (::DeleteFileW((folder + L"\\" + name + L".dll.loaded").c_str())) {
                found.push_back(name);
            }
        }
        return found;
    };

    // The control: setup.exe started from that folder itself takes the
    // planted version.dll (Wine's own user32 loads it by bare name), so a
    // planted library is seen when loaded.
    ASSERT_TRUE(::CopyFileW(PackagePath(L"setup.exe").c_str(), (folder + L"\\setup.exe").c_str(), FALSE));
    RunToEnd(Quoted(folder + L"\\setup.exe") + L" -s", 30000);
    const Texts control = loaded();
    EXPECT_NE(std::find(control.begin(), control.end(), L"version"), control.end());
    ::DeleteFileW((folder + L"\\setup.exe").c_str());

    // The user's arguments reach setup as given: a folder with a blank, and
    // the product started at the end.
    const std::wstring destination = L"C:\\Pixvane Apps\\Eight";
    const WatchedRun run = RunWatched(Quoted(package) + L"  -s -instdir " + Quoted(destination) + L" -RUNAFTER", false);
    EXPECT_EQ(run.exitCode, kExitInstalled);
    EXPECT_EQ(loaded(), Texts{});
    EXPECT_TRUE(FileExists(destination + L"\\Pixvn8.ini"));
    HWND product = nullptr;
    EXPECT_TRUE(WaitUntil([&] { return (product = ::FindWindowW(nullptr, L"Pixvane 8 - untitled")) != nullptr; }, 15000));
    ::PostMessageW(product, WM_CLOSE, 0, 0);
    WaitForNoProcesses(L"Pixvn8", L".exe", 10000);
    for (const wchar_t* program : {L"Pixvane8-Setup.exe", L"setup.exe"}) {
        DeleteRegTree(HKEY_CURRENT_USER, std::wstring(L"Software\\Wine\\AppDefaults\\") + program);
    }
}

}  // namespace
