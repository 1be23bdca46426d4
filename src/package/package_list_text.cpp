#include "package/package_list_text.h"

#include "app/product_names.h"
#include "install/install_text.h"
#include "uninstall/install_log_text.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::size_t kNone = std::wstring_view::npos;

// The lines whose names the installer copies, and those only the uninstaller reads.
constexpr const wchar_t* kDeployPrefixes[] = {kFileCopyPrefix, kFileCopyX64Prefix, kFileCopyIndPrefix,
                                              kFileCopyPrtPrefix};
constexpr const wchar_t* kRemovalPrefixes[] = {kFileOverwritePrefix, kFileDelPrefix};

wchar_t FoldLatin1(wchar_t c)
{
    const bool lower = (c >= L'a' && c <= L'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7);
    return lower ? static_cast<wchar_t>(c - 0x20) : c;
}

bool SameName(std::wstring_view a, std::wstring_view b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) { return FoldLatin1(x) == FoldLatin1(y); });
}

bool HasWildcard(std::wstring_view name)
{
    return name.find_first_of(L"*?") != kNone;
}

// "*" any run, "?" exactly one character; the usual greedy walk that goes
// back to the last "*" on a mismatch.
bool Glob(std::wstring_view pattern, std::wstring_view name)
{
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t star = kNone;
    std::size_t resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            resume = n;
        } else if (p < pattern.size() && (pattern[p] == L'?' || FoldLatin1(pattern[p]) == FoldLatin1(name[n]))) {
            ++p;
            ++n;
        } else if (star != kNone) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*') {
        ++p;
    }
    return p == pattern.size();
}

std::wstring Slashed(std::wstring_view name)
{
    std::wstring text(name);
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return text;
}

std::wstring FolderPart(std::wstring_view name)
{
    const std::size_t slash = name.rfind(L'\\');
    return slash == kNone ? std::wstring() : std::wstring(name.substr(0, slash));
}

std::wstring LeafPart(std::wstring_view name)
{
    const std::size_t slash = name.rfind(L'\\');
    return std::wstring(slash == kNone ? name : name.substr(slash + 1));
}

std::string Printable(std::string_view bytes)
{
    std::string text;
    for (unsigned char c : bytes) {
        if (c < 0x20 || c == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
            text += escaped;
        } else {
            text += static_cast<char>(c);
        }
    }
    return text;
}

std::string Narrow(std::wstring_view text)
{
    std::string bytes;
    for (wchar_t c : text) {
        bytes += static_cast<char>(c <= 0xFF ? c : L'?');
    }
    return bytes;
}

struct Line {
    std::size_t number = 0;
    std::string_view bytes;  // without its line break
    bool bareLineFeed = false;
    std::wstring text;       // as the installer reads it: one character a byte, end trimmed
};

