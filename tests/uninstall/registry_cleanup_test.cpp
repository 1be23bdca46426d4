#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <sddl.h>
#include <shlobj.h>

#include <cwchar>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kScratchKey[] = L"Software\\PixvaneTests\\RegistryCleanup";
constexpr wchar_t kFileExtsKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr wchar_t kAppPathsKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths";
constexpr wchar_t kBrowserHostsKey[] = L"SOFTWARE\\Mozilla\\NativeMessagingHosts";
constexpr wchar_t kOpenCommand[] = L"\"C:\\Program Files\\Quorvex\\Pixvane 8\\Pixvn8.exe\" \"%1\"";

const HKEY kHklm = HKEY_LOCAL_MACHINE;
const HKEY kHkcu = HKEY_CURRENT_USER;
const HKEY kHkcr = HKEY_CLASSES_ROOT;

std::wstring Join(const std::wstring& key, const std::wstring& subkey)
{
    return key + L"\\" + subkey;
}

bool SetKeyAccessList(HKEY root, const std::wstring& key, const wchar_t* sddl)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr)) {
        return false;
    }
    UniqueRegKey opened;
    bool done = ::RegOpenKeyExW(root, key.c_str(), 0, WRITE_DAC | KEY_WOW64_64KEY, opened.Put()) == ERROR_SUCCESS &&
                ::RegSetKeySecurity(opened.Get(), DACL_SECURITY_INFORMATION, descriptor) == ERROR_SUCCESS;
    ::LocalFree(descriptor);
    return done;
}

// A key whose access list denies DELETE to everyone cannot be opened with
// full access, so nothing below it is reached. Wine still lets a plain DELETE
// open through, so a locked key must hold a subkey of its own to stay, as it
// would on Windows anyway. Its owner may still change the list back.
class DeletionLocks {
public:
    bool Lock(HKEY root, const std::wstring& key)
    {
        m_locked.push_back({root, key});
        return SetKeyAccessList(root, key, L"D:(D;;SD;;;WD)(A;;KA;;;WD)");
    }
    ~DeletionLocks()
    {
        for (const auto& [root, key] : m_locked) {
            SetKeyAccessList(root, key, L"D:(A;;KA;;;WD)");
        }
    }

private:
    std::vector<std::pair<HKEY, std::wstring>> m_locked;
};

bool MakeKey(HKEY root, const std::wstring& key)
{
    UniqueRegKey made;
    return ::RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, made.Put(),
                             nullptr) == ERROR_SUCCESS;
}

}  // namespace

class RegistryTrees : public ::testing::Test {
protected:
    void SetUp() override { DeleteRegTree(kHkcu, kScratchKey); }
    void TearDown() override
    {
        m_locks.reset();
        DeleteRegTree(kHkcu, kScratchKey);
    }

    std::wstring Scratch(const std::wstring& subkey) const { return Join(kScratchKey, subkey); }

    std::unique_ptr<DeletionLocks> m_locks = std::make_unique<DeletionLocks>();
};

TEST_F(RegistryTrees, TreeGoesWithEveryLevelAndSibling)
{
    for (const wchar_t* leaf : {L"Tree\\a\\a1\\a11", L"Tree\\a\\a2", L"Tree\\b", L"Tree\\c\\c1", L"Tree\\d"}) {
        ASSERT_TRUE(SetRegString(kHkcu, Scratch(leaf), L"value", L"x"));
    }
    EXPECT_TRUE(DeleteRegistryTree(kHkcu, Scratch(L"Tree").c_str()));
    EXPECT_FALSE(RegKeyExists(kHkcu, Scratch(L"Tree")));
    EXPECT_TRUE(RegKeyExists(kHkcu, kScratchKey));
    EXPECT_FALSE(DeleteRegistryTree(kHkcu, Scratch(L"Tree").c_str())) << "a missing key is not reported as deleted";
}

