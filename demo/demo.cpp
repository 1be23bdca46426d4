// The demo: the real setup.exe and PxvUnInst.exe of the sample package at
// work in a throwaway Wine prefix, driven and watched the way a user and a
// support engineer would, every step printed.
#include "support/installed_product.h"
#include "support/message_boxes.h"
#include "support/test_env.h"
#include "support/uninstall_run.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr DWORD kBoxWaitMs = 20000;
constexpr DWORD kStageWaitMs = 60000;

std::string Narrow(const std::wstring& text)
{
    std::string out;
    for (wchar_t c : text) {
        if (c == L'\n') {
            out += "\n      ";
        } else {
            out += (c < 128) ? static_cast<char>(c) : '?';
        }
    }
    return out;
}

void Say(const std::wstring& text)
{
    std::printf("%s\n", Narrow(text).c_str());
    std::fflush(stdout);
}

void Heading(const std::wstring& text)
{
    Say(L"");
    Say(L"== " + text);
}

std::wstring Quoted(const std::wstring& path)
{
    return L"\"" + path + L"\"";
}

void ListFolder(const std::wstring& folder, const std::wstring& indent)
{
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
    if (!search) {
        return;
    }
    do {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") {
            continue;
        }
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            Say(indent + name + L"\\");
            ListFolder(folder + L"\\" + name, indent + L"  ");
        } else {
            Say(indent + name);
        }
    } while (::FindNextFileW(search.Get(), &found));
}

void ShowBox(const wchar_t* who, const SeenMessageBox& box, const wchar_t* answer)
{
    Say(std::wstring(L"   ") + who + L" shows \"Pixvane Setup\": " + box.text);
    Say(std::wstring(L"   answered: ") + answer);
}

// Starts a copy of the product so that setup has a running instance to deal with.
void StartProduct(ChildProcess& product, const std::wstring& exe)
{
    product.Start(Quoted(exe));
    WaitUntil([] { return ::FindWindowW(nullptr, L"Pixvane 8 - untitled") != nullptr; }, 15000);
    Say(L"   started " + exe + L" (window \"Pixvane 8 - untitled\")");
}

// The product double's record of the window messages it was sent.
std::wstring ProductMessages()
{
    const std::string log = ReadTextFile(L"C:\\ProgramData\\Pixvn8Double\\messages.log");
    std::wstring lines;
    for (char c : log) {
        if (c != '\r') {
            lines += static_cast<wchar_t>(static_cast<unsigned char>(c));
        }
    }
    return lines;
}

void ReportLeftovers(const InstalledProduct& product)
{
    const auto leftovers = LeftoversOf(product);
    const auto lost = LostUserItemsOf(product);
    Say(L"   left of the installation: " + std::to_wstring(leftovers.size()) + L" item(s)");
    for (const auto& item : leftovers) {
        Say(L"     " + item);
    }
    Say(L"   user's own items lost: " + std::to_wstring(lost.size()));
    for (const auto& item : lost) {
        Say(L"     " + item);
    }
}

}  // namespace

int main()
{
    const std::wstring setup = PackagePath(L"setup.exe");
    Heading(L"The sample package, as the self-extracting package unpacks it");
    ListFolder(BuildPath(L"package"), L"   ");

    Heading(L"A Pixvane 8 installation laid down the way the installer makes one");
    InstalledProduct product = InstallSampleProduct();
    Say(L"   product folder " + product.layout.productFolder + L":");
    ListFolder(product.layout.productFolder, L"     ");
    Say(L"   Start-menu group " + product.groupFolder + L":");
    ListFolder(product.groupFolder, L"     ");
    Say(L"   registry entries of the product: " + std::to_wstring(product.registry.size()) +
        L", e.g. HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8 UninstallString = " +
        GetRegString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8",
                     L"UninstallString"));
    Say(L"   missing parts right after installing: " + std::to_wstring(MissingPartsOf(product).size()));

    const std::wstring productExe = product.layout.productFolder + L"\\Pixvn8.exe";
    ::DeleteFileW(L"C:\\ProgramData\\Pixvn8Double\\messages.log");

    Heading(L"setup.exe with no arguments: install mode, and one Pixvane is running");
    {
        ChildProcess running;
        StartProduct(running, productExe);
        ChildProcess run;
        run.Start(Quoted(setup));
        if (auto box = AnswerMessageBox(IDNO, kBoxWaitMs, run.Id())) {
            ShowBox(L"setup.exe", *box, L"No");
        }
        if (auto box = AnswerMessageBox(IDOK, kBoxWaitMs, run.Id())) {
            ShowBox(L"setup.exe", *box, L"OK");
        }
        Say(L"   setup.exe ended with " + std::to_wstring(run.Wait(kStageWaitMs)) + L"; Pixvane still running: " +
            (running.IsRunning() ? L"yes" : L"no"));

        Heading(L"setup.exe -install -s: install mode, closes the running copy without asking");
        ChildProcess quiet;
        quiet.Start(Quoted(setup) + L" -install -s");
        Say(L"   setup.exe ended with " + std::to_wstring(quiet.Wait(kStageWaitMs)) +
            L"; message boxes shown: " + (NoMessageBoxWithin(300) ? L"none" : L"some"));
        WaitUntil([&] { return !running.IsRunning(); }, 5000);
        Say(std::wstring(L"   Pixvane still running: ") + (running.IsRunning() ? L"yes" : L"no"));
        Say(L"   what the product heard:\n" + ProductMessages());
    }

    Heading(L"Removing Pixvane 8 from the list of installed programs, and declining");
    {
        ChildProcess list;
        list.Start(L"uninstaller.exe --remove \"Pixvane 8\"");
        if (auto box = AnswerMessageBox(IDNO, kBoxWaitMs)) {
            ShowBox(L"PxvUnInst.exe", *box, L"No");
        }
        list.Wait(kStageWaitMs);
        Say(L"   missing parts of the installation now: " + std::to_wstring(MissingPartsOf(product).size()));
    }

    Heading(L"Removing it again, this time with Yes, while Pixvane runs");
    {
        ChildProcess running;
        StartProduct(running, productExe);
        ClearProductCallsLog();
        ChildProcess list;
        list.Start(L"uninstaller.exe --remove \"Pixvane 8\"");
        if (auto box = AnswerMessageBox(IDYES, kBoxWaitMs)) {
            ShowBox(L"PxvUnInst.exe", *box, L"Yes");
        }
        list.Wait(kStageWaitMs);
        std::wstring secondStage;
        const bool ended = WaitForSecondStage(kStageWaitMs, &secondStage);
        Say(L"   second stage: " + secondStage + (ended ? L" (ended)" : L" (still running!)"));
        Say(std::wstring(L"   Pixvane still running: ") + (running.IsRunning() ? L"yes" : L"no"));
        Say(L"   the product was run for its own clean-up: " + ProductCallsLog());
    }
    Say(L"   before the restart:");
    ReportLeftovers(product);

    Heading(L"The next restart (wineboot -r) carries out what was left to it");
    SimulateRestart();
    ReportLeftovers(product);
    Say(std::wstring(L"   product folder still there: ") +
        (FolderExists(product.layout.productFolder) ? L"yes (it holds the user's own file)" : L"no"));

    ClearInstallation(product);
    Heading(L"Demo finished");
    return 0;
}
