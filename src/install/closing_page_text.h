// The query of the closing web page, taken from the installed "HomePage.url".
// No Windows headers: built natively too.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The file is read in pieces of at most this many characters less one, so a
// longer line arrives in pieces and each piece is judged as a line.
constexpr std::size_t kHomePageLineChars = 260;

// The query ("?..." or empty) for the text of "HomePage.url". A "URL=http://"
// line holding a "?" sets the query to what follows from that "?" on (a later
// one replaces it); an "Update=http://" line whose last two characters are
// not digits adds "Lang=" and those two characters upper-cased. Lines are
// trimmed of blanks at both ends; "\r\n" counts as one line break.
std::wstring ClosingPageQuery(std::wstring_view fileText);

// The target of a shortcut without one leading and one trailing double quote.
std::wstring UnquoteTarget(std::wstring_view target);
