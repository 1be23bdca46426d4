#include "ui/wizard_text.h"

#include "app/product_names.h"

#include <cstdint>

namespace {

bool IsWhiteSpace(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n' || c == L'\v' || c == L'\f';
}

std::wstring TwoDigits(unsigned value)
{
    return (value < 10 ? L"0" : L"") + std::to_wstring(value);
}

}  // namespace

std::wstring DecodeUtf16Le(std::string_view bytes)
{
    std::wstring text;
    text.reserve(bytes.size() / 2);
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto low = static_cast<uint8_t>(bytes[i]);
        const auto high = static_cast<uint8_t>(bytes[i + 1]);
        text.push_back(static_cast<wchar_t>(low | (high << 8)));
    }
    return text;
}

std::wstring TrimWhiteSpace(std::wstring_view text)
{
    size_t first = 0;
    size_t end = text.size();
    while (first < end && IsWhiteSpace(text[first])) {
        ++first;
    }
    while (end > first && IsWhiteSpace(text[end - 1])) {
        --end;
    }
    return std::wstring(text.substr(first, end - first));
}

std::wstring LastPathComponent(std::wstring_view path)
{
    const size_t slash = path.rfind(L'\\');
    return std::wstring(slash == std::wstring_view::npos ? path : path.substr(slash + 1));
}

std::wstring WithMinorAndBuild(std::wstring_view message, unsigned minor, unsigned build)
{
    const std::wstring_view name = kProductName;
    const std::wstring versioned = std::wstring(name) + L"." + TwoDigits(minor) + L"." + TwoDigits(build);
    std::wstring result;
    size_t start = 0;
    for (size_t found = message.find(name); found != std::wstring_view::npos;
         found = message.find(name, start)) {
        result.append(message.substr(start, found - start)).append(versioned);
        start = found + name.size();
    }
    return result.append(message.substr(start));
}
