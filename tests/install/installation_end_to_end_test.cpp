// Installation and removal as a machine sees them: the real setup.exe of a
// package folder, unattended or answered like a user, then the real
// uninstaller with its temporary second stage and the restart that finishes
// what was in use, and the machine compared with how it was before.
#include "app/instance_manager.h"
#include "install/installation.h"
#include "support/machine_snapshot.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/diagnostic_log.h"
#include "system/path_text.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

constexpr DWORD kRunTimeoutMs = 120000;
const std::wstring kDefaultFolder = L"C:\\Program Files\\Pixvane 8";
const std::wstring kUninstallKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
const std::wstring kFileExts = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
// Another user of the machine, known only by that user's hive and profile.
const std::wstring kOtherUser = L"S-1-5-21-1000-1000-1000-1001\\";
const std::wstring kOtherProfile = L"C:\\users\\pxother";

// Told of a package file whose folder holds settings and a licence, as an
// administrator leaves them beside it.
const std::wstring kBesideSettings = L"-sfxname=" + BuildPath(L"sfx\\Pixvane8Setup.exe");
// The earlier release's package, to upgrade from.
const std::wstring kOlderPackage = BuildPath(L"sample-versions\\8.1.2.3\\");

// The exit code of an unattended run, which must show no window at all.
int RunSilently(const std::wstring& setup, const std::wstring& arguments)
{
    const WatchedRun run = RunWatched(Quoted(setup) + L" " + arguments);
    EXPECT_EQ(run.windows, Texts{}) << Narrow(arguments);
    return run.exitCode;
}

// Files and folders (these with a trailing "\") below folder, relative to it.
std::set<std::wstring> FilesBelow(const std::wstring& folder)
{
    std::set<std::wstring> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, ignored)) {
        files.insert(entry.path().wstring().substr(folder.size() + 1) + (entry.is_directory() ? L"\\" : L""));
    }
    return files;
}

class InstallationEndToEnd : public MachineTest {
protected:
    void TearDown() override
    {
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, L"Software\\Wine", L"Version");
        MachineTest::TearDown();
        RemoveTree(kOtherProfile);
        DeleteRegTree(HKEY_CURRENT_USER, kFileExts);  // only ever made by tests
        DeleteRegTree(HKEY_USERS, kOtherUser);
    }
};

