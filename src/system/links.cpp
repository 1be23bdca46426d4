#include "system/links.h"

#include "system/handles.h"

namespace {

bool g_inPass = false;
std::wstring g_lastLinkFree;

bool IsSeparator(wchar_t c)
{
    return c == L'\\' || c == L'/';
}

bool IsLinkPath(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        return false;
    }
    // Only the search tells the reparse tag; a point it cannot look at
    // counts as a link.
    WIN32_FIND_DATAW entry = {};
    UniqueFindHandle search(::FindFirstFileW(path.c_str(), &entry));
    return !search || IsLink(entry);
}

}  // namespace

bool IsLink(const WIN32_FIND_DATAW& entry)
{
    const DWORD tag = entry.dwReserved0;
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && (tag == 0 || IsReparseTagNameSurrogate(tag));
}

LinkCheckPass::LinkCheckPass()
{
    g_inPass = true;
    g_lastLinkFree.clear();
}

LinkCheckPass::~LinkCheckPass()
{
    g_inPass = false;
    g_lastLinkFree.clear();
}

bool LeadsThroughLink(const std::wstring& path)
{
    if (g_inPass && !path.empty() && path == g_lastLinkFree) {
        return false;
    }
    // Each folder from the top down, as the system walks the path: the part
    // before every separator, then the whole. A drive ("C:") is skipped: it
    // would name the drive's current folder; doubled separators add nothing.
    for (size_t end = 1; end <= path.size(); ++end) {
        if (end < path.size() && !IsSeparator(path[end])) {
            continue;
        }
        const std::wstring part = path.substr(0, end);
        const bool drive = part.size() == 2 && part[1] == L':';
        if (!drive && !IsSeparator(part.back()) && IsLinkPath(part)) {
            return true;
        }
    }
    if (g_inPass) {
        g_lastLinkFree = path;
    }
    return false;
}

std::wstring FolderOf(const std::wstring& path)
{
    const size_t last = path.find_last_of(L"\\/");
    return last == std::wstring::npos ? std::wstring() : path.substr(0, last);
}
