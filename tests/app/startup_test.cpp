// Start-up as a user meets it. The running-instance registry inside one
// process under names of its own, so that the real registry is not
// disturbed; setup against running copies of the product (the sample
// package's double; one that setup closed ends with 0, one the test ends with
// 99) sharing the real registry; the self-removal copy against a hanging
// product. The confirmed removal itself is the end-to-end tests' business.
#include "app/instance_manager.h"
#include "app/self_removal.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "system/file_access.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <aclapi.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Ids = std::vector<uint32_t>;

// Process ids are multiples of 4: odd ones stand for members long gone.
constexpr uint32_t kAbsentProcessId = 0x7FFF0001;

// A registry's mapping opened by name and viewed whole, as the product would.
class RawInstanceMapping {
public:
    explicit RawInstanceMapping(const std::wstring& registryName)
        : m_mapping(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE,
                                       (L"Local\\COXInstanceManager_FileMap_" + registryName).c_str())),
          m_view(m_mapping ? ::MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0) : nullptr)
    {
    }
    bool IsOpen() const { return m_view.IsValid(); }
    uint8_t* Bytes() const { return static_cast<uint8_t*>(m_view.Get()); }
    // A little-endian field at a multiple of 4, and an identifier's slot.
    uint32_t& Word(size_t offset) const { return *reinterpret_cast<uint32_t*>(Bytes() + offset); }
    uint32_t& Slot(size_t position) const { return Word(8 + 4 * position); }

private:
    UniqueHandle m_mapping;
    UniqueMappedView m_view;
};

// A hidden top-level window of the test process; what it is sent stays in its queue.
using TestWindow = std::unique_ptr<std::remove_pointer_t<HWND>, decltype(&::DestroyWindow)>;
TestWindow MakeWindow(const wchar_t* title, DWORD extendedStyle = 0, HWND owner = nullptr)
{
    return TestWindow(::CreateWindowExW(extendedStyle, L"STATIC", title, WS_OVERLAPPED, 0, 0, 50, 50, owner, nullptr,
                                        nullptr, nullptr),
                      &::DestroyWindow);
}

// Starts the sample package's product double and waits until it has joined
// the registry and shows its main window.
bool StartProductCopy(ChildProcess& product)
{
    return product.Start(L"\"" + PackagePath(L"Pixvn8.exe") + L"\"") &&
           WaitUntil([&] { return COXInstanceManager::FindInstanceWindow(product.Id()) != nullptr; }, 10000);
}

// The access list of a named mapping or mutex, in SDDL; "none" when it cannot be read.
std::wstring AccessListOf(const wchar_t* name)
{
    UniqueHandle object(::OpenMutexW(READ_CONTROL, FALSE, name));
    if (!object) {
        object.Reset(::OpenFileMappingW(READ_CONTROL, FALSE, name));
    }
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ::GetSecurityInfo(object.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                      &descriptor);
    const std::wstring list = SddlOf(descriptor);
    ::LocalFree(descriptor);
    return list;
}

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

class RunningInstances : public ::testing::Test {
protected:
    // Not a member, but it keeps the mapping alive between members, so that a
    // killed one stays listed as it would beside a running product.
    COXInstanceManager m_registry{kPixvaneInstanceRegistry, kPixvaneAdditionalAreaBytes, false};
};

}  // namespace

