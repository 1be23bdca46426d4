#include "install/deployment.h"

#include "install/install_state.h"
#include "install/install_text.h"
#include "system/diagnostic_log.h"
#include "system/file_access.h"
#include "system/handles.h"
#include "system/links.h"
#include "system/path_text.h"
#include "system/services.h"
#include "uninstall/deferred_delete.h"
#include "uninstall/install_log.h"

#include <windows.h>

#include <atomic>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

bool PathExists(const std::wstring& path)
{
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring WithSeparator(const std::wstring& folder)
{
    if (!folder.empty() && (folder.back() == L'\\' || folder.back() == L'/')) {
        return folder;
    }
    return folder + L'\\';
}

// The folder that "File Copy prt: " files go to: beside the product folder.
std::wstring ParentOfDestination(std::wstring destination)
{
    if (!destination.empty() && destination.back() == L'\\') {
        destination.pop_back();
    }
    const size_t last = destination.rfind(L'\\');
    return last == std::wstring::npos ? std::wstring() : destination.substr(0, last);
}

// A name upper-cased as the file system compares names, near enough: a name
// this folds otherwise is only searched for, or copied, never lost.
std::wstring NameKey(std::wstring_view name)
{
    std::wstring key(name);
    ::LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, key.data(), static_cast<int>(key.size()), key.data(),
                   static_cast<int>(key.size()));
    return key;
}

// The package's folders, each listed once while the list is walked: under
// Wine every search for one name reads its whole folder, which made checking
// and copying a list quadratic in the number of its files. Only names the
// listing holds are answered from it; any other name (a pattern, a file not
// there, a spelling that only the file system folds to a name) is searched
// for as before. The package does not change while setup reads it. One made
// while another is active leaves the answering to that one, so a caller can
// keep a listing for the passes that follow it.
class PackageFolders {
public:
    PackageFolders() : m_outermost(s_active == nullptr)
    {
        if (m_outermost) {
            s_active = this;
        }
    }
    ~PackageFolders()
    {
        if (m_outermost) {
            s_active = nullptr;
        }
    }
    PackageFolders(const PackageFolders&) = delete;
    PackageFolders& operator=(const PackageFolders&) = delete;

    static PackageFolders* Active() { return s_active; }

    // The entry that a search for folder\name finds (a long or a short name,
    // in any case), or null when the listing cannot tell.
    const WIN32_FIND_DATAW* Find(const std::wstring& folder, std::wstring_view name)
    {
        if (name.empty() || name.find_first_of(L"*?<>\"") != std::wstring_view::npos) {
            return nullptr;
        }
        const auto listing = Listing(folder);
        const auto entry = listing->find(NameKey(name));
        return entry == listing->end() ? nullptr : &entry->second;
    }

private:
    using Entries = std::unordered_map<std::wstring, WIN32_FIND_DATAW>;

    Entries* Listing(const std::wstring& folder)
    {
        for (auto& [name, entries] : m_folders) {
            if (EqualsNoCase(name, folder)) {
                return &entries;
            }
        }
        Entries& entries = m_folders.emplace_back(folder, Entries()).second;
        WIN32_FIND_DATAW found = {};
        UniqueFindHandle search(::FindFirstFileW(JoinPath(folder, L"*").c_str(), &found));
        for (bool more = search.IsValid(); more; more = ::FindNextFileW(search.Get(), &found)) {
            const std::wstring_view name = found.cFileName;
            if (name != L"." && name != L"..") {
                entries.emplace(NameKey(name), found);
                if (found.cAlternateFileName[0]) {
                    entries.emplace(NameKey(found.cAlternateFileName), found);
                }
            }
        }
        return &entries;
    }

    static inline PackageFolders* s_active = nullptr;
    const bool m_outermost;
    std::vector<std::pair<std::wstring, Entries>> m_folders;
};

