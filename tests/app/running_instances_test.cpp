// Setup against running copies of the product: real processes sharing the
// real registry. The product is the sample package's double; one that setup
// closed ends with 0, one the test ends with 99.
#include "app/instance_manager.h"

#include "app/instance_registry_helpers.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

namespace {

// A copy of setup without a package beside it: once past the instances, it
// installs nothing, whatever the command line asks.
std::wstring SetupCommand(const std::wstring& arguments)
{
    static const std::wstring setup = [] {
        const std::wstring copy = MakeScratchFolder(L"instances-setup") + L"\\setup.exe";
        ::CopyFileW(PackagePath(L"setup.exe").c_str(), copy.c_str(), FALSE);
        return copy;
    }();
    return L"\"" + setup + L"\" " + arguments;
}

// Still running a second later: nobody asked it to close.
bool LeftRunning(ChildProcess& product)
{
    return product.Wait(1000) == -1;
}

class RunningInstances : public ::testing::Test {
protected:
    // Not a member, but it keeps the mapping alive between members, so that a
    // killed one stays listed as it would beside a running product.
    COXInstanceManager m_registry{kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, false};
};

}  // namespace

// The texts themselves are the catalogue test's; here which one is shown.
TEST_F(RunningInstances, InstallAsksAboutTheOthersItselfExcludedNoLeavesThemAndYesClosesThem)
{
    ChildProcess product;
    ASSERT_TRUE(StartProductCopy(product));
    // "-s" alone makes the install silent, yet it stands first: still asked.
    ChildProcess first;
    ASSERT_TRUE(first.Start(SetupCommand(L"-s")));
    const auto firstQuestion = WaitForMessageBox(10000, first.Id());
    ASSERT_TRUE(firstQuestion);
    EXPECT_EQ(firstQuestion->text, LoadMessageText(IDS_INSTANCE_OPEN_ONE));
    EXPECT_EQ(firstQuestion->form, L"Yes No* icon");

    // A setup that is still asking is an instance too.
    ChildProcess second;
    ASSERT_TRUE(second.Start(SetupCommand(L"")));
    const auto secondQuestion = AnswerMessageBox(IDNO, 10000, second.Id());
    ASSERT_TRUE(secondQuestion);
    EXPECT_EQ(secondQuestion->text, FormatMessageText(IDS_INSTANCES_OPEN_MANY, 2));
    const auto aborted = AnswerMessageBox(IDOK, 10000, second.Id());
    ASSERT_TRUE(aborted);
    EXPECT_EQ(aborted->text, LoadMessageText(IDS_SETUP_ABORTED_INSTANCES));
    EXPECT_EQ(aborted->form, L"OK* icon");
    EXPECT_EQ(second.Wait(10000), 1602);  // declined
    EXPECT_TRUE(LeftRunning(product));

    // Yes: the first setup closes the product and goes on to install.
    ASSERT_TRUE(AnswerMessageBox(IDYES, 10000, first.Id()));
    EXPECT_EQ(product.Wait(10000), 0);
    const auto next = WaitForMessageBox(1000, first.Id());
    EXPECT_TRUE(!next || next->text != aborted->text);
}

TEST_F(RunningInstances, UninstallClosesThemWithoutAWordButNeverAStrangerUnderAStaleId)
{
    // A member died without leaving and its identifier went to an unrelated
    // program since: that program must live on.
    ChildProcess stranger;
    ASSERT_TRUE(stranger.Start(L"notepad.exe"));
    ASSERT_TRUE(m_registry.AddInstance(stranger.Id()));
    ChildProcess product;
    ASSERT_TRUE(StartProductCopy(product));
    // A licence beside the uninstaller: no confirmation either.
    const std::wstring folder = MakeScratchFolder(L"instances-uninstall");
    const std::wstring uninstaller = folder + L"\\PxvUnInst.exe";
    ASSERT_TRUE(::CopyFileW(PackagePath(L"setup.exe").c_str(), uninstaller.c_str(), FALSE));
    WriteTextFile(folder + L"\\x.pv8lic", "licence");

    ChildProcess setup;
    ASSERT_TRUE(setup.Start(L"\"" + uninstaller + L"\""));
    EXPECT_EQ(product.Wait(15000), 0);  // a question would have kept it running
    // It went on to hand over to its temporary copy, which removes it.
    EXPECT_TRUE(WaitUntil([&] { return !FileExists(uninstaller); }, 20000));
    EXPECT_TRUE(WaitForNoProcesses(L"uni", L".tmp", 60000));
    EXPECT_TRUE(stranger.IsRunning());
    m_registry.RemoveInstance(stranger.Id());
}

TEST_F(RunningInstances, WithItsOwnIdAmongTheFirstPositionsTheLastOtherIsLeftRunning)
{
    ChildProcess first;
    ChildProcess last;
    ASSERT_TRUE(StartProductCopy(first));
    ASSERT_TRUE(StartProductCopy(last));

    // Setup held before it joins, so that its place in the list can be set
    // up: first, setup, 997 long-gone members, last. The list is full, so
    // setup's own joining is refused and it counts 1000: it closes the
    // first 999 positions, which end one short of the last product copy.
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    std::wstring command = SetupCommand(L"-install /s");
    ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                                 nullptr, &startup, &info));
    UniqueHandle setup(info.hProcess);
    UniqueHandle setupThread(info.hThread);
    RawInstanceMapping raw(L"Quorvex.Pixvane-DX.v4");
    ASSERT_TRUE(raw.IsOpen());
    ASSERT_EQ(raw.Word(4), 2u);
    raw.Slot(1) = info.dwProcessId;
    for (uint32_t position = 2; position < 999; ++position) {
        raw.Slot(position) = kAbsentProcessId + 2 * position;
    }
    raw.Slot(999) = last.Id();
    raw.Word(4) = 1000;
    ::ResumeThread(setupThread.Get());

    EXPECT_EQ(first.Wait(10000), 0);
    // Done with the list once it has ended or shows its next window (the
    // wizard is not a message box, but a window all the same).
    const bool done = WaitUntil(
        [&] {
            return ::WaitForSingleObject(setup.Get(), 0) == WAIT_OBJECT_0 ||
                   ::FindWindowW(L"#32770", L"Pixvane Setup") != nullptr;
        },
        90000);
    ::TerminateProcess(setup.Get(), 99);  // whatever it does next is not under test
    ASSERT_TRUE(done);
    EXPECT_TRUE(LeftRunning(last));
}