TEST_F(RegistryTrees, AKeyThatCannotBeDeletedKeepsItsAncestorsAndTheRestGoes)
{
    for (const wchar_t* leaf : {L"Tree\\deep\\locked2\\inner", L"Tree\\deep\\gone", L"Tree\\first\\x",
                                L"Tree\\locked\\inner", L"Tree\\middle\\m1\\m2", L"Tree\\zlast"}) {
        ASSERT_TRUE(MakeKey(kHkcu, Scratch(leaf)));
    }
    ASSERT_TRUE(m_locks->Lock(kHkcu, Scratch(L"Tree\\locked")));
    ASSERT_TRUE(m_locks->Lock(kHkcu, Scratch(L"Tree\\deep\\locked2")));

    EXPECT_FALSE(DeleteRegistryTree(kHkcu, Scratch(L"Tree").c_str()));

    EXPECT_TRUE(RegKeyExists(kHkcu, Scratch(L"Tree\\locked\\inner")));
    EXPECT_TRUE(RegKeyExists(kHkcu, Scratch(L"Tree\\deep\\locked2\\inner")));
    for (const wchar_t* gone : {L"Tree\\deep\\gone", L"Tree\\first", L"Tree\\middle", L"Tree\\zlast"}) {
        EXPECT_FALSE(RegKeyExists(kHkcu, Scratch(gone))) << gone;
    }
}

TEST_F(RegistryTrees, KeyIfEmptyLooksAtSubkeysNotValues)
{
    ASSERT_TRUE(SetRegString(kHkcu, Scratch(L"ValuesOnly"), L"one", L"1"));
    ASSERT_TRUE(SetRegString(kHkcu, Scratch(L"ValuesOnly"), nullptr, L"default"));
    ASSERT_TRUE(SetRegString(kHkcu, Scratch(L"WithChild"), L"one", L"1"));
    ASSERT_TRUE(MakeKey(kHkcu, Scratch(L"WithChild\\child")));

    DeleteRegistryKeyIfEmpty(kHkcu, Scratch(L"ValuesOnly").c_str());
    DeleteRegistryKeyIfEmpty(kHkcu, Scratch(L"WithChild").c_str());
    DeleteRegistryKeyIfEmpty(kHkcu, Scratch(L"Missing").c_str());

    EXPECT_FALSE(RegKeyExists(kHkcu, Scratch(L"ValuesOnly")));
    EXPECT_TRUE(RegKeyExists(kHkcu, Scratch(L"WithChild\\child")));
    EXPECT_EQ(GetRegString(kHkcu, Scratch(L"WithChild"), L"one"), L"1");
}

