// Message boxes of the program: catalogue texts under the "Pixvane Setup" caption.
#pragma once

#include <windows.h>

#include <string>

constexpr size_t kCaptionChars = 128;
constexpr size_t kMessageChars = 256;

// A catalogue text as start-up loads it: at most kMessageChars - 1 characters.
std::wstring LoadMessageText(UINT id);

// Catalogue text id with its placeholders filled, at most kMessageChars - 1
// characters. "%s" takes a wide string, as everywhere in the catalogue.
std::wstring FormatMessageText(UINT id, ...);

// Shows text under caption text 2, over owner (none: no owner window);
// returns the button pressed.
int ShowMessageText(const std::wstring& text, UINT type, HWND owner = nullptr);

// Shows catalogue text id; returns the button pressed.
int ShowMessage(UINT id, UINT type);

// Questions: Yes and No, the exclamation icon, No as the default.
constexpr UINT kQuestionBox = MB_YESNO | MB_ICONEXCLAMATION | MB_DEFBUTTON2;
