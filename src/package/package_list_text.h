// The package list checked at packaging time, before it goes into a package:
// what the installer would copy must be there, what the uninstaller would
// remove must stay inside the product folder and must all go. No Windows
// headers: the check runs on the packaging machine.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A file or folder of the package folder, by its name relative to it, with
// "\" between the levels.
struct PayloadEntry {
    std::wstring name;
    bool folder = false;
};

struct PackageListProblem {
    std::size_t line = 0;  // from 1; 0 for the package folder as a whole
    std::string text;      // the line as it stands, control bytes as \xNN
    std::string reason;
};

struct PackageListCheck {
    std::vector<PackageListProblem> problems;
    // The list to pack: the one given, or that list with its "Make Dir: "
    // lines appended in reverse order when it did not end with them.
    std::string list;
    bool tailAppended = false;
};

// Checks the bytes of a package list ("PxvUnInst.log") against the package
// folder's contents. Every problem is reported, in line order.
PackageListCheck CheckPackageList(std::string_view list, const std::vector<PayloadEntry>& payload);

// A file search's wildcard match of one name, as Windows does it: "*" any
// run, "?" one character (or none at the end), a final ".*" also matching
// names without a dot; letters of any case, Latin-1 included.
bool MatchesWildcard(std::wstring_view pattern, std::wstring_view name);
