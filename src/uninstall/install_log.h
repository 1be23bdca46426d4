// Reading the install log back, and adding lines to it. The line format and
// the prefixes are in install_log_text.h.
#pragma once

#include "system/handles.h"
#include "uninstall/install_log_text.h"

#include <string>

// One open log, read line by line in text mode; whole passes are made from
// the top, one per kind of entry. A log that cannot be opened reads as empty.
class InstallLogReader {
public:
    explicit InstallLogReader(const std::wstring& path);

    bool IsOpen() const { return m_file.IsValid(); }

    // The next line with its trailing control characters and blanks removed;
    // false at the end. The rest of a line longer than one read is skipped,
    // since only a line's first piece can hold an entry.
    bool ReadLine(std::wstring& line);

    // Back to the first line, for the next pass.
    void Rewind();

private:
    UniqueStdioFile m_file;
    bool m_midLine = false;
};

// Appends prefix + value as one line (one open and close per line).
void AppendLogEntry(const std::wstring& logPath, const wchar_t* prefix, const std::wstring& value);
