#include "support/message_boxes.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

TEST(Harness, SetupRunsUnderWine)
{
    const std::wstring folder = MakeScratchFolder(L"harness");
    ASSERT_TRUE(::CopyFileW(PackagePath(L"setup.exe").c_str(), (folder + L"\\PxvUnInst.exe").c_str(), FALSE));
    ChildProcess setup;
    ASSERT_TRUE(setup.Start(L"\"" + folder + L"\\PxvUnInst.exe\""));
    auto box = AnswerMessageBox(IDNO, 10000, setup.Id());
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text, L"This will completely uninstall Pixvane 8.\nDo you want to continue?");
    EXPECT_EQ(setup.Wait(10000), 0);
}