// The names and numbers every participant must share, as literals.
// A member's main window is an unowned, non-tool window whose title starts
// with the product's name, case and all.
TEST(InstanceRegistry, LaysOutTheListAndTellsTheOtherMembersMainWindowsAsEveryParticipantExpects)
{
    const DWORD self = ::GetCurrentProcessId();
    const TestWindow later = MakeWindow(L"Capture - Pixvane 8");
    const TestWindow upper = MakeWindow(L"PIXVANE 8");
    const TestWindow tool = MakeWindow(L"Pixvane 8 - tools", WS_EX_TOOLWINDOW);
    const TestWindow owner = MakeWindow(L"Capture owner");
    const TestWindow owned = MakeWindow(L"Pixvane 8 - options", 0, owner.get());
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(self), nullptr);
    const TestWindow main = MakeWindow(L"Pixvane 8 - picture.png");
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(self), main.get());
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(kAbsentProcessId), nullptr);
    COXInstanceManager registry(L"Test.Pixvane.Layout", 1024, true);
    RawInstanceMapping raw(L"Test.Pixvane.Layout");
    ASSERT_TRUE(raw.IsOpen());
    // 4008 and 1024 both round to one 64 KB granule.
    MEMORY_BASIC_INFORMATION view = {};
    ::VirtualQuery(raw.Bytes(), &view, sizeof(view));
    EXPECT_EQ(view.RegionSize, 131072u);
    EXPECT_EQ(raw.Word(0), 1u);
    EXPECT_EQ(raw.Word(4), 1u);
    EXPECT_EQ(raw.Slot(0), self);
    for (size_t slot = 1; slot < 1000; ++slot) {
        ASSERT_EQ(raw.Slot(slot), 0u) << slot;
    }

    // Who joins and leaves is posted to the other members' main windows.
    MSG message;
    for (DWORD id : {1001, 1002, 1001}) {
        EXPECT_TRUE(registry.AddInstance(id));
        ASSERT_TRUE(::PeekMessageW(&message, main.get(), 1946, 1946, PM_REMOVE));
        EXPECT_EQ(message.lParam, static_cast<LPARAM>(id));
        EXPECT_EQ(message.wParam, 0u);
    }
    EXPECT_TRUE(registry.RemoveInstance(1001));  // the first occurrence only
    ASSERT_TRUE(::PeekMessageW(&message, main.get(), 1947, 1947, PM_REMOVE));
    EXPECT_EQ(message.lParam, 1001);
    Ids ids;
    EXPECT_TRUE(registry.GetInstanceList(ids));
    EXPECT_EQ(ids, (Ids{self, 1002, 1001}));
    EXPECT_EQ(raw.Slot(3), 1001u);  // the stale copy the product also leaves
    // Nobody left who was not there: nothing posted.
    EXPECT_FALSE(registry.RemoveInstance(1003));
    EXPECT_FALSE(::PeekMessageW(&message, main.get(), 1947, 1947, PM_REMOVE));

    // A full list refuses the next member, and its last removal zeroes the
    // word one past the 1000 slots. Written directly: joining one by one
    // would post half a million notifications.
    for (uint32_t slot = 3; slot < 1000; ++slot) {
        raw.Slot(slot) = kAbsentProcessId + 2 * slot;
    }
    raw.Word(4) = 1000;
    raw.Word(4008) = 0xFFFFFFFF;
    EXPECT_FALSE(registry.AddInstance(4));
    EXPECT_EQ(registry.GetInstanceCount(), 1000u);
    EXPECT_TRUE(registry.RemoveInstance(1002));
    EXPECT_EQ(raw.Word(4008), 0u);
    EXPECT_EQ(raw.Slot(999), raw.Slot(998));
    EXPECT_EQ(registry.GetInstanceCount(), 999u);

    // The second area starts at the rounded list size and is the same memory.
    auto* additional = static_cast<uint8_t*>(registry.MapAdditionalArea());
    ASSERT_NE(additional, nullptr);
    EXPECT_EQ(registry.MapAdditionalArea(), additional);
    additional[0] = 0xAB;
    additional[65535] = 0xCD;
    EXPECT_EQ(raw.Bytes()[65536], 0xAB);
    EXPECT_EQ(raw.Bytes()[131071], 0xCD);

    // The mapping and both mutexes admit the session's interactive users (IU)
    // beside the system and the administrators, and nobody else. Wine does
    // not enforce access lists: only the list given at creation is checked.
    for (const wchar_t* name : {L"Local\\COXInstanceManager_FileMap_Test.Pixvane.Layout",
                                L"Local\\COXInstanceManager_InstanceList_Mutex_Test.Pixvane.Layout",
                                L"Local\\COXInstanceManager_Additional_Mutex_Test.Pixvane.Layout"}) {
        EXPECT_EQ(AccessListOf(name), L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)") << name;
    }

    // Without its objects (no such object folder) a registry answers nothing.
    COXInstanceManager broken(L"Test.Pixvane\\no\\such\\folder", 1024, true);
    ids = {7};
    EXPECT_FALSE(broken.GetInstanceList(ids) || broken.AddInstance(8) || broken.SetMaxInstances(2, true) ||
                 broken.ActivateFirstInstance(true));
    EXPECT_EQ(ids, Ids{7});
    EXPECT_EQ(broken.GetInstanceCount() + broken.GetMaxInstances(), 0u);
    EXPECT_EQ(broken.MapAdditionalArea(), nullptr);
}

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
    EXPECT_EQ(product.Wait(1000), -1);  // still running: nobody asked it to close

    // Yes: the first setup closes the product and goes on to install.
    ASSERT_TRUE(AnswerMessageBox(IDYES, 10000, first.Id()));
    EXPECT_EQ(product.Wait(10000), 0);
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
    EXPECT_EQ(last.Wait(1000), -1);
}


// The product and the handler both hang while they unregister: the copy
// gives each its 5 s, in the product folder, and goes on; only "-v" on its
// own command line makes it report the end.
TEST(SelfRemovalCopy, HungUnregistrationsHoldItUpNoLongerThanTheirLimits)
{
    // A product folder as far as the copy cares: the uninstaller, the
    // product double and the thumbnail-handler library.
    const std::wstring folder = MakeScratchFolder(L"copy-hang\\Pixvane 8");
    ::CopyFileW(PackagePath(L"setup.exe").c_str(), (folder + L"\\PxvUnInst.exe").c_str(), FALSE);
    for (const wchar_t* file : {L"Pixvn8.exe", L"ThumbPvi32.dll"}) {
        ::CopyFileW(PackagePath(file).c_str(), (folder + L"\\" + file).c_str(), FALSE);
    }
    WriteTextFile(folder + L"\\hang-on-unregister", "");
    ClearProductCallsLog();
    // Made as the first stage makes it: new, with only the system and the
    // administrators allowed to write it, and held so that nobody can swap it
    // (its name and place are the end-to-end tests').
    static std::wstring madeWith;
    g_pfnCreateFileW = [](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD how,
                          DWORD flags, HANDLE model) {
        madeWith = std::wstring(path) + L" " + SddlOf(attributes ? attributes->lpSecurityDescriptor : nullptr);
        return ::CreateFileW(path, access, share, attributes, how, flags, model);
    };
    const std::wstring temporary = MakeScratchFolder(L"copy-hang-temp") + L"\\";
    std::wstring copy;
    const UniqueFileHandle held = MakeSecondStageCopy(PackagePath(L"setup.exe"), temporary, copy);
    g_pfnCreateFileW = ::CreateFileW;
    EXPECT_EQ(madeWith, copy + L" D:P(A;;FA;;;SY)(A;;FA;;;BA)");
    EXPECT_FALSE(::DeleteFileW(copy.c_str()));

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
    EXPECT_TRUE(IsPendingDeletion(copy));
    EXPECT_FALSE(FolderExists(x32) || IsPendingDeletion(x32));
}
