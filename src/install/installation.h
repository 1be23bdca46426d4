// The installation driver: settles folders and options, checks what is
// already installed, then runs the wizard or installs unattended, and at the
// end starts the product or restarts the computer.
#pragma once

#include <windows.h>

// Exit codes, as the tools that deploy software read them.
constexpr int kExitInstalled = 0;          // installed
constexpr int kExitDamagedPackage = 1;     // the package is damaged; nothing was done
constexpr int kExitUserDeclined = 1602;    // a question was answered No, or the wizard was cancelled
constexpr int kExitInstallFailed = 1603;   // the run went through, but the product is not in place
constexpr int kExitRestartStarted = 1641;  // installed, and the restart has been started
constexpr int kExitRestartNeeded = 3010;   // installed; a file in use waits for a restart not made here

// The install road from start-up; returns the process exit code.
int RunInstallation();

// Every installation step, in order, on the installation state: used by
// RunInstallation when unattended and by the wizard's installing page.
void PerformInstall();

// Unless the installation is portable or goes into one of the system's
// Program Files folders: makes the destination folder if need be and gives
// it the administrators' protected access list (users read and run).
void ProtectProductFolder();

// The end of a run: the destination becomes the current folder, then, with
// the run-after flag, the product is started, or the computer restarted when
// a replacement waits for it. Returns the run's exit code.
int FinishInstallation();

// The system's restart, called through this pointer so that a test can see
// the request without restarting the machine it runs on.
using ExitWindowsExFn = BOOL(WINAPI*)(UINT, DWORD);
extern ExitWindowsExFn g_pfnExitWindowsEx;

// The reason given for the restart: planned, application, installation.
constexpr DWORD kRestartReason = 0x80040002;
