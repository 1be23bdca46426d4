#include "support/installed_product.h"

#include "install/install_state.h"
#include "install/registration.h"
#include "support/test_env.h"
#include "system/path_text.h"
#include "system/services.h"
#include "uninstall/install_log_text.h"

#include <objbase.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr wchar_t kShortcut[] = L"Pixvane 8.lnk";
constexpr wchar_t kHelpShortcut[] = L"Pixvane 8 Help.lnk";
constexpr wchar_t kSecondUserSid[] = L"S-1-5-21-1000-1000-1000-1001";
constexpr wchar_t kSecondUserProfile[] = L"C:\\users\\pxother";
constexpr wchar_t kFileExts[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
constexpr wchar_t kShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
constexpr wchar_t kThumbnailProviderShellEx[] = L".pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
constexpr wchar_t kAppPathsKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe";
constexpr size_t kBulkFilesPerFolder = 200;

// The extensions the product took over, and the program each had before.
struct TakenAssociation {
    const wchar_t* extension;
    const wchar_t* previous;  // empty: nothing to give back
};
const TakenAssociation kTakenAssociations[] = {
    {L".jpg", L"mspaint.exe"},
    {L".png", L""},
    {L".pvi", L""},
};
// An extension whose choice the user made for another program.
constexpr wchar_t kUsersOwnExtension[] = L".gif";
constexpr wchar_t kUsersOwnProgram[] = L"otherview.exe";

std::wstring Widen(const std::string& text)
{
    std::wstring wide;
    for (char c : text) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    return wide;
}

std::string Narrow(const std::wstring& text)
{
    std::string narrow;
    for (wchar_t c : text) {
        narrow += static_cast<char>(c);
    }
    return narrow;
}

std::wstring Trim(std::wstring text)
{
    text = std::wstring(TrimLogLineEnd(text));
    const size_t first = text.find_first_not_of(L" \t");
    return first == std::wstring::npos ? std::wstring() : text.substr(first);
}

std::wstring ShellFolder(int csidl)
{
    wchar_t path[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path);
    return path;
}

const wchar_t* RootName(HKEY root)
{
    if (root == HKEY_LOCAL_MACHINE) {
        return L"HKLM";
    }
    if (root == HKEY_CURRENT_USER) {
        return L"HKCU";
    }
    if (root == HKEY_CLASSES_ROOT) {
        return L"HKCR";
    }
    if (root == HKEY_USERS) {
        return L"HKU";
    }
    return L"?";
}

// Builds the installation the installer would leave behind; every step
// records what it made, so the checks afterwards know what to look for.
class Installer {
public:
    explicit Installer(InstalledProduct& product) : m_product(product), m_folder(product.layout.productFolder) {}

    void DeployPackageList()
    {
        const std::string list = ReadTextFile(PackagePath(L"PxvUnInst.log"));
        MakeFolders(m_folder);  // the folders above it are not the installation's
        m_product.folders.push_back(m_folder);
        size_t start = 0;
        while (start < list.size()) {
            size_t end = list.find('\n', start);
            end = (end == std::string::npos) ? list.size() : end;
            DeployLine(std::wstring(TrimLogLineEnd(Widen(list.substr(start, end - start)))));
            start = end + 1;
        }
        m_log = list;
    }

    // The product writes its settings file on its first run.
    void RunProductOnce() { MakeFile(m_folder + L"\\Pixvn8.cfg", "[Capture]\r\nDelay=0\r\n"); }

    // Installed files are not all plain: the removal must cope with these.
    void MarkSomeFilesSpecial()
    {
        ::SetFileAttributesW((m_folder + L"\\Pixvn8Man.chm").c_str(), FILE_ATTRIBUTE_READONLY);
        ::SetFileAttributesW((m_folder + L"\\HomePage.url").c_str(), FILE_ATTRIBUTE_HIDDEN);
        ::SetFileAttributesW((m_folder + L"\\Languages\\Deutsch.lng").c_str(),
                             FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    }

    void AddBulkFiles(size_t count)
    {
        if (count == 0) {
            return;
        }
        std::string lines = "Make Dir: Data\r\n";
        MakeFolder(m_folder + L"\\Data");
        for (size_t i = 0; i < count; ++i) {
            wchar_t set[16] = {};
            std::swprintf(set, 16, L"Data\\Set%02u", static_cast<unsigned>(i / kBulkFilesPerFolder));
            if (i % kBulkFilesPerFolder == 0) {
                lines += "Make Dir: " + Narrow(set) + "\r\n";
                MakeFolder(m_folder + L"\\" + set);
            }
            wchar_t name[48] = {};
            std::swprintf(name, 48, L"%ls\\capture%04u.dat", set, static_cast<unsigned>(i));
            MakeFile(m_folder + L"\\" + name, "bulk");
            lines += "File Copy: " + Narrow(name) + "\r\n";
        }
        m_log += lines;
    }

    // The installed log: the package list as it came, then what the
    // installer appends line by line.
    void WriteInstalledLog()
    {
        const std::wstring path = m_folder + L"\\PxvUnInst.log";
        WriteTextFile(path, m_log);
        m_product.files.push_back(path);
        AppendLineToFile(path.c_str(), L"");
        AppendLineToFile(path.c_str(), (L"Made Dir: " + m_product.groupFolder).c_str());
        for (const std::wstring& link : m_links) {
            AppendLineToFile(path.c_str(), (L"Shell Link: " + link).c_str());
        }
    }

    // The log of an earlier version's installer. Those installers put their
    // list in place through a line of its own, so it names itself.
    void WriteOlderInstallLog()
    {
        const std::wstring oldLink = ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\Pixvane 7.lnk";
        MakeFile(m_folder + L"\\Pixvn7.exe", "old product");
        MakeLink(m_folder + L"\\Pixvn7.exe", oldLink, L"");
        const std::wstring path = m_folder + L"\\install.log";
        MakeFile(path, "File Copy: Pixvn7.exe\r\nFile Copy: install.log\r\nShell Link: " + Narrow(oldLink) + "\r\n");
    }

    void MakeStartMenuGroup()
    {
        const std::wstring programs = ShellFolder(CSIDL_COMMON_PROGRAMS);
        const std::wstring& group = m_product.layout.groupName;
        for (size_t i = 1; i < group.size(); ++i) {
            if (group[i] == L'\\') {
                MakeFolder(programs + L"\\" + group.substr(0, i));
            }
        }
        m_product.groupFolder = programs + L"\\" + group;
        MakeFolder(m_product.groupFolder);
        const std::wstring exe = m_folder + L"\\" + kProductExe;
        const std::wstring pictures = ShellFolder(CSIDL_MYPICTURES);
        LogLink(exe, m_product.groupFolder + L"\\" + kShortcut, pictures);
        LogLink(m_folder + L"\\Pixvn8Man.chm", m_product.groupFolder + L"\\" + kHelpShortcut, L"");
        LogLink(exe, ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\" + kShortcut, pictures);
        LogLink(exe, ShellFolder(CSIDL_COMMON_STARTUP) + L"\\" + kShortcut, pictures);
    }

    // The installer's own registration, on the system the layout names.
    void Register()
    {
        const InstallState realState = g_installState;
        const OSVERSIONINFOEXW realVersion = g_osVersion;
        if (!m_product.layout.vistaOrLater) {
            g_osVersion.dwMajorVersion = 5;
            g_osVersion.dwMinorVersion = 1;
        }
        g_installState.destinationFolder = m_folder;
        g_installState.packageVersion = {8, 1, 5, 0};
        RegisterProduct();
        g_osVersion = realVersion;
        g_installState = realState;
        // regsvr32 is not waited for by registration; the handler must be in place.
        WaitUntil([] { return RegKeyExists(HKEY_CLASSES_ROOT, kThumbnailProviderShellEx); }, 20000);
        WaitForNoProcesses(L"regsvr32", L".exe", 20000);
    }

    // What the product writes for itself on its runs: settings, its document
    // class and the browser helper's host entry.
    void WriteProductSettings()
    {
        SetRegString(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"LastFolder", L"C:\\captures");
        SetRegDword(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"Delay", 3);
        SetRegString(HKEY_CLASSES_ROOT, L"PV8.Document\\DefaultIcon", nullptr, m_folder + L"\\Pixvn8.exe,1");
        for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
            SetRegString(root, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff", nullptr,
                         m_folder + L"\\pixvff.json");
        }
    }

    void TakeOverAssociations()
    {
        const std::wstring fileExts = kFileExts;
        for (const TakenAssociation& taken : kTakenAssociations) {
            const std::wstring key = fileExts + taken.extension;
            if (m_product.layout.vistaOrLater) {
                SetRegString(HKEY_CURRENT_USER, key + L"\\UserChoice", L"Progid", L"Applications\\Pixvn8.exe");
            } else {
                SetRegString(HKEY_CURRENT_USER, key, L"Application", kProductExe);
            }
            if (*taken.previous) {
                SetRegString(HKEY_CURRENT_USER, key, L"PixvnOld", taken.previous);
            }
        }
        const std::wstring own = fileExts + kUsersOwnExtension;
        if (m_product.layout.vistaOrLater) {
            SetRegString(HKEY_CURRENT_USER, own + L"\\UserChoice", L"Progid", kUsersOwnProgram);
            m_product.userRegistry.push_back({HKEY_CURRENT_USER, own + L"\\UserChoice", L"Progid"});
        } else {
            SetRegString(HKEY_CURRENT_USER, own, L"Application", kUsersOwnProgram);
            m_product.userRegistry.push_back({HKEY_CURRENT_USER, own, L"Application"});
        }
    }

    // Another user of the machine: the product's keys in that user's hive and
    // shortcuts in that user's own folders, which no log names.
    void AddSecondUser()
    {
        m_product.secondUserKey = kSecondUserSid;
        const std::wstring user = std::wstring(kSecondUserSid) + L"\\";
        const std::wstring profile = kSecondUserProfile;
        const std::wstring desktop = profile + L"\\Desktop";
        const std::wstring programs = profile + L"\\Start Menu\\Programs";
        const std::wstring startup = programs + L"\\Startup";
        for (const std::wstring& folder : {desktop, programs, startup}) {
            MakeFolders(folder);
        }
        SetRegString(HKEY_USERS, user + kShellFolders, L"Desktop", desktop);
        SetRegString(HKEY_USERS, user + kShellFolders, L"Programs", programs);
        SetRegString(HKEY_USERS, user + kShellFolders, L"Startup", startup);
        m_product.userRegistry.push_back({HKEY_USERS, user + kShellFolders, L"Programs"});

        const std::wstring exe = m_folder + L"\\" + kProductExe;
        MakeLink(exe, desktop + L"\\" + kShortcut, L"");
        MakeLink(exe, startup + L"\\" + kShortcut, L"");
        MakeFolder(programs + L"\\Pixvane 8");
        MakeLink(exe, programs + L"\\Pixvane 8\\" + kShortcut, L"");
        MakeLink(m_folder + L"\\Pixvn8Man.chm", programs + L"\\Pixvane 8\\" + kHelpShortcut, L"");

        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"LastFolder", desktop);
        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe\\shell\\open\\command",
                     nullptr, L"\"" + exe + L"\" \"%1\"");
        m_product.registry.push_back({HKEY_USERS, user + L"SOFTWARE\\Quorvex", std::nullopt});
        m_product.registry.push_back({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe", std::nullopt});

        // That user's own things.
        MakeUserFile(desktop + L"\\Holiday notes.txt");
        MakeUserFile(programs + L"\\Other Tool.txt");
        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Other Maker\\Other Tool", L"Window", L"max");
        m_product.userRegistry.push_back({HKEY_USERS, user + L"SOFTWARE\\Other Maker\\Other Tool", L"Window"});
    }

    void AddUserFileToProductFolder() { MakeUserFile(m_folder + L"\\My capture notes.txt"); }

private:
    void DeployLine(const std::wstring& line)
    {
        static const std::wstring makeDir = L"Make Dir: ";
        if (line.rfind(makeDir, 0) == 0) {
            MakeFolder(m_folder + L"\\" + line.substr(makeDir.size()));
            return;
        }
        // A 64-bit build outside a portable installation takes plain copies and
        // system-supplied libraries (which the test system does not have).
        for (const std::wstring prefix : {L"File Copy: ", L"File Copy ind: "}) {
            if (line.rfind(prefix, 0) == 0) {
                CopyFromPackage(line.substr(prefix.size()));
                return;
            }
        }
    }

    void CopyFromPackage(const std::wstring& body)
    {
        const size_t arrow = body.find(L'>');
        if (arrow != std::wstring::npos) {
            CopyOne(PackagePath(Trim(body.substr(0, arrow))), m_folder + L"\\" + Trim(body.substr(arrow + 1)));
            return;
        }
        const std::wstring subfolder = ParentFolder(body);
        WIN32_FIND_DATAW found = {};
        UniqueFindHandle search(::FindFirstFileW(PackagePath(body).c_str(), &found));
        if (!search) {
            return;
        }
        do {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
                const std::wstring relative = subfolder.empty() ? found.cFileName : subfolder + L"\\" + found.cFileName;
                CopyOne(PackagePath(relative), m_folder + L"\\" + relative);
            }
        } while (::FindNextFileW(search.Get(), &found));
    }

    void CopyOne(const std::wstring& from, const std::wstring& to)
    {
        if (::CopyFileW(from.c_str(), to.c_str(), FALSE)) {
            m_product.files.push_back(to);
        }
    }

    void MakeFolder(const std::wstring& folder)
    {
        ::CreateDirectoryW(folder.c_str(), nullptr);
        m_product.folders.push_back(folder);
    }

    void MakeFile(const std::wstring& path, const std::string& bytes)
    {
        WriteTextFile(path, bytes);
        m_product.files.push_back(path);
    }

    void MakeUserFile(const std::wstring& path)
    {
        WriteTextFile(path, "the user's own");
        m_product.userFiles.push_back(path);
    }

    void MakeLink(const std::wstring& target, const std::wstring& link, const std::wstring& workingFolder)
    {
        if (CreateShellLink(target, link, workingFolder)) {
            m_product.files.push_back(link);
        }
    }

    void LogLink(const std::wstring& target, const std::wstring& link, const std::wstring& workingFolder)
    {
        MakeLink(target, link, workingFolder);
        m_links.push_back(link);
    }

    InstalledProduct& m_product;
    const std::wstring m_folder;
    std::string m_log;
    std::vector<std::wstring> m_links;
};

// The registry entries of the installation that do not depend on what the
// steps above recorded.
void DescribeFixedRegistry(InstalledProduct& product)
{
    product.thumbnailHandlerClassKey = product.layout.vistaOrLater ? L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"
                                             : L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}";
    product.registry = {
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex\\Pixvane 8", std::nullopt},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvex", std::nullopt},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8"},
        {HKEY_LOCAL_MACHINE, kAppPathsKey, std::nullopt},
        {HKEY_LOCAL_MACHINE, kUninstallKey, std::nullopt},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff", std::nullopt},
        {HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex", std::nullopt},
        {HKEY_CURRENT_USER, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff", std::nullopt},
        {HKEY_CLASSES_ROOT, L"Pixvane.8", std::nullopt},
        {HKEY_CLASSES_ROOT, L".pv8lic", std::nullopt},
        {HKEY_CLASSES_ROOT, L"Pixvane8.License", std::nullopt},
        {HKEY_CLASSES_ROOT, L"PV8.Document", std::nullopt},
        {HKEY_CLASSES_ROOT, L"Applications\\Pixvn8.exe", std::nullopt},
        {HKEY_CLASSES_ROOT, product.thumbnailHandlerClassKey, std::nullopt},
        {HKEY_CLASSES_ROOT, kThumbnailProviderShellEx, std::nullopt},
    };
}

// A removed association is not a leftover; one still naming the product is,
// and so is one that did not get its former program back.
void AddAssociationLeftovers(const InstalledProduct& product, std::vector<std::wstring>& leftovers)
{
    for (const TakenAssociation& taken : kTakenAssociations) {
        const std::wstring key = std::wstring(kFileExts) + taken.extension;
        if (RegValueExists(HKEY_CURRENT_USER, key, L"PixvnOld")) {
            leftovers.push_back(L"HKCU\\" + key + L" [PixvnOld]");
        }
        if (product.layout.vistaOrLater) {
            if (RegKeyExists(HKEY_CURRENT_USER, key + L"\\UserChoice")) {
                leftovers.push_back(L"HKCU\\" + key + L"\\UserChoice");
            }
            continue;
        }
        const std::wstring application = GetRegString(HKEY_CURRENT_USER, key, L"Application");
        if (application != taken.previous) {
            leftovers.push_back(L"HKCU\\" + key + L" [Application] = \"" + application + L"\"");
        }
    }
}

bool HoldsUserFile(const InstalledProduct& product, const std::wstring& folder)
{
    return std::any_of(product.userFiles.begin(), product.userFiles.end(), [&](const std::wstring& file) {
        return file.size() > folder.size() && file.compare(0, folder.size(), folder) == 0 &&
               file[folder.size()] == L'\\' && FileExists(file);
    });
}

}  // namespace