namespace {

struct KeyRef {
    HKEY root;
    std::wstring key;
};

// What the installer's registration leaves behind, with what the product
// itself adds for the user and the browser.
std::vector<KeyRef> WriteProductRegistration()
{
    const std::wstring product = L"SOFTWARE\\Quorvex\\Pixvane 8";
    const std::wstring folder = L"C:\\Program Files\\Quorvex\\Pixvane 8";
    const std::wstring uninstall = Join(kUninstallKey, L"Pixvane 8");
    const std::wstring appPath = Join(kAppPathsKey, L"Pixvn8.exe");

    SetRegString(kHklm, product, L"AllUsers", L"B");
    SetRegString(kHklm, product, L"Path", folder);
    SetRegString(kHkcr, L"Pixvane.8\\shell\\open\\command", nullptr, kOpenCommand);
    for (const wchar_t* extension : {L".bmp", L".jpg", L".png", L".pvi"}) {
        SetRegString(kHklm, product + L"\\Capabilities\\FileAssociations", extension, L"Applications\\Pixvn8.exe");
    }
    SetRegString(kHklm, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8", product + L"\\Capabilities");
    SetRegString(kHkcr, L".pv8lic", nullptr, L"Pixvane8.License");
    SetRegString(kHkcr, L"Pixvane8.License\\shell\\open\\command", nullptr, kOpenCommand);
    SetRegString(kHklm, appPath, nullptr, folder + L"\\Pixvn8.exe");
    SetRegString(kHklm, appPath, L"Path", folder);
    for (const wchar_t* name : {L"Contact", L"DisplayName", L"InstallLocation", L"DisplayVersion", L"VersionMajor",
                                L"VersionMinor", L"Publisher", L"UninstallString", L"URLInfoAbout"}) {
        SetRegString(kHklm, uninstall, name, L"text");
    }
    SetRegDword(kHklm, uninstall, L"MajorVersion", 8);
    SetRegDword(kHklm, uninstall, L"MinorVersion", 1);
    SetRegString(kHkcr, L"Applications\\Pixvn8.exe\\shell\\open\\command", nullptr, kOpenCommand);
    SetRegString(kHkcr, L"PV8.Document\\shell\\open\\command", nullptr, kOpenCommand);

    SetRegString(kHkcu, product + L"\\Settings", L"Zoom", L"100");
    SetRegString(kHkcu, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe\\shell\\open\\command", nullptr, kOpenCommand);
    SetRegString(kHklm, Join(kBrowserHostsKey, L"pixvff"), nullptr, folder + L"\\pixvff.json");
    SetRegString(kHkcu, Join(kBrowserHostsKey, L"pixvff"), nullptr, folder + L"\\pixvff.json");

    return {{kHklm, product},
            {kHkcr, L"Pixvane.8"},
            {kHkcr, L".pv8lic"},
            {kHkcr, L"Pixvane8.License"},
            {kHkcr, L"PV8.Document"},
            {kHklm, appPath},
            {kHklm, uninstall},
            {kHkcr, L"Applications\\Pixvn8.exe"},
            {kHkcu, product},
            {kHkcu, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe"},
            {kHklm, Join(kBrowserHostsKey, L"pixvff")},
            {kHkcu, Join(kBrowserHostsKey, L"pixvff")}};
}

// Entries of other programs beside the product's, which must all survive.
std::vector<KeyRef> WriteNeighbours()
{
    SetRegString(kHklm, L"SOFTWARE\\Quorvex\\Pixvane 7", L"Path", L"C:\\Program Files\\Quorvex\\Pixvane 7");
    SetRegString(kHklm, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer", L"SOFTWARE\\Other\\Capabilities");
    SetRegString(kHklm, Join(kUninstallKey, L"Other Viewer"), L"DisplayName", L"Other Viewer");
    SetRegString(kHklm, Join(kAppPathsKey, L"otherview.exe"), nullptr, L"C:\\Other\\otherview.exe");
    SetRegString(kHkcr, L"Applications\\otherview.exe\\shell\\open\\command", nullptr, L"otherview.exe \"%1\"");
    SetRegString(kHkcr, L"Pixvane.7\\shell\\open\\command", nullptr, L"old.exe \"%1\"");
    SetRegString(kHklm, Join(kBrowserHostsKey, L"otherhost"), nullptr, L"C:\\Other\\host.json");
    SetRegString(kHkcu, Join(kBrowserHostsKey, L"otherhost"), nullptr, L"C:\\Other\\host.json");
    return {{kHklm, L"SOFTWARE\\Quorvex\\Pixvane 7"},
            {kHklm, Join(kUninstallKey, L"Other Viewer")},
            {kHklm, Join(kAppPathsKey, L"otherview.exe")},
            {kHkcr, L"Applications\\otherview.exe"},
            {kHkcr, L"Pixvane.7"},
            {kHklm, Join(kBrowserHostsKey, L"otherhost")},
            {kHkcu, Join(kBrowserHostsKey, L"otherhost")}};
}

void RemoveProductRegistration()
{
    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");
}

}  // namespace

class RemoveRegistrationTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        m_locks.reset();
        for (const KeyRef& entry : m_created) {
            DeleteRegTree(entry.root, entry.key);
        }
        ::RegDeleteKeyValueW(kHklm, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer");
        ::RegDeleteKeyValueW(kHklm, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8");
        for (HKEY root : {kHklm, kHkcu}) {
            DeleteRegTree(root, L"SOFTWARE\\Quorvex");
        }
    }

    void Remember(const std::vector<KeyRef>& keys) { m_created.insert(m_created.end(), keys.begin(), keys.end()); }

    std::vector<KeyRef> m_created;
    std::unique_ptr<DeletionLocks> m_locks = std::make_unique<DeletionLocks>();
};

TEST_F(RemoveRegistrationTest, EverythingRegistrationWroteGoesAndOtherProgramsStay)
{
    const std::vector<KeyRef> product = WriteProductRegistration();
    const std::vector<KeyRef> neighbours = WriteNeighbours();
    Remember(product);
    Remember(neighbours);
    // The current user's maker key holds nothing but a value of its own.
    ASSERT_TRUE(SetRegString(kHkcu, L"SOFTWARE\\Quorvex", L"LastProduct", L"Pixvane 8"));
    for (const KeyRef& entry : product) {
        ASSERT_TRUE(RegKeyExists(entry.root, entry.key)) << entry.key;
    }

    RemoveProductRegistration();

    for (const KeyRef& entry : product) {
        EXPECT_FALSE(RegKeyExists(entry.root, entry.key)) << entry.key;
    }
    EXPECT_FALSE(RegValueExists(kHklm, L"SOFTWARE\\RegisteredApplications", L"Pixvane.8"));
    EXPECT_FALSE(RegKeyExists(kHkcu, L"SOFTWARE\\Quorvex"));

    for (const KeyRef& entry : neighbours) {
        EXPECT_TRUE(RegKeyExists(entry.root, entry.key)) << entry.key;
    }
    EXPECT_TRUE(RegKeyExists(kHklm, L"SOFTWARE\\Quorvex"));
    EXPECT_TRUE(RegValueExists(kHklm, L"SOFTWARE\\RegisteredApplications", L"Other.Viewer"));
    EXPECT_TRUE(RegKeyExists(kHklm, kBrowserHostsKey));
}

TEST_F(RemoveRegistrationTest, EveryOpenUserUnderHkuIsCleanedAndARefusingOneSkipped)
{
    // Plain subkeys of HKU stand for the loaded profiles of other accounts;
    // they enumerate in this order after Wine's own user.
    const std::wstring refusing = L"S-1-5-21-1000-1000-1000-1000";
    const std::wstring other = L"S-1-5-21-1000-1000-1000-1001";
    const std::wstring sharing = L"S-1-5-21-1000-1000-1000-1002";
    m_created = {{HKEY_USERS, refusing}, {HKEY_USERS, other}, {HKEY_USERS, sharing}};
    for (const std::wstring& user : {refusing, other, sharing}) {
        ASSERT_TRUE(SetRegString(HKEY_USERS, Join(user, L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings"), L"Zoom", L"100"));
        ASSERT_TRUE(SetRegString(HKEY_USERS, Join(user, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe\\shell"),
                                 nullptr, L"open"));
        ASSERT_TRUE(MakeKey(HKEY_USERS, Join(user, L"SOFTWARE\\Classes\\Applications\\otherview.exe")));
    }
    ASSERT_TRUE(MakeKey(HKEY_USERS, Join(sharing, L"SOFTWARE\\Quorvex\\Pixvane 7")));
    ASSERT_TRUE(m_locks->Lock(HKEY_USERS, refusing));

    RemoveProductRegistration();

    EXPECT_TRUE(RegKeyExists(HKEY_USERS, Join(refusing, L"SOFTWARE\\Quorvex\\Pixvane 8")));
    EXPECT_TRUE(RegKeyExists(HKEY_USERS, Join(refusing, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe")));
    for (const std::wstring& user : {other, sharing}) {
        EXPECT_FALSE(RegKeyExists(HKEY_USERS, Join(user, L"SOFTWARE\\Quorvex\\Pixvane 8"))) << user;
        EXPECT_FALSE(RegKeyExists(HKEY_USERS, Join(user, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe"))) << user;
        EXPECT_TRUE(RegKeyExists(HKEY_USERS, Join(user, L"SOFTWARE\\Classes\\Applications\\otherview.exe"))) << user;
    }
    EXPECT_FALSE(RegKeyExists(HKEY_USERS, Join(other, L"SOFTWARE\\Quorvex")));
    EXPECT_TRUE(RegKeyExists(HKEY_USERS, Join(sharing, L"SOFTWARE\\Quorvex\\Pixvane 7")));
}

namespace {

constexpr wchar_t kChildMajorVariable[] = L"PXTEST_RESTORE_OS_MAJOR";

// Runs RestoreFileAssociations in a copy of this test program that Wine
// presents as another Windows version ("winxp64", "win7", "win10"), so that
// the version query really answers as that system would. The child checks the
// version it was given and fails otherwise.
::testing::AssertionResult RestoreAssociationsAs(const std::wstring& wineVersion, DWORD expectedMajor)
{
    const std::wstring folder = MakeScratchFolder(L"restore-as-" + wineVersion);
    const std::wstring exeName = L"restore_as_" + wineVersion + L".exe";
    const std::wstring appDefaults = L"Software\\Wine\\AppDefaults\\" + exeName;
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    if (!::CopyFileW(self, Join(folder, exeName).c_str(), FALSE) ||
        !SetRegString(kHkcu, appDefaults, L"Version", wineVersion)) {
        return ::testing::AssertionFailure() << "could not prepare the child";
    }
    ::SetEnvironmentVariableW(kChildMajorVariable, std::to_wstring(expectedMajor).c_str());
    const int code =
        RunToEnd(L"\"" + Join(folder, exeName) + L"\" --gtest_filter=RestoreFileAssociationsChild.*", 60000);
    ::SetEnvironmentVariableW(kChildMajorVariable, nullptr);
    DeleteRegTree(kHkcu, appDefaults);
    if (code != 0) {
        return ::testing::AssertionFailure() << "the child ended with " << code;
    }
    return ::testing::AssertionSuccess();
}

std::wstring FileExt(const std::wstring& extension, const wchar_t* subkey = nullptr)
{
    std::wstring key = Join(kFileExtsKey, extension);
    return subkey ? Join(key, subkey) : key;
}

// Explorer's per-user choices as the installer and the user left them:
//   .bmp  taken over, former program kept, UserChoice the product's
//   .gif  taken over, nothing kept, UserChoice someone else's
//   .png  another program's, with a stale "PixvnOld", UserChoice the product's
//   .pvi  taken over, former program kept, UserChoice the product's
void WriteExplorerChoices()
{
    const std::wstring product = L"Applications\\Pixvn8.exe";
    SetRegString(kHkcu, FileExt(L".bmp"), L"Application", L"Pixvn8.exe");
    SetRegString(kHkcu, FileExt(L".bmp"), L"PixvnOld", L"mspaint.exe");
    SetRegString(kHkcu, FileExt(L".bmp", L"UserChoice"), L"Progid", product);
    SetRegString(kHkcu, FileExt(L".gif"), L"Application", L"Pixvn8.exe");
    SetRegString(kHkcu, FileExt(L".gif", L"UserChoice"), L"Progid", L"giffile");
    SetRegString(kHkcu, FileExt(L".png"), L"Application", L"OtherViewer.exe");
    SetRegString(kHkcu, FileExt(L".png"), L"PixvnOld", L"mspaint.exe");
    SetRegString(kHkcu, FileExt(L".png", L"UserChoice"), L"Progid", product);
    SetRegString(kHkcu, FileExt(L".png", L"UserChoice"), L"Hash", L"abc=");
    SetRegString(kHkcu, FileExt(L".pvi"), L"Application", L"Pixvn8.exe");
    SetRegString(kHkcu, FileExt(L".pvi"), L"PixvnOld", L"PvOldView.exe");
    SetRegString(kHkcu, FileExt(L".pvi", L"UserChoice"), L"Progid", product);
}

// Counts the association-change notices the shell sends to this thread.
class AssociationNoticeCounter {
public:
    AssociationNoticeCounter()
    {
        WNDCLASSW windowClass = {};
        windowClass.lpfnWndProc = &AssociationNoticeCounter::WindowProc;
        windowClass.hInstance = ::GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"PixvaneTestsNoticeCounter";
        ::RegisterClassW(&windowClass);
        m_window = ::CreateWindowW(windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                   windowClass.hInstance, nullptr);
        ::SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&m_count));
        SHChangeNotifyEntry everywhere = {nullptr, TRUE};
        m_registration = ::SHChangeNotifyRegister(m_window, SHCNRF_ShellLevel | SHCNRF_NewDelivery,
                                                  SHCNE_ASSOCCHANGED, kNoticeMessage, 1, &everywhere);
    }
    ~AssociationNoticeCounter()
    {
        ::SHChangeNotifyDeregister(m_registration);
        ::DestroyWindow(m_window);
    }
    bool IsListening() const { return m_window != nullptr && m_registration != 0; }

    // The notices delivered so far, after giving late ones time to come.
    int Count()
    {
        const ULONGLONG end = ::GetTickCount64() + 300;
        MSG message;
        while (::GetTickCount64() < end) {
            while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                ::DispatchMessageW(&message);
            }
            ::Sleep(10);
        }
        return m_count;
    }

private:
    static constexpr UINT kNoticeMessage = WM_APP + 17;

    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message != kNoticeMessage) {
            return ::DefWindowProcW(window, message, wParam, lParam);
        }
        PIDLIST_ABSOLUTE* items = nullptr;
        LONG event = 0;
        if (HANDLE lock = ::SHChangeNotification_Lock(reinterpret_cast<HANDLE>(wParam), static_cast<DWORD>(lParam),
                                                      &items, &event)) {
            if (event & SHCNE_ASSOCCHANGED) {
                ++*reinterpret_cast<int*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
            }
            ::SHChangeNotification_Unlock(lock);
        }
        return 0;
    }

    HWND m_window = nullptr;
    ULONG m_registration = 0;
    int m_count = 0;
};

}  // namespace

class RestoreAssociations : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_hadFileExts = RegKeyExists(kHkcu, kFileExtsKey);
        RemoveTestKeys();
    }
    void TearDown() override { RemoveTestKeys(); }

    void RemoveTestKeys()
    {
        if (!m_hadFileExts) {
            DeleteRegTree(kHkcu, kFileExtsKey);
        }
        for (const wchar_t* extension : {L".bmp", L".gif", L".jpg", L".png", L".pvi"}) {
            DeleteRegTree(kHkcu, FileExt(extension));
        }
        for (const wchar_t* extension : {L".j2k", L".pvi"}) {
            DeleteRegTree(kHkcr, extension);
        }
    }

    bool m_hadFileExts = false;
};

// Launched only by the tests below, in a copy of this program that Wine
// presents as another Windows version; skipped in an ordinary run.
TEST(RestoreFileAssociationsChild, RestoresUnderTheVersionGiven)
{
    wchar_t expected[16] = {};
    if (::GetEnvironmentVariableW(kChildMajorVariable, expected, 16) == 0) {
        GTEST_SKIP() << "runs only as the child of the RestoreAssociations tests";
    }
    ASSERT_EQ(g_osVersion.dwMajorVersion, std::wcstoul(expected, nullptr, 10));
    RestoreFileAssociations();
}

TEST_F(RestoreAssociations, OldSystemsGiveTheApplicationValueBack)
{
    WriteExplorerChoices();

    ASSERT_TRUE(RestoreAssociationsAs(L"winxp64", 5));

    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".bmp"), L"Application"), L"mspaint.exe");
    EXPECT_FALSE(RegValueExists(kHkcu, FileExt(L".bmp"), L"PixvnOld"));
    EXPECT_FALSE(RegValueExists(kHkcu, FileExt(L".gif"), L"Application")) << "nothing to give back: deleted";
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".png"), L"Application"), L"OtherViewer.exe");
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".png"), L"PixvnOld"), L"mspaint.exe") << "another program's: untouched";
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".pvi"), L"Application"), L"PvOldView.exe");
    EXPECT_FALSE(RegValueExists(kHkcu, FileExt(L".pvi"), L"PixvnOld"));
    // Old systems know nothing of UserChoice.
    for (const wchar_t* extension : {L".bmp", L".png", L".pvi"}) {
        EXPECT_EQ(GetRegString(kHkcu, FileExt(extension, L"UserChoice"), L"Progid"), L"Applications\\Pixvn8.exe");
    }
}

