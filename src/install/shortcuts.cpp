#include "install/shortcuts.h"

void CreateShortcut(const std::wstring&, const std::wstring&, const std::wstring&, int, const wchar_t*, const wchar_t*)
{
}

void OpenClosingWebPage()
{
}
