// Text operations on paths and names. No Windows headers: built natively too.
#pragma once

#include <string>
#include <string_view>

// Case folding as the C runtime does it in the "C" locale: A to Z only.
wchar_t FoldAscii(wchar_t c);
std::wstring ToLowerAscii(std::wstring_view text);
bool EqualsNoCase(std::wstring_view a, std::wstring_view b);
bool StartsWith(std::wstring_view text, std::wstring_view prefix);
bool Contains(std::wstring_view text, std::wstring_view part);

// The folder part: one trailing backslash dropped, then everything from the
// last backslash on cut; empty when no backslash stands after position 0.
std::wstring ParentFolder(std::wstring_view path);

// Drive and folder of a full path, ending in a backslash ("C:\a\b.exe" gives
// "C:\a\"); empty when the path has neither.
std::wstring DriveAndFolder(std::wstring_view path);

// folder + "\" + name, without doubling a separator the folder already ends in.
std::wstring JoinPath(std::wstring_view folder, std::wstring_view name);

bool HasBlankOrTab(std::wstring_view text);