TEST_F(RestoreAssociations, OldSystemsWithoutExplorerChoicesRestoreTheClassDefaults)
{
    if (m_hadFileExts) {
        GTEST_SKIP() << "this prefix keeps Explorer choices already";
    }
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi", nullptr, L"Pixvn8.exe"));
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi", L"PixvnOld", L"PvOldView.exe"));
    ASSERT_TRUE(SetRegString(kHkcr, L".j2k", nullptr, L"Pixvn8.exe"));

    ASSERT_TRUE(RestoreAssociationsAs(L"winxp64", 5));

    EXPECT_EQ(GetRegString(kHkcr, L".pvi", nullptr), L"PvOldView.exe");
    EXPECT_FALSE(RegValueExists(kHkcr, L".pvi", L"PixvnOld"));
    EXPECT_TRUE(RegKeyExists(kHkcr, L".j2k"));
    EXPECT_FALSE(RegValueExists(kHkcr, L".j2k", nullptr));
}

struct WindowsVersion {
    const wchar_t* wineName;
    DWORD major;
};

void PrintTo(const WindowsVersion& version, std::ostream* out)
{
    *out << "major " << version.major;
}

class RestoreAssociationsOnNewSystems : public RestoreAssociations,
                                        public ::testing::WithParamInterface<WindowsVersion> {};

