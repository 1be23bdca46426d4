#include "uninstall/deferred_delete_text.h"

#include <gtest/gtest.h>

#include <string>

// The block's contents are checked through the profile API in deferred_delete_test.
TEST(WininitBlock, RefusesABlockThatWouldReachTheBufferEnd)
{
    const std::size_t used = 1000;
    const std::wstring section(used, L'a');
    // "NUL=", the path and its zero must leave room for the closing zero.
    const std::wstring fits(kWininitSectionChars - used - 6, L'p');
    std::wstring block = L"untouched";
    EXPECT_FALSE(BuildWininitDeletionBlock(section, used, fits + L"p", block));
    EXPECT_EQ(block, L"untouched");
    ASSERT_TRUE(BuildWininitDeletionBlock(section, used, fits, block));
    EXPECT_EQ(block.size(), kWininitSectionChars);
}
