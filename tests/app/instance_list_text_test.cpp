#include "app/instance_list_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Ids = std::vector<uint32_t>;

uint32_t ReadLittleEndian(const std::vector<uint8_t>& bytes, size_t offset)
{
    return bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 | static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

uint32_t SlotAt(const std::vector<uint8_t>& bytes, size_t slot)
{
    return ReadLittleEndian(bytes, kIdsOffset + 4 * slot);
}

// A list area as large as the mapping gives it: the rounded 64 KB.
struct ListArea {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(65536, 0xCD);
    InstanceListBuffer list{bytes};
};

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

TEST(InstanceList, StartsWithOneAllowedAndEmptySlots)
{
    ListArea area;
    area.list.Initialise();
    EXPECT_EQ(ReadLittleEndian(area.bytes, kAllowedOffset), 1u);
    EXPECT_EQ(ReadLittleEndian(area.bytes, kCountOffset), 0u);
    for (size_t slot = 0; slot < kMaxInstanceIds; ++slot) {
        ASSERT_EQ(SlotAt(area.bytes, slot), 0u) << slot;
    }
    // Past the 1000 slots the area is the participants' business, untouched.
    EXPECT_EQ(area.bytes[kInstanceListBytes], 0xCD);
}

TEST(InstanceList, AppendsInJoiningOrderAsLittleEndianWords)
{
    ListArea area;
    area.list.Initialise();
    EXPECT_TRUE(area.list.Append(0x12345678));
    EXPECT_TRUE(area.list.Append(42));
    EXPECT_EQ(area.list.Ids(), (Ids{0x12345678, 42}));
    EXPECT_EQ(area.bytes[8], 0x78);
    EXPECT_EQ(area.bytes[11], 0x12);
    EXPECT_EQ(ReadLittleEndian(area.bytes, kCountOffset), 2u);
}

TEST(InstanceList, RemovingLeavesAStaleCopyAndZeroesThePositionOfTheOldCount)
{
    ListArea area;
    area.list.Initialise();
    for (uint32_t id : {10u, 20u, 30u, 20u}) {
        area.list.Append(id);
    }
    EXPECT_TRUE(area.list.Remove(20));
    // Only the first occurrence goes.
    EXPECT_EQ(area.list.Ids(), (Ids{10, 30, 20}));
    EXPECT_EQ(SlotAt(area.bytes, 3), 20u);  // vacated, still holding the old last id
    EXPECT_EQ(SlotAt(area.bytes, 4), 0u);

    EXPECT_FALSE(area.list.Remove(99));
    EXPECT_EQ(area.list.Count(), 3u);
}

TEST(InstanceList, AFullListRefusesAndItsLastRemovalWritesJustPastTheSlots)
{
    ListArea area;
    area.list.Initialise();
    for (uint32_t id = 1; id <= kMaxInstanceIds; ++id) {
        ASSERT_TRUE(area.list.Append(id));
    }
    EXPECT_FALSE(area.list.Append(5000));
    EXPECT_EQ(area.list.Count(), kMaxInstanceIds);

    EXPECT_TRUE(area.list.Remove(kMaxInstanceIds));
    EXPECT_EQ(ReadLittleEndian(area.bytes, kInstanceListBytes), 0u);  // offset 4008
    EXPECT_EQ(SlotAt(area.bytes, kMaxInstanceIds - 1), kMaxInstanceIds);
    EXPECT_EQ(area.list.Count(), kMaxInstanceIds - 1);
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

    std::vector<uint8_t> tiny(6, 0);
    InstanceListBuffer cut{tiny};
    cut.Initialise();
    EXPECT_EQ(cut.Count(), 0u);
    EXPECT_FALSE(cut.Append(1));
    EXPECT_TRUE(cut.Ids().empty());
}
