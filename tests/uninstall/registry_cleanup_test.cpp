#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/association_table.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <sddl.h>
#include <shlobj.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

const HKEY kHklm = HKEY_LOCAL_MACHINE;
const HKEY kHkcu = HKEY_CURRENT_USER;
const HKEY kHkcr = HKEY_CLASSES_ROOT;
constexpr wchar_t kTree[] = L"Software\\PixvaneTests\\RegistryCleanup";
constexpr wchar_t kRegisteredApps[] = L"SOFTWARE\\RegisteredApplications";
constexpr wchar_t kFileExts[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts";
constexpr wchar_t kChildMajorVariable[] = L"PXTEST_RESTORE_OS_MAJOR";

struct KeyRef {
    HKEY root;
    std::wstring key;
};

// A key whose access list denies DELETE to everyone cannot be opened with full
// access, so nothing below it is reached. Wine still lets a plain DELETE open
// through, so such a key also holds a subkey to stay, as it would on Windows.
bool SetAccessList(const KeyRef& ref, const wchar_t* sddl)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    UniqueRegKey key;
    const bool done =
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr) &&
        ::RegOpenKeyExW(ref.root, ref.key.c_str(), 0, WRITE_DAC, key.Put()) == ERROR_SUCCESS &&
        ::RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor) == ERROR_SUCCESS;
    ::LocalFree(descriptor);
    return done;
}

// Locks keys against deletion; unlocks and removes the given trees at the end.
class RegistryScratch {
public:
    explicit RegistryScratch(std::vector<KeyRef> trees) : m_trees(std::move(trees)) {}
    ~RegistryScratch()
    {
        for (const KeyRef& ref : m_locked) {
            SetAccessList(ref, L"D:(A;;KA;;;WD)");
        }
        for (const KeyRef& ref : m_trees) {
            DeleteRegTree(ref.root, ref.key);
        }
    }
    bool Lock(const KeyRef& ref)
    {
        m_locked.push_back(ref);
        return SetAccessList(ref, L"D:(D;;SD;;;WD)(A;;KA;;;WD)");
    }

private:
    std::vector<KeyRef> m_trees;
    std::vector<KeyRef> m_locked;
};

bool Exists(const KeyRef& ref)
{
    return RegKeyExists(ref.root, ref.key);
}

bool Make(const KeyRef& ref)
{
    return SetRegString(ref.root, ref.key, L"", L"x");
}

}  // namespace

TEST(DeleteRegistryTree, AKeyThatCannotBeDeletedKeepsItsAncestorsAndTheRestGoes)
{
    const std::wstring tree = std::wstring(kTree) + L"\\Tree\\";
    RegistryScratch scratch({{kHkcu, kTree}});
    for (const wchar_t* leaf : {L"deep\\locked\\in", L"deep\\gone", L"first\\x", L"locked\\in", L"mid\\m\\m", L"z"}) {
        ASSERT_TRUE(Make({kHkcu, tree + leaf}));
    }
    ASSERT_TRUE(scratch.Lock({kHkcu, tree + L"locked"}));
    ASSERT_TRUE(scratch.Lock({kHkcu, tree + L"deep\\locked"}));

    EXPECT_FALSE(DeleteRegistryTree(kHkcu, tree.c_str()));

    EXPECT_TRUE(Exists({kHkcu, tree + L"locked\\in"}));
    EXPECT_TRUE(Exists({kHkcu, tree + L"deep\\locked\\in"}));
    for (const wchar_t* gone : {L"deep\\gone", L"first", L"mid", L"z"}) {
        EXPECT_FALSE(Exists({kHkcu, tree + gone})) << gone;
    }
}

