// libFuzzer targets for the text logic that reads outside input: install-log
// and package-list lines, the command line, paths, the shared instance list,
// the WININIT block, the installer's options and names, "HomePage.url", the
// package list as packaging checks it. One source, one target per entry of the table, chosen by FUZZ_TARGET; each
// checks the properties the rest of the program relies on.
#include "app/command_line_text.h"
#include "app/instance_list_text.h"
#include "install/closing_page_text.h"
#include "install/install_text.h"
#include "package/package_list_text.h"
#include "system/path_text.h"
#include "uninstall/deferred_delete_text.h"
#include "uninstall/install_log_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

void Require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

// Bytes as the log reader sees them (one character per byte), or as UTF-16
// code units (two bytes each) for what comes from the command line.
std::wstring Wide(const uint8_t* data, size_t size, bool utf16)
{
    std::wstring text;
    for (size_t i = 0; i + (utf16 ? 1 : 0) < size; i += utf16 ? 2 : 1) {
        text += static_cast<wchar_t>(utf16 ? data[i] | data[i + 1] << 8 : data[i]);
    }
    return text;
}

// Lines of the input; never empty.
std::vector<std::wstring> Lines(const uint8_t* data, size_t size, bool utf16)
{
    std::vector<std::wstring> lines(1);
    for (wchar_t c : Wide(data, size, utf16)) {
        c == L'\n' ? lines.emplace_back().clear() : lines.back().push_back(c);
    }
    return lines;
}

uint32_t Word(const uint8_t* data)
{
    return data[0] | data[1] << 8 | data[2] << 16 | static_cast<uint32_t>(data[3]) << 24;
}

using Target = void (*)(const uint8_t*, size_t);

