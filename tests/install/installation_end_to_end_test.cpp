// The installation as a machine sees it: the real setup.exe of a package
// folder, unattended or answered like a user, then the real uninstaller, and
// the machine compared with how it was before.
#include "install/installation.h"
#include "install/version_checks.h"
#include "support/machine_snapshot.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <set>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

constexpr DWORD kRunTimeoutMs = 120000;
const std::wstring kDefaultFolder = L"C:\\Program Files\\Pixvane 8";

std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

// The exit code, once what setup started without waiting (the thumbnail
// handler's registration, the product's "-regonly" run) has finished too.
int RunSetup(const std::wstring& setup, const std::wstring& arguments)
{
    const int exitCode = RunToEnd(Quoted(setup) + L" " + arguments, kRunTimeoutMs);
    WaitForNoProcesses(L"regsvr32", L".exe", 10000);
    WaitForNoProcesses(L"Pixvn8", L".exe", 10000);
    return exitCode;
}

std::wstring OlderSetup()
{
    return BuildPath(L"sample-versions\\8.1.2.3\\setup.exe");
}

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());  // ASCII paths only
}

// Files and folders (these with a trailing "\") below folder, relative to it.
std::set<std::wstring> FilesBelow(const std::wstring& folder, const std::wstring& relative = L"")
{
    std::set<std::wstring> files;
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((folder + L"\\" + relative + L"*").c_str(), &found));
    if (!search) {
        return files;
    }
    do {
        const std::wstring name = relative + found.cFileName;
        if (std::wstring(found.cFileName) == L"." || std::wstring(found.cFileName) == L"..") {
            continue;
        }
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            files.insert(name + L"\\");
            files.merge(FilesBelow(folder, name + L"\\"));
        } else {
            files.insert(name);
        }
    } while (::FindNextFileW(search.Get(), &found));
    return files;
}

std::wstring VersionText(const std::wstring& path)
{
    const FileVersion v = ReadFileVersion(path);
    return std::to_wstring(v.major) + L"." + std::to_wstring(v.minor) + L"." + std::to_wstring(v.third) + L"." +
           std::to_wstring(v.fourth);
}

class InstallationEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        SimulateRestart();
        ClearProductCallsLog();
        // Windows has this key, which registration writes into and removal
        // leaves; a fresh Wine prefix lacks it.
        UniqueRegKey applications;
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", 0, nullptr, 0, KEY_READ, nullptr,
                          applications.Put(), nullptr);
        m_before = TakeMachineSnapshot();
    }

    void TearDown() override
    {
        if (RegKeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8")) {
            RemoveThroughProgramsList();
        }
        for (const wchar_t* folder : {L"C:\\Program Files\\Pixvane 8", L"C:\\Apps", L"C:\\Программы",
                                      L"P:\\Pixvane 8", L"P:\\StartPV8.exe"}) {
            RemoveTree(folder);
        }
    }

    // As a user removes it from the programs list, saying Yes if asked (a
    // licensed product asks nothing), and restarts.
    static void RemoveThroughProgramsList()
    {
        ChildProcess programsList;
        ASSERT_TRUE(programsList.Start(L"uninstaller.exe --remove \"Pixvane 8\""));
        while (programsList.Wait(100) == -1) {
            if (const auto box = WaitForMessageBox(100)) {
                PressButton(*box, IDYES);
            }
        }
        EXPECT_TRUE(WaitForNoProcesses(L"uni", L".tmp", 60000));
        SimulateRestart();
    }

    Texts ChangesSinceStart() const { return SnapshotChanges(m_before, TakeMachineSnapshot()); }

    MachineSnapshot m_before;
};