// The matches of a package-relative pattern in fromFolder, one after the
// other, as the system's search gives them.
class PackageSearch {
public:
    PackageSearch(const std::wstring& fromFolder, const std::wstring& pattern)
    {
        const std::wstring path = JoinPath(fromFolder, pattern);
        const size_t last = path.find_last_of(L"\\/");
        if (PackageFolders* folders = PackageFolders::Active(); folders && last != std::wstring::npos) {
            m_listed = folders->Find(path.substr(0, last), std::wstring_view(path).substr(last + 1));
        }
        if (!m_listed) {
            m_search.Reset(::FindFirstFileW(path.c_str(), &m_found));
        }
    }
    bool Found() const { return m_listed || m_search.IsValid(); }
    const WIN32_FIND_DATAW& Entry() const { return m_listed ? *m_listed : m_found; }
    bool Next() { return !m_listed && ::FindNextFileW(m_search.Get(), &m_found); }

private:
    const WIN32_FIND_DATAW* m_listed = nullptr;
    WIN32_FIND_DATAW m_found = {};
    UniqueFindHandle m_search;
};

// The folder a copy line's files go to, or nothing for a line the walk
// passes over; library is set for a "File Copy ind: " line. "File Copy x64: "
// lines follow the 32-bit emulation test, not Windows' own bitness: a 64-bit
// setup takes them only for a portable installation.
std::optional<std::wstring> CopyLineBase(std::wstring_view line, bool wow64, std::wstring_view& body,
                                         bool* library = nullptr)
{
    const std::wstring& destination = g_installState.destinationFolder;
    const bool portable = g_installState.kind == Portable;
    if (MatchLogPrefix(line, kFileCopyPrefix, body) ||
        ((wow64 || portable) && MatchLogPrefix(line, kFileCopyX64Prefix, body))) {
        return destination;
    }
    if (portable && MatchLogPrefix(line, kFileCopyPrtPrefix, body)) {
        return ParentOfDestination(destination);
    }
    if (MatchLogPrefix(line, kFileCopyIndPrefix, body)) {
        if (library) {
            *library = true;
        }
        return destination;
    }
    return std::nullopt;
}

// A relative name that reaches its file in one way only: "\\" between its
// parts, none of them empty, "." or "..", or ending in a dot or a blank (which
// the system drops), and no short name or stream.
bool IsPlainName(std::wstring_view name)
{
    if (name.find_first_of(L"/:~") != std::wstring_view::npos) {
        return false;
    }
    for (size_t start = 0;;) {
        const size_t end = name.find(L'\\', start);
        const std::wstring_view part = name.substr(start, end == std::wstring_view::npos ? end : end - start);
        if (part.empty() || part == L"." || part == L".." || part.back() == L'.' || part.back() == L' ') {
            return false;
        }
        if (end == std::wstring_view::npos) {
            return true;
        }
        start = end + 1;
    }
}

// Moves a file or folder out of the package's own folder into place, where it
// takes only the access its new folder gives, as a copy made there would; when
// that is refused it goes back. A move stays on its volume.
bool MoveTakingFolderAccess(const std::wstring& source, const std::wstring& target)
{
    if (!::MoveFileExW(source.c_str(), target.c_str(), 0)) {
        return false;
    }
    if (!TakeAccessFromFolder(target)) {
        ::MoveFileExW(target.c_str(), source.c_str(), 0);
        return false;
    }
    return true;
}

