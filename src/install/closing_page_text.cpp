#include "install/closing_page_text.h"

#include "system/path_text.h"

namespace {

bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

std::wstring_view Trim(std::wstring_view line)
{
    while (!line.empty() && IsBlank(line.front())) {
        line.remove_prefix(1);
    }
    while (!line.empty() && IsBlank(line.back())) {
        line.remove_suffix(1);
    }
    return line;
}

bool IsDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

wchar_t UpperAscii(wchar_t c)
{
    return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

// The next piece as a line-by-line read with a fixed buffer returns it: up
// to and including a line break, but never more than the buffer holds.
std::wstring_view NextPiece(std::wstring_view& text)
{
    const std::size_t limit = kHomePageLineChars - 1;
    std::size_t length = 0;
    while (length < text.size() && length < limit) {
        if (text[length++] == L'\n') {
            break;
        }
    }
    const std::wstring_view piece = text.substr(0, length);
    text.remove_prefix(length);
    return piece;
}

}  // namespace

std::wstring ClosingPageQuery(std::wstring_view fileText)
{
    // Text-mode reading turns CR LF into one line break before the buffer
    // counts characters.
    std::wstring text;
    text.reserve(fileText.size());
    for (std::size_t i = 0; i < fileText.size(); ++i) {
        if (!(fileText[i] == L'\r' && i + 1 < fileText.size() && fileText[i + 1] == L'\n')) {
            text += fileText[i];
        }
    }

    std::wstring query;
    std::wstring_view rest = text;
    while (!rest.empty()) {
        const std::wstring_view line = Trim(NextPiece(rest));
        if (StartsWith(line, L"URL=http://")) {
            const std::size_t mark = line.find(L'?');
            if (mark != std::wstring_view::npos) {
                query = std::wstring(line.substr(mark));
            }
        } else if (StartsWith(line, L"Update=http://")) {
            const wchar_t first = line[line.size() - 2];
            const wchar_t second = line[line.size() - 1];
            if (!IsDigit(first) && !IsDigit(second)) {
                query += query.empty() ? L"?" : L"&";
                query += L"Lang=";
                query += UpperAscii(first);
                query += UpperAscii(second);
            }
        }
    }
    return query;
}

std::wstring UnquoteTarget(std::wstring_view target)
{
    if (!target.empty() && target.front() == L'"') {
        target.remove_prefix(1);
    }
    if (!target.empty() && target.back() == L'"') {
        target.remove_suffix(1);
    }
    return std::wstring(target);
}
