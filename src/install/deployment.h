// Puts the product's files in place as the package list prescribes, coping
// with read-only files and files in use. Nothing here shows a message.
#pragma once

#include <memory>
#include <string>

// Walks the package list and acts on each line kind; an unreadable list
// deploys nothing. A name that is absolute or holds ".." is skipped.
void DeployPackage(const std::wstring& listPath);

// Copies fromFolder\name to toFolder\(newName or name). A target in use is
// moved aside to ".old" (".old2") or the copy waits as ".new" for the
// restart. 1 on success (also when there is nothing to do), 0 otherwise.
int CopyOneFile(const std::wstring& name, const std::wstring& fromFolder, const std::wstring& toFolder,
                const wchar_t* newName);

// Copies every file matching pattern (its last component may hold wildcards)
// into the same relative folder under toFolder, creating it first; stops at
// the first copy that fails.
void CopyMatchingFiles(const std::wstring& pattern, const std::wstring& fromFolder, const std::wstring& toFolder);

// Whether every file and folder the package list would write fits the
// system's path limits under the destination (or beside it, for a portable
// installation's files), the installed log included. Checked before anything
// is copied: a list that cannot be read fits anywhere.
bool DestinationHoldsPackage(const std::wstring& listPath);

// While one lives, each folder of the package is listed once for all that
// reads it: the check of DestinationHoldsPackage and the deployment that
// follows it at once, in an unattended run, share one listing instead of
// making two. Only for a package that nothing changes meanwhile.
class PackageListing {
public:
    PackageListing();
    ~PackageListing();
    PackageListing(const PackageListing&) = delete;
    PackageListing& operator=(const PackageListing&) = delete;

private:
    struct Folders;
    std::unique_ptr<Folders> m_folders;
};