TEST_F(InstallationEndToEnd, FreshSilentInstallIsWhatTheListSaysAndRemovalGivesTheMachineBack)
{
    const std::wstring sfx = BuildPath(L"sfx\\Pixvane8Setup.exe");
    ASSERT_EQ(RunSetup(PackagePath(L"setup.exe"), L"-s -sfxname=" + sfx), kExitInstalled);

    // No x64 or portable files for a 64-bit all-users installation; the
    // codec is not the system's, so it is copied.
    EXPECT_EQ(FilesBelow(kDefaultFolder),
              (std::set<std::wstring>{L"Effects\\", L"Effects\\Frames\\", L"Effects\\Frames\\Classic.png",
                                      L"Effects\\Frames\\Rounded.png", L"Effects\\Frames\\Wide\\",
                                      L"Effects\\Frames\\Wide\\Panorama.png", L"Effects\\Outline.pvf",
                                      L"Effects\\Shadow.pvf", L"Effects\\TornEdge.pvf", L"HomePage.url",
                                      L"Languages\\", L"Languages\\Deutsch.lng", L"Languages\\English.lng",
                                      L"Languages\\Francais.lng", L"Pixvane.pv8lic", L"Pixvn8.exe", L"Pixvn8.ini",
                                      L"Pixvn8.reg", L"Pixvn8Man.chm", L"PxvUnInst.exe", L"PxvUnInst.log",
                                      L"ReadMe.txt", L"ThumbPvi32.dll", L"ThumbPviXP32.dll", L"agreement.txt",
                                      L"pvcodec8.dll", L"x64\\"}));

    const std::wstring group = GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS) + L"\\Pixvane 8";
    const std::wstring desktopLink = GetSpecialFolderPath(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\Pixvane 8.lnk";
    const Texts links = {group + L"\\Pixvane 8.lnk", group + L"\\Pixvane 8 Help.lnk", desktopLink};
    std::string expectedLog = ReadTextFile(PackagePath(L"PxvUnInst.log")) + "\r\nMade Dir: " + Narrow(group) + "\r\n";
    for (const auto& link : links) {
        EXPECT_TRUE(FileExists(link)) << link;
        expectedLog += "Shell Link: " + Narrow(link) + "\r\n";
    }
    expectedLog += "File Copy: Pixvn8.ini\r\nFile Copy: Pixvn8.reg\r\nFile Copy: Pixvane.pv8lic\r\n";
    EXPECT_EQ(ReadTextFile(kDefaultFolder + L"\\PxvUnInst.log"), expectedLog);
    EXPECT_EQ(ProductCallsLog(), L"regonly " + kDefaultFolder + L"\r\n");

    RemoveThroughProgramsList();
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

TEST_F(InstallationEndToEnd, UpgradeKeepsTheEarlierChoicesAndReplacesAFileInUseAtTheRestart)
{
    // 8.1.2.3 in a folder of its own: with no kind on record, that is an
    // installation for the current user. Its group is moved to two levels,
    // as the wizard can make it.
    const std::wstring folder = L"C:\\Apps\\Pixvane";
    ASSERT_EQ(RunSetup(OlderSetup(), L"-s -instdir " + folder), kExitInstalled);
    const std::wstring programs = GetSpecialFolderPath(CSIDL_PROGRAMS);
    MakeFolders(programs + L"\\Quorvex");
    ASSERT_TRUE(::MoveFileW((programs + L"\\Pixvane 8").c_str(), (programs + L"\\Quorvex\\Pixvane 8").c_str()));
    std::string log = ReadTextFile(folder + L"\\PxvUnInst.log");
    for (size_t at = log.find("Programs\\Pixvane 8"); at != std::string::npos; at = log.find("Programs\\Pixvane 8", at + 9)) {
        log.replace(at, 8, "Programs\\Quorvex");
    }
    WriteTextFile(folder + L"\\PxvUnInst.log", log);
    // It started with Windows for this user.
    const std::wstring startupLink = GetSpecialFolderPath(CSIDL_STARTUP) + L"\\Pixvane 8.lnk";
    WriteTextFile(startupLink, "a shortcut");
    WriteTextFile(folder + L"\\My notes.txt", "mine");
    WriteTextFile(folder + L"\\Languages\\Old.lg7", "left by version 7");
    ASSERT_TRUE(FileExists(folder + L"\\PvCapHlp.dll"));
    FileHolder reader;
    ASSERT_TRUE(reader.Hold(folder + L"\\Pixvn8Man.chm"));

    EXPECT_EQ(RunSetup(PackagePath(L"setup.exe"), L"-s"), kExitRestartNeeded);
    EXPECT_EQ(VersionText(folder + L"\\Pixvn8.exe"), VersionText(PackagePath(L"Pixvn8.exe")));
    EXPECT_FALSE(FileExists(folder + L"\\PvCapHlp.dll"));
    EXPECT_FALSE(FileExists(folder + L"\\Languages\\Old.lg7"));
    EXPECT_TRUE(FileExists(folder + L"\\My notes.txt"));
    const std::wstring group = programs + L"\\Quorvex\\Pixvane 8";
    const std::string installedLog = ReadTextFile(folder + L"\\PxvUnInst.log");
    EXPECT_NE(installedLog.find("Made Dir: " + Narrow(group) + "\r\n"), std::string::npos);
    EXPECT_NE(installedLog.find("Shell Link: " + Narrow(startupLink) + "\r\n"), std::string::npos);
    EXPECT_TRUE(FileExists(group + L"\\Pixvane 8.lnk"));
    EXPECT_FALSE(FolderExists(GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS) + L"\\Pixvane 8"));
    EXPECT_TRUE(FileExists(folder + L"\\Pixvn8Man.chm.new"));
    EXPECT_NE(PendingFileRenames().find(L"Pixvn8Man.chm.new"), std::wstring::npos);

    reader.Release();
    SimulateRestart();
    EXPECT_EQ(ReadTextFile(folder + L"\\Pixvn8Man.chm"), ReadTextFile(PackagePath(L"Pixvn8Man.chm")));
    for (const auto& file : FilesBelow(folder)) {
        EXPECT_EQ(file.find(L".new"), std::wstring::npos) << file;
        EXPECT_EQ(file.find(L".old"), std::wstring::npos) << file;
    }
}

