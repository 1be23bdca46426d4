// The instance registry inside one process, under names of its own so that
// the real registry is not disturbed.
#include "app/instance_manager.h"

#include "app/instance_registry_helpers.h"
#include "support/test_env.h"

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Ids = std::vector<uint32_t>;

Ids ListOf(COXInstanceManager& registry)
{
    Ids ids;
    EXPECT_TRUE(registry.GetInstanceList(ids));
    return ids;
}

// The access list of a named mapping or mutex, in SDDL; empty when it cannot be read.
std::wstring AccessListOf(const wchar_t* name)
{
    UniqueHandle object(::OpenMutexW(READ_CONTROL, FALSE, name));
    if (!object) {
        object.Reset(::OpenFileMappingW(READ_CONTROL, FALSE, name));
    }
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    wchar_t* text = nullptr;
    if (!object || ::GetSecurityInfo(object.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                     nullptr, nullptr, &descriptor) != ERROR_SUCCESS ||
        !::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                                DACL_SECURITY_INFORMATION, &text, nullptr)) {
        ::LocalFree(descriptor);
        return {};
    }
    std::wstring list(text);
    ::LocalFree(text);
    ::LocalFree(descriptor);
    return list;
}

}  // namespace

// The names and numbers every participant must share, as literals.
TEST(InstanceRegistry, LaysOutTheListAndTellsTheOtherMembersAsEveryParticipantExpects)
{
    const DWORD self = ::GetCurrentProcessId();
    TestWindow main(L"Pixvane 8 - picture.png");
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
        ASSERT_TRUE(main.TakePosted(1946, message));
        EXPECT_EQ(message.lParam, static_cast<LPARAM>(id));
        EXPECT_EQ(message.wParam, 0u);
    }
    EXPECT_TRUE(registry.RemoveInstance(1001));  // the first occurrence only
    ASSERT_TRUE(main.TakePosted(1947, message));
    EXPECT_EQ(message.lParam, 1001);
    EXPECT_EQ(ListOf(registry), (Ids{self, 1002, 1001}));
    EXPECT_EQ(raw.Slot(3), 1001u);  // the stale copy the product also leaves
    // Nobody left who was not there: nothing posted.
    EXPECT_FALSE(registry.RemoveInstance(1003));
    EXPECT_FALSE(main.TakePosted(1947, message));

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
    DiscardThreadMessages();
}

TEST(InstanceWindowSearch, TakesOnlyAnUnownedNonToolWindowTitledLikeTheProduct)
{
    const DWORD self = ::GetCurrentProcessId();
    TestWindow later(L"Capture - Pixvane 8");
    TestWindow tool(L"Pixvane 8 - tools", WS_EX_TOOLWINDOW);
    TestWindow owner(L"Capture owner");
    TestWindow owned(L"Pixvane 8 - options", 0, owner.Get());
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(self), nullptr);

    TestWindow main(L"Pixvane 8 - picture.png");
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(self), main.Get());
    EXPECT_EQ(COXInstanceManager::FindInstanceWindow(kAbsentProcessId), nullptr);
}

TEST(InstanceRegistryWithoutMapping, AnswersNothingAndChangesNothing)
{
    // No such object folder: neither the mapping nor the mutexes can be made.
    COXInstanceManager registry(L"Test.Pixvane\\no\\such\\folder", 1024, true);
    std::vector<uint32_t> ids{7};
    EXPECT_EQ(registry.GetInstanceCount(), 0u);
    EXPECT_FALSE(registry.GetInstanceList(ids));
    EXPECT_EQ(ids, std::vector<uint32_t>{7});
    EXPECT_FALSE(registry.AddInstance(8));
    EXPECT_FALSE(registry.SetMaxInstances(2, true));
    EXPECT_EQ(registry.GetMaxInstances(), 0u);
    EXPECT_FALSE(registry.ActivateFirstInstance(true));
    EXPECT_EQ(registry.MapAdditionalArea(), nullptr);
}
