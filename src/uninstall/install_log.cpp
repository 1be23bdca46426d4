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
    wchar_t buffer[kLogLineChars];
    for (;;) {
        if (!std::fgetws(buffer, static_cast<int>(kLogLineChars), m_file.Get())) {
            return false;
        }
        const std::size_t length = std::wcslen(buffer);
        const bool startsLine = !m_midLine;
        // A full buffer without its line feed means the physical line goes on.
        m_midLine = length == kLogLineChars - 1 && buffer[length - 1] != L'\n';
        if (startsLine) {
            line.assign(TrimLogLineEnd(std::wstring_view(buffer, length)));
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