TEST_F(InstallationEndToEnd, NoToAVersionQuestionChangesNothingWhileUnattendedRunsGoAhead)
{
    ASSERT_EQ(RunSetup(PackagePath(L"setup.exe"), L"-s"), kExitInstalled);
    const MachineSnapshot installed = TakeMachineSnapshot();
    const struct {
        std::wstring setup;
        std::wstring question;
    } cases[] = {
        {PackagePath(L"setup.exe"), L"Pixvane ver. 8.01.05.00 is already installed on this machine.\n\nWould you "
                                    L"like to run this setup again to select different options or repair the files?"},
        {OlderSetup(), L"Pixvane v. 8.01.05.00 is already installed on this machine. You are trying to install an "
                       L"older version 8.01.02.03 .\n\nDo you still want to continue?"},
    };
    for (const auto& run : cases) {
        ChildProcess setup;
        ASSERT_TRUE(setup.Start(Quoted(run.setup)));
        const auto box = AnswerMessageBox(IDNO, 30000, setup.Id());
        ASSERT_TRUE(box);
        EXPECT_EQ(box->text, run.question);
        EXPECT_TRUE(box->hasYes && box->hasNo && box->hasIcon);
        EXPECT_EQ(setup.Wait(kRunTimeoutMs), kExitUserDeclined);
        EXPECT_EQ(SnapshotChanges(installed, TakeMachineSnapshot()), Texts{});
    }
    EXPECT_EQ(RunSetup(OlderSetup(), L"-s"), kExitInstalled);
    EXPECT_EQ(VersionText(kDefaultFolder + L"\\Pixvn8.exe"), L"8.1.2.3");
}

TEST_F(InstallationEndToEnd, PortableInstallationGoesOnTheOtherDriveAndTouchesNothingElse)
{
    // Quoted with a trailing backslash, the shell leaves the quote in the argument.
    ASSERT_EQ(RunSetup(PackagePath(L"setup.exe"), L"-s -instport \"P:\\Pixvane 8\\\""), kExitInstalled);
    EXPECT_TRUE(FileExists(L"P:\\StartPV8.exe"));
    EXPECT_TRUE(FileExists(L"P:\\Pixvane 8\\x64\\ThumbPvi64.dll"));
    EXPECT_TRUE(FileExists(L"P:\\Pixvane 8\\Pixvn8.exe"));
    for (const auto& change : ChangesSinceStart()) {
        EXPECT_EQ(change.rfind(L"+ P:\\", 0), 0u) << change;
    }
    EXPECT_EQ(ProductCallsLog(), L"");
}

TEST_F(InstallationEndToEnd, DamagedPackageSaysSoOnlyWhenInteractive)
{
    // What the shell opens for a web address is written down instead of shown.
    const std::wstring command = L"https\\shell\\open\\command";
    const std::wstring browser = GetRegString(HKEY_CLASSES_ROOT, command, nullptr);
    const std::wstring opened = MakeScratchFolder(L"browser") + L"\\opened.txt";
    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, command, nullptr, L"cmd.exe /c echo %1>" + opened));

    const std::wstring noList = MakeScratchFolder(L"damaged-list");
    const std::wstring noVersion = MakeScratchFolder(L"damaged-version");
    for (const auto& folder : {noList, noVersion}) {
        ::CopyFileW(PackagePath(L"setup.exe").c_str(), (folder + L"\\setup.exe").c_str(), FALSE);
    }
    ::CopyFileW(PackagePath(L"Pixvn8.exe").c_str(), (noList + L"\\Pixvn8.exe").c_str(), FALSE);
    ::CopyFileW(PackagePath(L"PxvUnInst.log").c_str(), (noVersion + L"\\PxvUnInst.log").c_str(), FALSE);
    WriteTextFile(noVersion + L"\\Pixvn8.exe", "no version resource");

    for (const auto& folder : {noList, noVersion}) {
        EXPECT_EQ(RunSetup(folder + L"\\setup.exe", L"-s"), kExitDamagedPackage);
        ::Sleep(500);
        EXPECT_FALSE(FileExists(opened));

        ChildProcess setup;
        ASSERT_TRUE(setup.Start(Quoted(folder + L"\\setup.exe")));
        const auto box = AnswerMessageBox(IDOK, 30000, setup.Id());
        ASSERT_TRUE(box);
        EXPECT_EQ(box->text, LoadMessageText(IDS_DAMAGED_PACKAGE));
        EXPECT_TRUE(box->hasOk && box->hasIcon && !box->hasYes);
        EXPECT_EQ(setup.Wait(kRunTimeoutMs), kExitDamagedPackage);
        EXPECT_TRUE(WaitUntil([&] { return ReadTextFile(opened).find("quorvex") != std::string::npos; }, 10000));
        ::DeleteFileW(opened.c_str());
    }
    SetRegString(HKEY_CLASSES_ROOT, command, nullptr, browser);
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

TEST_F(InstallationEndToEnd, FolderWithCyrillicLettersInstallsAndGoesWithoutResidue)
{
    const std::wstring folder = L"C:\\Программы\\Пиксвейн 8";
    ASSERT_EQ(RunSetup(PackagePath(L"setup.exe"), L"-s -instdir " + Quoted(folder)), kExitInstalled);
    EXPECT_TRUE(FileExists(folder + L"\\Effects\\Frames\\Wide\\Panorama.png"));
    RemoveThroughProgramsList();
    EXPECT_FALSE(FolderExists(folder));
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

}  // namespace