// The package deletes its unpacked folder when setup ends, so a file there
// that no later line needs is moved into place rather than copied: written
// once instead of twice, with little left for the deletion. Every use of
// every file is counted before the walk, and a file moves on its last one;
// counting a use too many only costs a copy. A list with a name that could
// reach a file in two ways moves nothing.
class PackageMoves {
public:
    explicit PackageMoves(const std::wstring& listPath)
    {
        const std::wstring& source = g_installState.sourceFolder;
        InstallLogReader list(listPath);
        if (g_installState.packageFolder.empty() || !IsPackagesOwnFolder(source) || !list.IsOpen()) {
            return;
        }
        // Read again after the walk: the list, and setup's own file.
        wchar_t own[kPathChars] = {};
        ::GetModuleFileNameW(nullptr, own, static_cast<DWORD>(kPathChars));
        ++m_uses[NameKey(listPath)].all;
        ++m_uses[NameKey(own)].all;
        const bool wow64 = IsWow64();
        std::wstring line;
        std::wstring_view body;
        while (list.ReadLine(line)) {
            if (MatchLogPrefix(line, kMakeDirPrefix, body)) {
                if (IsConfinedRelativeName(body) && IsPlainName(body)) {
                    NoteMadeFolder(std::wstring(body));
                }
                continue;
            }
            bool library = false;
            const auto base = CopyLineBase(line, wow64, body, &library);
            if (!base) {
                continue;
            }
            const CopyBody copy = SplitCopyBody(body);
            if (!IsConfinedCopyBody(copy)) {
                continue;  // never copied
            }
            if (!IsPlainName(copy.source)) {
                return;
            }
            const size_t slash = copy.source.rfind(L'\\');
            const std::wstring folder = WithSeparator(source) + copy.source.substr(0, slash + 1);
            // A file that goes to its own place in the product folder, by a
            // line after the one that makes its folder, may move with that folder.
            const bool inPlace = !copy.target && !library && *base == g_installState.destinationFolder;
            NoteUse(copy.source, inPlace);
            if (copy.target && *base == g_installState.destinationFolder) {
                NoteUse(*copy.target, false);  // what the folder's own files would be replaced by
            }
            PackageSearch search(source, copy.source);
            for (bool more = search.Found(); more; more = search.Next()) {
                const WIN32_FIND_DATAW& entry = search.Entry();
                if (entry.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) {
                    // Never moved. A folder among a pattern's matches fails
                    // its copy and ends the walk, so neither it nor the
                    // folders above it may arrive whole.
                    const std::wstring match = entry.cFileName;
                    if (match != L"." && match != L"..") {
                        NoteUse(copy.source.substr(0, slash + 1) + match + L"\\", false);
                    }
                    continue;
                }
                // A renaming copy takes its file by the line's name, which must be the file's own.
                if (copy.target && NameKey(copy.source.substr(slash + 1)) != NameKey(entry.cFileName)) {
                    return;
                }
                Uses& uses = m_uses[NameKey(folder + entry.cFileName)];
                ++uses.all;
                uses.inPlace += inPlace ? 1 : 0;
            }
        }
        s_active = this;
    }
    ~PackageMoves() { s_active = nullptr; }
    PackageMoves(const PackageMoves&) = delete;
    PackageMoves& operator=(const PackageMoves&) = delete;

    static PackageMoves* Active() { return s_active; }

    // Counts one use of the file at path; true when no later line needs it.
    bool IsLastUse(const std::wstring& path)
    {
        const auto uses = m_uses.find(NameKey(path));
        return uses != m_uses.end() && --uses->second.all == 0;
    }

    // A fresh product folder takes the package's folder of the same name
    // whole, in one move, when the folder is exactly what the list would
    // build there: each file in it goes to its own place, by its one and only
    // use, a line after this one; each folder in it is made by a line of its
    // own, spelled as it is; and nothing else in the list writes into it. The
    // moved folder takes the access of its new parent, which passes it on to
    // everything inside. On any doubt or failure the folder is made as
    // always, and its files follow one by one.
    bool MoveWholeFolder(const std::wstring& name, const std::wstring& target)
    {
        const std::wstring folder = JoinPath(g_installState.sourceFolder, name);
        const DWORD attributes = ::GetFileAttributesW(folder.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) ||
            !(attributes & FILE_ATTRIBUTE_DIRECTORY) || MakesFolderInPlaceOfFile(name) || !IsWhole(name, folder) ||
            !MoveTakingFolderAccess(folder, target)) {
            return false;
        }
        m_movedFolders.push_back(NameKey(folder + L"\\"));
        return true;
    }

    // Whether the file at path is already in place, moved with its folder.
    bool CameWithFolder(const std::wstring& path) const
    {
        const std::wstring key = NameKey(path);
        for (const std::wstring& folder : m_movedFolders) {
            if (key.starts_with(folder)) {
                return true;
            }
        }
        return false;
    }

