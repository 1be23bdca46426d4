#include "ui/message_box.h"

#include "ui/resource.h"

#include <cstdarg>
#include <cwchar>

namespace {

std::wstring LoadIntoBuffer(UINT id, size_t chars)
{
    wchar_t buffer[kMessageChars] = {};
    ::LoadStringW(::GetModuleHandleW(nullptr), id, buffer, static_cast<int>(chars));
    return buffer;
}

}  // namespace

std::wstring LoadMessageText(UINT id)
{
    return LoadIntoBuffer(id, kMessageChars);
}

std::wstring FormatMessageText(UINT id, ...)
{
    const std::wstring format = LoadMessageText(id);
    wchar_t text[kMessageChars] = {};
    va_list values;
    va_start(values, id);
    // The runtime's own formatter: its "%s" in a wide format is a wide string
    // with MSVC and MinGW alike, where the C99 one would read a narrow one.
    _vsnwprintf(text, kMessageChars - 1, format.c_str(), values);
    va_end(values);
    return text;
}

int ShowMessageText(const std::wstring& text, UINT type, HWND owner)
{
    const std::wstring caption = LoadIntoBuffer(IDS_SETUP_CAPTION, kCaptionChars);
    return ::MessageBoxW(owner, text.c_str(), caption.c_str(), type);
}

int ShowMessage(UINT id, UINT type)
{
    return ShowMessageText(LoadMessageText(id), type);
}
