// The "rename" section of WININIT.INI as the old restart mechanism reads it:
// entries of the form "NUL=path", each ended by a zero, the list ended by an
// empty entry. No Windows headers: built natively too.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The section is read into, and built in, a buffer of this many wide
// characters: 32,768 bytes.
constexpr std::size_t kWininitSectionChars = 16384;

// Appends "NUL=" + path, its zero and the list's closing zero to the first
// `used` characters of an existing section (the entries as the profile API
// returned them, without the closing zero), keeping the older entries in
// front. False, with block untouched, when the result would not fit the
// section buffer; the caller must then write nothing.
bool BuildWininitDeletionBlock(std::wstring_view section, std::size_t used, std::wstring_view path,
                               std::wstring& block);