private:
    // Each folder of name's path that its line does not leave whole: a line
    // before the folder is made, or one that copies out of it elsewhere.
    void NoteUse(std::wstring_view name, bool inPlace)
    {
        for (size_t slash = name.find(L'\\'); slash != std::wstring_view::npos; slash = name.find(L'\\', slash + 1)) {
            const std::wstring key = NameKey(name.substr(0, slash));
            if (!inPlace || !m_made.count(key)) {
                m_notWhole.insert(key);
            }
        }
    }

    void NoteMadeFolder(const std::wstring& name)
    {
        NoteUse(name, true);  // a folder made before its parent
        m_made.emplace(NameKey(name), name);
    }

    // Whether the list makes a folder, somewhere below name, where the package
    // has a file: made first, that folder would then be moved aside for it.
    bool MakesFolderInPlaceOfFile(const std::wstring& name) const
    {
        const std::wstring below = NameKey(name + L"\\");
        for (const auto& [key, spelled] : m_made) {
            if (!key.starts_with(below)) {
                continue;
            }
            const DWORD there = ::GetFileAttributesW(JoinPath(g_installState.sourceFolder, spelled).c_str());
            if (there != INVALID_FILE_ATTRIBUTES &&
                (there & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != FILE_ATTRIBUTE_DIRECTORY) {
                return true;
            }
        }
        return false;
    }

    bool IsWhole(const std::wstring& name, const std::wstring& folder) const
    {
        if (m_notWhole.count(NameKey(name))) {
            return false;
        }
        WIN32_FIND_DATAW found = {};
        UniqueFindHandle search(::FindFirstFileW(JoinPath(folder, L"*").c_str(), &found));
        for (bool more = search.IsValid(); more; more = ::FindNextFileW(search.Get(), &found)) {
            const std::wstring entry = found.cFileName;
            if (entry == L"." || entry == L"..") {
                continue;
            }
            if (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) {
                return false;
            }
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                const std::wstring inner = name + L"\\" + entry;
                const auto made = m_made.find(NameKey(inner));
                if (made == m_made.end() || made->second != inner || !IsWhole(inner, JoinPath(folder, entry))) {
                    return false;
                }
                continue;
            }
            const auto uses = m_uses.find(NameKey(JoinPath(folder, entry)));
            if (uses == m_uses.end() || uses->second.all != 1 || uses->second.inPlace != 1) {
                return false;
            }
        }
        return true;
    }

    // A file's uses by the list, and how many of them put it in its own place.
    struct Uses {
        int all = 0;
        int inPlace = 0;
    };

    static inline PackageMoves* s_active = nullptr;
    std::unordered_map<std::wstring, Uses> m_uses;
    std::unordered_map<std::wstring, std::wstring> m_made;  // by key, as the list spells it
    std::unordered_set<std::wstring> m_notWhole;
    std::vector<std::wstring> m_movedFolders;
};

enum class FirstTry { kFailed, kCopied, kMoved };

// The usual case, a target not there yet, in one call that refuses to
// overwrite, without the existence tests first: under Wine each test of a
// name not there searches the whole target folder. A file that cannot be
// moved is copied. Touches nothing but its own new file (and a moved
// file's source, which no later line needs), so several can run at once:
// the access reset costs more than the move itself.
FirstTry CopyToNewTarget(const std::wstring& source, const std::wstring& target, bool move)
{
    if (move && MoveTakingFolderAccess(source, target)) {
        return FirstTry::kMoved;
    }
    return ::CopyFileW(source.c_str(), target.c_str(), TRUE) ? FirstTry::kCopied : FirstTry::kFailed;
}

// What the first try put in place is logged.
FirstTry LogFirstTry(FirstTry result, const std::wstring& source, const std::wstring& target)
{
    if (result != FirstTry::kFailed) {
        DiagLog(result == FirstTry::kMoved ? L"move " : L"copy ", source, L" to ", target, L": done");
    }
    return result;
}

