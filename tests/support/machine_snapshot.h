// What a machine holds where an installation writes: the files and folders of
// the program, data, user and portable drives, and the machine's and the
// user's software registry, as lines of text that two moments can compare.
#pragma once

#include <set>
#include <string>
#include <vector>

using MachineSnapshot = std::set<std::wstring>;

// Everything now there, less what Wine, the tests and the product double
// change on their own (temporary folders, the double's records).
MachineSnapshot TakeMachineSnapshot();

// "+ item" for what after has and before has not, "- item" for the reverse.
std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after);
