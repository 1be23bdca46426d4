// Start-up as a user meets it: the program started the way Windows starts
// it, its message boxes answered, its effects read from disk and registry.
// The confirmed removal itself is the end-to-end tests' business.
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

namespace {

std::wstring Quoted(const std::wstring& path)
{
    return L"\"" + path + L"\"";
}

// A product folder as far as start-up cares: the uninstaller, the product
// double and the thumbnail-handler library.
std::wstring MakeProductFolder(const std::wstring& name)
{
    const std::wstring folder = MakeScratchFolder(name) + L"\\Pixvane 8";
    MakeFolders(folder);
    ::CopyFileW(PackagePath(L"setup.exe").c_str(), (folder + L"\\PxvUnInst.exe").c_str(), FALSE);
    for (const wchar_t* file : {L"Pixvn8.exe", L"ThumbPvi32.dll"}) {
        ::CopyFileW(PackagePath(file).c_str(), (folder + L"\\" + file).c_str(), FALSE);
    }
    return folder;
}

}  // namespace

// The product and the handler both hang while they unregister: the copy
// gives each its 5 s, in the product folder, and goes on; only "-v" on its
// own command line makes it report the end.
TEST(SelfRemovalCopy, HungUnregistrationsHoldItUpNoLongerThanTheirLimits)
{
    const std::wstring folder = MakeProductFolder(L"copy-hang");
    WriteTextFile(folder + L"\\hang-on-unregister", "");
    ClearProductCallsLog();
    const std::wstring copy = MakeScratchFolder(L"copy-hang-temp") + L"\\uni5A.tmp";
    ::CopyFileW(PackagePath(L"setup.exe").c_str(), copy.c_str(), FALSE);

    // Started inside the (empty) x32 folder, which must not keep it from going.
    const std::wstring x32 = folder + L"\\x32";
    MakeFolders(x32);
    const ULONGLONG start = ::GetTickCount64();
    ChildProcess second;
    ASSERT_TRUE(second.Start(Quoted(copy) + L" -delself " + Quoted(folder + L"\\PxvUnInst.exe") + L" -v", x32.c_str()));
    const auto box = AnswerMessageBox(IDOK, 30000, second.Id());
    const ULONGLONG spent = ::GetTickCount64() - start;
    for (const wchar_t* name : {L"Pixvn8", L"regsvr32"}) {  // still hanging
        for (DWORD id : FindProcesses(name, L".exe")) {
            UniqueHandle process(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
            ::TerminateProcess(process.Get(), 9);
            ::WaitForSingleObject(process.Get(), 5000);
        }
    }
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, LoadMessageText(IDS_UNINSTALL_DONE));
    EXPECT_EQ(box->form, L"OK*");
    EXPECT_EQ(second.Wait(10000), 0);
    // 1 s for the first stage to end, then 5 s for each hung program.
    EXPECT_GE(spent, 10500u);
    EXPECT_LT(spent, 15000u);
    EXPECT_EQ(ProductCallsLog(), L"unregister " + folder + L"\\ThumbPvi32.dll in " + folder + L"\r\nunregonly " +
                                     folder + L" in " + folder + L"\r\n");
    EXPECT_FALSE(FileExists(folder + L"\\PxvUnInst.exe"));
    EXPECT_TRUE(IsPendingDeletion(copy));
    EXPECT_FALSE(FolderExists(x32) || IsPendingDeletion(x32));
}
