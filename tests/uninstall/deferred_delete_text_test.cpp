#include "uninstall/deferred_delete_text.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

TEST(WininitBlock, EmptySectionGetsOneEntryAndTheClosingZero)
{
    std::wstring block;
    ASSERT_TRUE(BuildWininitDeletionBlock(L"", 0, L"C:\\a.dll", block));
    EXPECT_EQ(block, L"NUL=C:\\a.dll\0\0"s);
}

TEST(WininitBlock, OlderEntriesStayInFrontInTheirOrder)
{
    // As the profile API returns it: entries with their zeros, then the
    // list's own closing zero, which "used" does not count.
    const std::wstring section = L"NUL=C:\\old1\0C:\\x=C:\\y\0\0"s;
    std::wstring block;
    ASSERT_TRUE(BuildWininitDeletionBlock(section, section.size() - 1, L"C:\\new", block));
    EXPECT_EQ(block, L"NUL=C:\\old1\0C:\\x=C:\\y\0NUL=C:\\new\0\0"s);
}

TEST(WininitBlock, OnlyTheUsedPartOfTheBufferIsKept)
{
    std::wstring buffer(kWininitSectionChars, L'\0');
    buffer.replace(0, 8, L"NUL=C:\\a");
    buffer[20] = L'?';  // stale text behind the section must not leak in
    std::wstring block;
    ASSERT_TRUE(BuildWininitDeletionBlock(buffer, 9, L"C:\\b", block));
    EXPECT_EQ(block, L"NUL=C:\\a\0NUL=C:\\b\0\0"s);
}

TEST(WininitBlock, RefusesABlockThatWouldReachTheBufferEnd)
{
    // used + path + "NUL=" + its zero must stay below the 16,384 characters,
    // so that the closing zero still fits.
    const std::size_t used = 1000;
    const std::wstring section(used + 1, L'a');
    const std::wstring fits(kWininitSectionChars - used - 6, L'p');
    const std::wstring tooLong(fits.size() + 1, L'p');

    std::wstring block = L"untouched";
    EXPECT_FALSE(BuildWininitDeletionBlock(section, used, tooLong, block));
    EXPECT_EQ(block, L"untouched");

    ASSERT_TRUE(BuildWininitDeletionBlock(section, used, fits, block));
    EXPECT_EQ(block.size(), kWininitSectionChars);
    EXPECT_EQ(block.substr(block.size() - 2), L"\0\0"s);

    // A section of its own already too full refuses even an empty path.
    EXPECT_FALSE(BuildWininitDeletionBlock(std::wstring(kWininitSectionChars, L'a'), kWininitSectionChars - 4, L"",
                                           block));
}
