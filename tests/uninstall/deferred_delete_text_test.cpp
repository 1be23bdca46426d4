#include "uninstall/deferred_delete_text.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

TEST(WininitBlock, NewDeletionGoesBehindTheOlderEntries)
{
    std::wstring block;
    ASSERT_TRUE(BuildWininitDeletionBlock(L"", 0, L"C:\\a.dll", block));
    EXPECT_EQ(block, L"NUL=C:\\a.dll\0\0"s);

    // As the profile API fills its buffer: entries, closing zero, stale text.
    const std::wstring section = L"NUL=C:\\old\0C:\\x=C:\\y\0\0stale"s;
    ASSERT_TRUE(BuildWininitDeletionBlock(section, 21, L"C:\\new", block));
    EXPECT_EQ(block, L"NUL=C:\\old\0C:\\x=C:\\y\0NUL=C:\\new\0\0"s);
}

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
