#include "install/closing_page_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(ClosingPageQuery, TakesTheLinksQueryAndALanguageOfTwoLetters)
{
    EXPECT_EQ(ClosingPageQuery(
                  L"[InternetShortcut]\r\n  URL=http://q.example/a?ref=12 \r\n\tUpdate=http://u.example/de\r\n"),
              L"?ref=12&Lang=DE");
    // A language needs two letters; a link without "?" adds nothing.
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/?ref=12\nUpdate=http://u.example/08\n"), L"?ref=12");
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/\nUpdate=http://u.example/d8\n"), L"");
    EXPECT_EQ(ClosingPageQuery(L"URL=http://q.example/\nUpdate=http://u.example/fr"), L"?Lang=FR");
    // The last link wins, and replaces a language that came before it.
    EXPECT_EQ(ClosingPageQuery(L"Update=http://u.example/de\nURL=http://a/?x=1\nURL=http://b/?y=2\n"), L"?y=2");
    // Only lines that begin with the exact keys count.
    EXPECT_EQ(ClosingPageQuery(L"url=http://a/?x=1\nUpdate=https://u.example/de\nXURL=http://a/?x=1\n"), L"");
    EXPECT_EQ(ClosingPageQuery(L""), L"");
}

TEST(ClosingPageQuery, ALineLongerThanTheBufferIsReadInPieces)
{
    const std::wstring key = L"URL=http://";
    const size_t fits = kHomePageLineChars - 1 - key.size() - 7;  // the line just fills the buffer
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits, L'a') + L"?ref=12\n"), L"?ref=12");
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits + 1, L'a') + L"?ref=12\n"), L"?ref=1");
    // A piece that begins with a key counts as a line of its own.
    EXPECT_EQ(ClosingPageQuery(key + std::wstring(fits + 7, L'a') + L"Update=http://u.example/de\n"), L"?Lang=DE");
}

TEST(UnquoteTarget, DropsOneQuoteAtEachEnd)
{
    EXPECT_EQ(UnquoteTarget(L"\"C:\\Program Files\\Pixvane 8\\Pixvn8.exe\""), L"C:\\Program Files\\Pixvane 8\\Pixvn8.exe");
    EXPECT_EQ(UnquoteTarget(L"\"\"C:\\a.exe\"\""), L"\"C:\\a.exe\"");
    EXPECT_EQ(UnquoteTarget(L"\"C:\\a.exe"), L"C:\\a.exe");
    EXPECT_EQ(UnquoteTarget(L"\""), L"");
}
