// A complete installation of the sample package, laid down the way the
// installer makes one (files per the package list, installed log, Start-menu
// group and shortcuts, registry, associations, thumbnail handler, a second
// user's profile), and the means to see afterwards what of it is left and
// whether anything of the user's went missing. Plain functions: usable from
// tests and from programs alike.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

struct InstallationLayout {
    std::wstring productFolder = L"C:\\Program Files\\Pixvane 8";  // no trailing backslash
    // Under the common programs folder; a nested name makes the removal climb.
    std::wstring groupName = L"Quorvex\\Pixvane 8";
    // The system the installation was made on. Vista and later: the
    // thumbnail handler ThumbPvi32.dll, associations taken over through
    // "UserChoice". Older systems: ThumbPviXP32.dll, "Application" values
    // with the former program kept in "PixvnOld".
    bool vistaOrLater = true;
    bool secondUser = true;
    // A file the user put into the product folder, which must survive.
    bool userFileInProductFolder = true;
    // Extra files, each with its own "File Copy: " line, in subfolders of "Data".
    size_t bulkLoggedFiles = 0;
};

// A registry key, or one value in it when value is set.
struct RegistryItem {
    HKEY root = nullptr;
    std::wstring key;
    std::optional<std::wstring> value;
};

struct InstalledProduct {
    InstallationLayout layout;
    std::wstring groupFolder;
    std::wstring thumbnailHandlerClassKey;  // under HKCR, written by regsvr32
    std::wstring secondUserKey;             // under HKU; empty without a second user
    // What the installation made: all of it should go.
    std::vector<std::wstring> files;
    std::vector<std::wstring> folders;
    std::vector<RegistryItem> registry;
    // What belongs to the user: none of it may go.
    std::vector<std::wstring> userFiles;
    std::vector<RegistryItem> userRegistry;
};

// The product folder with the trailing backslash the removal is given.
std::wstring ProductFolderArgument(const InstalledProduct& product);

// Removes whatever an earlier installation or test left, then installs.
InstalledProduct InstallSampleProduct(const InstallationLayout& layout = {});

// Takes everything of an installation away again, including the user's
// things, so the next test starts clean.
void ClearInstallation(const InstalledProduct& product);

// Every file, folder, key and value of the installation that is still there,
// as readable text. Folders that hold a user's file are not counted, nor is
// an association that was given back correctly.
std::vector<std::wstring> LeftoversOf(const InstalledProduct& product);

// Every part of the installation that is gone (empty right after installing).
std::vector<std::wstring> MissingPartsOf(const InstalledProduct& product);

// Every user file or registry entry that is gone or was changed.
std::vector<std::wstring> LostUserItemsOf(const InstalledProduct& product);

std::wstring Describe(const RegistryItem& item);
bool Exists(const RegistryItem& item);

// Creates a shell link file through the shell's own link object.
bool CreateShellLink(const std::wstring& target, const std::wstring& linkPath, const std::wstring& workingFolder);
