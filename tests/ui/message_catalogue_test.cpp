#include "support/test_env.h"
#include "system/handles.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using Table = std::map<UINT, std::wstring>;

// The catalogue as the product's texts are written, typos included; an empty
// text stands for an entry whose wording is the maker's (licence handling,
// addresses, the offer's rich text) and only has to be there.
Table Catalogue()
{
    Table texts = {
        {1, L"Pixvane 8"},
        {2, L"Pixvane Setup"},
        {3, L"Pixvane"},
        {4, L"%d instances of Pixvane are currently opened. ff you click \"Yes\" button, SETUP will try to close them "
            L"without saving any editing work you may have done. \n\nContinue installation?"},
        {6, L"This will completely uninstall Pixvane 8.\nDo you want to continue?"},
        {7, L"Please accept the License Agreement"},
        {8, L"&Finish >"},
        {9, L"Pixvane 8 has been successfully installed."},
        {10, L"Press the Finish button to exit this installation."},
        {11, L"Do you really want to cancel Pixvane setup?"},
        {12, L"Select the folder where where Pixvane should be installed."},
        {13, L"You have entered and invalid folder name. Please correct.\nIf you want to create a new folder, select its "
             L"parent folder in the list and click \"Make New Foilder\" button."},
        {14, L"Pixvane ver. 8 can not be installed into the same folder where the older version is. Please select a "
             L"different folder."},
        {15, L"Setup of Pixvane aborted. Please close other instances of Pixvane manually, saving any editing work you "
             L"have done in them, then restart this setup program."},
        {16, L"Pixvane v. %d.%02d.%02d.%02d is already installed on this machine. You are trying to install an older "
             L"version %d.%02d.%02d.%02d .\n\nDo you still want to continue?"},
        {17, L"Pixvane ver. %d.%02d.%02d.%02d is already installed on this machine.\n\nWould you like to run this "
             L"setup again to select different options or repair the files?"},
        {19, L"This folder already contains a previous copy of Pixvane 8. To upgrade or re-install that copy, please "
             L"do not change the destination folder."},
        {20, L"Pixvane 8 has been completely uninstalled from this computer.\n\nIf some Pixvane files could not be "
             L"deleted at this time, they will be removed upon the reboot of this computer."},
        {21, L"Yes"},
        {22, L"No"},
        {23, L"Error: Please enter a valid group name, minimum 3 letters"},
        {24, L"Error: Can not install shortcuts into this group, please select a different name."},
        {26, L"Click the Browse button and select a folder on a removable disk/USB key or network drive."},
        {27, L"Please click BROWSE button first and select the folder for portable installation."},
        {28, L"To run portable Pixvane, double-click 'StartPV8' icon located at:\n%s"},
        {30, L"It is necessary to restart your computer before using the product, otherwise it may not work "
             L"correctly."},
        {31, L"Restart the computer when I click \"Finish\""},
        {33, L"1 instance of Pixvane is currently opened. If you click \"Yes\" button, SETUP will try to close it "
             L"without saving any editing work you may have done. \n\nContinue installation?"},
        {101, L"Pixvane 8 Help"},
        {102, L"Read about Pixvane 8"},
        {103, L"Register Pixvane 8"},
        {104, L"Uninstall Pixvane 8"},
        {105, L"Please insert your original Pixvane CD-ROM."},
        {57344, L"Pixvane Setup"},
    };
    for (UINT id : {5u, 18u, 25u, 29u, 32u, 34u, 106u, 107u, 108u, 109u, 2704u}) {
        texts[id] = L"";
    }
    for (UINT id = 27000; id <= 27024; ++id) {
        texts[id] = L"";
    }
    return texts;
}

}  // namespace

TEST(MessageCatalogue, TheBuiltProgramHoldsEveryTextAsWrittenAndNothingElse)
{
    UniqueModule setup(::LoadLibraryExW(PackagePath(L"setup.exe").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(setup);
    Table built;  // every string-table entry, by number
    for (UINT id = 0; id < 65536; ++id) {
        const wchar_t* text = nullptr;
        const int length = ::LoadStringW(setup.Get(), id, reinterpret_cast<wchar_t*>(&text), 0);
        if (length > 0) {
            built[id] = std::wstring(text, static_cast<size_t>(length));
        }
    }
    const Table catalogue = Catalogue();
    for (const auto& [id, text] : catalogue) {
        ASSERT_TRUE(built.count(id)) << "missing " << id;
        if (!text.empty()) {
            EXPECT_EQ(built.at(id), text) << id;
        }
    }
    for (const auto& [id, text] : built) {
        EXPECT_TRUE(catalogue.count(id)) << "not in the catalogue: " << id;
    }
    EXPECT_EQ(built.at(5).rfind(L"This BETA TEST version of Pixvane has now expired. Please download and install a "
                                L"newer beta or a fully released version from ", 0), 0u);
    EXPECT_EQ(built.at(18).rfind(L"This setup files are damaged, installation aborted.\n\nPlease download the "
                                 L"product again from ", 0), 0u);
    EXPECT_TRUE(built.at(18).ends_with(L" and re-try the setup."));
}

TEST(MessageCatalogue, PlaceholdersTakeTheirValuesAndAnUnknownNumberGivesNoText)
{
    EXPECT_EQ(FormatMessageText(IDS_PORTABLE_HOW_TO_RUN, L"E:\\Tools"),
              L"To run portable Pixvane, double-click 'StartPV8' icon located at:\nE:\\Tools");
    EXPECT_EQ(FormatMessageText(IDS_OLDER_PACKAGE, 8, 1, 2, 3, 8, 1, 1, 9).substr(0, 22), L"Pixvane v. 8.01.02.03 ");
    EXPECT_EQ(LoadMessageText(4242), L"");
    EXPECT_EQ(LoadResString(IDS_SETUP_CAPTION), L"Pixvane Setup");
}
