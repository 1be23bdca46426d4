#include "app/instance_list_text.h"

#include <gtest/gtest.h>

#include <vector>

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
