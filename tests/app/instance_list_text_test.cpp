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

// The window search itself is the instance registry tests'.
TEST(InstanceWindowTitle, MustStartWithTheProductNameAndNotBeAHelperWindow)
{
    EXPECT_TRUE(IsInstanceWindowTitle(L"Pixvane"));
    for (const wchar_t* title : {L" Pixvane 8", L"PIXVANE 8", L"Pixvan", L"", L"OleMainThreadWndName"}) {
        EXPECT_FALSE(IsInstanceWindowTitle(title));
    }
}