TEST(RemoveRegistration, EverythingTheProductWroteGoesAndOtherProgramsStay)
{
    const std::wstring uninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
    const std::wstring appPaths = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";
    const std::wstring hosts = L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\";
    // What the product writes on its runs; what registration writes is
    // proven gone by its own round trip. Each key has a subkey path below it.
    const std::vector<std::pair<KeyRef, std::wstring>> product = {
        {{kHkcr, L"PV8.Document"}, L"\\shell\\open\\command"},
        {{kHkcu, L"SOFTWARE\\Quorvex\\Pixvane 8"}, L"\\Settings"},
        {{kHkcu, L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe"}, L"\\shell\\open\\command"},
        {{kHklm, hosts + L"pixvff"}, L""},
        {{kHkcu, hosts + L"pixvff"}, L""},
    };
    const std::vector<KeyRef> neighbours = {
        {kHklm, L"SOFTWARE\\Quorvex\\Pixvane 7"}, {kHklm, uninstall + L"Other Viewer"},
        {kHklm, appPaths + L"otherview.exe"},     {kHkcr, L"Applications\\otherview.exe"},
        {kHkcr, L"Pixvane.7"},                    {kHklm, hosts + L"otherhost"},
        {kHkcu, hosts + L"otherhost"},
    };
    std::vector<KeyRef> trees = neighbours;
    for (const auto& [ref, below] : product) {
        trees.push_back(ref);
    }
    trees.push_back({kHklm, L"SOFTWARE\\Quorvex"});
    trees.push_back({kHkcu, L"SOFTWARE\\Quorvex"});
    RegistryScratch scratch(trees);
    for (const auto& [ref, below] : product) {
        ASSERT_TRUE(Make({ref.root, ref.key + below}));
    }
    for (const KeyRef& ref : neighbours) {
        ASSERT_TRUE(Make(ref));
    }
    ASSERT_TRUE(SetRegString(kHkcu, L"SOFTWARE\\Quorvex", L"LastProduct", L"Pixvane 8"));  // a value only
    ASSERT_TRUE(SetRegString(kHklm, kRegisteredApps, L"Other.Viewer", L"SOFTWARE\\Other\\Capabilities"));

    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");

    for (const auto& [ref, below] : product) {
        EXPECT_FALSE(Exists(ref)) << ref.key;
    }
    EXPECT_FALSE(Exists({kHkcu, L"SOFTWARE\\Quorvex"}));
    for (const KeyRef& ref : neighbours) {
        EXPECT_TRUE(Exists(ref)) << ref.key;
    }
    EXPECT_TRUE(RegValueExists(kHklm, kRegisteredApps, L"Other.Viewer"));
    ::RegDeleteKeyValueW(kHklm, kRegisteredApps, L"Other.Viewer");
}

TEST(RemoveRegistration, EveryOpenUserUnderHkuIsCleanedAndARefusingOneSkipped)
{
    // Plain subkeys of HKU stand for other accounts' loaded profiles; they
    // enumerate in this order, after Wine's own user.
    const std::wstring refusing = L"S-1-5-21-1000-1000-1000-1000\\";
    const std::wstring other = L"S-1-5-21-1000-1000-1000-1001\\";
    const std::wstring sharing = L"S-1-5-21-1000-1000-1000-1002\\";
    RegistryScratch scratch({{HKEY_USERS, refusing}, {HKEY_USERS, other}, {HKEY_USERS, sharing}});
    for (const std::wstring& user : {refusing, other, sharing}) {
        ASSERT_TRUE(Make({HKEY_USERS, user + L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings"}));
        ASSERT_TRUE(Make({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe\\shell"}));
        ASSERT_TRUE(Make({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\otherview.exe"}));
    }
    ASSERT_TRUE(Make({HKEY_USERS, sharing + L"SOFTWARE\\Quorvex\\Pixvane 7"}));
    ASSERT_TRUE(scratch.Lock({HKEY_USERS, refusing}));

    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");

    EXPECT_TRUE(Exists({HKEY_USERS, refusing + L"SOFTWARE\\Quorvex\\Pixvane 8"}));
    for (const std::wstring& user : {other, sharing}) {
        EXPECT_FALSE(Exists({HKEY_USERS, user + L"SOFTWARE\\Quorvex\\Pixvane 8"})) << user;
        EXPECT_FALSE(Exists({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\Pixvn8.exe"})) << user;
        EXPECT_TRUE(Exists({HKEY_USERS, user + L"SOFTWARE\\Classes\\Applications\\otherview.exe"})) << user;
    }
    EXPECT_FALSE(Exists({HKEY_USERS, other + L"SOFTWARE\\Quorvex"}));
    EXPECT_TRUE(Exists({HKEY_USERS, sharing + L"SOFTWARE\\Quorvex\\Pixvane 7"}));
}

namespace {

// Runs RestoreFileAssociations in a copy of this program that Wine presents
// as another Windows version ("winxp64", "win7", "win10"), so the version
// query answers as that system would; the child fails on any other version.
::testing::AssertionResult RestoreAssociationsAs(const std::wstring& wineVersion, DWORD expectedMajor)
{
    const std::wstring exe = MakeScratchFolder(L"restore-as") + L"\\restore_as_" + wineVersion + L".exe";
    const std::wstring appDefaults = L"Software\\Wine\\AppDefaults\\restore_as_" + wineVersion + L".exe";
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    if (!::CopyFileW(self, exe.c_str(), FALSE) || !SetRegString(kHkcu, appDefaults, L"Version", wineVersion)) {
        return ::testing::AssertionFailure() << "could not prepare the child";
    }
    ::SetEnvironmentVariableW(kChildMajorVariable, std::to_wstring(expectedMajor).c_str());
    const int code = RunToEnd(L"\"" + exe + L"\" --gtest_filter=RestoreFileAssociationsChild.*", 60000);
    ::SetEnvironmentVariableW(kChildMajorVariable, nullptr);
    DeleteRegTree(kHkcu, appDefaults);
    return code == 0 ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "child ended with " << code;
}

const std::wstring kProductProgId = L"Applications\\Pixvn8.exe";

std::wstring Ext(const wchar_t* extension, const wchar_t* subkey = L"")
{
    return std::wstring(kFileExts) + L"\\" + extension + subkey;
}

// Counts the notices registered windows of this thread get from SHChangeNotify,
// which Wine delivers within the calling process.
int g_notices = 0;
constexpr UINT kNoticeMessage = WM_APP + 17;

LRESULT CALLBACK CountNotices(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    g_notices += message == kNoticeMessage ? 1 : 0;
    return ::DefWindowProcW(window, message, wParam, lParam);
}

int CountAssociationNotices(void (*action)())
{
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = &CountNotices;
    windowClass.lpszClassName = L"PixvaneTestsNotices";
    ::RegisterClassW(&windowClass);
    HWND window =
        ::CreateWindowW(windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    SHChangeNotifyEntry everywhere = {nullptr, TRUE};
    const ULONG registration =
        ::SHChangeNotifyRegister(window, SHCNRF_ShellLevel, SHCNE_ASSOCCHANGED, kNoticeMessage, 1, &everywhere);
    g_notices = registration != 0 ? 0 : -1;
    action();
    MSG message;
    for (int round = 0; round < 30; ++round, ::Sleep(10)) {
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::DispatchMessageW(&message);
        }
    }
    ::SHChangeNotifyDeregister(registration);
    ::DestroyWindow(window);
    return g_notices;
}

}  // namespace

// Parameterised by the Windows major version of a new system.
class RestoreAssociations : public ::testing::TestWithParam<DWORD> {
protected:
    void SetUp() override
    {
        // Earlier tests of the run may leave the FileExts key behind, and
        // every extension of the table in it takes part in a restore.
        m_hadFileExts = RegKeyExists(kHkcu, kFileExts);
        ForgetTableExtensions();
        // Explorer's choices as installer and user left them: .bmp and .pvi
        // taken over with the former program kept, .gif taken over with none
        // kept and another UserChoice, .png another program's with a stale
        // "PixvnOld" but the product's UserChoice.
        for (const wchar_t* extension : {L".bmp", L".gif", L".pvi"}) {
            SetRegString(kHkcu, Ext(extension), L"Application", L"Pixvn8.exe");
        }
        SetRegString(kHkcu, Ext(L".png"), L"Application", L"OtherViewer.exe");
        SetRegString(kHkcu, Ext(L".bmp"), L"PixvnOld", L"mspaint.exe");
        SetRegString(kHkcu, Ext(L".pvi"), L"PixvnOld", L"PvOldView.exe");
        SetRegString(kHkcu, Ext(L".png"), L"PixvnOld", L"mspaint.exe");
        for (const wchar_t* extension : {L".bmp", L".png", L".pvi"}) {
            SetRegString(kHkcu, Ext(extension, L"\\UserChoice"), L"Progid", kProductProgId);
        }
        SetRegString(kHkcu, Ext(L".gif", L"\\UserChoice"), L"Progid", L"giffile");
    }
    void TearDown() override
    {
        ForgetTableExtensions();
        if (!m_hadFileExts) {
            DeleteRegTree(kHkcu, kFileExts);
        }
        DeleteRegTree(kHkcr, L".pvi");
        DeleteRegTree(kHkcr, L".j2k");
    }

    static void ForgetTableExtensions()
    {
        for (const FileAssociation& entry : g_associationTable) {
            DeleteRegTree(kHkcu, Ext(entry.extension));
        }
    }

    bool m_hadFileExts = false;
};

// Started only by RestoreAssociationsAs, in a copy that Wine presents as
// another Windows version; skipped in an ordinary run.
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
    ASSERT_TRUE(RestoreAssociationsAs(L"winxp64", 5));

    EXPECT_EQ(GetRegString(kHkcu, Ext(L".bmp"), L"Application"), L"mspaint.exe");
    EXPECT_EQ(GetRegString(kHkcu, Ext(L".pvi"), L"Application"), L"PvOldView.exe");
    EXPECT_FALSE(RegValueExists(kHkcu, Ext(L".gif"), L"Application")) << "nothing kept to give back";
    EXPECT_FALSE(RegValueExists(kHkcu, Ext(L".bmp"), L"PixvnOld"));
    EXPECT_FALSE(RegValueExists(kHkcu, Ext(L".pvi"), L"PixvnOld"));
    EXPECT_EQ(GetRegString(kHkcu, Ext(L".png"), L"Application"), L"OtherViewer.exe");
    EXPECT_EQ(GetRegString(kHkcu, Ext(L".png"), L"PixvnOld"), L"mspaint.exe") << "another program's";
    EXPECT_TRUE(RegKeyExists(kHkcu, Ext(L".bmp", L"\\UserChoice"))) << "unknown to old systems";
}

TEST_F(RestoreAssociations, OldSystemsWithoutExplorerChoicesRestoreTheClassDefaults)
{
    DeleteRegTree(kHkcu, kFileExts);  // what an earlier test left in it is of no further use
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi", nullptr, L"Pixvn8.exe"));
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi", L"PixvnOld", L"PvOldView.exe"));
    ASSERT_TRUE(SetRegString(kHkcr, L".j2k", nullptr, L"Pixvn8.exe"));

    ASSERT_TRUE(RestoreAssociationsAs(L"winxp64", 5));

    EXPECT_EQ(GetRegString(kHkcr, L".pvi", nullptr), L"PvOldView.exe");
    EXPECT_FALSE(RegValueExists(kHkcr, L".pvi", L"PixvnOld"));
    EXPECT_FALSE(RegValueExists(kHkcr, L".j2k", nullptr));
}

TEST_P(RestoreAssociations, NewSystemsDropTheProductsUserChoiceAndEveryPixvnOld)
{
    ASSERT_TRUE(RestoreAssociationsAs(GetParam() == 6 ? L"win7" : L"win10", GetParam()));

    for (const wchar_t* extension : {L".bmp", L".png", L".pvi"}) {
        EXPECT_FALSE(RegKeyExists(kHkcu, Ext(extension, L"\\UserChoice"))) << extension;
        EXPECT_FALSE(RegValueExists(kHkcu, Ext(extension), L"PixvnOld")) << extension;
    }
    EXPECT_EQ(GetRegString(kHkcu, Ext(L".gif", L"\\UserChoice"), L"Progid"), L"giffile");
    EXPECT_EQ(GetRegString(kHkcu, Ext(L".bmp"), L"Application"), L"Pixvn8.exe") << "an old system's business";
}

INSTANTIATE_TEST_SUITE_P(Versions, RestoreAssociations, ::testing::Values(DWORD{6}, DWORD{10}),
                         [](const auto& info) { return "Major" + std::to_string(info.param); });

TEST_F(RestoreAssociations, TheShellHearsOfItOnlyWhenAnAssociationChanged)
{
    ASSERT_TRUE(IsVistaOrLater()) << "the prefix is expected to be a new system";
    for (const wchar_t* extension : {L".bmp", L".png", L".pvi"}) {
        SetRegString(kHkcu, Ext(extension, L"\\UserChoice"), L"Progid", L"otherfile");
    }
    // Only stale "PixvnOld" values are cleared: no association changes hands.
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 0);
    ASSERT_FALSE(RegValueExists(kHkcu, Ext(L".bmp"), L"PixvnOld"));

    SetRegString(kHkcu, Ext(L".png", L"\\UserChoice"), L"Progid", kProductProgId);
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 1);
    EXPECT_FALSE(RegKeyExists(kHkcu, Ext(L".png", L"\\UserChoice")));
}
