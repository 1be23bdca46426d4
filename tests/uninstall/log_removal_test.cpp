// Log-driven removal against real files in the test prefix: what a log names
// goes, what it does not name (or names in a way it must not) stays, and what
// is in use is left to the restart.
#include "support/test_env.h"
#include "uninstall/install_log.h"
#include "uninstall/log_removal.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

// A product folder "prod" inside a scratch folder, so that there is an
// outside to protect.
class LogRemoval : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::wstring name;
        for (const char* c = info->name(); *c; ++c) {
            name += static_cast<wchar_t>(*c);
        }
        m_root = MakeScratchFolder(L"removal\\" + name);
        m_product = m_root + L"\\prod";
        MakeFolders(m_product);
        m_log = m_product + L"\\PxvUnInst.log";
    }

    void TearDown() override { RemoveTree(m_root); }

    std::wstring InProduct(const std::wstring& name) const { return m_product + L"\\" + name; }
    std::wstring Outside(const std::wstring& name) const { return m_root + L"\\" + name; }

    static void Touch(const std::wstring& path) { WriteTextFile(path, "x"); }

    // Lines as the installer leaves them: CR LF after each.
    static void WriteLog(const std::wstring& path, std::initializer_list<std::string> lines)
    {
        std::string text;
        for (const auto& line : lines) {
            text += line + "\r\n";
        }
        WriteTextFile(path, text);
    }

    std::wstring m_root;
    std::wstring m_product;
    std::wstring m_log;
};

std::string Narrow(const std::wstring& text)
{
    std::string narrow;
    for (const wchar_t c : text) {
        narrow += static_cast<char>(c);
    }
    return narrow;
}

bool IsPendingAtRestart(const std::wstring& path)
{
    return PendingFileRenames().find(path) != std::wstring::npos;
}

// Held open without FILE_SHARE_DELETE, as a running program holds its files.
UniqueFileHandle HoldOpen(const std::wstring& path)
{
    return UniqueFileHandle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// What a restart does with the pending deletions, carried out now.
void SimulateRestart()
{
    ASSERT_EQ(RunToEnd(L"wineboot.exe -r", 120000), 0);
}

}  // namespace

TEST_F(LogRemoval, MissingLogDoesNothing)
{
    Touch(InProduct(L"a.dat"));
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedLinksAndFolders(m_log);
    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_TRUE(FileExists(InProduct(L"a.dat")));
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
}

TEST_F(LogRemoval, LinesThatAreNotExactEntriesMatchNothing)
{
    for (const wchar_t* name : {L"a.dat", L"b.dat", L"c.dat", L"d.dat", L"e.dat", L"f.dat"}) {
        Touch(InProduct(name));
    }
    MakeFolders(InProduct(L"keepdir"));
    WriteLog(m_log, {"  File Copy: a.dat", "file copy: b.dat", "File Copy:c.dat", "File Copy x64:d.dat",
                     "FILE DEL: e.dat", "\tFile Del: f.dat", " Make Dir: keepdir", "File Copy: nothing*.xyz"});
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedFiles(m_log, m_product, nullptr);

    for (const wchar_t* name : {L"a.dat", L"b.dat", L"c.dat", L"d.dat", L"e.dat", L"f.dat"}) {
        EXPECT_TRUE(FileExists(InProduct(name))) << Narrow(name);
    }
    EXPECT_TRUE(FolderExists(InProduct(L"keepdir")));
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
}

