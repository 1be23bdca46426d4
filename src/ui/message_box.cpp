#include "ui/message_box.h"

#include "ui/resource.h"

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

int ShowMessageText(const std::wstring& text, UINT type)
{
    const std::wstring caption = LoadIntoBuffer(IDS_SETUP_CAPTION, kCaptionChars);
    return ::MessageBoxW(nullptr, text.c_str(), caption.c_str(), type);
}

int ShowMessage(UINT id, UINT type)
{
    return ShowMessageText(LoadMessageText(id), type);
}
