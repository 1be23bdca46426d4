// What the command line says: the silent level, the package folder, the
// self-removal request and the mode. No Windows headers: built natively too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class SetupMode {
    SelfRemovalCopy,  // "-delself" and the path of the uninstaller that started us
    Install,
    Uninstall,
};

struct StartupOptions {
    int32_t silentLevel = 1;
    bool dashS = false;
    std::wstring packageFolder;
};

// The option scan over args (args[0] is the program). Stops at "-v" and
// "-sconf"; "-sfxname=" is matched case-sensitively, the rest in any case.
StartupOptions ScanOptions(const std::vector<std::wstring>& args);

// The folder of a "-sfxname=" package path.
std::wstring PackageFolderOf(const std::wstring& packagePath);

// Exactly "-delself" first, with a second argument after it.
bool IsSelfRemovalRequest(const std::vector<std::wstring>& args);

// Install for "-install" first (any case) or "setup.exe" anywhere in the
// lower-cased own path; uninstall otherwise. Does not look at "-delself".
SetupMode DecideMode(const std::vector<std::wstring>& args, const std::wstring& ownPath);

// The level an install runs at: interactive unless "-s" or "-sconf" asked otherwise.
int32_t InstallSilentLevel(const StartupOptions& options);

// "/s" or "-s" (any case) from the second argument on: the running-instances
// question is not asked.
bool SkipsInstanceQuestion(const std::vector<std::wstring>& args);