TEST_F(LogRemoval, LongLineCountsOnlyWithItsFirstPiece)
{
    for (const wchar_t* name : {L"first.dat", L"second.dat", L"third.dat", L"fourth.dat", L"fifth.dat"}) {
        Touch(InProduct(name));
    }
    // 600 characters: the first 511 are one read, and the 89 behind them
    // begin with what would be an entry if they stood on a line of their own.
    std::string longLine = "File Copy: first.dat | ";
    longLine.resize(511, 'x');
    longLine += "File Copy: second.dat | ";
    longLine.resize(600, 'y');
    // Exactly one read long: its line feed comes alone, and the next line is whole.
    std::string fullRead = "File Copy: fourth.dat | ";
    fullRead.resize(511, 'z');
    WriteLog(m_log, {longLine, "File Copy: third.dat", fullRead, "File Copy: fifth.dat"});

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(InProduct(L"first.dat")));
    EXPECT_TRUE(FileExists(InProduct(L"second.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"third.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"fourth.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"fifth.dat")));
}

TEST_F(LogRemoval, CommentsAreCutAndRenamesDeleteTheInstalledName)
{
    for (const wchar_t* name : {L"a.dll", L"a.exe", L"b.exe", L"ReadMe-8.txt", L"ReadMe.txt"}) {
        Touch(InProduct(name));
    }
    WriteLog(m_log, {"File Copy: a.dll | 1.2", "File Copy: a.exe > b.exe",
                     "File Copy: ReadMe-8.txt >   ReadMe.txt | shown after setup"});

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(InProduct(L"a.dll")));
    EXPECT_TRUE(FileExists(InProduct(L"a.exe")));
    EXPECT_FALSE(FileExists(InProduct(L"b.exe")));
    EXPECT_TRUE(FileExists(InProduct(L"ReadMe-8.txt")));
    EXPECT_FALSE(FileExists(InProduct(L"ReadMe.txt")));
}

TEST_F(LogRemoval, WildcardDeletesOnlyInItsOwnFolder)
{
    MakeFolders(InProduct(L"sub\\deeper"));
    for (const wchar_t* name : {L"top.dat", L"sub\\x.dat", L"sub\\y.DAT", L"sub\\z.txt", L"sub\\deeper\\w.dat"}) {
        Touch(InProduct(name));
    }
    WriteLog(m_log, {"File Copy: sub\\*.dat"});

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(InProduct(L"sub\\x.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"sub\\y.DAT")));
    EXPECT_TRUE(FileExists(InProduct(L"sub\\z.txt")));
    EXPECT_TRUE(FileExists(InProduct(L"sub\\deeper\\w.dat")));
    EXPECT_TRUE(FileExists(InProduct(L"top.dat")));
}

TEST_F(LogRemoval, EveryFileKindIsDeletedFromTheProductFolder)
{
    for (const wchar_t* name : {L"copy.dll", L"x64.dll", L"ind.dll", L"prt.exe", L"over.cfg", L"del.dll"}) {
        Touch(InProduct(name));
    }
    // A "prt" file went beside the product folder; only its namesake inside goes.
    Touch(Outside(L"prt.exe"));
    WriteLog(m_log, {"File Copy: copy.dll", "File Copy x64: x64.dll", "File Copy ind: ind.dll",
                     "File Copy prt: prt.exe", "File Overwrite: over.cfg | written by the product",
                     "File Del: del.dll"});

    // The folder given with and without its trailing backslash.
    RemoveLoggedFiles(m_log, m_product + L"\\", nullptr);

    for (const wchar_t* name : {L"copy.dll", L"x64.dll", L"ind.dll", L"prt.exe", L"over.cfg", L"del.dll"}) {
        EXPECT_FALSE(FileExists(InProduct(name))) << Narrow(name);
    }
    EXPECT_TRUE(FileExists(Outside(L"prt.exe")));
}

TEST_F(LogRemoval, ReadOnlyAndHiddenGoButOtherAttributesAreKept)
{
    Touch(InProduct(L"ro.dat"));
    Touch(InProduct(L"hidden.dat"));
    Touch(InProduct(L"system.dat"));
    ASSERT_TRUE(::SetFileAttributesW(InProduct(L"ro.dat").c_str(), FILE_ATTRIBUTE_READONLY));
    ASSERT_TRUE(::SetFileAttributesW(InProduct(L"hidden.dat").c_str(), FILE_ATTRIBUTE_HIDDEN));
    // Held open, this one survives the deletion and shows what was done to its bits.
    ASSERT_TRUE(::SetFileAttributesW(InProduct(L"system.dat").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                                                            FILE_ATTRIBUTE_SYSTEM));
    const UniqueFileHandle holder = HoldOpen(InProduct(L"system.dat"));
    ASSERT_TRUE(holder);
    WriteLog(m_log, {"File Copy: ro.dat", "File Copy: hidden.dat", "File Copy: system.dat"});

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(InProduct(L"ro.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"hidden.dat")));
    const DWORD attributes = ::GetFileAttributesW(InProduct(L"system.dat").c_str());
    ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM),
              static_cast<DWORD>(FILE_ATTRIBUTE_SYSTEM));
}

TEST_F(LogRemoval, FileInUseIsDeletedAtTheRestart)
{
    Touch(InProduct(L"locked.dll"));
    Touch(InProduct(L"free.dll"));
    WriteLog(m_log, {"File Copy: locked.dll", "File Copy: free.dll"});
    UniqueFileHandle holder = HoldOpen(InProduct(L"locked.dll"));
    ASSERT_TRUE(holder);

    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_TRUE(FileExists(InProduct(L"locked.dll")));
    EXPECT_FALSE(FileExists(InProduct(L"free.dll")));
    EXPECT_TRUE(IsPendingAtRestart(InProduct(L"locked.dll")));
    EXPECT_FALSE(IsPendingAtRestart(InProduct(L"free.dll")));

    holder.Reset();
    SimulateRestart();
    EXPECT_FALSE(FileExists(InProduct(L"locked.dll")));
    EXPECT_FALSE(IsPendingAtRestart(InProduct(L"locked.dll")));
}

TEST_F(LogRemoval, MakeDirFoldersGoInLogOrderAndParentsFollowAtTheRestart)
{
    MakeFolders(InProduct(L"Effects\\Frames"));
    MakeFolders(InProduct(L"Languages"));
    Touch(InProduct(L"Effects\\Frames\\Classic.png"));
    Touch(InProduct(L"Languages\\mine.txt"));  // the user's own file
    WriteLog(m_log, {"Make Dir: Effects", "Make Dir: Effects\\Frames", "Make Dir: Languages",
                     "File Copy: Effects\\Frames\\*.png"});

    RemoveLoggedFiles(m_log, m_product, nullptr);

    // Effects still held Frames when its turn came; Frames was empty by then.
    EXPECT_FALSE(FolderExists(InProduct(L"Effects\\Frames")));
    EXPECT_TRUE(FolderExists(InProduct(L"Effects")));
    EXPECT_TRUE(IsPendingAtRestart(InProduct(L"Effects")));
    EXPECT_TRUE(FileExists(InProduct(L"Languages\\mine.txt")));
    EXPECT_TRUE(IsPendingAtRestart(InProduct(L"Languages")));

    SimulateRestart();
    EXPECT_FALSE(FolderExists(InProduct(L"Effects")));
    // Not empty at the restart either: the user's file is never touched.
    EXPECT_TRUE(FileExists(InProduct(L"Languages\\mine.txt")));
}

TEST_F(LogRemoval, OnlyPrefixLimitsTheFilePassButNotTheFolderPass)
{
    Touch(InProduct(L"current.dll"));
    Touch(InProduct(L"PvCapHlp.dll"));
    Touch(InProduct(L"old.lg7"));
    MakeFolders(InProduct(L"Languages"));
    WriteLog(m_log, {"Make Dir: Languages", "File Copy: current.dll", "File Del: PvCapHlp.dll | version 7",
                     "File Del: *.lg7", "File Overwrite: current.dll"});

    RemoveLoggedFiles(m_log, m_product, kFileDelPrefix);

    EXPECT_TRUE(FileExists(InProduct(L"current.dll")));
    EXPECT_FALSE(FileExists(InProduct(L"PvCapHlp.dll")));
    EXPECT_FALSE(FileExists(InProduct(L"old.lg7")));
    EXPECT_FALSE(FolderExists(InProduct(L"Languages")));
}

TEST_F(LogRemoval, BothLogsAreReadOlderOneFirst)
{
    MakeFolders(InProduct(L"sub"));
    Touch(InProduct(L"sub\\a.dat"));
    Touch(InProduct(L"old.dat"));
    Touch(InProduct(L"new.dat"));
    WriteLog(InProduct(L"install.log"), {"Make Dir: sub", "File Copy: old.dat"});
    WriteLog(m_log, {"File Copy: new.dat", "File Copy: sub\\a.dat"});

    for (const wchar_t* logName : kInstallLogNames) {
        RemoveLoggedFiles(InProduct(logName), m_product, nullptr);
    }

    EXPECT_FALSE(FileExists(InProduct(L"old.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"new.dat")));
    EXPECT_FALSE(FileExists(InProduct(L"sub\\a.dat")));
    // The older log's folder came before the newer log emptied it.
    EXPECT_TRUE(FolderExists(InProduct(L"sub")));
    EXPECT_TRUE(IsPendingAtRestart(InProduct(L"sub")));
}

TEST_F(LogRemoval, TamperedEntriesCannotReachOutOfTheProductFolder)
{
    for (const wchar_t* name : {L"out1.dat", L"out2.dat", L"out3.dat", L"out4.dat", L"out5.dat", L"note.txt"}) {
        Touch(Outside(name));
    }
    MakeFolders(Outside(L"victim1"));
    MakeFolders(Outside(L"victim2"));
    Touch(InProduct(L"inside.dat"));
    const std::string root = Narrow(m_root);
    const std::string rootNoDrive = root.substr(2);
    WriteLog(m_log, {"File Copy: ..\\out1.dat", "File Del: " + root + "\\out2.dat",
                     "File Copy: " + rootNoDrive + "\\out3.dat", "File Overwrite: sub\\..\\..\\out4.dat",
                     "File Copy: ok.dat > ..\\out5.dat", "File Copy: /" + rootNoDrive.substr(1) + "/out1.dat",
                     "File Copy: \\\\localhost\\C$" + rootNoDrive + "\\out2.dat", "File Copy: ..\\*.*",
                     "Make Dir: ..\\victim1", "Make Dir: " + root + "\\victim2", "File Copy: inside.dat",
                     "Shell Link: " + root + "\\note.txt"});
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedLinksAndFolders(m_log);
    RemoveLoggedFiles(m_log, m_product, nullptr);

    for (const wchar_t* name : {L"out1.dat", L"out2.dat", L"out3.dat", L"out4.dat", L"out5.dat", L"note.txt"}) {
        EXPECT_TRUE(FileExists(Outside(name))) << Narrow(name);
    }
    EXPECT_TRUE(FolderExists(Outside(L"victim1")));
    EXPECT_TRUE(FolderExists(Outside(L"victim2")));
    EXPECT_FALSE(FileExists(InProduct(L"inside.dat")));
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
}

TEST_F(LogRemoval, ShortcutsGoAndTheGroupClimbStopsAtTheFirstFolderInUse)
{
    const std::wstring programs = Outside(L"Programs");
    const std::wstring group = programs + L"\\Quorvex\\Pixvane 8";
    const std::wstring otherGroup = programs + L"\\Other\\Kept Group";
    MakeFolders(group);
    MakeFolders(otherGroup);
    Touch(programs + L"\\someone else.lnk");  // the programs folder is never empty
    Touch(group + L"\\Pixvane 8.lnk");
    Touch(group + L"\\Manual.lnk");
    Touch(otherGroup + L"\\Pixvane 8.lnk");
    Touch(otherGroup + L"\\my notes.txt");  // added by the user
    Touch(Outside(L"desktop.lnk"));
    const std::string g = Narrow(group);
    const std::string o = Narrow(otherGroup);
    WriteLog(m_log, {"Made Dir: " + g, "Made Dir: " + o, "Shell Link: " + g + "\\Pixvane 8.lnk",
                     "Shell Link: " + g + "\\Manual.lnk", "Shell Link: " + o + "\\Pixvane 8.lnk",
                     "Shell Link: " + Narrow(Outside(L"desktop.lnk")), "Shell Link: " + g + "\\gone.lnk"});
    const std::wstring pendingBefore = PendingFileRenames();

    RemoveLoggedLinksAndFolders(m_log);

    EXPECT_FALSE(FolderExists(group));
    EXPECT_FALSE(FolderExists(programs + L"\\Quorvex"));
    EXPECT_TRUE(FolderExists(programs));
    EXPECT_FALSE(FileExists(Outside(L"desktop.lnk")));
    EXPECT_FALSE(FileExists(otherGroup + L"\\Pixvane 8.lnk"));
    EXPECT_TRUE(FileExists(otherGroup + L"\\my notes.txt"));
    EXPECT_TRUE(FolderExists(programs + L"\\Other"));
    // Neither shortcuts nor group folders are ever left to the restart.
    EXPECT_EQ(PendingFileRenames(), pendingBefore);
}

TEST_F(LogRemoval, LinesTheInstallerAppendsAreReadBack)
{
    // The package's list is copied verbatim, its last line maybe unterminated;
    // the installer's empty line then closes it before its own entries.
    const std::wstring group = Outside(L"Caf\u00e9 Group");
    MakeFolders(group);
    Touch(group + L"\\Caf\u00e9.lnk");
    Touch(InProduct(L"last.dat"));
    WriteTextFile(m_log, "Make Dir: x64\r\nFile Copy: last.dat");
    AppendLogEntry(m_log, L"", L"");
    AppendLogEntry(m_log, kMadeDirPrefix, group);
    AppendLogEntry(m_log, kShellLinkPrefix, group + L"\\Caf\u00e9.lnk");

    RemoveLoggedLinksAndFolders(m_log);
    RemoveLoggedFiles(m_log, m_product, nullptr);

    EXPECT_FALSE(FileExists(InProduct(L"last.dat")));
    EXPECT_FALSE(FileExists(group + L"\\Caf\u00e9.lnk"));
    EXPECT_FALSE(FolderExists(group));
    // One byte per character, CR LF after each line.
    EXPECT_EQ(ReadTextFile(m_log).substr(34), "\r\nMade Dir: " + Narrow(group) + "\r\nShell Link: " + Narrow(group) +
                                                  "\\Caf\xe9.lnk\r\n");
}
