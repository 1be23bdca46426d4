// What a machine holds where an installation writes, as lines that two
// moments can compare: one per key ("HKLM\SOFTWARE\A\") and per value
// ("HKLM\SOFTWARE\A\|name = REG_SZ:text", "@" for the default value) under
// HKLM\SOFTWARE and every user's Software key (HKU\<user>\Software\), and
// one per file and folder of the program, data, user and portable drives.
#pragma once

#include <set>
#include <string>
#include <vector>

using MachineSnapshot = std::set<std::wstring>;

// Everything now there (files false: the registry alone), less what Wine,
// the tests and the product double change on their own.
MachineSnapshot TakeMachineSnapshot(bool files = true);

// "+ line" for what after has and before has not, "- line" for the reverse.
std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after);
