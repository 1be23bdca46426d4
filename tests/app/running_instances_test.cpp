// Setup against running copies of the product: real processes sharing the
// real registry. The product is the sample package's double, which records
// what it is told in C:\ProgramData\Pixvn8Double\messages.log.
#include "app/instance_manager.h"

#include "app/instance_registry_helpers.h"
#include "install/installation.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "system/services.h"

#include <shlobj.h>

#include <gtest/gtest.h>

#include <iostream>

namespace {

const std::wstring kOneInstanceText =
    L"1 instance of Pixvane is currently opened. If you click \"Yes\" button, SETUP will try to close it without "
    L"saving any editing work you may have done. \n\nContinue installation?";
const std::wstring kTwoInstancesText =
    L"2 instances of Pixvane are currently opened. ff you click \"Yes\" button, SETUP will try to close them "
    L"without saving any editing work you may have done. \n\nContinue installation?";
const std::wstring kAbortedText =
    L"Setup of Pixvane aborted. Please close other instances of Pixvane manually, saving any editing work you have "
    L"done in them, then restart this setup program.";

std::wstring MessagesLog()
{
    return GetSpecialFolderPath(CSIDL_COMMON_APPDATA) + L"\\Pixvn8Double\\messages.log";
}

// Whether the product double wrote this line.
bool Recorded(const std::string& line)
{
    std::string text = ReadTextFile(MessagesLog());
    std::erase(text, '\r');
    return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

std::string CloseRecord(DWORD processId)
{
    return "close-1001 " + std::to_string(processId);
}

std::wstring SetupCommand(const std::wstring& arguments)
{
    return L"\"" + PackagePath(L"setup.exe") + L"\"" + (arguments.empty() ? L"" : L" " + arguments);
}

class RunningInstances : public ::testing::Test {
protected:
    void SetUp() override { ::DeleteFileW(MessagesLog().c_str()); }

    // Waits for a product copy to end; reports whether it went by itself or was killed.
    void ExpectEndedBySetup(ChildProcess& product)
    {
        EXPECT_EQ(product.Wait(10000), 0);  // our own kill would leave 99
        std::cout << "product " << product.Id()
                  << (Recorded(CloseRecord(product.Id())) ? " saw the close request\n" : " was terminated first\n");
    }

    // Whether setup showed a box before the product copy ended.
    static bool AskedBeforeItEnded(const ChildProcess& setup, const ChildProcess& product)
    {
        bool asked = false;
        WaitUntil(
            [&] {
                asked = WaitForMessageBox(0, setup.Id()).has_value();
                return asked || !product.IsRunning();
            },
            15000);
        return asked;
    }

    // Not a member, but it keeps the mapping alive between members, so that a
    // killed one stays listed as it would beside a running product.
    COXInstanceManager m_registry{kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, false};
};

}  // namespace

TEST_F(RunningInstances, InstallAsksAboutTheOthersItselfExcludedAndNoLeavesThemRunning)
{
    ChildProcess product;
    ASSERT_TRUE(StartProductCopy(product));
    ChildProcess first;
    ASSERT_TRUE(first.Start(SetupCommand(L"")));
    auto firstQuestion = WaitForMessageBox(10000, first.Id());
    ASSERT_TRUE(firstQuestion);
    EXPECT_EQ(firstQuestion->text, kOneInstanceText);
    EXPECT_TRUE(firstQuestion->hasYes && firstQuestion->hasNo);
    EXPECT_EQ(firstQuestion->defaultButton, IDNO);
    EXPECT_TRUE(firstQuestion->hasIcon);

    // A setup that is still asking is an instance too.
    ChildProcess second;
    ASSERT_TRUE(second.Start(SetupCommand(L"")));
    auto secondQuestion = AnswerMessageBox(IDNO, 10000, second.Id());
    ASSERT_TRUE(secondQuestion);
    EXPECT_EQ(secondQuestion->text, kTwoInstancesText);

    auto aborted = AnswerMessageBox(IDOK, 10000, second.Id());
    ASSERT_TRUE(aborted);
    EXPECT_EQ(aborted->text, kAbortedText);
    EXPECT_TRUE(aborted->hasOk && !aborted->hasYes);
    EXPECT_TRUE(aborted->hasIcon);
    EXPECT_EQ(second.Wait(10000), kExitUserDeclined);

    ASSERT_TRUE(AnswerMessageBox(IDNO, 10000, first.Id()));
    ASSERT_TRUE(AnswerMessageBox(IDOK, 10000, first.Id()));
    EXPECT_EQ(first.Wait(10000), kExitUserDeclined);
    EXPECT_TRUE(product.IsRunning());
    EXPECT_FALSE(Recorded(CloseRecord(product.Id())));
}

TEST_F(RunningInstances, InstallAsksAboutSeveralAndYesEndsThemAll)
{
    ChildProcess first;
    ChildProcess second;
    ASSERT_TRUE(StartProductCopy(first));
    ASSERT_TRUE(StartProductCopy(second));
    // The members tell each other who joins.
    const std::string joined = "joined " + std::to_string(first.Id()) + " " + std::to_string(second.Id());
    EXPECT_TRUE(WaitUntil([&] { return Recorded(joined); }, 5000));

    ChildProcess setup;
    ASSERT_TRUE(setup.Start(SetupCommand(L"")));
    auto question = AnswerMessageBox(IDYES, 10000, setup.Id());
    ASSERT_TRUE(question);
    EXPECT_EQ(question->text, kTwoInstancesText);

    ExpectEndedBySetup(first);
    ExpectEndedBySetup(second);
    auto next = WaitForMessageBox(1000, setup.Id());
    EXPECT_TRUE(!next || next->text != kAbortedText);
}

TEST_F(RunningInstances, OnlyASilentSwitchFromTheSecondArgumentOnSkipsTheQuestion)
{
    ChildProcess product;
    ASSERT_TRUE(StartProductCopy(product));

    // "-s" alone makes the install silent, yet it stands first: still asked.
    ChildProcess silent;
    ASSERT_TRUE(silent.Start(SetupCommand(L"-s")));
    auto question = AnswerMessageBox(IDNO, 10000, silent.Id());
    ASSERT_TRUE(question);
    EXPECT_EQ(question->text, kOneInstanceText);
    ASSERT_TRUE(AnswerMessageBox(IDOK, 10000, silent.Id()));
    EXPECT_EQ(silent.Wait(10000), kExitUserDeclined);
    ASSERT_TRUE(product.IsRunning());

    // "/s" second keeps the question away, though the install stays interactive.
    ChildProcess unasked;
    ASSERT_TRUE(unasked.Start(SetupCommand(L"-install /s")));
    EXPECT_FALSE(AskedBeforeItEnded(unasked, product));
    ExpectEndedBySetup(product);
}

TEST_F(RunningInstances, UninstallClosesThemWithoutAWordAndADeadMemberDoesNoHarm)
{
    ChildProcess dead;
    ASSERT_TRUE(StartProductCopy(dead));
    const DWORD deadId = dead.Id();
    dead.Kill();
    std::vector<uint32_t> members;
    ASSERT_TRUE(m_registry.GetInstanceList(members));
    ASSERT_EQ(members, std::vector<uint32_t>{deadId});

    ChildProcess product;
    ASSERT_TRUE(StartProductCopy(product));

    // A licence beside the uninstaller: no confirmation either.
    const std::wstring folder = MakeScratchFolder(L"instances-uninstall");
    const std::wstring uninstaller = folder + L"\\PxvUnInst.exe";
    ASSERT_TRUE(::CopyFileW(PackagePath(L"setup.exe").c_str(), uninstaller.c_str(), FALSE));
    WriteTextFile(folder + L"\\x.pv8lic", "licence");

    ChildProcess setup;
    ASSERT_TRUE(setup.Start(L"\"" + uninstaller + L"\""));
    EXPECT_FALSE(AskedBeforeItEnded(setup, product));
    ExpectEndedBySetup(product);

    // It went on to hand over to its temporary copy, which removes it.
    EXPECT_TRUE(WaitUntil([&] { return !FileExists(uninstaller); }, 20000));
    EXPECT_TRUE(WaitForNoProcesses(L"uni", L".tmp", 60000));
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

    RawInstanceMapping raw(kPixvaneInstanceRegistry);
    ASSERT_TRUE(raw.IsOpen());
    ASSERT_EQ(raw.Word(4), 2u);
    raw.SetSlot(1, info.dwProcessId);
    for (uint32_t position = 2; position < 999; ++position) {
        raw.SetSlot(position, kAbsentProcessId + 2 * position);
    }
    raw.SetSlot(999, last.Id());
    raw.SetWord(4, 1000);
    ::ResumeThread(setupThread.Get());

    ExpectEndedBySetup(first);
    // Done with the list once it has ended or shows its next window.
    const bool done = WaitUntil(
        [&] {
            // The wizard is not a message box, but a window all the same.
            return ::WaitForSingleObject(setup.Get(), 0) == WAIT_OBJECT_0 ||
                   ::FindWindowW(L"#32770", L"Pixvane Setup") != nullptr;
        },
        90000);
    ::TerminateProcess(setup.Get(), 99);  // whatever it does next is not under test
    ASSERT_TRUE(done);
    EXPECT_TRUE(last.IsRunning());
    EXPECT_FALSE(Recorded(CloseRecord(last.Id())));
}
