// The registry of the prefix as text, so that a test can compare two moments:
// what a step wrote, and whether its undoing left anything behind.
#pragma once

#include <set>
#include <string>
#include <vector>

// One line per key ("HKLM\SOFTWARE\A\B\") and per value
// ("HKLM\SOFTWARE\A\B\|name = REG_SZ:text", "@" for the default value) under
// HKLM\SOFTWARE (classes included) and HKCU\Software.
using RegistrySnapshot = std::set<std::wstring>;
RegistrySnapshot SnapshotRegistry();

// "+ line" for what after has and before has not, "- line" for the reverse.
std::vector<std::wstring> RegistryChanges(const RegistrySnapshot& before, const RegistrySnapshot& after);
