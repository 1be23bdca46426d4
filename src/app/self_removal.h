// The two halves of the self-removing uninstaller: the first stage replaces
// itself by a temporary copy, the copy removes the product.
#pragma once

#include "system/handles.h"

#include <string>

// Copies this program to a "uni*.tmp" file in the temporary folder and
// replaces the process by it, started with "-delself" and our own path.
// Returns only when the replacement failed.
void RelaunchForSelfRemoval();

// Makes a new "uni<hex>.tmp" in folder (which ends in a backslash) that only
// the system and the administrators can write, holding program's bytes;
// copyPath receives its path. The handle returned, open for reading, keeps the file from being
// renamed, deleted or rewritten until this process ends; empty (and copyPath
// empty) when no such file could be made.
UniqueFileHandle MakeSecondStageCopy(const std::wstring& program, const std::wstring& folder, std::wstring& copyPath);

// The copy's side: waits for the first stage, schedules its own file for
// deletion at restart, unregisters the thumbnail handler, deletes the first
// stage and removes the product folder's contents. Ends the process (exit 0).
[[noreturn]] void RunSelfRemovalCopy(const std::wstring& uninstallerPath);

// The thumbnail-handler library the copy unregisters from installFolder
// (which ends in a backslash); empty when there is none to unregister.
std::wstring ThumbnailHandlerToUnregister(const std::wstring& installFolder);