TEST_P(RestoreAssociationsOnNewSystems, DropTheProductsUserChoiceAndEveryPixvnOld)
{
    WriteExplorerChoices();

    ASSERT_TRUE(RestoreAssociationsAs(GetParam().wineName, GetParam().major));

    for (const wchar_t* extension : {L".bmp", L".png", L".pvi"}) {
        EXPECT_FALSE(RegKeyExists(kHkcu, FileExt(extension, L"UserChoice"))) << extension;
    }
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".gif", L"UserChoice"), L"Progid"), L"giffile");
    for (const wchar_t* extension : {L".bmp", L".gif", L".png", L".pvi"}) {
        EXPECT_FALSE(RegValueExists(kHkcu, FileExt(extension), L"PixvnOld")) << extension;
    }
    // The "Application" values are an old system's business.
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".bmp"), L"Application"), L"Pixvn8.exe");
    EXPECT_EQ(GetRegString(kHkcu, FileExt(L".png"), L"Application"), L"OtherViewer.exe");
}

INSTANTIATE_TEST_SUITE_P(Versions, RestoreAssociationsOnNewSystems,
                         ::testing::Values(WindowsVersion{L"win7", 6}, WindowsVersion{L"win10", 10}),
                         [](const auto& info) { return "Windows" + std::to_string(info.param.major == 6 ? 7 : 10); });

