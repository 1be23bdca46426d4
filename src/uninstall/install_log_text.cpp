#include "uninstall/install_log_text.h"

#include "system/path_text.h"

#include <cstdint>
#include <limits>

namespace {

// wchar_t is signed on some hosts; codes are compared as unsigned numbers.
std::uint32_t CodeOf(wchar_t c)
{
    return static_cast<std::uint32_t>(c);
}

bool IsWhiteSpace(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n' || c == L'\v' || c == L'\f';
}

bool IsSeparator(wchar_t c)
{
    return c == L'\\' || c == L'/';
}

// ".." itself, or a component that normalisation could shorten to it.
bool IsParentComponent(std::wstring_view component)
{
    std::size_t dots = 0;
    for (const wchar_t c : component) {
        if (c == L'.') {
            ++dots;
        } else if (c != L' ') {
            return false;
        }
    }
    return dots >= 2;
}

}  // namespace

std::wstring MakeLogLine(std::wstring_view prefix, std::wstring_view value)
{
    std::wstring line(prefix);
    line += value;
    return line;
}

std::wstring_view TrimLogLineEnd(std::wstring_view line)
{
    while (!line.empty() && CodeOf(line.back()) < 33) {
        line.remove_suffix(1);
    }
    return line;
}

bool MatchLogPrefix(std::wstring_view line, std::wstring_view prefix, std::wstring_view& rest)
{
    if (line.substr(0, prefix.size()) != prefix) {
        return false;
    }
    rest = line.substr(prefix.size());
    return true;
}

std::wstring FileEntryInstalledName(std::wstring_view line, std::wstring_view prefix)
{
    // The comment goes first, so a ">" inside it renames nothing; a " | " that
    // overlaps the prefix's own blank leaves no name at all.
    const std::size_t comment = line.find(L" | ");
    if (comment != std::wstring_view::npos) {
        line = line.substr(0, comment);
    }
    if (line.size() < prefix.size()) {
        return {};
    }
    std::wstring_view name = line.substr(prefix.size());
    const std::size_t arrow = name.find(L'>');
    if (arrow != std::wstring_view::npos) {
        name.remove_prefix(arrow + 1);
        while (!name.empty() && IsWhiteSpace(name.front())) {
            name.remove_prefix(1);
        }
    }
    return std::wstring(name);
}

bool IsConfinedRelativeName(std::wstring_view name)
{
    if (name.empty() || IsSeparator(name.front()) || name.find(L':') != std::wstring_view::npos) {
        return false;
    }
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = start;
        while (end < name.size() && !IsSeparator(name[end])) {
            ++end;
        }
        if (IsParentComponent(name.substr(start, end - start))) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

std::wstring EncodeLoggedPath(std::wstring_view path)
{
    static constexpr wchar_t kHex[] = L"0123456789ABCDEF";
    std::wstring logged;
    for (const wchar_t c : path) {
        std::uint32_t code = CodeOf(c);
        if (code <= 0xFF && c != L'<') {
            logged += c;
            continue;
        }
        std::wstring digits;
        do {
            digits.insert(digits.begin(), kHex[code % 16]);
            code /= 16;
        } while (code != 0);
        logged += L'<' + digits + L'>';
    }
    return logged;
}

std::wstring DecodeLoggedPath(std::wstring_view logged)
{
    constexpr auto kLargestCode = static_cast<std::uint32_t>(std::numeric_limits<wchar_t>::max());
    std::wstring path;
    for (std::size_t i = 0; i < logged.size(); ++i) {
        std::uint32_t code = 0;
        std::size_t end = i + 1;
        for (; end < logged.size() && end - i <= 6; ++end) {
            const wchar_t c = logged[end];
            const int digit = c >= L'0' && c <= L'9'   ? c - L'0'
                              : c >= L'A' && c <= L'F' ? c - L'A' + 10
                              : c >= L'a' && c <= L'f' ? c - L'a' + 10
                                                       : -1;
            if (digit < 0) {
                break;
            }
            code = code * 16 + static_cast<std::uint32_t>(digit);
        }
        // Only what the writer escapes comes back: "<5C>" is no backslash.
        const bool escaped = code == L'<' || (code > 0xFF && code <= kLargestCode);
        if (logged[i] == L'<' && end > i + 1 && end < logged.size() && logged[end] == L'>' && escaped) {
            path += static_cast<wchar_t>(code);
            i = end;
        } else {
            path += logged[i];
        }
    }
    return path;
}

bool IsShortcutFileName(std::wstring_view path)
{
    constexpr std::wstring_view kExtension = L".lnk";
    return path.size() >= kExtension.size() && EqualsNoCase(path.substr(path.size() - kExtension.size()), kExtension);
}