std::vector<Line> SplitLines(std::string_view list)
{
    std::vector<Line> lines;
    std::size_t start = 0;
    while (start < list.size()) {
        const std::size_t feed = list.find('\n', start);
        const std::size_t end = feed == std::string_view::npos ? list.size() : feed;
        Line line;
        line.number = lines.size() + 1;
        line.bytes = list.substr(start, end - start);
        if (!line.bytes.empty() && line.bytes.back() == '\r') {
            line.bytes.remove_suffix(1);
        } else {
            line.bareLineFeed = feed != std::string_view::npos;
        }
        std::wstring wide;
        for (unsigned char c : line.bytes) {
            wide += static_cast<wchar_t>(c);
        }
        line.text = std::wstring(TrimLogLineEnd(wide));
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

class ListChecker {
public:
    ListChecker(const std::vector<PayloadEntry>& payload, const std::vector<Line>& lines) : m_payload(payload)
    {
        for (const auto& line : lines) {
            std::wstring_view rest;
            if (MatchLogPrefix(line.text, kMakeDirPrefix, rest)) {
                m_madeAnywhere.push_back(Slashed(rest));
            }
        }
    }

    // Why the line is wrong, or "" when it is right.
    std::string Check(const Line& line)
    {
        if (line.number == 1 && line.bytes.substr(0, 3) == "\xEF\xBB\xBF") {
            return "begins with a UTF-8 byte-order mark, which hides the first line's kind; save the list as 8-bit text";
        }
        for (unsigned char c : line.bytes) {
            if ((c < 0x20 && c != '\t') || c == 0x7F) {
                return "holds control bytes; the list must be 8-bit text (not UTF-16) with CR LF line ends";
            }
        }
        if (line.bareLineFeed) {
            return "ends in a line feed alone; the list must have CR LF line ends";
        }
        if (line.bytes.size() >= kLogLineChars) {
            return "is longer than 511 characters; the installer would read it in pieces";
        }
        if (line.text.empty()) {
            return {};
        }
        std::wstring_view rest;
        for (const wchar_t* prefix : kDeployPrefixes) {
            if (MatchLogPrefix(line.text, prefix, rest)) {
                std::string reason = CheckDeployed(rest, prefix == std::wstring_view(kFileCopyPrtPrefix));
                if (reason.empty() && prefix == std::wstring_view(kFileCopyPrefix)) {
                    const CopyBody body = SplitCopyBody(rest);
                    m_installed.push_back(Slashed(body.target.value_or(body.source)));
                    if (!body.target) {
                        MakeWithParents(FolderPart(Slashed(body.source)));
                    }
                }
                return reason;
            }
        }
        for (const wchar_t* prefix : kRemovalPrefixes) {
            if (MatchLogPrefix(line.text, prefix, rest)) {
                const std::wstring name = Slashed(FileEntryInstalledName(line.text, prefix));
                return !IsConfinedRelativeName(name) ? kOutside : MatchesDotEntries(name) ? kDotPattern : "";
            }
        }
        if (MatchLogPrefix(line.text, kMakeDirPrefix, rest)) {
            return CheckMakeDir(Slashed(rest));
        }
        if (MatchLogPrefix(line.text, kMadeDirPrefix, rest) || MatchLogPrefix(line.text, kShellLinkPrefix, rest)) {
            return "is a line only the installer writes, with a full path that the uninstaller would remove";
        }
        return "is no package-list line: its kind is unknown, misspelt or not in the first column";
    }

    // True when a "File Copy: " line puts a file of that name into the
    // product folder's top level.
    bool Installs(std::wstring_view name) const
    {
        return std::any_of(m_installed.begin(), m_installed.end(),
                           [&](const std::wstring& installed) { return MatchesWildcard(installed, name); });
    }

    // The "Make Dir: " names in the order they were first made.
    const std::vector<std::wstring>& Made() const { return m_made; }

private:
    static constexpr const char* kOutside = "names a file outside the product folder (a full path, a drive or \"..\")";
    static constexpr const char* kDotPattern =
        "is a pattern in the product folder's top level that matches \".\" or \"..\": removal would clear the "
        "attributes of the folder above the product folder and hand it to the restart; name the files or use a "
        "sub-folder pattern";

    static bool MatchesDotEntries(std::wstring_view name)
    {
        return name.find(L'\\') == kNone && HasWildcard(name) &&
               (MatchesWildcard(name, L".") || MatchesWildcard(name, L".."));
    }

    std::string CheckDeployed(std::wstring_view rest, bool besideProduct)
    {
        if (rest.find(L'|') != kNone) {
            return "has a \" | \" comment, which the installer takes as part of the file name";
        }
        CopyBody body = SplitCopyBody(rest);
        body.source = Slashed(body.source);
        if (body.target) {
            body.target = Slashed(*body.target);
        }
        if (!IsConfinedCopyBody(body)) {
            return kOutside;
        }
        if (MatchesDotEntries(body.source) || (body.target && MatchesDotEntries(*body.target))) {
            return kDotPattern;
        }
        const std::wstring folder = FolderPart(body.source);
        const std::wstring leaf = LeafPart(body.source);
        bool found = false;
        for (const auto& entry : m_payload) {
            if (!SameName(FolderPart(entry.name), folder) ||
                !(body.target ? SameName(LeafPart(entry.name), leaf) : MatchesWildcard(leaf, LeafPart(entry.name)))) {
                continue;
            }
            if (entry.folder) {
                return "matches the folder \"" + Narrow(entry.name) + "\", where the installer would stop copying";
            }
            found = true;
        }
        if (!found) {
            return "names \"" + Narrow(body.source) + "\", which is not in the package folder";
        }
        const std::wstring filled = FolderPart(body.target ? *body.target : body.source);
        const bool made = std::any_of(m_madeAnywhere.begin(), m_madeAnywhere.end(),
                                      [&](const std::wstring& name) { return SameName(name, filled); });
        if (!besideProduct && !filled.empty() && !made) {
            return "fills the folder \"" + Narrow(filled) + "\", which no \"Make Dir: \" line makes, so removal would "
                   "leave it behind";
        }
        // A renaming copy makes no folder: on a fresh installation its folder
        // must already stand, or the file is missing there and only there.
        if (!besideProduct && body.target && !IsMadeFresh(filled)) {
            return "copies under a new name into " +
                   (filled.empty() ? std::string("the product folder") : "the folder \"" + Narrow(filled) + "\"") +
                   ", which no earlier line makes on a fresh installation, so the file would be missing there; "
                   "start with a copy without \">\" and put the \"Make Dir: \" lines after it, above this line";
        }
        return {};
    }

    // A copy without ">" makes the product folder and every level of its
    // own folder; a "Make Dir: " line its one folder once those stand.
    void MakeWithParents(const std::wstring& folder)
    {
        m_rootMadeFresh = true;
        for (std::wstring level = folder; !level.empty(); level = FolderPart(level)) {
            m_madeFresh.push_back(level);
        }
    }

    bool IsMadeFresh(std::wstring_view folder) const
    {
        return m_rootMadeFresh &&
               (folder.empty() || std::any_of(m_madeFresh.begin(), m_madeFresh.end(),
                                              [&](const std::wstring& made) { return SameName(made, folder); }));
    }

    std::string CheckMakeDir(const std::wstring& name)
    {
        if (!IsConfinedRelativeName(name)) {
            return "names a folder outside the product folder (a full path, a drive or \"..\")";
        }
        if (!m_rootMadeFresh) {
            if (!IsMade(name)) {
                m_made.push_back(name);  // still in the tail, so that only this line is refused
            }
            return "comes before the first \"File Copy: \" line without \">\", which makes the product folder on a "
                   "fresh installation, so the folder would not be made there; put the \"Make Dir: \" lines after that "
                   "line";
        }
        const std::wstring parent = FolderPart(name);
        if (!parent.empty() && !IsMade(parent)) {
            return "makes a folder whose parent \"" + Narrow(parent) +
                   "\" no earlier \"Make Dir: \" line makes (the installer makes one level a line, parents first)";
        }
        if (!IsMade(name)) {
            m_made.push_back(name);
        }
        m_madeFresh.push_back(name);
        return {};
    }

    bool IsMade(std::wstring_view name) const
    {
        return std::any_of(m_made.begin(), m_made.end(), [&](const std::wstring& made) { return SameName(made, name); });
    }

    const std::vector<PayloadEntry>& m_payload;
    std::vector<std::wstring> m_madeAnywhere;
    std::vector<std::wstring> m_made;
    std::vector<std::wstring> m_installed;
    // What stands on a fresh installation by the line being checked.
    bool m_rootMadeFresh = false;
    std::vector<std::wstring> m_madeFresh;
};

// True when the list's last non-blank lines make the folders of made again,
// in reverse order (children first): the last line makes made[0].
bool EndsWithReverseTail(const std::vector<Line>& lines, const std::vector<std::wstring>& made)
{
    auto line = lines.rbegin();
    for (auto folder = made.begin(); folder != made.end(); ++folder, ++line) {
        while (line != lines.rend() && line->text.empty()) {
            ++line;
        }
        std::wstring_view rest;
        if (line == lines.rend() || !MatchLogPrefix(line->text, kMakeDirPrefix, rest) ||
            !SameName(Slashed(rest), *folder)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool MatchesWildcard(std::wstring_view pattern, std::wstring_view name)
{
    if (Glob(pattern, name)) {
        return true;
    }
    for (std::wstring_view shorter = pattern; !shorter.empty() && shorter.back() == L'?';) {
        shorter.remove_suffix(1);
        if (Glob(shorter, name)) {
            return true;
        }
    }
    const bool dotStarEnd = pattern.size() >= 2 && pattern.substr(pattern.size() - 2) == L".*";
    return dotStarEnd && name.find(L'.') == kNone && Glob(pattern.substr(0, pattern.size() - 2), name);
}

PackageListCheck CheckPackageList(std::string_view list, const std::vector<PayloadEntry>& payload)
{
    PackageListCheck result;
    const std::vector<Line> lines = SplitLines(list);
    ListChecker checker(payload, lines);
    std::vector<PackageListProblem> lineProblems;
    for (const auto& line : lines) {
        std::string reason = checker.Check(line);
        if (!reason.empty()) {
            lineProblems.push_back({line.number, Printable(line.bytes), std::move(reason)});
        }
    }
    // What concerns the package as a whole comes first.
    const bool hasSetup = std::any_of(payload.begin(), payload.end(), [](const PayloadEntry& entry) {
        return !entry.folder && SameName(entry.name, L"setup.exe");
    });
    if (!hasSetup) {
        result.problems.push_back({0, "", "the package folder has no setup.exe, which the package runs"});
    }
    for (const wchar_t* needed : {kProductExe, L"PxvUnInst.exe"}) {
        if (!checker.Installs(needed)) {
            result.problems.push_back(
                {0, "", "no \"File Copy: \" line installs " + Narrow(needed) + " into the product folder"});
        }
    }
    result.problems.insert(result.problems.end(), lineProblems.begin(), lineProblems.end());

    result.list = std::string(list);
    if (!EndsWithReverseTail(lines, checker.Made())) {
        if (!result.list.empty() && result.list.back() != '\n') {
            result.list += "\r\n";
        }
        for (auto folder = checker.Made().rbegin(); folder != checker.Made().rend(); ++folder) {
            result.list += Narrow(kMakeDirPrefix) + Narrow(*folder) + "\r\n";
        }
        result.tailAppended = true;
    }
    return result;
}
