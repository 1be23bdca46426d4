// The diagnostic log an administrator asks for with "-log=FILE": one UTF-8
// line for each thing the run did and why, so that a failure on one machine
// out of thousands can be read afterwards. Without the option nothing is
// written. Logging never changes what the run does: it keeps the thread's
// last error as it found it, and a log that cannot be written is dropped
// without a word.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// Opens the log named by a "-log=FILE" argument (any case, anywhere on the
// line). The uninstaller's second stage (secondStage) has no such argument
// of its own and takes the name its first stage left in the environment.
// A relative name is taken from the package's folder when there is one (the
// package runs setup from a folder it deletes afterwards), else from the
// current folder.
void StartDiagnosticLog(const std::vector<std::wstring>& args, bool secondStage);

// Leaves the log's name, or the lack of one, in the environment of the
// process this one is about to become (the uninstaller's second stage), so
// that no name from elsewhere reaches it.
void HandDiagnosticLogOn();

bool IsDiagnosticLogOn();
void WriteDiagnosticLine(const std::wstring& line);

namespace diagnostic_log_detail {
inline void Add(std::wstring& line, std::wstring_view text)
{
    line.append(text);
}
inline void Add(std::wstring& line, const wchar_t* text)
{
    line.append(text ? text : L"(none)");
}
inline void Add(std::wstring& line, bool yes)
{
    line.append(yes ? L"yes" : L"no");
}
template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
void Add(std::wstring& line, Number number)
{
    line.append(std::to_wstring(number));
}
std::wstring Failure();
}  // namespace diagnostic_log_detail

// One line of the log from its parts: texts, numbers, yes/no.
template <typename... Parts>
void DiagLog(const Parts&... parts)
{
    if (!IsDiagnosticLogOn()) {
        return;
    }
    std::wstring line;
    (diagnostic_log_detail::Add(line, parts), ...);
    WriteDiagnosticLine(line);
}

// Logs the parts followed by ": done" or ": failed (error N)", N the last
// error the failed call left, and hands result back unchanged, so that a
// call is logged where it stands: if (DiagResult(::DeleteFileW(...), ...)).
template <typename Result, typename... Parts>
Result DiagResult(Result result, const Parts&... parts)
{
    if (IsDiagnosticLogOn()) {
        const std::wstring outcome = result ? std::wstring(L": done") : diagnostic_log_detail::Failure();
        DiagLog(parts..., outcome);
    }
    return result;
}

// The same for calls that return their error (registry calls: 0 is success).
template <typename... Parts>
long DiagStatus(long status, const Parts&... parts)
{
    DiagLog(parts..., status == 0 ? std::wstring(L": done") : L": failed (error " + std::to_wstring(status) + L")");
    return status;
}
