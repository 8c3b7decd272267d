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

TEST(WorktreeNamingTest, ASlugKeepsLettersAndDigitsAndOneDashForEachRunOfOthers) {
    const std::pair<const char*, const char*> rows[] = {
        {"---", "app"},
        {"", "app"},
        {"🐛", "app"},
        {"Ünïcode App", "Ünïcode-App"},
        {"地図 ٣", "地図-٣"},
        {"  /a_.b -- c\xFF../", "a-b-c"},
        {"Cafe\u0301 2", "Cafe\u0301-2"},
    };
    for (const auto& [appName, slug] : rows) {
        EXPECT_EQ(slugOf(appName), slug);
    }
}

TEST(WorktreeNamingTest, OfABugIdTheFirstEightCharactersAreUsedInLowerCase) {
    const std::pair<const char*, const char*> rows[] = {{" AbC\n", "App-abc"},
                                                        {"ABCDEFG", "App-abcdefg"},
                                                        {"ABCDEFGH", "App-abcdefgh"},
                                                        {"\tABCDEFGHI\n", "App-abcdefgh"}};
    for (const auto& [bugID, name] : rows) {
        EXPECT_EQ(WorktreeNaming::branchName("App", bugID), name);
    }
}

TEST(WorktreeNamingTest, OnlyAPathBelowTheRootIsInside) {
    const std::tuple<std::string, std::string, bool> rows[] = {
        {"~/wt/My-App-3f2a9c1d", "~/wt/", true},
        {home() + "/wt/My-App-3f2a9c1d", "~/wt", true},
        {"/x", "/", true},
        {"/a/c", "/a/b/../c", false},
        {"/a/c/", "/a/c", false},
        {"/", "/", false},
        {"/a/c-other/x", "/a/c", false},
        {"/a/c/../d", "/a/c", false},
    };
    for (const auto& [path, root, inside] : rows) {
        EXPECT_EQ(WorktreeNaming::isInside(path, root), inside) << path << " in " << root;
    }
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
    EXPECT_EQ(WorktreeNaming::defaultRootPath("/"), "/worktrees");
    EXPECT_EQ(WorktreeNaming::defaultRootPath("~/src/Acme"), home() + "/src/Acme-worktrees");
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
