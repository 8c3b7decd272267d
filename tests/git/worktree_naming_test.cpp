#include "quernlight/git/worktree_naming.hpp"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/git/git_sandbox.hpp"

namespace quernlight {
namespace {

const std::string longID = "3F2A9C1D-0000-4000-8000-000000000000";

std::string slugOf(const std::string& appName) {
    const std::string name = WorktreeNaming::branchName(appName, "x");
    return name.substr(0, name.size() - 2);
}

std::string home() {
    return std::getenv("HOME");
}

TEST(WorktreeNamingTest, TheBranchNameIsTheSlugAndTheShortBugId) {
    EXPECT_EQ(WorktreeNaming::branchName("My App!", longID), "My-App-3f2a9c1d");
}

TEST(WorktreeNamingTest, AnAppNameWithoutALetterOrDigitIsCalledApp) {
    EXPECT_EQ(slugOf("---"), "app");
    EXPECT_EQ(slugOf(""), "app");
    EXPECT_EQ(slugOf("🐛"), "app");
}

TEST(WorktreeNamingTest, LettersBeyondAsciiAreKept) {
    EXPECT_EQ(slugOf("Ünïcode App"), "Ünïcode-App");
    EXPECT_EQ(slugOf("地図 ٣"), "地図-٣");
}

TEST(WorktreeNamingTest, EveryRunOfOtherCharactersIsOneDashAndNoneIsAtTheEnds) {
    EXPECT_EQ(slugOf("  /a_.b -- c\xFF../"), "a-b-c");
}

TEST(WorktreeNamingTest, AMarkBelongsToItsLetter) {
    EXPECT_EQ(slugOf("Cafe\u0301 2"), "Cafe\u0301-2");
}

TEST(WorktreeNamingTest, AShortBugIdIsUsedWholeAndLowercased) {
    EXPECT_EQ(WorktreeNaming::branchName("App", " AbC\n"), "App-abc");
    EXPECT_EQ(WorktreeNaming::branchName("App", "ABCDEFG"), "App-abcdefg");
}

TEST(WorktreeNamingTest, OfALongBugIdTheFirstEightCharactersAreUsed) {
    EXPECT_EQ(WorktreeNaming::branchName("App", "ABCDEFGH"), "App-abcdefgh");
    EXPECT_EQ(WorktreeNaming::branchName("App", "\tABCDEFGHI\n"), "App-abcdefgh");
}

TEST(WorktreeNamingTest, TheWorktreeIsADirectoryOfTheStandardizedRoot) {
    EXPECT_EQ(WorktreeNaming::worktreePath("/a/b/../c", "My App!", longID), "/a/c/My-App-3f2a9c1d");
    EXPECT_EQ(WorktreeNaming::worktreePath("~/wt/", "My App!", longID), home() + "/wt/My-App-3f2a9c1d");
    EXPECT_EQ(WorktreeNaming::worktreePath("/", "My App!", longID), "/My-App-3f2a9c1d");
}

TEST(WorktreeNamingTest, AStandardizedPathIsAbsoluteWithoutDotsAndNeedlessSeparators) {
    EXPECT_EQ(WorktreeNaming::standardizedPath("/a//b/./../c/"), "/a/c");
    EXPECT_EQ(WorktreeNaming::standardizedPath("~"), home());
    EXPECT_EQ(WorktreeNaming::standardizedPath("sub"), (std::filesystem::current_path() / "sub").string());
}

TEST(WorktreeNamingTest, ASymbolicLinkIsNotResolved) {
    const test::TemporaryDirectory directory;
    std::filesystem::create_directory_symlink("/", directory / "link");
    const std::string link = (directory / "link").string();
    EXPECT_EQ(WorktreeNaming::standardizedPath(link + "/./wt"), link + "/wt");
    EXPECT_EQ(WorktreeNaming::standardizedPath(link + "/../wt"), (directory / "wt").string());
}

TEST(WorktreeNamingTest, TheDefaultRootLiesBesideTheRepository) {
    EXPECT_EQ(WorktreeNaming::defaultRootPath("/src/Acme"), "/src/Acme-worktrees");
    EXPECT_EQ(WorktreeNaming::defaultRootPath("/src/x/../Acme/"), "/src/Acme-worktrees");
    EXPECT_EQ(WorktreeNaming::defaultRootPath("/Acme"), "/Acme-worktrees");
    EXPECT_EQ(WorktreeNaming::defaultRootPath("~/src/Acme"), home() + "/src/Acme-worktrees");
}

TEST(WorktreeNamingTest, TheDefaultRootOfTheRootDirectoryIsCalledWorktrees) {
    EXPECT_EQ(WorktreeNaming::defaultRootPath("/"), "/worktrees");
}

TEST(WorktreeNamingTest, APathBelowARootGivenWithATildeIsInside) {
    EXPECT_TRUE(WorktreeNaming::isInside("~/wt/My-App-3f2a9c1d", "~/wt/"));
    EXPECT_TRUE(WorktreeNaming::isInside(home() + "/wt/My-App-3f2a9c1d", "~/wt"));
}

TEST(WorktreeNamingTest, TheRootIsNotInsideItself) {
    EXPECT_FALSE(WorktreeNaming::isInside("/a/c", "/a/b/../c"));
    EXPECT_FALSE(WorktreeNaming::isInside("/a/c/", "/a/c"));
    EXPECT_FALSE(WorktreeNaming::isInside("/", "/"));
}

TEST(WorktreeNamingTest, ADirectoryWhoseNameBeginsLikeTheRootIsOutside) {
    EXPECT_FALSE(WorktreeNaming::isInside("/a/c-other/x", "/a/c"));
    EXPECT_FALSE(WorktreeNaming::isInside("/a/c/../d", "/a/c"));
}

TEST(WorktreeNamingTest, EverythingIsInsideTheRootDirectory) {
    EXPECT_TRUE(WorktreeNaming::isInside("/x", "/"));
}

TEST(WorktreeNamingTest, ABugIdThatCannotBePartOfADirectoryNameIsRefused) {
    EXPECT_EQ(WorktreeNaming::refusal(longID), std::nullopt);
    EXPECT_EQ(WorktreeNaming::refusal("foo.lock"), std::nullopt);
    EXPECT_EQ(WorktreeNaming::refusal(" \n"), "Refusing a worktree for a bug whose id is empty.");
    for (const char* id : {"..", "a/b", "a\tb"}) {
        EXPECT_EQ(WorktreeNaming::refusal(id),
                  "Refusing a worktree for a bug whose id cannot be part of a directory name.");
    }
}

}  // namespace
}  // namespace quernlight
