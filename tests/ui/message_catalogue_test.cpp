#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"

#include <gtest/gtest.h>

#include <string>


TEST(MessageCatalogue, StartUpTextsStandAsTheyAreWrittenTyposIncluded)
{
    EXPECT_EQ(LoadMessageText(IDS_SETUP_CAPTION), L"Pixvane Setup");
    EXPECT_EQ(FormatMessageText(IDS_INSTANCES_OPEN_MANY, 3),
              L"3 instances of Pixvane are currently opened. ff you click \"Yes\" button, SETUP will try to close "
              L"them without saving any editing work you may have done. \n\nContinue installation?");
    EXPECT_EQ(LoadMessageText(IDS_INSTANCE_OPEN_ONE),
              L"1 instance of Pixvane is currently opened. If you click \"Yes\" button, SETUP will try to close it "
              L"without saving any editing work you may have done. \n\nContinue installation?");
    EXPECT_EQ(LoadMessageText(IDS_SETUP_ABORTED_INSTANCES),
              L"Setup of Pixvane aborted. Please close other instances of Pixvane manually, saving any editing work "
              L"you have done in them, then restart this setup program.");
    EXPECT_EQ(LoadMessageText(IDS_SELECT_FOLDER), L"Select the folder where where Pixvane should be installed.");
    EXPECT_EQ(LoadMessageText(IDS_RESTART_ON_FINISH), L"Restart the computer when I click \"Finish\"");
}

TEST(MessageCatalogue, PlaceholdersTakeTheirValues)
{
    EXPECT_EQ(FormatMessageText(IDS_OLDER_PACKAGE, 8, 1, 2, 3, 8, 1, 1, 9),
              L"Pixvane v. 8.01.02.03 is already installed on this machine. You are trying to install an older "
              L"version 8.01.01.09 .\n\nDo you still want to continue?");
    EXPECT_EQ(FormatMessageText(IDS_SAME_VERSION, 8, 1, 2, 3).substr(0, 23), L"Pixvane ver. 8.01.02.03");
}

TEST(MessageCatalogue, AnUnknownNumberGivesNoText)
{
    EXPECT_EQ(LoadMessageText(4242), L"");
    EXPECT_EQ(LoadResString(4242), L"");
}