TEST_F(RestoreAssociations, TheShellHearsOfItOnlyWhenAnAssociationChanged)
{
    ASSERT_TRUE(IsVistaOrLater()) << "this prefix is expected to be a new system";
    {
        // A stale "PixvnOld" is cleared, but no association changes hands.
        SetRegString(kHkcu, FileExt(L".jpg"), L"PixvnOld", L"mspaint.exe");
        SetRegString(kHkcu, FileExt(L".jpg", L"UserChoice"), L"Progid", L"jpegfile");
        AssociationNoticeCounter notices;
        ASSERT_TRUE(notices.IsListening());
        RestoreFileAssociations();
        EXPECT_FALSE(RegValueExists(kHkcu, FileExt(L".jpg"), L"PixvnOld"));
        EXPECT_EQ(notices.Count(), 0);
    }
    {
        SetRegString(kHkcu, FileExt(L".jpg", L"UserChoice"), L"Progid", L"Applications\\Pixvn8.exe");
        AssociationNoticeCounter notices;
        ASSERT_TRUE(notices.IsListening());
        RestoreFileAssociations();
        EXPECT_FALSE(RegKeyExists(kHkcu, FileExt(L".jpg", L"UserChoice")));
        EXPECT_EQ(notices.Count(), 1);
    }
}
