// What a machine holds where an installation writes: the registry (as
// registry_snapshot.h takes it) and the files and folders of the program,
// data, user and portable drives, as lines that two moments can compare.
#pragma once

#include "support/registry_snapshot.h"

using MachineSnapshot = RegistrySnapshot;

// Everything now there, less what Wine, the tests and the product double
// change on their own (temporary folders, the double's records).
MachineSnapshot TakeMachineSnapshot();

// "+ line" for what after has and before has not, "- line" for the reverse.
inline std::vector<std::wstring> SnapshotChanges(const MachineSnapshot& before, const MachineSnapshot& after)
{
    return RegistryChanges(before, after);
}
