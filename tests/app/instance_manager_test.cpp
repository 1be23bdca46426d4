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

class InstanceRegistry : public ::testing::Test {
protected:
    void TearDown() override { DiscardThreadMessages(); }
    const DWORD m_self = ::GetCurrentProcessId();
};

}  // namespace

// The names and numbers every participant must share, as literals.
TEST_F(InstanceRegistry, LaysOutTheMappingAsEveryParticipantReadsIt)
{
    COXInstanceManager registry(L"Test.Pixvane.Layout", 1024, true);
    RawInstanceMapping raw(L"Test.Pixvane.Layout");
    ASSERT_TRUE(raw.IsOpen());
    // 4008 and 1024 both round to one 64 KB granule.
    EXPECT_EQ(raw.Size(), 131072u);
    EXPECT_EQ(raw.Word(0), 1u);
    EXPECT_EQ(raw.Word(4), 1u);
    EXPECT_EQ(raw.Slot(0), m_self);
    for (size_t slot = 1; slot < 1000; ++slot) {
        ASSERT_EQ(raw.Slot(slot), 0u) << slot;
    }

    for (DWORD id : {1001, 1002, 1001}) {
        registry.AddInstance(id);
    }
    EXPECT_TRUE(registry.RemoveInstance(1001));  // the first occurrence only
    EXPECT_EQ(ListOf(registry), (Ids{m_self, 1002, 1001}));
    EXPECT_EQ(raw.Slot(3), 1001u);  // the stale copy the product also leaves

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
}

TEST_F(InstanceRegistry, AFullListRefusesTheNextMemberAndItsLastRemovalStaysInTheArea)
{
    COXInstanceManager registry(L"Test.Pixvane.Full", 1024, false);
    RawInstanceMapping raw(L"Test.Pixvane.Full");
    ASSERT_TRUE(raw.IsOpen());
    // 999 members written directly: joining one by one would post half a
    // million notifications.
    for (uint32_t slot = 0; slot < 999; ++slot) {
        raw.SetSlot(slot, kAbsentProcessId + 2 * slot);
    }
    raw.SetWord(4, 999);
    raw.SetWord(4008, 0xFFFFFFFF);

    EXPECT_TRUE(registry.AddInstance(m_self));
    EXPECT_FALSE(registry.AddInstance(4));
    EXPECT_EQ(registry.GetInstanceCount(), 1000u);
    EXPECT_EQ(raw.Slot(999), m_self);

    EXPECT_TRUE(registry.RemoveInstance(m_self));
    EXPECT_EQ(raw.Word(4008), 0u);  // one past the 1000 slots
    EXPECT_EQ(raw.Slot(999), m_self);
    EXPECT_EQ(registry.GetInstanceCount(), 999u);
}

TEST_F(InstanceRegistry, PostsWhoJoinsAndLeavesToTheOtherMembersMainWindows)
{
    COXInstanceManager registry(L"Test.Pixvane.Notify", 1024, true);
    TestWindow main(L"Pixvane 8 - picture.png");
    MSG message;

    EXPECT_TRUE(registry.AddInstance(1004));
    ASSERT_TRUE(main.TakePosted(1946, message));
    EXPECT_EQ(message.lParam, 1004);
    EXPECT_EQ(message.wParam, 0u);
    EXPECT_FALSE(main.TakePosted(1946, message));

    EXPECT_TRUE(registry.RemoveInstance(1004));
    ASSERT_TRUE(main.TakePosted(1947, message));
    EXPECT_EQ(message.lParam, 1004);

    // Nobody left who was not there: nothing posted.
    EXPECT_FALSE(registry.RemoveInstance(1004));
    EXPECT_FALSE(main.TakePosted(1947, message));
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
