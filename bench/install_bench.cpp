// How long "setup.exe -s" takes to install a package, next to "xcopy /e /i /q"
// of the same tree and an NSIS installer of the same payload, in the same
// prefix; and the self-extracting package of that folder ("-s") next to an
// NSIS installer compressed the same way ("/S"), with both files' sizes. The contenders take turns within each round (who goes first
// rotates), each into an empty product folder, and the installation is taken
// away again after each; the median of the rounds is reported, with ratios.
//   install_bench.exe ROUNDS SET_FOLDER...
// Each SET_FOLDER holds "package" (the unpacked package: payload, package
// list, setup.exe and the product's files), "nsis-stored.exe", and, when the
// package is compared, "Pixvane8-Setup.exe" and "nsis-lzma.exe".
// scripts/bench-install.sh prepares them and runs this.
#include "app/product_names.h"
#include "support/test_env.h"
#include "uninstall/registry_cleanup.h"

#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kDestination[] = L"C:\\Program Files\\Pixvane 8";
// What xcopy leaves out: setup.exe is the installer, not part of what it installs.
constexpr wchar_t kExcludeList[] = L"C:\\pxbench-exclude.txt";
constexpr DWORD kRunTimeoutMs = 30 * 60 * 1000;
// Where the installations taken away wait until the set is done, and how
// long the disk gets afterwards. Deleting each at once made the next
// contender pay for it: this machine's disk discards what is freed, and the
// next files made wait behind that.
constexpr wchar_t kSetAside[] = L"C:\\pxbench-set-aside";
constexpr DWORD kSettleMs = 10 * 1000;

double Now()
{
    LARGE_INTEGER frequency = {};
    LARGE_INTEGER counter = {};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&counter);
    return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

// Runs commandLine to its end with its output discarded (xcopy reports what
// it copied even with "/q"); its exit code, or -1.
int RunQuietly(const std::wstring& commandLine)
{
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    UniqueFileHandle nul(::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       &inheritable, OPEN_EXISTING, 0, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nul.Get();
    startup.hStdOutput = nul.Get();
    startup.hStdError = nul.Get();
    PROCESS_INFORMATION process = {};
    std::vector<wchar_t> writable(commandLine.begin(), commandLine.end());
    writable.push_back(L'\0');
    if (!::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                          &process)) {
        return -1;
    }
    UniqueHandle thread(process.hThread);
    UniqueHandle child(process.hProcess);
    DWORD code = static_cast<DWORD>(-1);
    if (::WaitForSingleObject(child.Get(), kRunTimeoutMs) == WAIT_OBJECT_0) {
        ::GetExitCodeProcess(child.Get(), &code);
    }
    return static_cast<int>(code);
}

struct TreeSize {
    size_t files = 0;
    unsigned long long bytes = 0;
};

// Files below folder; a file named skip (at any level) is left out.
TreeSize SizeOf(const std::wstring& folder, const wchar_t* skip = nullptr)
{
    TreeSize size;
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
    for (bool more = search.IsValid(); more; more = ::FindNextFileW(search.Get(), &found)) {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") {
            continue;
        }
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            const TreeSize below = SizeOf(folder + L"\\" + name, skip);
            size.files += below.files;
            size.bytes += below.bytes;
        } else if (!skip || ::lstrcmpiW(name.c_str(), skip) != 0) {
            ++size.files;
            size.bytes += (static_cast<unsigned long long>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
        }
    }
    return size;
}

std::wstring ShellFolder(int csidl)
{
    wchar_t path[MAX_PATH] = {};
    return SUCCEEDED(::SHGetFolderPathW(nullptr, csidl, nullptr, 0, path)) ? path : L"";
}

