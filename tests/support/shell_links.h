// Reading a shell link back, through the shell's own link object and through
// an independent parser on the Linux side.
#pragma once

#include <string>

// "target | working folder" as the shell's link object reads them back.
std::wstring ReadShellLink(const std::wstring& path);

// What the Linux program lnkinfo (Debian's liblnk-utils) prints about a link
// file; path must lie on Wine's "Z:" drive (the build tree). An explanation
// when it did not run.
std::string LnkInfoOf(const std::wstring& path);
