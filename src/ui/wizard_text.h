// Text rules of the wizard pages. No Windows headers: built natively too.
#pragma once

#include <string>
#include <string_view>

// The agreement file as the page shows it: little-endian 16-bit units, as
// many as fit in the bytes (an odd last byte is dropped), a byte-order mark
// kept as a character.
std::wstring DecodeUtf16Le(std::string_view bytes);

// Without the blanks, tabs and line breaks at both ends.
std::wstring TrimWhiteSpace(std::wstring_view text);

// What follows the last backslash; the whole text when there is none.
std::wstring LastPathComponent(std::wstring_view path);

// The finished page's first line: each "Pixvane 8" of the message becomes
// "Pixvane 8.mm.bb", minor and build with at least two digits.
std::wstring WithMinorAndBuild(std::wstring_view message, unsigned minor, unsigned build);