std::wstring ProductFolderArgument(const InstalledProduct& product)
{
    return product.layout.productFolder + L"\\";
}

bool CreateShellLink(const std::wstring& target, const std::wstring& linkPath, const std::wstring& workingFolder)
{
    // Apartment COM for this thread, as the installer has it; a second call
    // only counts up.
    const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (FAILED(com) && com != RPC_E_CHANGED_MODE) {
        return false;
    }
    Microsoft::WRL::ComPtr<IShellLinkW> link;
    Microsoft::WRL::ComPtr<IPersistFile> file;
    if (FAILED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link))) ||
        FAILED(link.As(&file))) {
        return false;
    }
    link->SetPath(target.c_str());
    link->SetDescription(L"");
    if (!workingFolder.empty()) {
        link->SetWorkingDirectory(workingFolder.c_str());
    }
    return SUCCEEDED(file->Save(linkPath.c_str(), TRUE));
}

InstalledProduct InstallSampleProduct(const InstallationLayout& layout)
{
    InstalledProduct product;
    product.layout = layout;
    DescribeFixedRegistry(product);
    ClearInstallation(product);

    Installer installer(product);
    installer.DeployPackageList();
    installer.RunProductOnce();
    installer.MarkSomeFilesSpecial();
    installer.AddBulkFiles(layout.bulkLoggedFiles);
    installer.WriteOlderInstallLog();
    installer.MakeStartMenuGroup();
    installer.WriteInstalledLog();
    installer.Register();
    installer.WriteProductSettings();
    installer.TakeOverAssociations();
    if (layout.secondUser) {
        installer.AddSecondUser();
    }
    if (layout.userFileInProductFolder) {
        installer.AddUserFileToProductFolder();
    }
    return product;
}

