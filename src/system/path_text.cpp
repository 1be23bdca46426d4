#include "system/path_text.h"

wchar_t FoldAscii(wchar_t c)
{
    return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

std::wstring ToLowerAscii(std::wstring_view text)
{
    std::wstring lower(text);
    for (auto& c : lower) {
        c = FoldAscii(c);
    }
    return lower;
}

bool EqualsNoCase(std::wstring_view a, std::wstring_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (FoldAscii(a[i]) != FoldAscii(b[i])) {
            return false;
        }
    }
    return true;
}

bool StartsWith(std::wstring_view text, std::wstring_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool Contains(std::wstring_view text, std::wstring_view part)
{
    return text.find(part) != std::wstring_view::npos;
}

std::wstring ParentFolder(std::wstring_view path)
{
    if (!path.empty() && path.back() == L'\\') {
        path.remove_suffix(1);
    }
    const size_t last = path.rfind(L'\\');
    if (last == std::wstring_view::npos || last == 0) {
        return {};
    }
    return std::wstring(path.substr(0, last));
}

std::wstring DriveAndFolder(std::wstring_view path)
{
    const size_t last = path.find_last_of(L"\\/");
    if (last == std::wstring_view::npos) {
        // A bare "C:name" still has its drive.
        return (path.size() >= 2 && path[1] == L':') ? std::wstring(path.substr(0, 2)) : std::wstring();
    }
    return std::wstring(path.substr(0, last + 1));
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name)
{
    std::wstring joined(folder);
    if (!joined.empty() && joined.back() != L'\\' && joined.back() != L'/') {
        joined += L'\\';
    }
    joined += name;
    return joined;
}

bool HasBlankOrTab(std::wstring_view text)
{
    return text.find_first_of(L" \t") != std::wstring_view::npos;
}
