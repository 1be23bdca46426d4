#include "app/command_line_text.h"

#include "system/path_text.h"

namespace {
constexpr wchar_t kPackagePrefix[] = L"-sfxname=";
constexpr size_t kPackagePrefixChars = 9;
}  // namespace

std::wstring PackageFolderOf(const std::wstring& packagePath)
{
    return ParentFolder(packagePath);
}

StartupOptions ScanOptions(const std::vector<std::wstring>& args)
{
    StartupOptions options;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::wstring& arg = args[i];
        if (EqualsNoCase(arg, L"-v")) {
            options.silentLevel = 0;
            break;
        }
        if (EqualsNoCase(arg, L"-s")) {
            options.dashS = true;
        } else if (EqualsNoCase(arg, L"-sconf")) {
            options.silentLevel = 2;
            break;
        } else if (StartsWith(arg, kPackagePrefix)) {
            options.packageFolder = PackageFolderOf(arg.substr(kPackagePrefixChars));
        }
    }
    return options;
}

bool IsSelfRemovalRequest(const std::vector<std::wstring>& args)
{
    return args.size() >= 3 && args[1] == L"-delself";
}

SetupMode DecideMode(const std::vector<std::wstring>& args, const std::wstring& ownPath)
{
    if (args.size() >= 2 && EqualsNoCase(args[1], L"-install")) {
        return SetupMode::Install;
    }
    return Contains(ToLowerAscii(ownPath), L"setup.exe") ? SetupMode::Install : SetupMode::Uninstall;
}

int32_t InstallSilentLevel(const StartupOptions& options)
{
    if (!options.dashS && options.silentLevel < 2) {
        return 0;
    }
    return options.silentLevel;
}

bool SkipsInstanceQuestion(const std::vector<std::wstring>& args)
{
    for (size_t i = 2; i < args.size(); ++i) {
        if (EqualsNoCase(args[i], L"/s") || EqualsNoCase(args[i], L"-s")) {
            return true;
        }
    }
    return false;
}
