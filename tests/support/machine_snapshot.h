// What a machine holds where an installation writes, as lines that two
// moments can compare: one per key ("HKLM\SOFTWARE\A\") and per value
// ("HKLM\SOFTWARE\A\|name = REG_SZ:text", "@" for the default value) under
// HKLM\SOFTWARE and every user's Software key (HKU\<user>\Software\), and
// one per file and folder of the program, data, user and portable drives.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using MachineSnapshot = std::set<std::wstring>;

// Everything now there (files false: the registry alone), less what Wine,
// the tests and the product double change on their own.
MachineSnapshot TakeMachineSnapshot(bool files = true);

// "+ line" for what after has and before has not, "- line" for the reverse.
std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after);

// A test that compares the machine at its end with how it was at its start.
// It starts after the restart that finishes earlier tests' work, with none
// of their installations left, and without its own product double's records;
// it ends by removing what it installed through the programs list.
class MachineTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::vector<std::wstring> ChangesSinceStart() const { return SnapshotChanges(m_before, TakeMachineSnapshot()); }

    MachineSnapshot m_before;
};
