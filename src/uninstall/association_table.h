// The image types the product offers to open. Registration writes them and
// the uninstaller gives them back, both walking this one table in its order.
#pragma once

#include <cstddef>
#include <cstdint>

struct FileAssociation {
    const wchar_t* extension;  // the subkey name, with its leading dot
    // Starts as "the product's own image type" (".pvi" only) for the
    // installer's default choice; RestoreFileAssociations reuses it as "held
    // by the product" for the extensions it finds taken over.
    uint32_t flag;
};

constexpr size_t kAssociationCount = 14;

// Process-wide and writable: the uninstaller keeps its per-extension mark here.
extern FileAssociation g_associationTable[kAssociationCount];
