#include "uninstall/install_log.h"

#include "system/services.h"

#include <cstdio>
#include <cwchar>

InstallLogReader::InstallLogReader(const std::wstring& path) : m_file(::_wfopen(path.c_str(), L"rt"))
{
}

bool InstallLogReader::ReadLine(std::wstring& line)
{
    if (!m_file) {
        return false;
    }
    for (;;) {
        // One read as the line-oriented runtime call makes it: up to a line
        // feed or kLogLineChars - 1 characters. Counted here rather than
        // measured afterwards, since a NUL inside the line would cut the
        // measure short and make the rest of a long line look like a new one.
        std::wstring piece;
        wint_t c = WEOF;
        while (piece.size() < kLogLineChars - 1 && (c = std::fgetwc(m_file.Get())) != WEOF) {
            piece += static_cast<wchar_t>(c);
            if (c == L'\n') {
                break;
            }
        }
        if (piece.empty()) {
            return false;
        }
        const bool startsLine = !m_midLine;
        m_midLine = piece.size() == kLogLineChars - 1 && piece.back() != L'\n';
        if (startsLine) {
            // Like the C string it is read into, the entry ends at a NUL.
            line.assign(TrimLogLineEnd(std::wstring_view(piece.c_str())));
            return true;
        }
    }
}

void InstallLogReader::Rewind()
{
    if (m_file) {
        std::rewind(m_file.Get());
    }
    m_midLine = false;
}

void AppendLogEntry(const std::wstring& logPath, const wchar_t* prefix, const std::wstring& value)
{
    AppendLineToFile(logPath.c_str(), MakeLogLine(prefix, value).c_str());
}
