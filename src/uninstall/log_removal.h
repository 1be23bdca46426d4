// Turns an install log back into deletions: shortcuts and the Start-menu
// group, the files and folders of the product folder, and files by pattern.
// Nothing here reports anything; what cannot go now is left to the restart
// only where a file or a "Make Dir: " folder is concerned.
#pragma once

#include <string>

// "Shell Link: " files are deleted, then each "Made Dir: " folder is removed
// together with the parents it leaves empty. A missing log does nothing.
void RemoveLoggedLinksAndFolders(const std::wstring& logPath);

// Deletes the files named by the file entries (all six kinds, or onlyPrefix
// alone when given) relative to productFolder, then removes the "Make Dir: "
// folders. productFolder may or may not end in a backslash.
void RemoveLoggedFiles(const std::wstring& logPath, const std::wstring& productFolder, const wchar_t* onlyPrefix);

// Deletes every file that a search for folder + name finds (no recursion),
// clearing read-only and hidden first; what cannot be deleted is scheduled
// for deletion at restart.
void DeleteMatchingFiles(const std::wstring& folder, const std::wstring& name);
