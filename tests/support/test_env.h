// Places and processes a test needs: the build's own files, scratch folders
// in the prefix, child processes with a time limit, windows of other
// processes, the registry.
#pragma once

#include "system/handles.h"

#include <windows.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

inline std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

// One byte a character: test paths are Latin-1.
inline std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

// A file of this build tree (e.g. L"package\\setup.exe") as a Windows path.
std::wstring BuildPath(const std::wstring& relative);

// A file of the sample package.
std::wstring PackagePath(const std::wstring& name);

// An empty folder C:\pxtest\<name>, made anew (its old contents removed).
std::wstring MakeScratchFolder(const std::wstring& name);

bool FileExists(const std::wstring& path);
bool FolderExists(const std::wstring& path);
void WriteTextFile(const std::wstring& path, const std::string& bytes);
std::string ReadTextFile(const std::wstring& path);
// The names of the files and folders in folder.
std::set<std::wstring> NamesIn(const std::wstring& folder);
// Removes a folder with everything in it; quiet when it is not there.
void RemoveTree(const std::wstring& path);
// Makes every folder of path.
void MakeFolders(const std::wstring& path);
// Makes link a Unix symbolic link to the folder target, as a user could from
// the Linux side (Windows programs see a reparse point); with no target,
// removes the link itself. True when that is done.
bool UnixLink(const std::wstring& link, const std::wstring& target = L"");

// A started program. Ends it on destruction if it is still running.
class ChildProcess {
public:
    ChildProcess() = default;
    // Starts commandLine (program and arguments, quoted as on a command line).
    bool Start(const std::wstring& commandLine, const wchar_t* workingFolder = nullptr, bool inheritHandles = false);
    // The exit code, or -1 when it did not end within timeoutMs.
    int Wait(DWORD timeoutMs);
    bool IsRunning() const;
    DWORD Id() const { return m_id; }
    HANDLE Handle() const { return m_process.Get(); }
    void Kill();
    ~ChildProcess() { Kill(); }

private:
    UniqueHandle m_process;
    DWORD m_id = 0;
};

// Runs commandLine to its end (at most timeoutMs); its exit code, or -1.
int RunToEnd(const std::wstring& commandLine, DWORD timeoutMs = 30000);

struct WatchedRun {
    int exitCode = -1;
    std::vector<std::wstring> windows;  // captions of what it or any setup.exe showed
};

// Runs commandLine to its end (at most two minutes), watching the windows it
// and any setup.exe show; then waits for what setup starts without waiting
// (the handler's registration and, unless told not to, the product's
// "-regonly" run).
WatchedRun RunWatched(const std::wstring& commandLine, bool waitForProduct = true);

// Polls predicate every 20 ms until it holds or timeoutMs passed.
template <typename Predicate>
bool WaitUntil(Predicate predicate, DWORD timeoutMs)
{
    const ULONGLONG end = ::GetTickCount64() + timeoutMs;
    while (!predicate()) {
        if (::GetTickCount64() >= end) {
            return false;
        }
        ::Sleep(20);
    }
    return true;
}

// Process ids of running programs whose file name starts with prefix and
// ends with suffix (case-insensitive), e.g. the uninstaller's "uni*.tmp"
// copies; with parentId, only the children of that process.
std::vector<DWORD> FindProcesses(const std::wstring& prefix, const std::wstring& suffix, DWORD parentId = 0);

// Explorer's own call, which makes a window the desktop's shell; the headers leave it out.
extern "C" BOOL WINAPI SetShellWindow(HWND);

// Waits until no such program runs; false when one still runs after timeoutMs.
bool WaitForNoProcesses(const std::wstring& prefix, const std::wstring& suffix, DWORD timeoutMs);

// The first shown top-level window of the processes (of any when none are
// given) that match accepts, or null.
HWND FindShownWindow(const std::vector<DWORD>& processIds, const std::function<bool(HWND)>& match);

// The first shown dialog (class "#32770") of the process (of any when 0)
// that match accepts, or null.
HWND FindDialog(DWORD processId, const std::function<bool(HWND)>& match);

// A window's text, asked of the window itself: for another process's control
// the system would otherwise answer with the text it was created with.
std::wstring WindowText(HWND window);

// A descriptor's owner and access list as SDDL text ("O:BAD:P(A;;FA;;;SY)");
// "none" for no descriptor.
std::wstring SddlOf(PSECURITY_DESCRIPTOR descriptor);

// Registry helpers for tests (a 64-bit program: the 64-bit view).
bool SetRegString(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& value);
bool RegKeyExists(HKEY root, const std::wstring& key);
// The value as text (REG_SZ or REG_MULTI_SZ with its zeros), empty when missing.
std::wstring GetRegString(HKEY root, const std::wstring& key, const wchar_t* name);
void DeleteRegTree(HKEY root, const std::wstring& key);

// The deletions and renames waiting for the next restart, as the system keeps them.
std::wstring PendingFileRenames();
