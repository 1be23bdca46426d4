// Running copies of the product seen through the shared instance registry.
#pragma once

#include "app/command_line_text.h"
#include "app/instance_manager.h"

#include <string>
#include <vector>

// This process's membership of the registry the product shares, joined
// during static initialisation.
extern COXInstanceManager g_instanceManager;

// Counts the other members of the instance registry and closes them: in
// install mode after asking (unless "/s" or "-s" stands from the second
// argument on), in uninstall mode without a word. False when the user
// declined in install mode (message 15 has then been shown).
bool CloseOtherInstances(SetupMode mode, const std::vector<std::wstring>& args);
