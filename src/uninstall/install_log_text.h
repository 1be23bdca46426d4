// The install log's line format, shared by the installer that writes it and
// the uninstaller that reads it back. No Windows headers: built natively too.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Readers take at most kLogLineChars - 1 characters per read, so a longer
// physical line arrives in pieces and only its first piece is an entry.
constexpr std::size_t kLogLineChars = 512;

// Every prefix ends with exactly one blank and must stand in column one.
inline constexpr wchar_t kFileCopyPrefix[] = L"File Copy: ";
inline constexpr wchar_t kFileCopyX64Prefix[] = L"File Copy x64: ";
inline constexpr wchar_t kFileCopyIndPrefix[] = L"File Copy ind: ";
inline constexpr wchar_t kFileCopyPrtPrefix[] = L"File Copy prt: ";
inline constexpr wchar_t kFileOverwritePrefix[] = L"File Overwrite: ";
inline constexpr wchar_t kFileDelPrefix[] = L"File Del: ";
inline constexpr wchar_t kMakeDirPrefix[] = L"Make Dir: ";
inline constexpr wchar_t kMadeDirPrefix[] = L"Made Dir: ";
inline constexpr wchar_t kShellLinkPrefix[] = L"Shell Link: ";

// The older installers' log first, then ours: removal walks them in this order.
inline constexpr const wchar_t* kInstallLogNames[] = {L"install.log", L"PxvUnInst.log"};
inline constexpr wchar_t kInstallLogName[] = L"PxvUnInst.log";

// The line as the log holds it: prefix and value, nothing else (the line
// break is the writer's).
std::wstring MakeLogLine(std::wstring_view prefix, std::wstring_view value);

// Drops every trailing character whose code is below 33 (blanks, tabs, CR,
// LF, other control characters). Leading blanks stay.
std::wstring_view TrimLogLineEnd(std::wstring_view line);

// The text after prefix when line starts with it (case-sensitive, exact);
// false otherwise.
bool MatchLogPrefix(std::wstring_view line, std::wstring_view prefix, std::wstring_view& rest);

// The name a file entry line leaves in the product folder: the line is cut at
// the first " | ", the prefix dropped, and after a ">" only what follows the
// first ">" (leading white space removed) is kept. Empty when the cut leaves
// nothing after the prefix.
std::wstring FileEntryInstalledName(std::wstring_view line, std::wstring_view prefix);

// A file entry or "Make Dir: " name may only reach into the product folder:
// false for an empty name, a drive ("X:" or any colon), a leading backslash or
// slash (rooted or UNC), and a ".." component (also one of dots and blanks
// with two or more dots, such as ".. " or "...", which path normalisation
// may shorten to "..").
bool IsConfinedRelativeName(std::wstring_view name);

// The log holds one byte a character, so an absolute path the installer
// records ("Made Dir: ", "Shell Link: ") has every character above U+00FF,
// and every "<", written as "<" + its code in hexadecimal + ">" (ЖА becomes
// "<416><410>"). No Windows name may hold "<", so a logged path that has one
// is never a real name mistaken for a code. DecodeLoggedPath undoes it and
// leaves any "<" without 1 to 6 hex digits and a ">" after it as it stands.
std::wstring EncodeLoggedPath(std::wstring_view path);
std::wstring DecodeLoggedPath(std::wstring_view logged);

// A "Shell Link: " entry is only honoured for a ".lnk" file (any case).
bool IsShortcutFileName(std::wstring_view path);