void ClearInstallation(const InstalledProduct& product)
{
    RemoveTree(product.layout.productFolder);
    // The group and its maker folder, whatever the group was called.
    const std::wstring programs = ShellFolder(CSIDL_COMMON_PROGRAMS);
    RemoveTree(programs + L"\\" + product.layout.groupName);
    RemoveTree(programs + L"\\Quorvex");
    RemoveTree(programs + L"\\Pixvane 8");
    for (int csidl : {CSIDL_COMMON_DESKTOPDIRECTORY, CSIDL_COMMON_STARTUP}) {
        RemoveTree(ShellFolder(csidl) + L"\\" + kShortcut);
    }
    RemoveTree(ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\Pixvane 7.lnk");
    RemoveTree(kSecondUserProfile);

    for (const RegistryItem& item : product.registry) {
        DeleteRegTree(item.root, item.key);
    }
    DeleteRegTree(HKEY_USERS, kSecondUserSid);
    for (const TakenAssociation& taken : kTakenAssociations) {
        DeleteRegTree(HKEY_CURRENT_USER, std::wstring(kFileExts) + taken.extension);
    }
    DeleteRegTree(HKEY_CURRENT_USER, std::wstring(kFileExts) + kUsersOwnExtension);
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        UniqueRegKey key;
        if (::RegOpenKeyExW(root, L"SOFTWARE\\RegisteredApplications", 0, KEY_SET_VALUE, key.Put()) ==
            ERROR_SUCCESS) {
            ::RegDeleteValueW(key.Get(), L"Pixvane.8");
        }
    }
}

