// What the product wrote going, and other programs' entries staying, is the
// end-to-end tests' business; here the keys that resist and the shell notice.
#include "support/test_env.h"
#include "system/services.h"
#include "uninstall/registry_cleanup.h"

#include <gtest/gtest.h>

#include <sddl.h>
#include <shlobj.h>

#include <string>

namespace {

bool SetAccessList(HKEY root, const std::wstring& key, const wchar_t* sddl)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    UniqueRegKey opened;
    const bool done =
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr) &&
        ::RegOpenKeyExW(root, key.c_str(), 0, WRITE_DAC, opened.Put()) == ERROR_SUCCESS &&
        ::RegSetKeySecurity(opened.Get(), DACL_SECURITY_INFORMATION, descriptor) == ERROR_SUCCESS;
    ::LocalFree(descriptor);
    return done;
}

// The SHCNE_ASSOCCHANGED notices the action sends, counted by a window
// registered for them (Wine delivers them within the calling process).
int CountAssociationNotices(void (*action)())
{
    static int notices = 0;
    constexpr UINT kNotice = WM_APP + 17;
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        notices += message == kNotice ? 1 : 0;
        return ::DefWindowProcW(window, message, wParam, lParam);
    };
    windowClass.lpszClassName = L"PixvaneTestsNotices";
    ::RegisterClassW(&windowClass);
    HWND window = ::CreateWindowW(windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    SHChangeNotifyEntry everywhere = {nullptr, TRUE};
    const ULONG registration =
        ::SHChangeNotifyRegister(window, SHCNRF_ShellLevel, SHCNE_ASSOCCHANGED, kNotice, 1, &everywhere);
    notices = registration != 0 ? 0 : -1;
    action();
    MSG message;
    for (int round = 0; round < 30; ++round, ::Sleep(10)) {
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::DispatchMessageW(&message);
        }
    }
    ::SHChangeNotifyDeregister(registration);
    ::DestroyWindow(window);
    return notices;
}

}  // namespace

// A key whose access list denies DELETE to everyone cannot be deleted, so
// neither can its ancestors, while the rest of the tree goes; a user whose
// hive refuses access is passed over and the next one still cleaned. Wine
// lets a plain DELETE open through, so a locked key also holds a subkey, as
// it would stay on Windows.
TEST(RemoveRegistration, KeysThatCannotGoKeepTheirAncestorsAndARefusingUserIsPassedOver)
{
    const std::wstring tree = L"Software\\PixvaneTests\\Tree\\";
    const std::wstring refusing = L"S-1-5-21-1000-1000-1000-1000";
    const std::wstring sharing = L"S-1-5-21-1000-1000-1000-1002";
    for (const wchar_t* leaf : {L"deep\\locked\\in", L"deep\\gone", L"first\\x", L"locked\\in", L"mid\\m\\m", L"z"}) {
        ASSERT_TRUE(SetRegString(HKEY_CURRENT_USER, tree + leaf, L"", L"x"));
    }
    for (const std::wstring& user : {refusing, sharing}) {
        ASSERT_TRUE(SetRegString(HKEY_USERS, user + L"\\SOFTWARE\\Quorvex\\Pixvane 8\\Settings", L"", L"x"));
    }
    const std::pair<HKEY, std::wstring> locked[] = {
        {HKEY_CURRENT_USER, tree + L"locked"}, {HKEY_CURRENT_USER, tree + L"deep\\locked"}, {HKEY_USERS, refusing}};
    for (const auto& [root, key] : locked) {
        ASSERT_TRUE(SetAccessList(root, key, L"D:(D;;SD;;;WD)(A;;KA;;;WD)"));
    }

    EXPECT_FALSE(DeleteRegistryTree(HKEY_CURRENT_USER, tree.c_str()));
    RemoveRegistration(L"Quorvex", L"Pixvane 8", L"Pixvane 8", L"Pixvn8.exe");

    for (const auto& [root, key] : locked) {
        SetAccessList(root, key, L"D:(A;;KA;;;WD)");
    }
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, tree + L"locked\\in"));
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, tree + L"deep\\locked\\in"));
    for (const wchar_t* gone : {L"deep\\gone", L"first", L"mid", L"z"}) {
        EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, tree + gone)) << gone;
    }
    EXPECT_TRUE(RegKeyExists(HKEY_USERS, refusing + L"\\SOFTWARE\\Quorvex\\Pixvane 8"));
    EXPECT_FALSE(RegKeyExists(HKEY_USERS, sharing + L"\\SOFTWARE\\Quorvex"));
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\PixvaneTests");
    DeleteRegTree(HKEY_USERS, refusing);
    DeleteRegTree(HKEY_USERS, sharing);
}

// Both systems' ordinary cases are the end-to-end tests'. Without Explorer's
// own choices the classes themselves are restored (the prefix is a new
// system); the shell hears of it only when an association changed hands.
TEST(RestoreFileAssociations, WithoutExplorersChoicesRestoresTheClassesAndTellsTheShellOfChangesOnly)
{
    ASSERT_TRUE(IsVistaOrLater()) << "the prefix is expected to be a new system";
    DeleteRegTree(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts");
    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi\\UserChoice", L"Progid", L"otherfile"));
    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi", L"PixvnOld", L"PvOldView.exe"));
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 0);
    EXPECT_FALSE(RegValueExists(HKEY_CLASSES_ROOT, L".pvi", L"PixvnOld")) << "cleared on new systems, whoever chose";
    EXPECT_TRUE(RegKeyExists(HKEY_CLASSES_ROOT, L".pvi\\UserChoice"));

    ASSERT_TRUE(SetRegString(HKEY_CLASSES_ROOT, L".pvi\\UserChoice", L"Progid", L"Applications\\Pixvn8.exe"));
    EXPECT_EQ(CountAssociationNotices(&RestoreFileAssociations), 1);
    EXPECT_FALSE(RegKeyExists(HKEY_CLASSES_ROOT, L".pvi\\UserChoice"));
    DeleteRegTree(HKEY_CLASSES_ROOT, L".pvi");
}
