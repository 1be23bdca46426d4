// Junctions, symbolic links and mount points: folders and files that lead
// somewhere else. Removal and deployment never act through one, since none
// is ours: the installation makes plain folders only, and a link where one
// of them should be was put there by someone else.
#pragma once

#include <windows.h>

#include <string>

// Whether a search entry is such a link. A reparse point whose tag says it
// keeps its own data (a cloud placeholder, a deduplicated file) is not; one
// that carries no tag (Wine reports a Unix link so) counts as a link.
bool IsLink(const WIN32_FIND_DATAW& entry);

// Whether path, or a folder on the way to it below its drive, is such a
// link. Parts that do not exist do not count.
bool LeadsThroughLink(const std::wstring& path);

// One pass over a list (deployment, removal), for as long as it lives: most
// entries share their folder with the one before, so the folder last found
// free of links is not looked at again until the pass ends. Outside a pass
// every path is looked at.
class LinkCheckPass {
public:
    LinkCheckPass();
    ~LinkCheckPass();
    LinkCheckPass(const LinkCheckPass&) = delete;
    LinkCheckPass& operator=(const LinkCheckPass&) = delete;
};

// The folder part of path: everything before its last separator ("\" or
// "/"), or empty when it has none.
std::wstring FolderOf(const std::wstring& path);