// Whatever any contender made, so that the next one (and setup above all,
// which would otherwise see an earlier installation) starts from nothing.
void ClearDestination()
{
    // setup starts the product with "-regonly" and regsvr32 without waiting.
    WaitForNoProcesses(L"regsvr32", L".exe", 60000);
    WaitForNoProcesses(L"Pixvn8", L".exe", 60000);
    static unsigned setAside = 0;
    ::CreateDirectoryW(kSetAside, nullptr);
    const std::wstring aside = std::wstring(kSetAside) + L"\\" + std::to_wstring(++setAside);
    if (!::MoveFileExW(kDestination, aside.c_str(), 0)) {
        RemoveTree(kDestination);
    }
    RemoveTree(ShellFolder(CSIDL_COMMON_PROGRAMS) + L"\\" + kProductName);
    RemoveTree(ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\" + kProductShortcut);
    RemoveRegistration(kMakerName, kProductName, kUninstallKeyName, kProductExe);
}

struct Contender {
    const char* name;
    std::wstring command;
    size_t expectedFiles;
    std::vector<double> seconds;
};

struct SetResult {
    std::wstring label;
    size_t files = 0;
    std::vector<const char*> names;
    std::vector<double> medians;  // in contender order
};

unsigned long long FileBytes(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        return 0;
    }
    return (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

SetResult BenchSet(const std::wstring& setFolder, int rounds)
{
    const std::wstring package = setFolder + L"\\package";
    const TreeSize payload = SizeOf(package, L"setup.exe");
    std::vector<Contender> contenders = {
        {"setup -s", Quoted(package + L"\\setup.exe") + L" -s", payload.files, {}},
        {"xcopy", L"xcopy.exe /e /i /q /exclude:" + std::wstring(kExcludeList) + L" " + Quoted(package) + L" " +
                      Quoted(kDestination), payload.files, {}},
        // NSIS takes the folder after "/D=" unquoted, as the last argument.
        {"NSIS stored", Quoted(setFolder + L"\\nsis-stored.exe") + L" /S /D=" + kDestination, payload.files, {}},
    };
    const std::wstring selfExtracting = setFolder + L"\\Pixvane8-Setup.exe";
    const std::wstring lzma = setFolder + L"\\nsis-lzma.exe";
    const bool comparePackage = FileExists(selfExtracting) && FileExists(lzma);
    if (comparePackage) {
        contenders.push_back({"package -s", Quoted(selfExtracting) + L" -s", payload.files, {}});
        contenders.push_back({"NSIS LZMA", Quoted(lzma) + L" /S /D=" + kDestination, payload.files, {}});
    }
    SetResult result;
    result.label = setFolder.substr(setFolder.rfind(L'\\') + 1);
    result.files = payload.files;
    std::printf("set %ls: %zu files, %.1f MiB\n", result.label.c_str(), payload.files,
                static_cast<double>(payload.bytes) / (1024.0 * 1024.0));
    ClearDestination();
    for (int round = 0; round < rounds; ++round) {
        std::printf("  round %d:", round + 1);
        for (size_t turn = 0; turn < contenders.size(); ++turn) {
            Contender& contender = contenders[(turn + round) % contenders.size()];
            const double start = Now();
            const int exitCode = RunQuietly(contender.command);
            contender.seconds.push_back(Now() - start);
            // setup's installed log grows by its own lines; the count must match.
            const TreeSize made = SizeOf(kDestination);
            std::printf(" %s %.3f s", contender.name, contender.seconds.back());
            if (exitCode != 0 || made.files != contender.expectedFiles) {
                std::printf(" (exit code %d, %zu of %zu files)", exitCode, made.files, contender.expectedFiles);
            }
            std::fflush(stdout);
            ClearDestination();
        }
        std::printf("\n");
    }
    // Out of the timed runs, with time for the disk to finish with it
    // before the next set.
    RemoveTree(kSetAside);
    ::Sleep(kSettleMs);
    std::printf("  median of %d:", rounds);
    for (const Contender& contender : contenders) {
        result.names.push_back(contender.name);
        result.medians.push_back(Median(contender.seconds));
        std::printf(" %s %.3f s", contender.name, result.medians.back());
    }
    const double setup = result.medians[0];
    std::printf("; setup/xcopy %.2f, setup/NSIS %.2f\n  per file:", setup / result.medians[1],
                setup / result.medians[2]);
    for (size_t c = 0; c < contenders.size(); ++c) {
        std::printf(" %s %.2f ms", contenders[c].name, 1000.0 * result.medians[c] / static_cast<double>(result.files));
    }
    std::printf("\n");
    if (comparePackage) {
        const double packageBytes = static_cast<double>(FileBytes(selfExtracting));
        const double lzmaBytes = static_cast<double>(FileBytes(lzma));
        std::printf("  self-extracting package %.2f MiB, NSIS LZMA installer %.2f MiB: size ratio %.3f; "
                    "time ratio package -s / NSIS LZMA %.2f\n",
                    packageBytes / (1024.0 * 1024.0), lzmaBytes / (1024.0 * 1024.0), packageBytes / lzmaBytes,
                    result.medians[3] / result.medians[4]);
    }
    // On a machine shared with other work the fastest round says more about
    // the program itself than the median does.
    std::printf("  fastest round:");
    for (const Contender& contender : contenders) {
        std::printf(" %s %.3f s", contender.name,
                    *std::min_element(contender.seconds.begin(), contender.seconds.end()));
    }
    std::printf("\n");
    std::fflush(stdout);
    return result;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: install_bench.exe ROUNDS SET_FOLDER...\n");
        return 2;
    }
    const int rounds = std::max(1, std::atoi(argv[1]));
    WriteTextFile(kExcludeList, "\\setup.exe\r\n");
    // Registration writes into this key, which Windows has and a fresh Wine prefix lacks.
    UniqueRegKey applications;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", 0, nullptr, 0, KEY_READ, nullptr,
                      applications.Put(), nullptr);

    std::vector<SetResult> results;
    for (int i = 2; i < argc; ++i) {
        const std::string narrow = argv[i];
        results.push_back(BenchSet(std::wstring(narrow.begin(), narrow.end()), rounds));
    }
    // The cost of one more file: the slope between the smallest and the largest set.
    if (results.size() > 1) {
        const auto fewest = std::min_element(results.begin(), results.end(),
                                             [](const SetResult& a, const SetResult& b) { return a.files < b.files; });
        const auto most = std::max_element(results.begin(), results.end(),
                                           [](const SetResult& a, const SetResult& b) { return a.files < b.files; });
        const double extra = static_cast<double>(most->files - fewest->files);
        std::printf("each further file (set %ls to set %ls):", fewest->label.c_str(), most->label.c_str());
        for (size_t c = 0; c < std::min(fewest->medians.size(), most->medians.size()); ++c) {
            std::printf(" %s %.2f ms", most->names[c], 1000.0 * (most->medians[c] - fewest->medians[c]) / extra);
        }
        std::printf("\n");
    }
    std::remove("C:\\pxbench-exclude.txt");
    return 0;
}
