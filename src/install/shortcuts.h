// Shell links of an installation, logged so that removal finds them, and the
// maker's web page opened when an interactive installation has finished.
#pragma once

#include <windows.h>

#include <string>

// Makes one .lnk file and, when it was saved, logs it as "Shell Link: " in
// the destination's install log. showCommand 1 keeps the link's default;
// arguments and workingFolder may be null.
void CreateShortcut(const std::wstring& target, const std::wstring& linkPath, const std::wstring& description,
                    int showCommand, const wchar_t* arguments, const wchar_t* workingFolder);

// Opens the maker's installation page with the query of the installed
// "HomePage.url"; does nothing when unattended or when nothing changed.
void OpenClosingWebPage();

