#include "uninstall/deferred_delete_text.h"

#include <utility>

bool BuildWininitDeletionBlock(std::wstring_view section, std::size_t used, std::wstring_view path,
                               std::wstring& block)
{
    constexpr std::wstring_view kDeleteKey = L"NUL=";
    // The entry's own zero is counted here, the list's closing zero is the
    // one that reaches the buffer's end.
    if (used > section.size() || used + path.size() + kDeleteKey.size() + 1 >= kWininitSectionChars) {
        return false;
    }
    std::wstring built(section.substr(0, used));
    built += kDeleteKey;
    built += path;
    built += L'\0';
    built += L'\0';
    block = std::move(built);
    return true;
}
