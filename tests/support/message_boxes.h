// Answers the message boxes of the program under test, as a user would:
// finds a box by its caption "Pixvane Setup", reads it, presses a button.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

struct SeenMessageBox {
    HWND window = nullptr;
    std::wstring text;
    // Its buttons in the order OK, Yes, No, the default one marked with "*",
    // then " icon" when it shows one: "Yes No* icon".
    std::wstring form;
};

// The first "Pixvane Setup" box shown within timeoutMs, by processId when it
// is not 0; nothing when none came.
std::optional<SeenMessageBox> WaitForMessageBox(DWORD timeoutMs, DWORD processId = 0);

// Waits for a box, presses button (IDYES, IDNO, IDOK) on it as a click
// would and returns what it said; nothing when no box came within timeoutMs.
std::optional<SeenMessageBox> AnswerMessageBox(int button, DWORD timeoutMs, DWORD processId = 0);