// When the first try fails (no source, a target already there) these steps
// decide as always. 1 when the file is in place or waits for the restart.
int CopyOverTarget(const std::wstring& source, const std::wstring& target, bool sameFolder)
{
    if (!PathExists(source)) {
        DiagLog(L"copy ", source, L": no such file");
        return 0;
    }

    if (sameFolder && PathExists(target) && !::DeleteFileW(target.c_str())) {
        return 1;
    }
    const DWORD attributes = ::GetFileAttributesW(target.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        // Failure shows in the deletion that follows.
        ::SetFileAttributesW(target.c_str(), attributes & ~(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
        if (!DiagResult(::DeleteFileW(target.c_str()), L"delete the earlier ", target)) {
            // In use: move it aside for the restart to delete, or else leave
            // the new copy beside it for the restart to put in its place.
            std::wstring old = target + L".old";
            if (PathExists(old) && !::DeleteFileW(old.c_str())) {
                DeleteAtRestart(old.c_str());
                old += L'2';
                ::DeleteFileW(old.c_str());  // a stale ".old2" may be gone already
            }
            if (DiagResult(::MoveFileW(target.c_str(), old.c_str()), L"in use, move it aside to ", old)) {
                DeleteAtRestart(old.c_str());
            } else {
                DeleteAtRestart(target.c_str());
                const std::wstring fresh = target + L".new";
                ::DeleteFileW(fresh.c_str());
                if (DiagResult(::CopyFileW(source.c_str(), fresh.c_str(), FALSE), L"copy ", source, L" to ", fresh)) {
                    ReplaceAtRestart(fresh.c_str(), target.c_str());
                }
            }
        }
    }
    return DiagResult(::CopyFileW(source.c_str(), target.c_str(), FALSE), L"copy ", source, L" to ", target) ? 1 : 0;
}

// The first tries of a walk's copies run on several threads at once: under
// Wine a copy spends most of its time waiting for the system, so two
// overlap almost fully. Only the first try goes to them, which writes
// nothing but its own new file; what it leaves undone, and every other step
// of the walk, is done here in the list's order once the batch is through,
// so the outcome is the walk's. Within one pattern a copy that fails for
// good ends the walk as always: the later matches' new files are taken back.
class CopyWorkers {
public:
    CopyWorkers() { s_active = this; }
    ~CopyWorkers()
    {
        Flush();
        s_active = nullptr;
    }
    CopyWorkers(const CopyWorkers&) = delete;
    CopyWorkers& operator=(const CopyWorkers&) = delete;

    static CopyWorkers* Active() { return s_active; }

    // The copies that follow, up to EndGroup, are one pattern's walk.
    void BeginGroup() { m_group = ++m_groups; }
    void EndGroup() { m_group = 0; }

    // 0 when the pattern's walk has ended, else 1 (the copy itself is done,
    // or failed for good, by the next Flush).
    int Add(const std::wstring& source, const std::wstring& target, bool move)
    {
        if (m_group != 0 && m_group == m_failedGroup) {
            return 0;
        }
        // A file written by the batch is read, or written again, only after
        // it, and a file moves only after the batch that copies it elsewhere.
        const std::wstring targetKey = NameKey(target);
        const std::wstring sourceKey = NameKey(source);
        if (m_targets.count(targetKey) || m_targets.count(sourceKey) || (move && m_sources.count(sourceKey))) {
            Flush();
            if (m_group != 0 && m_group == m_failedGroup) {
                return 0;
            }
        }
        m_targets.insert(targetKey);
        m_sources.insert(sourceKey);
        m_jobs.push_back({source, target, move, m_group, FirstTry::kFailed});
        if (m_jobs.size() >= kBatch) {
            Flush();
        }
        return m_group != 0 && m_group == m_failedGroup ? 0 : 1;
    }

    // Runs the batch's first tries, then the rest of each copy in order.
    void Flush()
    {
        std::atomic<size_t> next = 0;
        const auto work = [this, &next] {
            for (size_t i = next++; i < m_jobs.size(); i = next++) {
                Job& job = m_jobs[i];
                job.result = CopyToNewTarget(job.source, job.target, job.move);
            }
        };
        std::vector<std::thread> helpers;
        for (unsigned i = 1; i < kThreads && m_jobs.size() > i; ++i) {
            try {
                helpers.emplace_back(work);
            } catch (const std::system_error&) {
                break;  // fewer threads do the same work
            }
        }
        work();
        for (std::thread& helper : helpers) {
            helper.join();
        }
        for (const Job& job : m_jobs) {
            if (job.group != 0 && job.group == m_failedGroup) {
                TakeBack(job);
            } else if (LogFirstTry(job.result, job.source, job.target) == FirstTry::kFailed &&
                       !CopyOverTarget(job.source, job.target, false) && job.group != 0) {
                m_failedGroup = job.group;
            }
        }
        m_jobs.clear();
        m_targets.clear();
        m_sources.clear();
    }

private:
    static constexpr size_t kBatch = 256;
    static constexpr unsigned kThreads = 2;

    struct Job {
        std::wstring source;
        std::wstring target;
        bool move;
        unsigned group;
        FirstTry result;
    };

    // A copy that the walk, ended before it, would not have made.
    static void TakeBack(const Job& job)
    {
        if (job.result == FirstTry::kMoved) {
            ::MoveFileExW(job.target.c_str(), job.source.c_str(), 0);
        } else if (job.result == FirstTry::kCopied) {
            ::SetFileAttributesW(job.target.c_str(), FILE_ATTRIBUTE_NORMAL);
            ::DeleteFileW(job.target.c_str());
        }
    }

    static inline CopyWorkers* s_active = nullptr;
    std::vector<Job> m_jobs;
    std::unordered_set<std::wstring> m_targets;
    std::unordered_set<std::wstring> m_sources;
    unsigned m_groups = 0;
    unsigned m_group = 0;
    unsigned m_failedGroup = 0;
};

void FlushCopies()
{
    if (CopyWorkers* workers = CopyWorkers::Active()) {
        workers->Flush();
    }
}

// Whether the body names a place ours to write: inside its base, and not
// in or below a junction or link that someone put where our folder was.
bool IsOursToWrite(const CopyBody& body, const std::wstring& targetBase)
{
    return IsConfinedCopyBody(body) &&
           !LeadsThroughLink(FolderOf(JoinPath(targetBase, body.target.value_or(body.source))));
}

void CopyBodyInto(const CopyBody& body, const std::wstring& targetBase)
{
    if (!IsOursToWrite(body, targetBase)) {
        return;
    }
    const std::wstring& source = g_installState.sourceFolder;
    if (body.target) {
        CopyOneFile(body.source, source, targetBase, body.target->c_str());  // result unused: the list goes on
    } else {
        CopyMatchingFiles(body.source, source, targetBase);
    }
}

// Whether the system itself supplies the library: library search is limited
// to System32 at start-up, so neither the package's copy nor one already in
// the product folder can answer for it.
bool SystemSuppliesLibrary(const std::wstring& name, const std::wstring& destination)
{
    const std::wstring installed = JoinPath(destination, name);
    const std::wstring parked = installed + L".toinst";
    ::MoveFileW(installed.c_str(), parked.c_str());  // nothing there is the usual case
    UniqueModule module(::LoadLibraryW(name.c_str()));
    ::MoveFileW(parked.c_str(), installed.c_str());
    DiagLog(L"the system supplies ", name, L": ", module.IsValid());
    return module.IsValid();
}

void DeployLine(std::wstring_view line, bool wow64)
{
    const std::wstring& destination = g_installState.destinationFolder;
    std::wstring_view body;
    bool library = false;
    if (const auto base = CopyLineBase(line, wow64, body, &library)) {
        const CopyBody copy = SplitCopyBody(body);
        if (library) {
            FlushCopies();  // the test for the system's own library parks the installed one
            if (!IsOursToWrite(copy, *base) ||
                (g_installState.kind != Portable && SystemSuppliesLibrary(copy.source, *base))) {
                return;
            }
        }
        CopyBodyInto(copy, *base);
    } else if (MatchLogPrefix(line, kMakeDirPrefix, body)) {
        FlushCopies();
        const std::wstring folder = destination + L"\\" + std::wstring(body);
        if (IsConfinedRelativeName(body) && !LeadsThroughLink(folder)) {
            PackageMoves* moves = PackageMoves::Active();
            if (moves && !PathExists(folder) && moves->MoveWholeFolder(std::wstring(body), folder)) {
                DiagLog(L"move the folder ", JoinPath(g_installState.sourceFolder, body), L" to ", folder, L": done");
                return;
            }
            // Only the last level; an existing folder is as good as a new one.
            DiagResult(::CreateDirectoryW(folder.c_str(), nullptr), L"make folder ", folder);
        }
    }
}

}  // namespace

struct PackageListing::Folders : PackageFolders {};

PackageListing::PackageListing() : m_folders(std::make_unique<Folders>()) {}

PackageListing::~PackageListing() = default;

void DeployPackage(const std::wstring& listPath)
{
    InstallLogReader list(listPath);
    if (!list.IsOpen()) {
        DiagLog(L"package list not read: ", listPath);
        return;
    }
    const bool wow64 = IsWow64();
    const LinkCheckPass pass;
    const PackageFolders folders;
    PackageMoves moves(listPath);
    CopyWorkers workers;
    std::wstring line;
    while (list.ReadLine(line)) {
        DeployLine(line, wow64);
    }
}

bool DestinationHoldsPackage(const std::wstring& listPath)
{
    const InstallState& state = g_installState;
    const std::wstring& destination = state.destinationFolder;
    const bool wow64 = IsWow64();
    bool fits = FitsPathLimit(destination, true) && FitsPathLimit(JoinPath(destination, kInstallLogName), false);
    InstallLogReader list(listPath);
    const PackageFolders folders;
    std::wstring line;
    std::wstring_view body;
    while (fits && list.ReadLine(line)) {
        if (MatchLogPrefix(line, kMakeDirPrefix, body)) {
            fits = !IsConfinedRelativeName(body) || FitsPathLimit(JoinPath(destination, body), true);
            continue;
        }
        const auto base = CopyLineBase(line, wow64, body);
        if (!base) {
            continue;
        }
        const CopyBody copy = SplitCopyBody(body);
        if (!IsConfinedCopyBody(copy)) {
            continue;
        }
        if (copy.target) {
            fits = FitsPathLimit(JoinPath(*base, *copy.target), false);
            continue;
        }
        // A pattern writes the names its matches have in the package.
        PackageSearch search(state.sourceFolder, copy.source);
        const std::wstring target = PatternTargetFolder(*base, copy.source);
        for (bool more = search.Found(); fits && more; more = search.Next()) {
            fits = FitsPathLimit(target + search.Entry().cFileName, false);
        }
    }
    return fits;
}

int CopyOneFile(const std::wstring& name, const std::wstring& fromFolder, const std::wstring& toFolder,
                const wchar_t* newName)
{
    const std::wstring from = WithSeparator(fromFolder);
    const std::wstring to = WithSeparator(toFolder);
    const bool sameFolder = EqualsNoCase(from, to);
    if (sameFolder && !newName) {
        return 1;
    }
    const std::wstring source = from + name;
    const std::wstring target = to + (newName ? std::wstring(newName) : name);
    PackageMoves* moves = PackageMoves::Active();
    if (moves && moves->CameWithFolder(source)) {
        return 1;
    }
    const bool move = moves && moves->IsLastUse(source);
    if (CopyWorkers* workers = CopyWorkers::Active()) {
        if (!sameFolder) {
            return workers->Add(source, target, move);
        }
        workers->Flush();
    }
    if (LogFirstTry(CopyToNewTarget(source, target, move), source, target) != FirstTry::kFailed) {
        return 1;
    }
    return CopyOverTarget(source, target, sameFolder);
}

void CopyMatchingFiles(const std::wstring& pattern, const std::wstring& fromFolder, const std::wstring& toFolder)
{
    const std::wstring searchPath = WithSeparator(fromFolder) + pattern;
    PackageSearch search(fromFolder, pattern);
    if (!search.Found()) {
        return;
    }
    const std::wstring targetFolder = PatternTargetFolder(toFolder, pattern);
    if (!PathExists(targetFolder)) {
        FlushCopies();
        for (const auto& folder : FolderChain(targetFolder)) {
            ::CreateDirectoryW(folder.c_str(), nullptr);  // an existing level is fine; a failure shows in the copy
        }
    }
    const size_t patternSlash = pattern.find(L'\\');
    const std::wstring copyFrom =
        patternSlash == std::wstring::npos ? fromFolder : searchPath.substr(0, searchPath.rfind(L'\\'));
    CopyWorkers* workers = CopyWorkers::Active();
    if (workers) {
        workers->BeginGroup();
    }
    do {
        const std::wstring match = search.Entry().cFileName;
        if (match == L"." || match == L"..") {
            continue;
        }
        // A folder among the matches fails its copy and so ends the walk.
        if (!CopyOneFile(match, copyFrom, targetFolder, nullptr)) {
            break;
        }
    } while (search.Next());
    if (workers) {
        workers->EndGroup();
    }
}
