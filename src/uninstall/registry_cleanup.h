// Takes back the registry entries of the product and gives the image-file
// associations it took over back to the programs that held them before.
// Every failure is ignored; nothing is reported.
#pragma once

#include <windows.h>

// Deletes root\subkey with all its subkeys, leaves first; true when the key
// itself was deleted.
bool DeleteRegistryTree(HKEY root, const wchar_t* subkey);

// Deletes root\subkey only when it has no subkeys (values do not matter).
void DeleteRegistryKeyIfEmpty(HKEY root, const wchar_t* subkey);

// The product's keys for the machine, the current user and every user under
// HKU, its classes, and its Uninstall, App Paths, RegisteredApplications and
// native-messaging entries.
void RemoveRegistration(const wchar_t* maker, const wchar_t* product, const wchar_t* uninstallKeyName,
                        const wchar_t* exeName);

// Restores the associations of the 14 image extensions for the current user;
// tells the shell only when something changed.
void RestoreFileAssociations();
