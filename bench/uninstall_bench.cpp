// How long the whole removal of an installation with 2,000 logged files takes,
// next to "cmd /c rmdir /s /q" of the same product folder in the same prefix.
// Each side gets a fresh installation per round (the real setup.exe, then
// 2,000 more logged files); the median of the rounds is reported, with the
// ratio of the two.
#include "support/test_env.h"
#include "uninstall/uninstall_sequence.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr size_t kLoggedFiles = 2000;
constexpr int kDefaultRounds = 3;
const std::wstring kFolder = L"C:\\Program Files\\Pixvane 8";

template <typename Work>
double Time(Work work)
{
    LARGE_INTEGER start = {};
    LARGE_INTEGER end = {};
    LARGE_INTEGER frequency = {};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&start);
    work();
    ::QueryPerformanceCounter(&end);
    return static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The sample package installed unattended, and 2,000 files in folders of
// 200, each named by a line of the installed log.
bool Install()
{
    RemoveTree(kFolder);
    if (RunToEnd(L"\"" + PackagePath(L"setup.exe") + L"\" -s", 120000) != 0) {
        return false;
    }
    WaitForNoProcesses(L"regsvr32", L".exe", 20000);
    std::string lines;
    for (size_t i = 0; i < kLoggedFiles; ++i) {
        const std::string set = "Data" + std::to_string(i / 200);
        if (i % 200 == 0) {
            ::CreateDirectoryW((kFolder + L"\\" + std::wstring(set.begin(), set.end())).c_str(), nullptr);
            lines += "Make Dir: " + set + "\r\n";
        }
        const std::string name = set + "\\capture" + std::to_string(i) + ".dat";
        WriteTextFile(kFolder + L"\\" + std::wstring(name.begin(), name.end()), "bulk");
        lines += "File Copy: " + name + "\r\n";
    }
    WriteTextFile(kFolder + L"\\PxvUnInst.log", ReadTextFile(kFolder + L"\\PxvUnInst.log") + lines);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : kDefaultRounds;
    std::vector<double> removal;
    std::vector<double> rmdir;
    for (int round = 0; round < rounds; ++round) {
        if (!Install()) {
            std::printf("setup.exe -s failed\n");
            return 1;
        }
        removal.push_back(Time([] { RunUninstall(kFolder + L"\\"); }));
        // Work handed to the restart instead of done would flatter the time.
        const bool removed = !FolderExists(kFolder);
        if (!Install()) {
            return 1;
        }
        rmdir.push_back(Time([] { RunToEnd(L"cmd.exe /c rmdir /s /q \"" + kFolder + L"\"", 120000); }));
        const bool gone = !FolderExists(kFolder);
        RunUninstall(kFolder + L"\\");  // the registry and shortcuts of the second installation
        std::printf("round %d: RunUninstall %.3f s%s, rmdir /s /q %.3f s%s\n", round + 1, removal.back(),
                    removed ? "" : " (left the folder behind)", rmdir.back(), gone ? "" : " (left the folder behind)");
    }
    const double removalMedian = Median(removal);
    const double rmdirMedian = Median(rmdir);
    std::printf("%zu logged files, median of %d rounds: RunUninstall %.3f s, rmdir /s /q %.3f s, ratio %.2f\n",
                kLoggedFiles, rounds, removalMedian, rmdirMedian, removalMedian / rmdirMedian);
    return 0;
}