std::vector<std::wstring> LeftoversOf(const InstalledProduct& product)
{
    std::vector<std::wstring> leftovers;
    for (const std::wstring& file : product.files) {
        if (::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) {
            leftovers.push_back(file);
        }
    }
    for (const std::wstring& folder : product.folders) {
        if (FolderExists(folder) && !HoldsUserFile(product, folder)) {
            leftovers.push_back(folder + L"\\");
        }
    }
    for (const RegistryItem& item : product.registry) {
        if (Exists(item)) {
            leftovers.push_back(Describe(item));
        }
    }
    AddAssociationLeftovers(product, leftovers);
    return leftovers;
}

std::vector<std::wstring> MissingPartsOf(const InstalledProduct& product)
{
    std::vector<std::wstring> missing;
    for (const std::wstring& file : product.files) {
        if (!FileExists(file)) {
            missing.push_back(file);
        }
    }
    for (const std::wstring& folder : product.folders) {
        if (!FolderExists(folder)) {
            missing.push_back(folder + L"\\");
        }
    }
    for (const RegistryItem& item : product.registry) {
        if (!Exists(item)) {
            missing.push_back(Describe(item));
        }
    }
    for (const TakenAssociation& taken : kTakenAssociations) {
        const std::wstring key = std::wstring(kFileExts) + taken.extension;
        const bool taker = product.layout.vistaOrLater
                               ? GetRegString(HKEY_CURRENT_USER, key + L"\\UserChoice", L"Progid") ==
                                     L"Applications\\Pixvn8.exe"
                               : GetRegString(HKEY_CURRENT_USER, key, L"Application") == kProductExe;
        if (!taker || GetRegString(HKEY_CURRENT_USER, key, L"PixvnOld") != taken.previous) {
            missing.push_back(L"association " + key);
        }
    }
    return missing;
}

