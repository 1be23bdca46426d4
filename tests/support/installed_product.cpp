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

namespace {

constexpr wchar_t kShortcut[] = L"Pixvane 8.lnk";
constexpr wchar_t kSecondUserSid[] = L"S-1-5-21-1000-1000-1000-1001";
constexpr wchar_t kSecondUserProfile[] = L"C:\\users\\pxother";
constexpr wchar_t kFileExts[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8";
constexpr wchar_t kProductProgId[] = L"Applications\\Pixvn8.exe";
constexpr wchar_t kThumbnailProviderShellEx[] = L".pvi\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";

// The extensions the product took over, and the program each had before.
struct TakenAssociation {
    const wchar_t* extension;
    const wchar_t* previous;  // empty: nothing to give back
};
const TakenAssociation kTakenAssociations[] = {{L".jpg", L"mspaint.exe"}, {L".png", L""}, {L".pvi", L""}};
// An extension whose choice the user made for another program.
constexpr wchar_t kUsersOwnExtension[] = L".gif";
constexpr wchar_t kUsersOwnProgram[] = L"otherview.exe";

std::wstring ShellFolder(int csidl)
{
    return GetSpecialFolderPath(csidl);
}

std::wstring Key(const TakenAssociation& taken)
{
    return kFileExts + std::wstring(taken.extension);
}

// Builds the installation the installer would leave behind; every step
// records what it made, so the checks afterwards know what to look for.
class Installer {
public:
    explicit Installer(InstalledProduct& product) : m_product(product), m_folder(product.layout.productFolder) {}

    // Plain copies and system-supplied libraries, as a 64-bit build outside
    // a portable installation takes them (the test system has no such library).
    void DeployPackageList()
    {
        MakeFolders(m_folder);  // the folders above it are not the installation's
        m_product.folders.push_back(m_folder);
        m_log = ReadTextFile(PackagePath(L"PxvUnInst.log"));
        std::wstring_view rest;
        for (size_t start = 0, end = 0; start < m_log.size(); start = end + 1) {
            end = std::min(m_log.find('\n', start), m_log.size());
            const std::string raw = m_log.substr(start, end - start);
            const std::wstring line(TrimLogLineEnd(std::wstring(raw.begin(), raw.end())));
            if (MatchLogPrefix(line, kMakeDirPrefix, rest)) {
                MakeFolder(m_folder + L"\\" + std::wstring(rest));
            } else if (MatchLogPrefix(line, kFileCopyPrefix, rest) || MatchLogPrefix(line, kFileCopyIndPrefix, rest)) {
                CopyFromPackage(std::wstring(rest));
            }
        }
        // The product writes its settings on its first run; installed files
        // are not all plain, and the removal must cope with that.
        MakeFile(m_folder + L"\\Pixvn8.cfg", "[Capture]\r\nDelay=0\r\n");
        ::SetFileAttributesW((m_folder + L"\\Pixvn8Man.chm").c_str(), FILE_ATTRIBUTE_READONLY);
        ::SetFileAttributesW((m_folder + L"\\Languages\\Deutsch.lng").c_str(),
                             FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
        for (size_t i = 0; i < m_product.layout.bulkLoggedFiles; ++i) {
            const std::wstring set = L"Data" + std::to_wstring(i / 200);
            if (i % 200 == 0) {
                MakeFolder(m_folder + L"\\" + set);
                m_log += "Make Dir: " + std::string(set.begin(), set.end()) + "\r\n";
            }
            const std::wstring name = set + L"\\capture" + std::to_wstring(i) + L".dat";
            MakeFile(m_folder + L"\\" + name, "bulk");
            m_log += "File Copy: " + std::string(name.begin(), name.end()) + "\r\n";
        }
    }

    // An earlier version's log, which names itself; then the group and
    // shortcuts, and the installed log: the package list as it came and
    // what the installer appends line by line.
    void WriteLogsAndShortcuts()
    {
        const std::wstring desktop = ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY);
        MakeFile(m_folder + L"\\Pixvn7.exe", "old product");
        MakeLink(m_folder + L"\\Pixvn7.exe", desktop + L"\\Pixvane 7.lnk");
        MakeFile(m_folder + L"\\install.log", "File Copy: Pixvn7.exe\r\nFile Copy: install.log\r\nShell Link: " +
                                                  Narrow(desktop) + "\\Pixvane 7.lnk\r\n");

        const std::wstring programs = ShellFolder(CSIDL_COMMON_PROGRAMS);
        m_product.groupFolder = programs + L"\\" + m_product.layout.groupName;
        for (std::wstring folder = m_product.groupFolder; folder.size() > programs.size(); folder = ParentFolder(folder)) {
            m_product.folders.push_back(folder);
        }
        MakeFolders(m_product.groupFolder);
        const std::wstring exe = m_folder + L"\\Pixvn8.exe";
        std::vector<std::wstring> logged = {m_product.groupFolder + L"\\" + kShortcut,
                                            m_product.groupFolder + L"\\Pixvane 8 Help.lnk", desktop + L"\\" + kShortcut};
        for (const std::wstring& link : logged) {
            MakeLink(exe, link);
        }
        // One the log does not name: found by the product's own name.
        MakeLink(exe, ShellFolder(CSIDL_COMMON_STARTUP) + L"\\" + kShortcut);

        const std::wstring log = m_folder + L"\\PxvUnInst.log";
        MakeFile(log, m_log);
        AppendLineToFile(log.c_str(), L"");
        AppendLineToFile(log.c_str(), (L"Made Dir: " + m_product.groupFolder).c_str());
        for (const std::wstring& link : logged) {
            AppendLineToFile(log.c_str(), (L"Shell Link: " + link).c_str());
        }
    }

    // The installer's own registration, on the system the layout names, then
    // what the product writes for itself on its runs.
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

        for (const auto& [root, key] : {std::pair{HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings"},
                                        {HKEY_CLASSES_ROOT, L"PV8.Document\\DefaultIcon"},
                                        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff"},
                                        {HKEY_CURRENT_USER, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff"}}) {
            SetRegString(root, key, nullptr, m_folder + L"\\Pixvn8.exe");
        }
        SetRegString(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvex", L"LastProduct", L"Pixvane 8");  // values only, above
    }

    // New systems: the product's "UserChoice"; old ones: the "Application"
    // value, with the former program kept in "PixvnOld". The user's own
    // choice, and on old systems a stale "PixvnOld" beside it, stay.
    void TakeOverAssociations()
    {
        const bool vista = m_product.layout.vistaOrLater;
        for (const TakenAssociation& taken : kTakenAssociations) {
            SetRegString(HKEY_CURRENT_USER, Key(taken) + (vista ? L"\\UserChoice" : L""),
                         vista ? L"Progid" : L"Application", vista ? kProductProgId : L"Pixvn8.exe");
            if (*taken.previous) {
                SetRegString(HKEY_CURRENT_USER, Key(taken), L"PixvnOld", taken.previous);
            }
        }
        const std::wstring own = kFileExts + std::wstring(kUsersOwnExtension);
        const RegistryItem choice{HKEY_CURRENT_USER, own + (vista ? L"\\UserChoice" : L""),
                                  vista ? L"Progid" : L"Application"};
        SetRegString(choice.root, choice.key, choice.value->c_str(), kUsersOwnProgram);
        m_product.userRegistry.push_back(choice);
        if (!vista) {
            SetRegString(HKEY_CURRENT_USER, own, L"PixvnOld", L"mspaint.exe");
            m_product.userRegistry.push_back({HKEY_CURRENT_USER, own, L"PixvnOld"});
        }
    }

    // Another user of the machine: the product's keys in that user's hive and
    // shortcuts in that user's own folders, which no log names.
    void AddSecondUser()
    {
        const std::wstring user = std::wstring(kSecondUserSid) + L"\\";
        const std::wstring shellFolders = user + L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
        const std::wstring profile = kSecondUserProfile;
        const std::wstring programs = profile + L"\\Start Menu\\Programs";
        m_product.secondUserKey = kSecondUserSid;
        const std::wstring folders[][2] = {
            {L"Desktop", profile + L"\\Desktop"}, {L"Startup", programs + L"\\Startup"}, {L"Programs", programs}};
        for (const auto& [name, folder] : folders) {
            MakeFolders(folder);
            SetRegString(HKEY_USERS, shellFolders, name.c_str(), folder);
            if (folder != programs) {
                MakeLink(m_folder + L"\\Pixvn8.exe", folder + L"\\" + kShortcut);
            }
        }
        MakeFolders(programs + L"\\Pixvane 8");
        MakeLink(m_folder + L"\\Pixvn8.exe", programs + L"\\Pixvane 8\\" + kShortcut);
        MakeLink(m_folder + L"\\Pixvn8Man.chm", programs + L"\\Pixvane 8\\Pixvane 8 Help.lnk");
        ::SetFileAttributesW((programs + L"\\Pixvane 8\\" + kShortcut).c_str(), FILE_ATTRIBUTE_READONLY);
        m_product.folders.push_back(programs + L"\\Pixvane 8");
        m_product.userRegistry.push_back({HKEY_USERS, shellFolders, L"Programs"});

        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"LastFolder", profile);
        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe\\shell\\open\\command",
                     nullptr, L"Pixvn8.exe");
        m_product.registry.push_back({HKEY_USERS, user + L"SOFTWARE\\Quorvex", std::nullopt});
        m_product.registry.push_back({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe", std::nullopt});

        // That user's own things.
        MakeUserFile(profile + L"\\Desktop\\Holiday notes.txt");
        MakeUserFile(programs + L"\\Other Tool.txt");
        SetRegString(HKEY_USERS, user + L"SOFTWARE\\Other Maker\\Other Tool", L"Window", L"max");
        m_product.userRegistry.push_back({HKEY_USERS, user + L"SOFTWARE\\Other Maker\\Other Tool", L"Window"});
    }

    void MakeUserFile(const std::wstring& path)
    {
        WriteTextFile(path, "the user's own");
        m_product.userFiles.push_back(path);
    }

private:
    static std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

    void CopyFromPackage(const std::wstring& body)
    {
        const size_t arrow = body.find(L" > ");
        if (arrow != std::wstring::npos) {
            CopyOne(body.substr(0, arrow), body.substr(arrow + 3));
            return;
        }
        const std::wstring subfolder = ParentFolder(L"\\" + body);
        WIN32_FIND_DATAW found = {};
        UniqueFindHandle search(::FindFirstFileW(PackagePath(body).c_str(), &found));
        for (bool more = search.IsValid(); more; more = ::FindNextFileW(search.Get(), &found)) {
            const std::wstring relative = subfolder.empty() ? found.cFileName : subfolder.substr(1) + L"\\" + found.cFileName;
            CopyOne(relative, relative);
        }
    }

    void CopyOne(const std::wstring& from, const std::wstring& to)
    {
        if (::CopyFileW(PackagePath(from).c_str(), (m_folder + L"\\" + to).c_str(), FALSE)) {
            m_product.files.push_back(m_folder + L"\\" + to);
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

    void MakeLink(const std::wstring& target, const std::wstring& link)
    {
        if (CreateShellLink(target, link, L"")) {
            m_product.files.push_back(link);
        }
    }

    InstalledProduct& m_product;
    const std::wstring m_folder;
    std::string m_log;
};

// What the installation writes to the registry (keys with a command below
// them, or single values) and what registering the thumbnail handler adds.
void DescribeRegistry(InstalledProduct& product)
{
    const HKEY hklm = HKEY_LOCAL_MACHINE;
    product.thumbnailHandlerClassKey = product.layout.vistaOrLater ? L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E401}"
                                                                   : L"CLSID\\{5B1E4F6A-8C2D-4E31-9A7B-2F0C61D8E402}";
    product.registry = {
        {hklm, L"SOFTWARE\\Quorvex", std::nullopt},
        {hklm, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8"},
        {hklm, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe", std::nullopt},
        {hklm, kUninstallKey, std::nullopt},
        {hklm, L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\pixvff", std::nullopt},
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

bool HoldsUserFile(const InstalledProduct& product, const std::wstring& folder)
{
    return std::any_of(product.userFiles.begin(), product.userFiles.end(), [&](const std::wstring& file) {
        return file.starts_with(folder + L"\\") && FileExists(file);
    });
}

// The parts of the installation that are there (present) or gone. A folder
// that keeps a user's file is not a leftover; an association is one while
// it names the product or keeps "PixvnOld", and installed only with both.
std::vector<std::wstring> PartsThatAre(const InstalledProduct& product, bool present)
{
    std::vector<std::wstring> parts;
    const auto add = [&](bool there, const std::wstring& text) {
        if (there == present) {
            parts.push_back(text);
        }
    };
    for (const std::wstring& file : product.files) {
        add(::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES, file);
    }
    for (const std::wstring& folder : product.folders) {
        add(FolderExists(folder) && !(present && HoldsUserFile(product, folder)), folder + L"\\");
    }
    for (const RegistryItem& item : product.registry) {
        add(Exists(item), Describe(item));
    }
    const bool vista = product.layout.vistaOrLater;
    for (const TakenAssociation& taken : kTakenAssociations) {
        const std::wstring application = GetRegString(HKEY_CURRENT_USER, Key(taken), L"Application");
        const std::wstring kept = GetRegString(HKEY_CURRENT_USER, Key(taken), L"PixvnOld");
        const bool named = vista ? RegKeyExists(HKEY_CURRENT_USER, Key(taken) + L"\\UserChoice")
                                 : application == L"Pixvn8.exe";
        const bool keeps = RegValueExists(HKEY_CURRENT_USER, Key(taken), L"PixvnOld");
        add(present ? keeps || (vista ? named : application != taken.previous) : named && kept == taken.previous,
            L"association " + Key(taken));
    }
    return parts;
}

}  // namespace

std::wstring ProductFolderArgument(const InstalledProduct& product)
{
    return product.layout.productFolder + L"\\";
}

bool CreateShellLink(const std::wstring& target, const std::wstring& linkPath, const std::wstring& workingFolder)
{
    // Apartment COM for this thread, as the installer has it; a second call only counts up.
    const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Microsoft::WRL::ComPtr<IShellLinkW> link;
    Microsoft::WRL::ComPtr<IPersistFile> file;
    if ((FAILED(com) && com != RPC_E_CHANGED_MODE) ||
        FAILED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link))) ||
        FAILED(link.As(&file))) {
        return false;
    }
    link->SetPath(target.c_str());
    if (!workingFolder.empty()) {
        link->SetWorkingDirectory(workingFolder.c_str());
    }
    return SUCCEEDED(file->Save(linkPath.c_str(), TRUE));
}

InstalledProduct InstallSampleProduct(const InstallationLayout& layout)
{
    InstalledProduct product;
    product.layout = layout;
    DescribeRegistry(product);
    ClearInstallation(product);

    Installer installer(product);
    installer.DeployPackageList();
    installer.WriteLogsAndShortcuts();
    installer.Register();
    installer.TakeOverAssociations();
    if (layout.secondUser) {
        installer.AddSecondUser();
    }
    if (layout.userFileInProductFolder) {
        installer.MakeUserFile(layout.productFolder + L"\\My capture notes.txt");
    }
    return product;
}

void ClearInstallation(const InstalledProduct& product)
{
    const std::wstring programs = ShellFolder(CSIDL_COMMON_PROGRAMS);
    for (const std::wstring& path :
         {product.layout.productFolder, programs + L"\\" + product.layout.groupName, programs + L"\\Quorvex",
          ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\" + kShortcut,
          ShellFolder(CSIDL_COMMON_DESKTOPDIRECTORY) + L"\\Pixvane 7.lnk",
          ShellFolder(CSIDL_COMMON_STARTUP) + L"\\" + kShortcut, std::wstring(kSecondUserProfile)}) {
        RemoveTree(path);
    }
    for (const RegistryItem& item : product.registry) {
        if (item.value) {
            ::RegDeleteKeyValueW(item.root, item.key.c_str(), item.value->c_str());
        } else {
            DeleteRegTree(item.root, item.key);
        }
    }
    DeleteRegTree(HKEY_USERS, kSecondUserSid);
    for (const TakenAssociation& taken : kTakenAssociations) {
        DeleteRegTree(HKEY_CURRENT_USER, Key(taken));
    }
    DeleteRegTree(HKEY_CURRENT_USER, kFileExts + std::wstring(kUsersOwnExtension));
}

std::vector<std::wstring> LeftoversOf(const InstalledProduct& product)
{
    return PartsThatAre(product, true);
}

std::vector<std::wstring> MissingPartsOf(const InstalledProduct& product)
{
    return PartsThatAre(product, false);
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
    return lost;
}

std::wstring Describe(const RegistryItem& item)
{
    const wchar_t* root = item.root == HKEY_LOCAL_MACHINE   ? L"HKLM"
                          : item.root == HKEY_CURRENT_USER ? L"HKCU"
                          : item.root == HKEY_CLASSES_ROOT ? L"HKCR"
                                                           : L"HKU";
    return root + (L"\\" + item.key) + (item.value ? L" [" + *item.value + L"]" : L"");
}

bool Exists(const RegistryItem& item)
{
    return item.value ? RegValueExists(item.root, item.key, item.value->c_str()) : RegKeyExists(item.root, item.key);
}
