#include "uninstall/log_removal.h"

void RemoveLoggedLinksAndFolders(const std::wstring&) {}

void RemoveLoggedFiles(const std::wstring&, const std::wstring&, const wchar_t*) {}

void DeleteMatchingFiles(const std::wstring&, const std::wstring&) {}
