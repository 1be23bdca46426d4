// Watching a two-stage removal from outside: the temporary second stage, its
// command line, the work it leaves to the restart, and the restart itself.
#pragma once

#include "support/test_env.h"

#include <windows.h>

#include <string>
#include <vector>

// Waits until a second stage (a "uni*.tmp" program) has appeared and every
// one has ended; false when none ended within timeoutMs (or none ever came).
// commandLine, when given, receives the command line the stage was started with.
bool WaitForSecondStage(DWORD timeoutMs, std::wstring* commandLine = nullptr);

// The command line a running process was started with, read from its own
// memory; empty when it cannot be read.
std::wstring CommandLineOf(DWORD processId);

// A command line split the way the runtime gives it to a program.
std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine);

// True when path waits for deletion at the next restart. Separators are
// compared as the system reads them: doubled or trailing ones do not count.
bool IsPendingDeletion(const std::wstring& path);

// Carries out what waits for the restart, as the next start of Windows would.
void SimulateRestart();

// Removes Pixvane 8 as a user does from the programs list, saying Yes if
// asked (a licensed product asks nothing), waits for the second stage and
// restarts; false when the removal could not be started or did not end.
bool RemoveThroughProgramsList();

// The product double's record of its registration runs, and clearing it.
std::wstring ProductCallsLog();
void ClearProductCallsLog();

// A separate process that holds a file open without delete sharing, as a
// program that has it open would, until Release or destruction.
class FileHolder {
public:
    bool Hold(const std::wstring& path);
    void Release() { m_holder.Kill(); }

private:
    ChildProcess m_holder;
};
