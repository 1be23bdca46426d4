#include "uninstall/registry_cleanup.h"

bool DeleteRegistryTree(HKEY, const wchar_t*)
{
    return false;
}

void DeleteRegistryKeyIfEmpty(HKEY, const wchar_t*) {}

void RemoveRegistration(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*) {}

void RestoreFileAssociations() {}
