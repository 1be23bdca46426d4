#include "package/package_list_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

const std::vector<PayloadEntry> kPayload = {
    {L"setup.exe"}, {L"PxvUnInst.exe"}, {L"Pixvn8.exe"}, {L"ReadMe-8.txt"}, {L"Fx", true},
    {L"Fx\\Glow.pvf"}, {L"Fx\\Frames", true}, {L"Fx\\Frames\\Oak.png"}, {L"x64", true}, {L"x64\\T64.dll"}};

const std::string kGoodHead =
    "Make Dir: Fx\r\nMake Dir: Fx\\Frames\r\nMake Dir: x64\r\n"
    "File Copy: Pixvn8.exe\r\nFile Copy: pxvuninst.EXE\r\nFile Copy: ReadMe-8.txt > ReadMe.txt\r\n"
    "File Copy: Fx\\*.pvf\r\nFile Copy: Fx/Frames/*.png\r\nFile Copy x64: x64\\T64.dll\r\n"
    "File Overwrite: Pixvn8.cfg | the product writes it\r\nFile Del: Old\\*.lg7\r\n";
const std::string kTail = "Make Dir: x64\r\nMake Dir: Fx\\Frames\r\nMake Dir: Fx\r\n";

// Line number and the start of its reason, for every problem.
std::vector<std::pair<size_t, std::string>> Problems(const std::string& list)
{
    std::vector<std::pair<size_t, std::string>> found;
    for (const auto& problem : CheckPackageList(list, kPayload).problems) {
        found.emplace_back(problem.line, problem.reason.substr(0, 12));
    }
    return found;
}

}  // namespace

TEST(PackageListCheck, ARightListPassesAndGetsTheReverseFolderTailOnlyWhenItLacksIt)
{
    const PackageListCheck complete = CheckPackageList(kGoodHead + "\r\n" + kTail, kPayload);
    EXPECT_TRUE(complete.problems.empty());
    EXPECT_FALSE(complete.tailAppended);
    EXPECT_EQ(complete.list, kGoodHead + "\r\n" + kTail);

    // Without a line end at the end, one comes before the tail.
    const std::string unterminated = kGoodHead.substr(0, kGoodHead.size() - 2);
    const PackageListCheck appended = CheckPackageList(unterminated, kPayload);
    EXPECT_TRUE(appended.problems.empty());
    EXPECT_TRUE(appended.tailAppended);
    EXPECT_EQ(appended.list, kGoodHead + kTail);
    // A tail in the wrong order is no tail.
    EXPECT_TRUE(CheckPackageList(kGoodHead + "Make Dir: Fx\r\nMake Dir: Fx\\Frames\r\n", kPayload).tailAppended);
}

TEST(PackageListCheck, EveryKindOfBadLineIsNamedWithItsNumber)
{
    const std::string bad =
        "Make Dir: Fx\\Frames\r\n"                    // 1 before its parent
        "File Copy: Missing.dll\r\n"                  // 2
        "File Copy: Fx\\*.png\r\n"                    // 3 matches nothing there
        "File Copy: ..\\Windows\\evil.dll\r\n"        // 4
        "File Del: C:\\boot.ini\r\n"                  // 5
        "File Copy: ReadMe-8.txt > \\\\server\\x\r\n"  // 6
        "File Copy: *.*\r\n"                          // 7
        "File Del: ??\r\n"                            // 8
        "File Copy: Fx\r\n"                           // 9 a folder
        "File Copy: x64\\T64.dll\r\n"                 // 10 x64 is never made
        "File Copy: Pixvn8.exe | 8.1\r\n"             // 11
        " File Copy: Pixvn8.exe\r\n"                  // 12 not in column one
        "File copy: Pixvn8.exe\r\n"                   // 13
        "Shell Link: C:\\Users\\Public\\Desktop\\x.lnk\r\n"  // 14
        "File Copy: Pixvn8.exe\n"                     // 15 LF alone
        "File Copy: Pix\0vn8.exe\r\n"s                // 16
        + std::string(520, 'x') + "\r\n"              // 17
        "Make Dir: Fx\r\nFile Copy: Fx\\*\r\n";       // 19 meets the sub-folder "Frames"
    EXPECT_EQ(Problems(bad),
              (std::vector<std::pair<size_t, std::string>>{
                  {0, "no \"File Cop"}, {0, "no \"File Cop"}, {1, "makes a fold"}, {2, "names \"Missi"}, {3, "names \"Fx\\*."},
                  {4, "names a file"}, {5, "names a file"}, {6, "names a file"}, {7, "is a pattern"},
                  {8, "is a pattern"}, {9, "matches the "}, {10, "fills the fo"}, {11, "has a \" | \" "},
                  {12, "is no packag"}, {13, "is no packag"}, {14, "is a line on"}, {15, "ends in a li"},
                  {16, "holds contro"}, {17, "is longer th"}, {19, "matches the "}}));

    // Lists saved in other encodings, and a payload that cannot run.
    EXPECT_EQ(Problems("\xEF\xBB\xBF" + kGoodHead).front(), std::make_pair(size_t{1}, "begins with "s));
    EXPECT_EQ(Problems("F\0i\0l\0e\0:\0"s).back(), std::make_pair(size_t{1}, "holds contro"s));
    EXPECT_EQ(CheckPackageList(kGoodHead, {{L"Pixvn8.exe"}}).problems.front().reason.substr(0, 22),
              "the package folder has");
}

TEST(PackageListCheck, WildcardsMatchAsAFileSearchDoes)
{
    EXPECT_TRUE(MatchesWildcard(L"*.LNG", L"deutsch.lng"));
    EXPECT_TRUE(MatchesWildcard(L"\u00c9t?.txt", L"\u00e9t\u00e9.txt"));
    EXPECT_FALSE(MatchesWildcard(L"*.lng", L"a.lngx"));
    EXPECT_TRUE(MatchesWildcard(L"*.*", L"README"));
    EXPECT_TRUE(MatchesWildcard(L"a??", L"a"));
    EXPECT_FALSE(MatchesWildcard(L"a?b", L"ab"));
    EXPECT_FALSE(MatchesWildcard(L"*.dll", L".."));
}
