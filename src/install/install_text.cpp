#include "install/install_text.h"

#include "app/product_names.h"
#include "system/path_text.h"
#include "uninstall/install_log_text.h"

namespace {

constexpr std::wstring_view kEdgeCharacters = L" \t\r\n\\";

std::wstring_view TrimBoth(std::wstring_view text, std::wstring_view characters)
{
    const size_t first = text.find_first_not_of(characters);
    if (first == std::wstring_view::npos) {
        return {};
    }
    const size_t last = text.find_last_not_of(characters);
    return text.substr(first, last - first + 1);
}

std::wstring_view TrimBlanks(std::wstring_view text)
{
    return TrimBoth(text, L" ");
}

void ReplaceSlashes(std::wstring& text)
{
    for (auto& c : text) {
        if (c == L'/') {
            c = L'\\';
        }
    }
}

// Every prefix of text that ends just before a "\" at position 1 or later,
// then text itself.
std::vector<std::wstring> PrefixesAtBackslashes(std::wstring_view text)
{
    std::vector<std::wstring> chain;
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] == L'\\') {
            chain.emplace_back(text.substr(0, i));
        }
    }
    chain.emplace_back(text);
    return chain;
}

}  // namespace

InstallOptions ReadInstallOptions(const std::vector<std::wstring>& args, InstallOptions options)
{
    for (size_t i = 1; i < args.size(); ++i) {
        const std::wstring& arg = args[i];
        const bool hasNext = i + 1 < args.size();
        if (StartsWith(arg, L"-inst")) {
            // Other "-inst..." words, such as the mode switch "-install", are passed over.
            if (arg == L"-instport" || arg == L"-instdir") {
                if (arg == L"-instport") {
                    options.kind = Portable;
                }
                if (hasNext) {
                    std::wstring folder = TrimFolderArgument(args[i + 1]);
                    if (!folder.empty()) {
                        options.folder = std::move(folder);
                    }
                }
            }
        } else if (EqualsNoCase(arg, L"-runafter")) {
            options.runAfter = true;
        } else if (EqualsNoCase(arg, L"-allusers")) {
            if (options.kind == CurrentUser) {
                options.kind = AllUsers;
            }
        } else if (EqualsNoCase(arg, L"-autostart")) {
            options.autostart = true;
        } else if (EqualsNoCase(arg, L"-nodeskico")) {
            options.desktopIcon = false;
        }
    }
    return options;
}

std::wstring TrimFolderArgument(std::wstring_view folder)
{
    if (!folder.empty() && folder.back() == L'"') {
        folder.remove_suffix(1);
    }
    if (!folder.empty() && (folder.back() == L'\\' || folder.back() == L'/')) {
        folder.remove_suffix(1);
    }
    return std::wstring(folder);
}

uint32_t VersionNumber(const FileVersion& version)
{
    return ((uint32_t{version.major} * 100u + version.minor) * 100u + version.third) * 100u + version.fourth;
}

std::wstring CleanGroupName(std::wstring_view name)
{
    std::wstring slashed(name);
    ReplaceSlashes(slashed);
    return std::wstring(TrimBoth(slashed, kEdgeCharacters));
}

std::vector<std::wstring> GroupFolderChain(std::wstring_view root, std::wstring_view cleanGroup)
{
    std::vector<std::wstring> chain;
    for (const auto& part : PrefixesAtBackslashes(cleanGroup)) {
        chain.push_back(std::wstring(root) + L"\\" + part);
    }
    return chain;
}

std::vector<std::wstring> FolderChain(std::wstring_view folder)
{
    // A network path loses its leading "\\" here, as it always has.
    return PrefixesAtBackslashes(TrimBoth(folder, kEdgeCharacters));
}

std::optional<std::wstring> GroupFromShellLinks(const std::vector<std::wstring>& linkPaths,
                                                std::wstring_view programsRoot, std::wstring_view startupFolder)
{
    std::wstring root(programsRoot);
    if (root.empty() || root.back() != L'\\') {
        root += L'\\';
    }
    const std::wstring lowerRoot = ToLowerAscii(root);
    const std::wstring lowerStartup = ToLowerAscii(startupFolder);
    std::optional<std::wstring> group;
    for (const auto& link : linkPaths) {
        const std::wstring lower = ToLowerAscii(link);
        if (!StartsWith(lower, lowerRoot) || Contains(lower, lowerStartup)) {
            continue;
        }
        // The folder part of what follows the root, as written.
        group = ParentFolder(std::wstring_view(link).substr(root.size()));
    }
    return group;
}

CopyBody SplitCopyBody(std::wstring_view body)
{
    const size_t arrow = body.find(L'>');
    if (arrow == std::wstring_view::npos) {
        return {std::wstring(body), std::nullopt};
    }
    std::wstring_view source = body.substr(0, arrow);
    while (!source.empty() && source.back() == L' ') {
        source.remove_suffix(1);
    }
    return {std::wstring(source), std::wstring(TrimBlanks(body.substr(arrow + 1)))};
}

bool IsConfinedCopyBody(const CopyBody& body)
{
    return IsConfinedRelativeName(body.source) && (!body.target || IsConfinedRelativeName(*body.target));
}

std::wstring PatternTargetFolder(std::wstring_view baseFolder, std::wstring_view pattern)
{
    std::wstring target(baseFolder);
    ReplaceSlashes(target);
    if (target.empty() || target.back() != L'\\') {
        target += L'\\';
    }
    target += pattern;
    ReplaceSlashes(target);
    return target.substr(0, target.rfind(L'\\') + 1);
}

std::wstring FolderBeforeProductExe(std::wstring_view text, bool dropLeadingQuote)
{
    if (dropLeadingQuote && !text.empty() && text.front() == L'"') {
        text.remove_prefix(1);
    }
    const size_t exe = text.find(std::wstring(L"\\") + kProductExe);
    return exe == std::wstring_view::npos ? std::wstring() : std::wstring(text.substr(0, exe));
}

bool NeedsWideCharacters(std::wstring_view text)
{
    for (wchar_t c : text) {
        if (static_cast<uint32_t>(c) > 0xFF) {
            return true;
        }
    }
    return false;
}

bool FitsPathLimit(std::wstring_view path, bool folder)
{
    if (folder) {
        return path.size() < kFolderPathLimit;
    }
    const std::size_t slash = path.rfind(L'\\');
    return path.size() < kFilePathLimit && (slash == std::wstring_view::npos || slash < kFolderPathLimit);
}