const std::pair<std::string_view, Target> kTargets[] = {
    {"log_lines",
     [](const uint8_t* data, size_t size) {
         for (std::wstring line : Lines(data, size, false)) {
             line = std::wstring(TrimLogLineEnd(line.substr(0, kLogLineChars - 1).c_str()));
             std::wstring_view rest;
             for (const wchar_t* prefix : {kFileCopyPrefix, kFileCopyX64Prefix, kFileCopyIndPrefix, kFileCopyPrtPrefix,
                                           kFileOverwritePrefix, kFileDelPrefix, kMakeDirPrefix, kShellLinkPrefix}) {
                 if (MatchLogPrefix(line, prefix, rest)) {
                     Require(MakeLogLine(prefix, rest) == line);
                     const std::wstring name = FileEntryInstalledName(line, prefix);
                     Require(name.find(L" | ") == std::wstring::npos && name.size() <= rest.size());
                     Require(!IsConfinedRelativeName(name) ||
                             (name.find(L':') == std::wstring::npos && name[0] != L'\\' && name[0] != L'/' &&
                              name != L".." && !name.starts_with(L"..\\") && name.find(L"\\..\\") == std::wstring::npos));
                     IsShortcutFileName(rest);
                 }
             }
         }
     }},
    {"options",
     [](const uint8_t* data, size_t size) {
         const std::vector<std::wstring> args = Lines(data, size, true);
         const StartupOptions options = ScanOptions(args);
         const int32_t level = InstallSilentLevel(options);
         Require(options.silentLevel >= 0 && options.silentLevel <= 2 && level >= 0 && level <= 2);
         Require(!IsSelfRemovalRequest(args) || args.size() >= 3);
         DecideMode(args, args[0]);
         SkipsInstanceQuestion(args);
         Require(args[0].starts_with(PackageFolderOf(args[0])));
     }},
    {"paths",
     [](const uint8_t* data, size_t size) {
         const std::wstring path = Wide(data, size, true);
         const std::wstring parent = ParentFolder(path);
         Require(path.starts_with(parent) && parent.size() < path.size() + (path.empty() ? 1 : 0));
         Require(path.starts_with(DriveAndFolder(path)));
         Require(EqualsNoCase(path, ToLowerAscii(path)) && Contains(path, parent));
         const std::wstring joined = JoinPath(parent, path);
         Require(joined.ends_with(path) && StartsWith(joined, parent));
         HasBlankOrTab(path);
     }},
    {"instance_list",
     [](const uint8_t* data, size_t size) {
         std::vector<uint8_t> bytes(data, data + size);
         InstanceListBuffer list{std::span<uint8_t>(bytes)};
         const size_t before = list.Ids().size();
         Require(before <= bytes.size() / 4);
         const uint32_t id = size >= 12 ? data[8] | data[9] << 8 : 4;
         const bool appended = list.Append(id);
         Require(!appended || list.Count() <= kMaxInstanceIds);
         Require(!list.Remove(id) || !appended || list.Ids().size() == before);
         IsInstanceWindowTitle(Wide(data, size, true));
         if (size >= 8) {
             RoundAreaSize(Word(data), Word(data + 4));
         }
         list.Initialise();
         Require(list.Count() == 0);
     }},
    {"wininit_block",
     [](const uint8_t* data, size_t size) {
         if (size < 2) {
             return;
         }
         const std::vector<std::wstring> parts = Lines(data + 2, size - 2, true);
         // Stretched so that the whole range up to the buffer's end is reached.
         const size_t used = (data[0] | data[1] << 8) % (kWininitSectionChars + 8);
         std::wstring section = parts[0];
         section.resize(std::max(section.size(), used), L'x');
         const std::wstring path = parts.size() > 1 ? parts[1] : L"";
         std::wstring block = L"untouched";
         if (BuildWininitDeletionBlock(section, used, path, block)) {
             Require(block.size() == used + 4 + path.size() + 2 && block.size() <= kWininitSectionChars);
             Require(block.compare(0, used, section, 0, used) == 0 && block.ends_with(L"NUL=" + path + L'\0' + L'\0'));
         } else {
             Require(block == L"untouched");
         }
     }},
    // The installer's options and folder arguments, version numbers, group
    // names and the group recovered from an earlier log, package-list copy bodies.
    {"install_text",
     [](const uint8_t* data, size_t size) {
         const std::vector<std::wstring> lines = Lines(data, size, true);
         ReadInstallOptions(lines, InstallOptions{});
         for (const std::wstring& line : lines) {
             Require(line.starts_with(TrimFolderArgument(line)));
             const std::wstring group = CleanGroupName(line);
             Require(group.empty() || (group.front() != L'\\' && group.back() != L'\\' && group.back() != L' '));
             for (const std::wstring& made : GroupFolderChain(lines[0], group)) {
                 Require(made.starts_with(lines[0]));
             }
             FolderChain(line);
             const CopyBody body = SplitCopyBody(line);
             Require(!IsConfinedCopyBody(body) || body.source.find(L':') == std::wstring::npos);
             PatternTargetFolder(lines[0], body.source);
             FolderBeforeProductExe(line, size > 0 && data[0] & 1);
             NeedsWideCharacters(line);
         }
         GroupFromShellLinks(lines, lines[0], lines.size() > 1 ? lines[1] : L"");
         if (size >= 8) {
             VersionNumber(FileVersion{Word(data) & 0xFFFF, Word(data) >> 16, Word(data + 4) & 0xFFFF, Word(data + 4) >> 16});
         }
     }},
    // The closing page's query from "HomePage.url" as read (one byte a character).
    {"closing_page",
     [](const uint8_t* data, size_t size) {
         const std::wstring text = Wide(data, size, false);
         const std::wstring query = ClosingPageQuery(text);
         Require(query.empty() || query.front() == L'?' || query.starts_with(L"Lang=") || query.starts_with(L"&Lang="));
         Require(UnquoteTarget(text).size() <= text.size());
     }},
    {"package_list",
     [](const uint8_t* data, size_t size) {
         const std::vector<PayloadEntry> payload = {{L"setup.exe"}, {L"Pixvn8.exe"}, {L"PxvUnInst.exe"},
                                                    {L"Fx", true}, {L"Fx\\a.pvf"}};
         const std::string list(reinterpret_cast<const char*>(data), size);
         const PackageListCheck check = CheckPackageList(list, payload);
         Require(check.list.starts_with(list));
         Require(!check.tailAppended || !CheckPackageList(check.list, payload).tailAppended);
         const std::wstring text = Wide(data, size, false);
         const size_t half = text.size() / 2;
         MatchesWildcard(text.substr(0, std::min<size_t>(half, 64)), text.substr(half, 64));
     }},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const Target target = [] {
        for (const auto& [name, target] : kTargets) {
            if (name == FUZZ_TARGET) {
                return target;
            }
        }
        std::abort();
    }();
    target(data, size);
    return 0;
}
