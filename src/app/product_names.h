// The names under which Pixvane 8 is known on a machine: its registry keys,
// its program file, its folder and shortcut. Installation and removal must
// agree on every one of them, so they are written down once, here.
#pragma once

constexpr wchar_t kMakerName[] = L"Quorvex";
constexpr wchar_t kProductName[] = L"Pixvane 8";      // also the default group and the uninstall key
constexpr wchar_t kProductFolderName[] = L"Pixvane 8";  // under the programs folder; may be nested
constexpr wchar_t kUninstallKeyName[] = L"Pixvane 8";
constexpr wchar_t kProductExe[] = L"Pixvn8.exe";
constexpr wchar_t kProductShortcut[] = L"Pixvane 8.lnk";

// The maker's web addresses.
constexpr wchar_t kMakerHomePage[] = L"https://www.quorvex.example/pixvane";
constexpr wchar_t kInstallScriptAddress[] = L"https://www.quorvex.example/pvdx/InstScript.asp";
