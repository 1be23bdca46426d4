// Lines the installer adds to the installed log.
#pragma once

#include <string>

// Appends prefix + path as one line of the destination's "PxvUnInst.log".
// The log is 8-bit text: a path with letters it cannot hold is written in a
// form it can (the file system's short name), so that removal finds it again.
void AppendToInstalledLog(const wchar_t* prefix, const std::wstring& path);
