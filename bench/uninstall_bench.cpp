// How long the whole removal of an installation takes, next to an NSIS
// uninstaller that deletes the same 2,000 logged files one by one (with the
// same registry keys, shortcuts and program runs) and to "cmd /c rmdir /s /q"
// of the same product folder, in the same prefix. The removal is the real
// one: "PxvUnInst.exe" of a licensed installation, timed until its second
// stage ends; its uninstall work is that run less the second stage's fixed
// 1,000 ms wait for the first to end. Each side gets a fresh installation per
// round (the real setup.exe, then N more logged files). The removal is also
// timed at the other sizes given, for the cost of one more file.
//   uninstall_bench.exe [ROUNDS [NSIS_UNINSTALLER [SIZE...]]]
// scripts/bench.sh writes the NSIS uninstaller for 2,000 files and runs this.
#include "support/test_env.h"
#include "support/uninstall_run.h"
#include "uninstall/uninstall_sequence.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr size_t kComparedFiles = 2000;
constexpr int kDefaultRounds = 3;
constexpr double kHandOverWait = 1.0;
const std::wstring kFolder = L"C:\\Program Files\\Pixvane 8";

double Time(const std::function<void()>& work)
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

// The sample package installed unattended and licensed (so that the removal
// asks nothing), and `files` more in folders of 200, each named by a line of
// the installed log.
bool Install(size_t files)
{
    RemoveTree(kFolder);
    if (RunToEnd(L"\"" + PackagePath(L"setup.exe") + L"\" -s", 120000) != 0) {
        return false;
    }
    WaitForNoProcesses(L"regsvr32", L".exe", 20000);
    WaitForNoProcesses(L"Pixvn8", L".exe", 20000);
    std::string lines = "File Copy: Pixvane.pv8lic\r\n";
    WriteTextFile(kFolder + L"\\Pixvane.pv8lic", "licence");
    for (size_t i = 0; i < files; ++i) {
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

// The removal a user starts from the programs list, to the second stage's end.
void RemoveAsTheUserWould()
{
    RunToEnd(L"\"" + kFolder + L"\\PxvUnInst.exe\"", 120000);
    WaitForSecondStage(300000);
}

struct Side {
    const char* name;
    std::function<void()> run;
    std::vector<double> seconds;
};

}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : kDefaultRounds;
    const std::string narrow = argc > 2 ? argv[2] : "";
    const std::wstring nsis(narrow.begin(), narrow.end());
    std::vector<size_t> sizes = {kComparedFiles};
    for (int i = 3; i < argc; ++i) {
        sizes.push_back(static_cast<size_t>(std::atol(argv[i])));
    }
    std::vector<Side> sides = {{"PxvUnInst", RemoveAsTheUserWould, {}},
                               {"rmdir /s /q", [] { RunToEnd(L"cmd.exe /c rmdir /s /q \"" + kFolder + L"\"", 120000); }, {}}};
    if (!nsis.empty()) {
        // "_?=" runs the uninstaller where it is, to its end, on that folder.
        sides.push_back({"NSIS uninstaller", [nsis] { RunToEnd(L"\"" + nsis + L"\" /S _?=" + kFolder, 120000); }, {}});
    }
    std::vector<std::vector<double>> bySize(sizes.size());
    for (int round = 0; round < rounds; ++round) {
        std::printf("round %d:", round + 1);
        for (size_t turn = 0; turn < sides.size(); ++turn) {
            Side& side = sides[(turn + static_cast<size_t>(round)) % sides.size()];
            if (!Install(kComparedFiles)) {
                std::printf(" setup.exe -s failed\n");
                return 1;
            }
            side.seconds.push_back(Time(side.run));
            // Work handed to the restart instead of done would flatter the time.
            const bool gone = !FolderExists(kFolder);
            std::printf(" %s %.3f s%s", side.name, side.seconds.back(), gone ? "" : " (left the folder behind)");
            RunUninstall(kFolder + L"\\");  // whatever a peer left of the registry and shortcuts
            RemoveTree(kFolder);
        }
        bySize[0].push_back(sides[0].seconds.back());
        for (size_t s = 1; s < sizes.size(); ++s) {
            if (!Install(sizes[s])) {
                return 1;
            }
            bySize[s].push_back(Time(RemoveAsTheUserWould));
            std::printf(" PxvUnInst(%zu files) %.3f s", sizes[s], bySize[s].back());
        }
        std::printf("\n");
        std::fflush(stdout);
    }
    std::printf("%zu logged files, median of %d rounds:", kComparedFiles, rounds);
    for (const Side& side : sides) {
        std::printf(" %s %.3f s (fastest %.3f s)", side.name, Median(side.seconds),
                    *std::min_element(side.seconds.begin(), side.seconds.end()));
    }
    const double work = Median(sides[0].seconds) - kHandOverWait;
    std::printf("\n  uninstall work (PxvUnInst less the 1,000 ms hand-over wait) %.3f s: / rmdir %.2f", work,
                work / Median(sides[1].seconds));
    if (sides.size() > 2) {
        std::printf(", / NSIS uninstaller %.2f", work / Median(sides[2].seconds));
    }
    std::printf("\n");
    // The cost of one more logged file: the slope between each size and the next.
    std::vector<size_t> order(sizes.size());
    for (size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return sizes[a] < sizes[b]; });
    for (size_t i = 1; i < order.size(); ++i) {
        const size_t low = order[i - 1];
        const size_t high = order[i];
        std::printf("  each further file, %zu to %zu files: PxvUnInst %.3f ms (medians %.3f s, %.3f s)\n", sizes[low],
                    sizes[high], 1000.0 * (Median(bySize[high]) - Median(bySize[low])) /
                                     static_cast<double>(sizes[high] - sizes[low]),
                    Median(bySize[low]), Median(bySize[high]));
    }
    return 0;
}