std::vector<std::wstring> LostUserItemsOf(const InstalledProduct& product)
{
    std::vector<std::wstring> lost;
    for (const std::wstring& file : product.userFiles) {
        if (ReadTextFile(file) != "the user's own") {
            lost.push_back(file);
        }
    }
    for (const RegistryItem& item : product.userRegistry) {
        if (!Exists(item)) {
            lost.push_back(Describe(item));
        }
    }
    const std::wstring own = std::wstring(kFileExts) + kUsersOwnExtension;
    const std::wstring choice = product.layout.vistaOrLater
                                    ? GetRegString(HKEY_CURRENT_USER, own + L"\\UserChoice", L"Progid")
                                    : GetRegString(HKEY_CURRENT_USER, own, L"Application");
    if (choice != kUsersOwnProgram) {
        lost.push_back(L"association " + own + L" = \"" + choice + L"\"");
    }
    return lost;
}

std::wstring Describe(const RegistryItem& item)
{
    std::wstring text = std::wstring(RootName(item.root)) + L"\\" + item.key;
    if (item.value) {
        text += L" [" + *item.value + L"]";
    }
    return text;
}

bool Exists(const RegistryItem& item)
{
    return item.value ? RegValueExists(item.root, item.key, item.value->c_str()) : RegKeyExists(item.root, item.key);
}
