// Text rules of the installation: its options, version numbers, the group
// name, package-list bodies and the folder names derived from them. No
// Windows headers: built natively too.
#pragma once

#include "install/install_state.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the installer's own options ask for.
struct InstallOptions {
    InstallKind kind = AllUsers;
    std::wstring folder;  // the last non-empty folder argument; empty when none was given
    bool runAfter = false;
    bool autostart = false;
    bool desktopIcon = true;
};

// Reads "-instport", "-instdir", "-runafter", "-allusers", "-autostart" and
// "-nodeskico" from args (args[0] is the program), starting from kind and the
// flags already in options. An argument taken as a folder is examined as an
// option too.
InstallOptions ReadInstallOptions(const std::vector<std::wstring>& args, InstallOptions options);

// A folder argument without one trailing double quote (a quoted path that
// ended in "\" leaves it), then without one trailing "\" or "/".
std::wstring TrimFolderArgument(std::wstring_view folder);

// ((a * 100 + b) * 100 + c) * 100 + d in 32-bit unsigned arithmetic: parts
// above 99 spill into the next place, so 8.0.100.0 equals 8.1.0.0.
uint32_t VersionNumber(const FileVersion& version);

// "/" made "\", then blanks, tabs, CR, LF and backslashes cut from both ends.
std::wstring CleanGroupName(std::wstring_view name);

// The folders to create for a group, outermost first: root + "\" + the group
// name up to each inner "\", then the group folder itself.
std::vector<std::wstring> GroupFolderChain(std::wstring_view root, std::wstring_view cleanGroup);

// The folders to create, left to right, for a target folder that does not
// exist: blanks, tabs, CR, LF and backslashes cut from both ends, then the
// folder up to each "\" at position 1 or later, then the whole folder.
std::vector<std::wstring> FolderChain(std::wstring_view folder);

// The earlier installation's group, from the "Shell Link: " paths of its log:
// the last link under programsRoot that is not in startupFolder gives the
// group as its folder part relative to the root. Comparisons ignore case;
// programsRoot gets a trailing "\" when it has none. Nothing when no line fits.
std::optional<std::wstring> GroupFromShellLinks(const std::vector<std::wstring>& linkPaths,
                                                std::wstring_view programsRoot, std::wstring_view startupFolder);

// A package-list body split for copying: with a ">" the source name (blanks
// before the ">" dropped) and the target name (blanks around it dropped);
// without one, the body as a pattern and no target.
struct CopyBody {
    std::wstring source;
    std::optional<std::wstring> target;
};
CopyBody SplitCopyBody(std::wstring_view body);

// True when every name the body would write stays inside its base folder.
bool IsConfinedCopyBody(const CopyBody& body);

// Where a pattern's files land: base folder with "/" made "\" and a trailing
// "\", plus the pattern's own folder part (so "Effects\*.pvf" lands in
// base\Effects\).
std::wstring PatternTargetFolder(std::wstring_view baseFolder, std::wstring_view pattern);

// The earlier folder from an "App Paths" value (cut before "\Pixvn8.exe";
// empty when that text is not there) and from the licence command (one
// leading quote dropped first). One trailing "\" is dropped by the caller.
std::wstring FolderBeforeProductExe(std::wstring_view text, bool dropLeadingQuote);

// What the system can create: a file path of at most 259 characters (260
// with its terminating zero) whose folder has at most 247 (248 with it), and
// a folder of at most 247.
constexpr std::size_t kFilePathLimit = 260;
constexpr std::size_t kFolderPathLimit = 248;
bool FitsPathLimit(std::wstring_view path, bool folder);

// True when the text holds a character that the 8-bit log cannot store.
bool NeedsWideCharacters(std::wstring_view text);
