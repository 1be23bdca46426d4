#include "package/package_list_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

const std::vector<PayloadEntry> kPayload = {
    {L"setup.exe"}, {L"PxvUnInst.exe"}, {L"Pixvn8.exe"}, {L"ReadMe-8.txt"}, {L"Fx", true},
    {L"Fx\\Glow.pvf"}, {L"Fx\\Frames", true}, {L"Fx\\Frames\\Oak.png"}, {L"x64", true}, {L"x64\\T64.dll"}};

// On a fresh installation the first copy without ">" makes the product
// folder; the "Make Dir: " lines and renaming copies come after it.
const std::string kGoodHead =
    "File Copy: Pixvn8.exe\r\nMake Dir: Fx\r\nMake Dir: Fx\\Frames\r\nMake Dir: x64\r\n"
    "File Copy: pxvuninst.EXE\r\nFile Copy: ReadMe-8.txt > ReadMe.txt\r\nFile Copy: ReadMe-8.txt > x64\\R.txt\r\n"
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
        "Make Dir: Fx\r\n"                            // 1 before the product folder is made
        "File Copy: ReadMe-8.txt > ReadMe.txt\r\n"    // 2 so is this one's folder
        "File Copy: Fx\\*.pvf\r\n"                    // 3 makes it, and Fx
        "Make Dir: Fx\\Frames\\Oak\r\n"               // 4 before its parent
        "File Copy: ReadMe-8.txt > Fx\\Frames\\R\r\n"  // 5 into a folder made only later
        "File Copy: Missing.dll\r\n"                  // 6
        "File Copy: Fx\\*.png\r\n"                    // 7 matches nothing there
        "File Copy: ..\\Windows\\evil.dll\r\n"        // 8
        "File Del: C:\\boot.ini\r\n"                  // 9
        "File Copy: ReadMe-8.txt > \\\\server\\x\r\n"  // 10
        "File Copy: *.*\r\n"                          // 11
        "File Del: ??\r\n"                            // 12
        "File Copy: Fx\r\n"                           // 13 a folder
        "File Copy: x64\\T64.dll\r\n"                 // 14 x64 is never made
        "File Copy: Pixvn8.exe | 8.1\r\n"             // 15
        " File Copy: Pixvn8.exe\r\n"                  // 16 not in column one
        "File copy: Pixvn8.exe\r\n"                   // 17
        "Shell Link: C:\\Users\\Public\\Desktop\\x.lnk\r\n"  // 18
        "File Copy: Pixvn8.exe\n"                     // 19 LF alone
        "File Copy: Pix\0vn8.exe\r\n"s                // 20
        + std::string(520, 'x') + "\r\n"              // 21
        "Make Dir: Fx\\Frames\r\nFile Copy: Fx\\*\r\n";  // 23 meets the sub-folder "Frames"
    EXPECT_EQ(Problems(bad),
              (std::vector<std::pair<size_t, std::string>>{
                  {0, "no \"File Cop"}, {0, "no \"File Cop"}, {1, "comes before"}, {2, "copies under"},
                  {4, "makes a fold"}, {5, "copies under"}, {6, "names \"Missi"}, {7, "names \"Fx\\*."},
                  {8, "names a file"}, {9, "names a file"}, {10, "names a file"}, {11, "is a pattern"},
                  {12, "is a pattern"}, {13, "matches the "}, {14, "fills the fo"}, {15, "has a \" | \" "},
                  {16, "is no packag"}, {17, "is no packag"}, {18, "is a line on"}, {19, "ends in a li"},
                  {20, "holds contro"}, {21, "is longer th"}, {23, "matches the "}}));

    // Lists saved in other encodings, and a payload that cannot run.
    // (The mark also hides the copy of Pixvn8.exe, the package-wide problem listed first.)
    EXPECT_EQ(Problems("\xEF\xBB\xBF" + kGoodHead).at(1), std::make_pair(size_t{1}, "begins with "s));
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
