#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <sddl.h>
#include <shlobj.h>

#include <string>
#include <vector>

namespace {

const HKEY kHklm = HKEY_LOCAL_MACHINE;
const HKEY kHkcu = HKEY_CURRENT_USER;
const HKEY kHkcr = HKEY_CLASSES_ROOT;
constexpr wchar_t kTree[] = L"Software\\PixvaneTests\\RegistryCleanup";
constexpr wchar_t kRegisteredApps[] = L"SOFTWARE\\RegisteredApplications";
constexpr wchar_t kFileExts[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts";

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

// What the product wrote going is the end-to-end tests' business; here
// what must stay: other programs' keys beside the product's, and the keys
// of a user whose hive refuses access.
TEST(RemoveRegistration, OtherProgramsAndARefusingUserKeepTheirKeys)
{
    const std::wstring refusing = L"S-1-5-21-1000-1000-1000-1000\\";
    const std::wstring sharing = L"S-1-5-21-1000-1000-1000-1002\\";
    const std::wstring hosts = L"SOFTWARE\\Mozilla\\NativeMessagingHosts\\";
    const std::vector<KeyRef> others = {
        {kHklm, L"SOFTWARE\\Quorvex\\Pixvane 7"},
        {kHklm, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Other Viewer"},
        {kHklm, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\otherview.exe"},
        {kHkcr, L"Applications\\otherview.exe"},
        {kHkcr, L"Pixvane.7"},
        {kHklm, hosts + L"otherhost"},
        {kHkcu, hosts + L"otherhost"},
        {HKEY_USERS, sharing + L"SOFTWARE\\Quorvex\\Pixvane 7"},
        {HKEY_USERS, sharing + L"SOFTWARE\\Classes\\Applications\\otherview.exe"},
        {HKEY_USERS, refusing + L"SOFTWARE\\Quorvex\\Pixvane 8"},
    };
    std::vector<KeyRef> trees = others;
    trees.push_back({HKEY_USERS, refusing});
    trees.push_back({HKEY_USERS, sharing});
    RegistryScratch scratch(trees);
    for (const KeyRef& ref : others) {
        ASSERT_TRUE(Make(ref));
    }
    ASSERT_TRUE(Make({HKEY_USERS, sharing + L"SOFTWARE\\Quorvex\\Pixvane 8\\Settings"}));
    ASSERT_TRUE(SetRegString(kHklm, kRegisteredApps, L"Other.Viewer", L"SOFTWARE\\Other\\Capabilities"));
    ASSERT_TRUE(scratch.Lock({HKEY_USERS, refusing}));

    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");

    for (const KeyRef& ref : others) {
        EXPECT_TRUE(Exists(ref)) << std::string(ref.key.begin(), ref.key.end());
    }
    EXPECT_FALSE(Exists({HKEY_USERS, sharing + L"SOFTWARE\\Quorvex\\Pixvane 8"}));
    EXPECT_TRUE(RegValueExists(kHklm, kRegisteredApps, L"Other.Viewer"));
    ::RegDeleteKeyValueW(kHklm, kRegisteredApps, L"Other.Viewer");
    DeleteRegTree(kHklm, L"SOFTWARE\\Quorvex");
}

namespace {

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

// Both systems' ordinary cases are the end-to-end tests'. Without Explorer's
// own choices the classes themselves are restored (the prefix is a new
// system); the shell hears of it only when an association changed hands.
TEST(RestoreFileAssociations, WithoutExplorersChoicesRestoresTheClassesAndTellsTheShellOfChangesOnly)
{
    ASSERT_TRUE(IsVistaOrLater()) << "the prefix is expected to be a new system";
    DeleteRegTree(kHkcu, kFileExts);  // only ever made by tests
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi\\UserChoice", L"Progid", L"otherfile"));
    ASSERT_TRUE(SetRegString(kHkcr, L".pvi", L"PixvnOld", L"PvOldView.exe"));
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 0);
    EXPECT_FALSE(RegValueExists(kHkcr, L".pvi", L"PixvnOld")) << "cleared on new systems whoever holds the choice";
    EXPECT_TRUE(RegKeyExists(kHkcr, L".pvi\\UserChoice"));

    ASSERT_TRUE(SetRegString(kHkcr, L".pvi\\UserChoice", L"Progid", L"Applications\\Pixvn8.exe"));
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 1);
    EXPECT_FALSE(RegKeyExists(kHkcr, L".pvi\\UserChoice"));
    DeleteRegTree(kHkcr, L".pvi");
}
