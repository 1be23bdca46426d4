// Start-up as a user meets it: the program started the way Windows starts
// it, its message boxes answered, its effects read from disk and registry.
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t kConfirmUninstall[] = L"This will completely uninstall Pixvane 8.\nDo you want to continue?";
constexpr wchar_t kUninstallDone[] =
    L"Pixvane 8 has been completely uninstalled from this computer.\n\nIf some Pixvane files could not be deleted "
    L"at this time, they will be removed upon the reboot of this computer.";
constexpr wchar_t kThumb32Class[] = L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}";
constexpr wchar_t kThumbXP32Class[] = L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}";
constexpr DWORD kBoxWaitMs = 15000;
constexpr DWORD kProcessWaitMs = 30000;

// A product folder as far as start-up cares: the uninstaller, the two
// thumbnail-handler libraries and one payload file.
struct ProductFolder {
    std::wstring folder;
    std::wstring uninstaller;
};

ProductFolder MakeProductFolder(const std::wstring& name)
{
    ProductFolder product;
    product.folder = MakeScratchFolder(name) + L"\\Pixvane 8";
    MakeFolders(product.folder);
    product.uninstaller = product.folder + L"\\PxvUnInst.exe";
    ::CopyFileW(PackagePath(L"setup.exe").c_str(), product.uninstaller.c_str(), FALSE);
    for (const wchar_t* file : {L"ThumbPvi32.dll", L"ThumbPviXP32.dll", L"ReadMe-8.txt"}) {
        ::CopyFileW(PackagePath(file).c_str(), (product.folder + L"\\" + file).c_str(), FALSE);
    }
    return product;
}

std::wstring Quoted(const std::wstring& path)
{
    return L"\"" + path + L"\"";
}

void Register(const std::wstring& library)
{
    ASSERT_EQ(RunToEnd(L"regsvr32.exe /s " + Quoted(library)), 0);
}

std::wstring CopyOfSetupNamed(const std::wstring& folder, const std::wstring& name)
{
    const std::wstring path = folder + L"\\" + name;
    ::CopyFileW(PackagePath(L"setup.exe").c_str(), path.c_str(), FALSE);
    return path;
}

}  // namespace

TEST(UninstallConfirmation, AskedWithYesAndNoAndDecliningChangesNothing)
{
    const ProductFolder product = MakeProductFolder(L"confirm-no");
    ChildProcess uninstaller;
    ASSERT_TRUE(uninstaller.Start(Quoted(product.uninstaller)));

    const auto box = AnswerMessageBox(IDNO, kBoxWaitMs, uninstaller.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kConfirmUninstall);
    EXPECT_TRUE(box->hasYes && box->hasNo && !box->hasOk);
    EXPECT_EQ(box->defaultButton, IDNO);
    EXPECT_TRUE(box->hasIcon);

    EXPECT_EQ(uninstaller.Wait(kProcessWaitMs), 0);
    EXPECT_TRUE(SecondStageProcesses().empty());
    EXPECT_TRUE(FileExists(product.uninstaller));
    EXPECT_TRUE(FileExists(product.folder + L"\\ReadMe-8.txt"));
}

// Without "-v" a licensed copy goes without a question (the end-to-end
// removal tests show that); with it, the question comes back.
TEST(UninstallConfirmation, ALicensedCopyStillAsksWhenVerbose)
{
    const ProductFolder product = MakeProductFolder(L"licensed");
    WriteTextFile(product.folder + L"\\owner.pv8lic", "licence");

    ChildProcess verbose;
    ASSERT_TRUE(verbose.Start(Quoted(product.uninstaller) + L" -v"));
    const auto box = AnswerMessageBox(IDNO, kBoxWaitMs, verbose.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kConfirmUninstall);
    EXPECT_EQ(verbose.Wait(kProcessWaitMs), 0);
    EXPECT_TRUE(FileExists(product.uninstaller));
}

TEST(ModeDecision, OnlyTheExactSelfRemovalRequestSkipsTheConfirmation)
{
    const ProductFolder product = MakeProductFolder(L"mode-delself");
    for (const wchar_t* arguments : {L" -DELSELF C:\\pxtest\\x\\PxvUnInst.exe", L" -delself"}) {
        ChildProcess uninstaller;
        ASSERT_TRUE(uninstaller.Start(Quoted(product.uninstaller) + arguments));
        const auto box = AnswerMessageBox(IDNO, kBoxWaitMs, uninstaller.Id());
        ASSERT_TRUE(box) << "no confirmation for" << arguments;
        EXPECT_EQ(box->text, kConfirmUninstall);
        EXPECT_EQ(uninstaller.Wait(kProcessWaitMs), 0);
    }
    EXPECT_TRUE(FileExists(product.uninstaller));
}

