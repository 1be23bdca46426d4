// Process-wide values settled by start-up and read by every later step.
#pragma once

#include <cstdint>
#include <string>

// 0 interactive, 1 silent (the start value), 2 silent with "-sconf".
// Anything that shows a window tests it for 0 first.
extern int32_t SilentLevel;

// The folder of the self-extracting package ("-sfxname="); empty without it.
extern std::wstring PackageFolder;

// What the process ends with; the install road sets it (see install/installation.h).
extern int ExitCode;
