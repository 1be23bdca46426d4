// How long the whole removal of an installation with 2,000 logged files takes,
// next to "cmd /c rmdir /s /q" of the same product folder in the same prefix.
// Each side gets a freshly laid-down installation per round; the median of
// the rounds is reported, with the ratio of the two.
#include "support/installed_product.h"
#include "support/test_env.h"
#include "uninstall/uninstall_sequence.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr size_t kLoggedFiles = 2000;
constexpr int kDefaultRounds = 3;

double Seconds(LARGE_INTEGER from, LARGE_INTEGER to)
{
    LARGE_INTEGER frequency = {};
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<double>(to.QuadPart - from.QuadPart) / static_cast<double>(frequency.QuadPart);
}

template <typename Work>
double Time(Work work)
{
    LARGE_INTEGER start = {};
    LARGE_INTEGER end = {};
    ::QueryPerformanceCounter(&start);
    work();
    ::QueryPerformanceCounter(&end);
    return Seconds(start, end);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

InstalledProduct Install()
{
    InstallationLayout layout;
    layout.bulkLoggedFiles = kLoggedFiles;
    layout.userFileInProductFolder = false;
    return InstallSampleProduct(layout);
}

}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : kDefaultRounds;
    std::vector<double> removal;
    std::vector<double> rmdir;
    for (int round = 0; round < rounds; ++round) {
        InstalledProduct product = Install();
        removal.push_back(Time([&] { RunUninstall(ProductFolderArgument(product)); }));
        // Work handed to the restart instead of done would flatter the time.
        // (The thumbnail handler is the second stage's to unregister, so its
        // keys are listed here too.)
        const std::vector<std::wstring> leftovers = LeftoversOf(product);
        const size_t left = leftovers.size();
        if (round == 0) {
            for (const std::wstring& item : leftovers) {
                std::printf("  left after RunUninstall: %ls\n", item.c_str());
            }
        }
        ClearInstallation(product);

        product = Install();
        const std::wstring command = L"cmd.exe /c rmdir /s /q \"" + product.layout.productFolder + L"\"";
        rmdir.push_back(Time([&] { RunToEnd(command, 120000); }));
        const bool gone = !FolderExists(product.layout.productFolder);
        ClearInstallation(product);
        std::printf("round %d: RunUninstall %.3f s (%zu items left), rmdir /s /q %.3f s%s\n",
                    round + 1, removal.back(), left, rmdir.back(), gone ? "" : " (rmdir left the folder behind)");
    }
    const double removalMedian = Median(removal);
    const double rmdirMedian = Median(rmdir);
    std::printf("%zu logged files, median of %d rounds: RunUninstall %.3f s, rmdir /s /q %.3f s, ratio %.2f\n",
                kLoggedFiles, rounds, removalMedian, rmdirMedian, removalMedian / rmdirMedian);
    return 0;
}