TEST(ModeDecision, AProgramNamedLikeSetupInstallsAndNeverAsksToUninstall)
{
    const std::wstring folder = MakeScratchFolder(L"mode-mysetup");
    const std::wstring mySetup = CopyOfSetupNamed(folder, L"MySetup.EXE");
    // Unattended and with no package beside it, the install road ends at
    // once as a damaged package; the removal road would have asked first.
    ChildProcess setup;
    ASSERT_TRUE(setup.Start(Quoted(mySetup) + L" -s"));
    EXPECT_EQ(setup.Wait(kProcessWaitMs), 1);
    EXPECT_TRUE(NoMessageBoxWithin(500));
    EXPECT_TRUE(FileExists(mySetup));
}

TEST(SelfRemovalCopy, UnregistersTheHandlerDeletesTheFirstStageAndSchedulesItself)
{
    const ProductFolder product = MakeProductFolder(L"copy-steps");
    Register(product.folder + L"\\ThumbPvi32.dll");
    Register(product.folder + L"\\ThumbPviXP32.dll");
    ASSERT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, kThumb32Class));
    const std::wstring copy = CopyOfSetupNamed(MakeScratchFolder(L"copy-steps-temp"), L"uni5A.tmp");

    ChildProcess second;
    ASSERT_TRUE(second.Start(Quoted(copy) + L" -delself " + Quoted(product.uninstaller) + L" -s"));
    EXPECT_EQ(second.Wait(kProcessWaitMs), 0);

    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, kThumb32Class));
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, kThumbXP32Class)) << "only the library of this Windows version";
    EXPECT_FALSE(FileExists(product.uninstaller));
    EXPECT_TRUE(IsPendingDeletion(copy));
    EXPECT_TRUE(NoMessageBoxWithin(200));
    RunToEnd(L"regsvr32.exe /s /u " + Quoted(product.folder + L"\\ThumbPviXP32.dll"));
}

TEST(SelfRemovalCopy, ReportsTheEndOnlyWhenItsOwnCommandLineSaysVerbose)
{
    const ProductFolder product = MakeProductFolder(L"copy-verbose");
    const std::wstring copy = CopyOfSetupNamed(MakeScratchFolder(L"copy-verbose-temp"), L"uni5B.tmp");

    ChildProcess second;
    ASSERT_TRUE(second.Start(Quoted(copy) + L" -delself " + Quoted(product.uninstaller) + L" -v"));
    const auto box = AnswerMessageBox(IDOK, kBoxWaitMs, second.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, kUninstallDone);
    EXPECT_TRUE(box->hasOk && !box->hasYes);
    EXPECT_FALSE(box->hasIcon);
    EXPECT_EQ(second.Wait(kProcessWaitMs), 0);
    EXPECT_FALSE(FileExists(product.uninstaller));
}

TEST(SelfRemovalCopy, OnOlderWindowsUnregistersTheXpHandler)
{
    const ProductFolder product = MakeProductFolder(L"copy-xp");
    Register(product.folder + L"\\ThumbPvi32.dll");
    Register(product.folder + L"\\ThumbPviXP32.dll");
    const std::wstring copy = CopyOfSetupNamed(MakeScratchFolder(L"copy-xp-temp"), L"uni5C.tmp");
    // Wine answers this one program as Windows XP.
    const std::wstring appDefaults = L"Software\\Wine\\AppDefaults\\uni5C.tmp";
    ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, appDefaults, L"Version", L"winxp64"));

    ChildProcess second;
    ASSERT_TRUE(second.Start(Quoted(copy) + L" -delself " + Quoted(product.uninstaller)));
    EXPECT_EQ(second.Wait(kProcessWaitMs), 0);
    DeleteRegTree(HKEY_CURRENT_USER, appDefaults);

    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, kThumbXP32Class));
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, kThumb32Class));
    RunToEnd(L"regsvr32.exe /s /u " + Quoted(product.folder + L"\\ThumbPvi32.dll"));
}
