#include "uninstall/log_removal.h"

#include "system/diagnostic_log.h"
#include "system/handles.h"
#include "system/links.h"
#include "system/path_text.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/install_log.h"

#include <windows.h>

#include <string_view>
#include <vector>

namespace {

// A climb that reaches "X:" would name the drive's current folder, not a
// parent of the group folder: it ends there as it ends at the empty string.
bool CanClimbTo(const std::wstring& folder)
{
    return !folder.empty() && !(folder.size() == 2 && folder[1] == L':');
}

void RemoveMadeFolderAndEmptyParents(std::wstring folder)
{
    // Whatever refuses to go (a user's file, a folder already gone) ends the
    // climb and stays; group folders are never left to the restart. A group
    // that is, or lies below, a link is someone else's: not even its empty
    // parents go. The parents are on that way, so one look covers the climb.
    if (LeadsThroughLink(folder)) {
        return;
    }
    while (CanClimbTo(folder) && DiagResult(::RemoveDirectoryW(folder.c_str()), L"remove folder ", folder)) {
        folder = ParentFolder(folder);
    }
}

// Read-only and hidden would make the deletion fail; every other bit is the
// file's own business. The search already answered the attributes, so an
// ordinary file costs no call here.
void ClearReadOnlyAndHidden(const std::wstring& path, DWORD attributes)
{
    constexpr DWORD kInTheWay = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    if (attributes & kInTheWay) {
        // A failure here shows in the deletion that follows.
        ::SetFileAttributesW(path.c_str(), attributes & ~kInTheWay);
    }
}

}  // namespace

void RemoveLoggedLinksAndFolders(const std::wstring& logPath)
{
    InstallLogReader log(logPath);
    DiagLog(L"shortcuts and folders named in ", logPath, L", log read: ", log.IsOpen());
    if (!log.IsOpen()) {
        return;
    }
    std::wstring line;
    std::wstring_view rest;
    while (log.ReadLine(line)) {
        const std::wstring link = MatchLogPrefix(line, kShellLinkPrefix, rest) ? DecodeLoggedPath(rest) : L"";
        if (IsShortcutFileName(link) && !LeadsThroughLink(FolderOf(link))) {
            // a shortcut that will not go stays, unscheduled
            DiagResult(::DeleteFileW(link.c_str()), L"delete shortcut ", link);
        }
    }
    log.Rewind();
    while (log.ReadLine(line)) {
        if (MatchLogPrefix(line, kMadeDirPrefix, rest)) {
            RemoveMadeFolderAndEmptyParents(DecodeLoggedPath(rest));
        }
    }
}

void RemoveLoggedFiles(const std::wstring& logPath, const std::wstring& productFolder, const wchar_t* onlyPrefix)
{
    InstallLogReader log(logPath);
    DiagLog(L"files named in ", logPath, onlyPrefix ? L" on lines " : L"", onlyPrefix ? onlyPrefix : L"",
            L", log read: ", log.IsOpen());
    if (!log.IsOpen()) {
        return;
    }
    // "File Copy prt: " files were put beside the product folder, yet they are
    // looked for inside it like all the others: a copy up there is left alone.
    std::vector<const wchar_t*> prefixes;
    if (onlyPrefix) {
        prefixes = {onlyPrefix};
    } else {
        prefixes = {kFileCopyPrefix,     kFileCopyX64Prefix,   kFileCopyIndPrefix,
                    kFileCopyPrtPrefix,  kFileOverwritePrefix, kFileDelPrefix};
    }

    std::wstring line;
    std::wstring_view rest;
    {
        const LinkCheckPass pass;
        while (log.ReadLine(line)) {
            for (const wchar_t* prefix : prefixes) {
                if (!MatchLogPrefix(line, prefix, rest)) {
                    continue;
                }
                const std::wstring name = FileEntryInstalledName(line, prefix);
                // A name that would reach out of the product folder is not ours to delete.
                if (IsConfinedRelativeName(name)) {
                    DeleteMatchingFiles(productFolder, name);
                }
            }
        }
    }

    // Log order: a parent listed before its children fails while they are
    // still there and goes at the restart, after them.
    log.Rewind();
    while (log.ReadLine(line)) {
        if (MatchLogPrefix(line, kMakeDirPrefix, rest) && IsConfinedRelativeName(rest)) {
            const std::wstring folder = productFolder + L"\\" + std::wstring(rest);
            // A folder replaced by a link is not ours, nor is what lies behind it.
            if (!LeadsThroughLink(folder) && !DiagResult(::RemoveDirectoryW(folder.c_str()), L"remove folder ", folder)) {
                DeleteAtRestart(folder.c_str());  // result unused: nothing more can be done
            }
        }
    }
}

void DeleteMatchingFiles(const std::wstring& folder, const std::wstring& name)
{
    const std::wstring pattern = JoinPath(folder, name);
    // Through a junction or link the search would find files that are not ours.
    if (LeadsThroughLink(FolderOf(pattern))) {
        return;
    }
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW(pattern.c_str(), &found));
    if (!search) {
        return;
    }
    // The search answers bare names; the folder part of a pattern such as
    // "sub\*.dat" has to be put back in front of them.
    const std::size_t lastBackslash = name.rfind(L'\\');
    const std::wstring base =
        JoinPath(folder, lastBackslash == std::wstring::npos ? std::wstring() : name.substr(0, lastBackslash + 1));
    // A name without wildcards matches one file at most: no search step after it.
    const bool wildcards = name.find_first_of(L"*?<>\"") != std::wstring::npos;
    do {
        const std::wstring path = base + found.cFileName;
        // A linked folder is neither emptied nor left to the restart; a
        // linked file goes as a link, its target untouched.
        if (IsLink(found)) {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
                ::DeleteFileW(path.c_str());  // a link that will not go stays, unscheduled
            }
            continue;
        }
        // "." and ".." and matching folders are not skipped: they fail the
        // deletion and are left to the restart like a file in use.
        ClearReadOnlyAndHidden(path, found.dwFileAttributes);
        if (!DiagResult(::DeleteFileW(path.c_str()), L"delete ", path)) {
            DeleteAtRestart(path.c_str());  // result unused: nothing more can be done
        }
    } while (wildcards && ::FindNextFileW(search.Get(), &found));
}
