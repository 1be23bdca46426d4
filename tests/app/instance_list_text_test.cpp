#include "app/instance_list_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Ids = std::vector<uint32_t>;

uint32_t SlotAt(const std::vector<uint8_t>& bytes, size_t slot)
{
    const uint8_t* at = bytes.data() + kIdsOffset + 4 * slot;
    return at[0] | at[1] << 8 | at[2] << 16 | static_cast<uint32_t>(at[3]) << 24;
}

}  // namespace

TEST(AreaSize, KeepsTheOddRoundingBothSidesShare)
{
    EXPECT_EQ(RoundAreaSize(4008, 65536), 65536u);
    EXPECT_EQ(RoundAreaSize(1024, 65536), 65536u);
    EXPECT_EQ(RoundAreaSize(70000, 65536), 65537u);
    // An exact multiple shrinks to the quotient.
    EXPECT_EQ(RoundAreaSize(65536, 65536), 1u);
    EXPECT_EQ(RoundAreaSize(131072, 65536), 2u);
    EXPECT_EQ(RoundAreaSize(0, 65536), 0u);
}

TEST(InstanceWindowTitle, MustStartWithTheProductName)
{
    EXPECT_TRUE(IsInstanceWindowTitle(L"Pixvane 8 - picture.png"));
    EXPECT_TRUE(IsInstanceWindowTitle(L"Pixvane"));
    EXPECT_FALSE(IsInstanceWindowTitle(L"picture.png - Pixvane 8"));
    EXPECT_FALSE(IsInstanceWindowTitle(L" Pixvane 8"));
    EXPECT_FALSE(IsInstanceWindowTitle(L"PIXVANE 8"));
    EXPECT_FALSE(IsInstanceWindowTitle(L"Pixvan"));
    EXPECT_FALSE(IsInstanceWindowTitle(L""));
    EXPECT_FALSE(IsInstanceWindowTitle(L"OleMainThreadWndName"));
}

TEST(InstanceList, RemovingLeavesAStaleCopyAndZeroesThePositionOfTheOldCount)
{
    std::vector<uint8_t> bytes(65536, 0xCD);
    InstanceListBuffer list{bytes};
    list.Initialise();
    for (uint32_t id : {10u, 20u, 30u, 20u}) {
        list.Append(id);
    }
    EXPECT_TRUE(list.Remove(20));
    // Only the first occurrence goes.
    EXPECT_EQ(list.Ids(), (Ids{10, 30, 20}));
    EXPECT_EQ(SlotAt(bytes, 3), 20u);  // vacated, still holding the old last id
    EXPECT_EQ(SlotAt(bytes, 4), 0u);

    EXPECT_FALSE(list.Remove(99));
    EXPECT_EQ(list.Count(), 3u);
}

TEST(InstanceList, ABrokenCountNeverReachesOutsideTheArea)
{
    // Only the 1000 slots, nothing after them, and a count far beyond.
    std::vector<uint8_t> bytes(kInstanceListBytes, 0);
    InstanceListBuffer list{bytes};
    list.Initialise();
    list.Append(7);
    bytes[kCountOffset + 1] = 0x30;  // count 0x3001
    EXPECT_EQ(list.Ids().size(), kMaxInstanceIds);
    EXPECT_FALSE(list.Append(8));
    EXPECT_TRUE(list.Remove(7));
}