// What the product and its users add to an installation on their own, which
// the removal must still find or must leave: an earlier version's log,
// shortcuts no log names (in the common startup folder and in another user's
// folders), settings, associations, a user's file, and other programs'
// entries beside the product's.
TEST_F(InstallationEndToEnd, FreshSilentInstallIsWhatTheListSaysAndRemovalFromTheProgramsListLeavesOnlyTheUsersOwn)
{
    const std::wstring folder = kDefaultFolder;
    const std::wstring userPrograms = kOtherProfile + L"\\Start Menu\\Programs";
    for (const auto& [name, path] : {std::pair{L"Desktop", kOtherProfile + L"\\Desktop"},
                                     {L"Startup", userPrograms + L"\\Startup"}, {L"Programs", userPrograms}}) {
        MakeFolders(path);
        SetRegString(HKEY_USERS, kOtherUser + L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
                     name, path);
    }
    WriteTextFile(kOtherProfile + L"\\Desktop\\Holiday notes.txt", "mine");
    WriteTextFile(userPrograms + L"\\Other Tool.txt", "mine");
    const std::pair<HKEY, std::wstring> others[] = {
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex\\Pixvane 7"},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Other Viewer"},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\otherview.exe"},
        {HKEY_CLASSES_ROOT, L"Applications\\otherview.exe"},
        {HKEY_CLASSES_ROOT, L"Pixvane.7"},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\otherhost"},
        {HKEY_CURRENT_USER, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\otherhost"},
        {HKEY_USERS, kOtherUser + L"SOFTWARE\\Quorvex\\Pixvane 7"},
        {HKEY_USERS, kOtherUser + L"SOFTWARE\\Classes\\Applications\\otherview.exe"},
    };
    for (const auto& [root, key] : others) {
        SetRegString(root, key, nullptr, L"theirs");
    }
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".gif\\UserChoice", L"Progid", L"otherview");
    for (const wchar_t* extension : {L".jpg", L".png"}) {
        SetRegString(HKEY_CURRENT_USER, kFileExts + extension, L"OpenWith", L"mspaint.exe");
    }
    m_before = TakeMachineSnapshot();

    // A diagnostic log leaves the product folder and its installed log as they are.
    const std::wstring diagnostics = L"-log=" + MakeScratchFolder(L"logs") + L"\\fresh.log ";
    ASSERT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s " + diagnostics + kBesideSettings), kExitInstalled);

    // No x64 or portable files for a 64-bit all-users installation; the
    // codec is not the system's, so it is copied.
    EXPECT_EQ(FilesBelow(folder),
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
    const std::wstring desktop = GetSpecialFolderPath(CSIDL_COMMON_DESKTOPDIRECTORY);
    std::string expectedLog = ReadTextFile(PackagePath(L"PxvUnInst.log")) + "\r\nMade Dir: " + Narrow(group) + "\r\n";
    for (const auto& link : {group + L"\\Pixvane 8.lnk", group + L"\\Pixvane 8 Help.lnk", desktop + L"\\Pixvane 8.lnk"}) {
        EXPECT_TRUE(FileExists(link)) << link;
        expectedLog += "Shell Link: " + Narrow(link) + "\r\n";
    }
    // What came from beside the package is not the package's: not logged.
    EXPECT_EQ(ReadTextFile(folder + L"\\PxvUnInst.log"), expectedLog);
    EXPECT_EQ(ProductCallsLog(), L"regonly " + folder + L" in " + folder + L"\r\n");

    ::DeleteFileW((folder + L"\\Pixvane.pv8lic").c_str());  // unlicensed, the removal asks
    WriteTextFile(folder + L"\\My notes.txt", "mine");
    WriteTextFile(folder + L"\\Pixvn8.cfg", "settings");
    ::SetFileAttributesW((folder + L"\\Pixvn8Man.chm").c_str(), FILE_ATTRIBUTE_READONLY);
    ::SetFileAttributesW((folder + L"\\Languages\\Deutsch.lng").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    WriteTextFile(folder + L"\\Pixvn7.exe", "version 7");
    WriteTextFile(folder + L"\\install.log", "File Copy: Pixvn7.exe\r\nFile Copy: install.log\r\nShell Link: " +
                                                 Narrow(desktop) + "\\Pixvane 7.lnk\r\n");
    const std::wstring userLink = userPrograms + L"\\Pixvane 8\\Pixvane 8.lnk";
    for (const std::wstring& link : {desktop + L"\\Pixvane 7.lnk", userLink, userPrograms + L"\\Startup\\Pixvane 8.lnk",
                                     kOtherProfile + L"\\Desktop\\Pixvane 8.lnk",
                                     GetSpecialFolderPath(CSIDL_COMMON_STARTUP) + L"\\Pixvane 8.lnk"}) {
        MakeFolders(ParentFolder(link));
        WriteTextFile(link, "link");
    }
    ::SetFileAttributesW(userLink.c_str(), FILE_ATTRIBUTE_READONLY);
    for (const auto& [root, key] : {std::pair{HKEY_CURRENT_USER, std::wstring(L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings")},
                                    {HKEY_CLASSES_ROOT, L"PV8.Document\\DefaultIcon"},
                                    {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff"},
                                    {HKEY_CURRENT_USER, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff"},
                                    {HKEY_USERS, kOtherUser + L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings"},
                                    {HKEY_USERS, kOtherUser + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe"},
                                    {HKEY_USERS, kOtherUser + L"SOFTWARE\\Classes\\Pixvane.8\\shell"},
                                    {HKEY_CURRENT_USER, L"Software\\Classes\\Pixvane8.License\\shell\\open\\command"}}) {
        SetRegString(root, key, nullptr, folder);
    }
    SetRegString(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex", L"LastProduct", L"Pixvane 8");  // values only, above
    for (const wchar_t* extension : {L".jpg", L".png"}) {
        SetRegString(HKEY_CURRENT_USER, kFileExts + extension + L"\\UserChoice", L"Progid", L"Applications\\Pixvn8.exe");
        SetRegString(HKEY_CURRENT_USER, kFileExts + extension, L"PixvnOld", L"mspaint.exe");
    }

    ChildProcess programsList;
    ASSERT_TRUE(programsList.Start(L"uninstaller.exe --remove \"Pixvane 8\""));
    const auto box = AnswerMessageBox(IDYES, 30000);
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, LoadMessageText(IDS_CONFIRM_UNINSTALL));
    // The copy schedules itself; how long it first waits is the self-removal test's.
    std::vector<DWORD> stages;
    ASSERT_TRUE(WaitUntil([&] { return !(stages = FindProcesses(L"uni", L".tmp")).empty(); }, 30000));
    UniqueHandle stage(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, stages.front()));
    std::wstring secondStage;
    ASSERT_TRUE(WaitUntil([&] { return !(secondStage = CommandLineOf(stages.front())).empty(); }, 500));
    const std::vector<std::wstring> arguments = SplitCommandLine(secondStage);
    ASSERT_EQ(arguments.size(), 3u) << secondStage;  // interactive: no "-s"
    ASSERT_TRUE(WaitUntil([&] { return IsPendingDeletion(arguments[0]); }, 30000));
    EXPECT_EQ(::WaitForSingleObject(stage.Get(), 60000), WAIT_OBJECT_0);
    EXPECT_EQ(programsList.Wait(30000), 0);

    // The folder with its blank comes whole, quoted on the command line.
    EXPECT_EQ(arguments[1], L"-delself");
    EXPECT_EQ(arguments[2], folder + L"\\PxvUnInst.exe");
    EXPECT_NE(secondStage.find(L" -delself " + Quoted(arguments[2])), std::wstring::npos) << secondStage;
    // The x64 folder is handed to the restart even when gone; a missing x32
    // folder is not, and without it the product folder that keeps the
    // user's file is not either.
    EXPECT_TRUE(IsPendingDeletion(folder + L"\\x64"));
    EXPECT_FALSE(IsPendingDeletion(folder + L"\\x32"));
    EXPECT_FALSE(IsPendingDeletion(folder));
    // "." and ".." of the "*.*" search in a user's group fail as files and
    // wait for the restart like any file in use.
    EXPECT_TRUE(IsPendingDeletion(userPrograms)) << PendingFileRenames();

    SimulateRestart();
    EXPECT_FALSE(FileExists(arguments[0]));
    EXPECT_EQ(ChangesSinceStart(), (Texts{L"+ " + folder, L"+ " + folder + L"\\My notes.txt",
                                          L"+ " + folder + L"\\Pixvn8.ini", L"+ " + folder + L"\\Pixvn8.reg"}));
    for (const auto& [root, key] : others) {
        DeleteRegTree(root, key);
    }
    DeleteRegTree(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex");
}

// Before Vista the product kept each extension's former program in
// "PixvnOld"; the removal gives it back, and unregisters the XP handler. A
// folder with letters the 8-bit log cannot hold installs and goes too.
TEST_F(InstallationEndToEnd, OnAnOlderSystemAndInACyrillicFolderTheFormerProgramsGetTheirExtensionsBack)
{
    const std::wstring folder = L"C:\\Программы\\Пиксвейн 8";
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".jpg", L"Application", L"mspaint.exe");
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".png", L"OpenWith", L"mspaint.exe");
    // The user's own choice, with a stale "PixvnOld" that old systems keep.
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".gif", L"Application", L"otherview.exe");
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".gif", L"PixvnOld", L"mspaint.exe");
    m_before = TakeMachineSnapshot();
    // Every program started from here on sees Windows XP (x64).
    SetRegString(HKEY_CURRENT_USER, L"Software\\Wine", L"Version", L"winxp64");
    ASSERT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s " + kBesideSettings + L" -instdir " + Quoted(folder)),
              kExitInstalled);
    EXPECT_TRUE(FileExists(folder + L"\\Effects\\Frames\\Wide\\Panorama.png"));
    for (const wchar_t* extension : {L".jpg", L".png"}) {
        SetRegString(HKEY_CURRENT_USER, kFileExts + extension, L"Application", L"Pixvn8.exe");
    }
    SetRegString(HKEY_CURRENT_USER, kFileExts + L".jpg", L"PixvnOld", L"mspaint.exe");
    // The Uninstall entry goes by a single key deletion, not a tree deletion.
    ASSERT_TRUE(SetRegString(HKEY_LOCAL_MACHINE, kUninstallKey + L"\\Extra", L"x", L"y"));

    // Licensed, but "-v" asks all the same; No changes nothing.
    const std::wstring uninstaller = Quoted(folder + L"\\PxvUnInst.exe") + L" -v";
    ChildProcess declined;
    ASSERT_TRUE(declined.Start(uninstaller));
    const auto box = AnswerMessageBox(IDNO, 30000, declined.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->form, L"Yes No* icon");
    EXPECT_EQ(declined.Wait(30000), kExitUserDeclined);
    // No temporary folder to copy into: the hand-over fails, nothing goes.
    wchar_t tmp[MAX_PATH] = {};
    ::GetEnvironmentVariableW(L"TMP", tmp, MAX_PATH);
    ::SetEnvironmentVariableW(L"TMP", L"C:\\no such temporary folder");
    ChildProcess stranded;
    const bool started = stranded.Start(uninstaller);
    ::SetEnvironmentVariableW(L"TMP", tmp);
    ASSERT_TRUE(started);
    EXPECT_TRUE(AnswerMessageBox(IDYES, 30000, stranded.Id()));
    EXPECT_EQ(stranded.Wait(30000), kExitInstallFailed);
    EXPECT_TRUE(FindProcesses(L"uni", L".tmp").empty());
    EXPECT_EQ(ProductCallsLog().find(L"unregonly"), std::wstring::npos);
    ChildProcess firstStage;
    ASSERT_TRUE(firstStage.Start(uninstaller));
    EXPECT_TRUE(AnswerMessageBox(IDYES, 30000, firstStage.Id()));
    EXPECT_EQ(firstStage.Wait(30000), kExitInstalled);  // handed over
    EXPECT_TRUE(WaitForSecondStage(60000));
    SimulateRestart();
    EXPECT_EQ(FilesBelow(folder), (std::set<std::wstring>{L"Pixvane.pv8lic", L"Pixvn8.ini", L"Pixvn8.reg"}));

    // The key stays whole, its 11 values and the subkey that kept it.
    const std::wstring entry = L"+ HKLM\\" + kUninstallKey + L"\\";
    const Texts changes = ChangesSinceStart();
    EXPECT_EQ(changes.size(), 14u);
    for (const std::wstring& change : changes) {
        EXPECT_EQ(change.rfind(entry, 0), 0u) << change;
    }
    DeleteRegTree(HKEY_LOCAL_MACHINE, kUninstallKey);
}

// A licensed removal asks nothing, closes running copies without a word (but
// never a stranger that took the identifier of a member that died without
// leaving) and passes "-s"; a temporary folder with a blank quotes only the
// copy's name. What another program holds open, a logged file and the x32
// folder, goes at the restart; the product folder stays with the settings
// and the licence that came from beside the package. A "regsvr32.exe"
// beside setup and beside the second stage (a library: a search that found
// it would start nothing) is passed over: the system's own registers and
// unregisters the handler.
TEST_F(InstallationEndToEnd, LicensedRemovalLeavesWhatIsInUseToTheRestartWithTheProductFolder)
{
    const std::wstring folder = kDefaultFolder;
    const std::wstring unpacked = MakeScratchFolder(L"unpacked");
    std::filesystem::copy(BuildPath(L"package"), unpacked, std::filesystem::copy_options::recursive);
    const std::wstring temporary = MakeScratchFolder(L"A B\\Temp");
    for (const std::wstring& beside : {unpacked, temporary}) {
        std::filesystem::copy_file(BuildPath(L"planted\\planted.dll"), beside + L"\\regsvr32.exe");
    }
    ASSERT_EQ(RunSilently(unpacked + L"\\setup.exe", L"-s " + kBesideSettings), kExitInstalled);
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"));
    const std::wstring inUse = folder + L"\\Languages\\English.lng";
    const std::wstring x32 = folder + L"\\x32";
    ASSERT_TRUE(::CreateDirectoryW(x32.c_str(), nullptr));
    FileHolder fileHolder;
    FileHolder folderHolder;
    ASSERT_TRUE(fileHolder.Hold(inUse));
    ASSERT_TRUE(folderHolder.Hold(x32));
    // A logged folder, a folder a logged pattern matches, the common group
    // and this user's "Programs\Pixvane 8" made links to other files: none
    // is searched or left to the restart, no shortcut is deleted through one.
    const std::wstring others = MakeScratchFolder(L"others");
    WriteTextFile(others + L"\\Classic.png", "theirs");
    WriteTextFile(others + L"\\Pixvane 8.lnk", "theirs");
    const std::wstring commonGroup = GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS) + L"\\Pixvane 8";
    RemoveTree(folder + L"\\Effects\\Frames");
    RemoveTree(commonGroup);
    const std::wstring links[] = {folder + L"\\Effects\\Frames", folder + L"\\Effects\\Extras.pvf", commonGroup,
                                  GetSpecialFolderPath(CSIDL_PROGRAMS) + L"\\Pixvane 8"};
    for (const auto& link : links) {
        ASSERT_TRUE(UnixLink(link, others));
    }
    // Not a member, the keeper holds the list between members.
    COXInstanceManager keeper(kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, false);
    ChildProcess stranger;
    ASSERT_TRUE(stranger.Start(L"notepad.exe"));
    ASSERT_TRUE(keeper.AddInstance(stranger.Id()));
    ChildProcess product;
    ASSERT_TRUE(product.Start(Quoted(folder + L"\\Pixvn8.exe")));
    ASSERT_TRUE(WaitUntil([&] { return COXInstanceManager::FindInstanceWindow(product.Id()) != nullptr; }, 10000));
    wchar_t tmp[MAX_PATH] = {};
    wchar_t temp[MAX_PATH] = {};
    ::GetEnvironmentVariableW(L"TMP", tmp, MAX_PATH);
    ::GetEnvironmentVariableW(L"TEMP", temp, MAX_PATH);
    ::SetEnvironmentVariableW(L"TMP", temporary.c_str());
    ::SetEnvironmentVariableW(L"TEMP", temporary.c_str());
    ChildProcess firstStage;
    // Both stages log into the file the first was given.
    const std::wstring diagnostics = MakeScratchFolder(L"logs") + L"\\removal.log";
    const bool started =
        firstStage.Start(Quoted(folder + L"\\PxvUnInst.exe") + L" " + Quoted(L"-log=" + diagnostics));
    ::SetEnvironmentVariableW(L"TMP", tmp);
    ::SetEnvironmentVariableW(L"TEMP", temp);
    ASSERT_TRUE(started);

    std::wstring commandLine;
    ASSERT_TRUE(WaitForSecondStage(60000, &commandLine));
    EXPECT_EQ(product.Wait(0), 0);  // closed by setup; the test's own end would be 99
    EXPECT_TRUE(stranger.IsRunning());
    keeper.RemoveInstance(stranger.Id());
    // The copy was started from its unquoted path, or it would not have run.
    EXPECT_EQ(commandLine.rfind(L"\"" + temporary + L"\\uni", 0), 0u) << commandLine;
    const std::vector<std::wstring> arguments = SplitCommandLine(commandLine);
    ASSERT_EQ(arguments.size(), 4u) << commandLine;
    EXPECT_EQ(arguments[3], L"-s");
    EXPECT_FALSE(FileExists(folder + L"\\Languages\\Deutsch.lng"));
    for (const std::wstring& pending : {inUse, folder + L"\\Languages", x32, folder}) {
        EXPECT_TRUE(IsPendingDeletion(pending)) << pending;
    }
    for (const auto& link : links) {
        EXPECT_FALSE(IsPendingDeletion(link)) << link;
    }
    const std::string diagnosed = ReadTextFile(diagnostics);
    for (const std::string& event : std::vector<std::string>{
             "end running copy " + std::to_string(product.Id()) + ": done\r\n",
             "-delself " + Narrow(Quoted(folder + L"\\PxvUnInst.exe")), "uninstall entry deleted: Pixvane 8: done\r\n",
             "delete " + Narrow(inUse) + ": failed (error 32)\r\n",
             "delete at the restart: " + Narrow(inUse) + ": done\r\n", "removal done, exit code 0\r\n"}) {
        EXPECT_NE(diagnosed.find(event), std::string::npos) << event << "\n" << diagnosed;
    }
    fileHolder.Release();
    folderHolder.Release();
    SimulateRestart();
    EXPECT_EQ(NamesIn(others), (std::set<std::wstring>{L"Classic.png", L"Pixvane 8.lnk"}));
    for (const auto& link : links) {
        EXPECT_TRUE(UnixLink(link));
    }
    // What held a link stays, like a folder that holds a user's file; so do
    // the settings and the licence that came from beside the package.
    EXPECT_EQ(ChangesSinceStart(), (Texts{L"+ " + folder, L"+ " + folder + L"\\Effects", L"+ " + folder + L"\\Pixvane.pv8lic",
                                          L"+ " + folder + L"\\Pixvn8.ini", L"+ " + folder + L"\\Pixvn8.reg"}));
}

TEST_F(InstallationEndToEnd, UpgradeKeepsTheEarlierChoicesAndReplacesAFileInUseAtTheRestart)
{
    // 8.1.2.3 in a folder of its own: with no kind on record, that is an
    // installation for the current user. Its group is moved to two levels,
    // as the wizard can make it.
    const std::wstring folder = L"C:\\Apps\\Pixvane";
    ASSERT_EQ(RunSilently(kOlderPackage + L"setup.exe", L"-s -instdir " + folder), kExitInstalled);
    const std::wstring programs = GetSpecialFolderPath(CSIDL_PROGRAMS);
    MakeFolders(programs + L"\\Quorvex");
    ASSERT_TRUE(::MoveFileW((programs + L"\\Pixvane 8").c_str(), (programs + L"\\Quorvex\\Pixvane 8").c_str()));
    std::string log = ReadTextFile(folder + L"\\PxvUnInst.log");
    for (size_t at = log.find("Programs\\Pixvane 8"); at != std::string::npos; at = log.find("Programs\\Pixvane 8", at + 9)) {
        log.replace(at, 8, "Programs\\Quorvex");
    }
    const std::wstring group = programs + L"\\Quorvex\\Pixvane 8";
    const std::wstring earlierLink = group + L"\\Pixvane 8 Tips.lnk";
    WriteTextFile(earlierLink, "a shortcut of 8.1");
    WriteTextFile(folder + L"\\Notes81.txt", "a file of 8.1");
    WriteTextFile(folder + L"\\PxvUnInst.log",
                  log + "File Copy: Notes81.txt\r\nShell Link: " + Narrow(earlierLink) + "\r\n");
    // It started with Windows for this user.
    const std::wstring startupLink = GetSpecialFolderPath(CSIDL_STARTUP) + L"\\Pixvane 8.lnk";
    WriteTextFile(startupLink, "a shortcut");
    WriteTextFile(folder + L"\\My notes.txt", "mine");
    WriteTextFile(folder + L"\\Languages\\Old.lg7", "left by version 7");
    ASSERT_TRUE(FileExists(folder + L"\\PvCapHlp.dll"));
    // A user's link where a folder of the new version goes: nothing is
    // written behind it.
    const std::wstring frames = MakeScratchFolder(L"frames");
    WriteTextFile(frames + L"\\Classic.png", "theirs");
    ASSERT_TRUE(UnixLink(folder + L"\\Effects\\Frames", frames));
    FileHolder reader;
    ASSERT_TRUE(reader.Hold(folder + L"\\Pixvn8Man.chm"));
    // Another program has the earlier thumbnail handler loaded: renameable,
    // not deletable. It differs from the package's, to tell them apart.
    const std::wstring handler = folder + L"\\ThumbPvi32.dll";
    ASSERT_TRUE(::CopyFileW(PackagePath(L"ThumbPviXP32.dll").c_str(), handler.c_str(), FALSE));
    UniqueModule loaded(::LoadLibraryExW(handler.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
    ASSERT_TRUE(loaded);

    // Asked for, the diagnostic log tells what was found and done, and why the exit code is 3010.
    const std::wstring diagnostics = MakeScratchFolder(L"logs") + L"\\upgrade.log";
    EXPECT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s " + Quoted(L"-log=" + diagnostics)), kExitRestartNeeded);
    const std::string diagnosed = ReadTextFile(diagnostics);
    const std::string chm = Narrow(folder) + "\\Pixvn8Man.chm";
    for (const std::string& event : std::vector<std::string>{
             "argument 1: -s\r\n", "installed version 8.1.2.3\r\n", "package version 8.1.5.0\r\n",
             "delete the earlier " + chm + ": failed (error 32)\r\n",
             "at the restart " + chm + ".new replaces " + chm + ": done\r\n",
             "\\Languages\\English.lng to " + Narrow(folder) + "\\Languages\\English.lng: done\r\n",
             "registry write: HKLM\\" + Narrow(kUninstallKey) + " | DisplayVersion: done\r\n",
             "start \"" + Narrow(folder) + "\\Pixvn8.exe\" -regonly in " + Narrow(folder) + ": done\r\n",
             "exit code 3010\r\n"}) {
        EXPECT_NE(diagnosed.find(event), std::string::npos) << event << "\n" << diagnosed;
    }
    EXPECT_EQ(ReadTextFile(folder + L"\\Pixvn8.exe"), ReadTextFile(PackagePath(L"Pixvn8.exe")));
    EXPECT_FALSE(FileExists(folder + L"\\PvCapHlp.dll"));
    EXPECT_FALSE(FileExists(folder + L"\\Languages\\Old.lg7"));
    EXPECT_TRUE(FileExists(folder + L"\\My notes.txt"));
    EXPECT_FALSE(FileExists(folder + L"\\Tips81.txt"));
    // Only the earlier log names it, and the new list does not retire it.
    EXPECT_TRUE(FileExists(folder + L"\\Notes81.txt"));
    EXPECT_FALSE(FileExists(earlierLink));
    EXPECT_EQ(NamesIn(frames), std::set<std::wstring>{L"Classic.png"});
    EXPECT_TRUE(UnixLink(folder + L"\\Effects\\Frames"));
    const std::string installedLog = ReadTextFile(folder + L"\\PxvUnInst.log");
    EXPECT_NE(installedLog.find("Made Dir: " + Narrow(group) + "\r\n"), std::string::npos);
    EXPECT_NE(installedLog.find("Shell Link: " + Narrow(startupLink) + "\r\n"), std::string::npos);
    EXPECT_TRUE(FileExists(group + L"\\Pixvane 8.lnk"));
    EXPECT_FALSE(FolderExists(GetSpecialFolderPath(CSIDL_COMMON_PROGRAMS) + L"\\Pixvane 8"));

    reader.Release();
    loaded.Reset();
    SimulateRestart();
    EXPECT_EQ(ReadTextFile(folder + L"\\Pixvn8Man.chm"), ReadTextFile(PackagePath(L"Pixvn8Man.chm")));
    EXPECT_EQ(ReadTextFile(handler), ReadTextFile(PackagePath(L"ThumbPvi32.dll")));
    for (const auto& file : FilesBelow(folder)) {
        EXPECT_EQ(file.find(L".new"), std::wstring::npos) << file;
        EXPECT_EQ(file.find(L".old"), std::wstring::npos) << file;
    }
    // The removal climbs the two-level group to the Programs folder.
    EXPECT_TRUE(RemoveThroughProgramsList());
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

TEST_F(InstallationEndToEnd, NoToAVersionQuestionChangesNothingWhileUnattendedRunsGoAhead)
{
    ASSERT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s"), kExitInstalled);
    const MachineSnapshot installed = TakeMachineSnapshot();
    const struct {
        std::wstring setup;
        std::wstring question;
    } cases[] = {
        {PackagePath(L"setup.exe"), L"Pixvane ver. 8.01.05.00 is already installed on this machine.\n\nWould you "
                                    L"like to run this setup again to select different options or repair the files?"},
        {kOlderPackage + L"setup.exe", L"Pixvane v. 8.01.05.00 is already installed on this machine. You are trying to install an "
                       L"older version 8.01.02.03 .\n\nDo you still want to continue?"},
    };
    for (const auto& run : cases) {
        ChildProcess setup;
        ASSERT_TRUE(setup.Start(Quoted(run.setup)));
        const auto box = AnswerMessageBox(IDNO, 30000, setup.Id());
        ASSERT_TRUE(box);
        EXPECT_EQ(box->text, run.question);
        EXPECT_EQ(box->form, L"Yes No* icon");
        EXPECT_EQ(setup.Wait(kRunTimeoutMs), kExitUserDeclined);
        EXPECT_EQ(SnapshotChanges(installed, TakeMachineSnapshot()), Texts{});
    }
    // A running copy that ignores the close request is ended, and gone
    // before the files are: nothing waits for the restart. A diagnostic log
    // that cannot be written changes nothing.
    ChildProcess product;
    ASSERT_TRUE(product.Start(Quoted(kDefaultFolder + L"\\Pixvn8.exe") + L" -ignoreclose"));
    ASSERT_TRUE(WaitUntil([&] { return COXInstanceManager::FindInstanceWindow(product.Id()) != nullptr; }, 10000));
    EXPECT_EQ(RunSilently(kOlderPackage + L"setup.exe", L"-install -s -log=C:\\no\\such\\folder\\setup.log"),
              kExitInstalled);
    EXPECT_EQ(product.Wait(0), 0);
    EXPECT_EQ(ReadTextFile(kDefaultFolder + L"\\Pixvn8.exe"), ReadTextFile(kOlderPackage + L"Pixvn8.exe"));
    EXPECT_EQ(PendingFileRenames().find(L".old"), std::wstring::npos);  // ".new" would have made it 3010
}

TEST_F(InstallationEndToEnd, PortableInstallationGoesOnTheOtherDriveAndTouchesNothingElse)
{
    // The package's longest name, Effects\Frames\Wide\Panorama.png (32
    // characters), fits below 226 and not below 227: there nothing at all.
    const std::wstring folder = L"P:\\Pixvane 8\\" + std::wstring(226 - 13, L'x');
    EXPECT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s -instport " + Quoted(folder + L"y")), kExitInstallFailed);
    EXPECT_EQ(ChangesSinceStart(), Texts{});
    // Quoted with a trailing backslash, the shell leaves the quote in the argument.
    ASSERT_EQ(RunSilently(PackagePath(L"setup.exe"), L"-s -instport \"" + folder + L"\\\""), kExitInstalled);
    EXPECT_TRUE(FileExists(L"P:\\Pixvane 8\\StartPV8.exe"));
    EXPECT_TRUE(FileExists(folder + L"\\x64\\ThumbPvi64.dll"));
    EXPECT_TRUE(FileExists(folder + L"\\Effects\\Frames\\Wide\\Panorama.png"));
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

    // This test is the desktop's shell: the page is opened as the shell's
    // child, through the system's URL handler.
    HWND shell = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(SetShellWindow(shell));
    for (const auto& folder : {noList, noVersion}) {
        EXPECT_EQ(RunSilently(folder + L"\\setup.exe", L"-s"), kExitDamagedPackage);
        ::Sleep(500);
        EXPECT_FALSE(FileExists(opened));

        ChildProcess setup;
        ASSERT_TRUE(setup.Start(Quoted(folder + L"\\setup.exe")));
        const auto box = AnswerMessageBox(IDOK, 30000, setup.Id());
        ASSERT_TRUE(box);
        EXPECT_EQ(box->text, LoadMessageText(IDS_DAMAGED_PACKAGE));
        EXPECT_EQ(box->form, L"OK* icon");
        EXPECT_EQ(setup.Wait(kRunTimeoutMs), kExitDamagedPackage);
        EXPECT_TRUE(WaitUntil([&] { return ReadTextFile(opened).find("quorvex") != std::string::npos; }, 10000));
        ::DeleteFileW(opened.c_str());
    }
    ::DestroyWindow(shell);
    SetRegString(HKEY_CLASSES_ROOT, command, nullptr, browser);
    EXPECT_EQ(ChangesSinceStart(), Texts{});
}

}  // namespace
