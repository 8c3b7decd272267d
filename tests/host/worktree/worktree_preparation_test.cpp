#include "host/worktree/worktree_preparation.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

/// The worktree of bug 3f2a9c1d in a repository without a remote.
class WorktreePreparationTest : public testing::Test {
  protected:
    WorktreePreparationTest() {
        repository.git({"remote", "remove", "origin"});
        fs::create_directories(root);
    }

    GitWorktreePrepareResult prepareIn(const fs::path& directory) {
        PrepareBugRequest request{.repoPath = repository.directory(),
                                  .worktreeRootPath = directory,
                                  .appName = "Shop",
                                  .bugID = "3f2a9c1d",
                                  .baseBranch = "main"};
        return quernlight::test::runTask(prepareUsableWorktree(std::move(request), PreparationGit{}));
    }
    void commitWork() {
        repository.git(worktree, {"commit", "--quiet", "--allow-empty", "-m", "Half of the work"});
    }
    void expectWorktreeWithItsWork() {
        ASSERT_TRUE(fs::exists(worktree / ".git"));
        EXPECT_EQ(repository.git(worktree, {"branch", "--show-current"}), "Shop-3f2a9c1d");
        EXPECT_EQ(repository.git(worktree, {"log", "-1", "--format=%s"}), "Half of the work");
    }
    static std::string failureIn(const GitWorktreePrepareResult& result) {
        const auto* failed = std::get_if<WorktreeFailed>(&result);
        return failed ? failed->message : "";
    }

    standin::test::HostedRepository repository;
    const fs::path root = repository.scratch("worktrees");
    const fs::path worktree = root / "Shop-3f2a9c1d";
};

TEST_F(WorktreePreparationTest, AWorktreeThatGitOnlyRemembersIsMadeAgain) {
    prepareIn(root);
    commitWork();
    fs::remove_all(worktree);
    const auto again = prepareIn(root);
    EXPECT_TRUE(std::holds_alternative<WorktreeCreated>(again)) << failureIn(again);
    expectWorktreeWithItsWork();
}

TEST_F(WorktreePreparationTest, BehindASymbolicLinkAWorktreeThatGitOnlyRemembersIsMadeAgain) {
    fs::create_directory_symlink(root, repository.scratch("link"));
    prepareIn(repository.scratch("link"));
    commitWork();
    fs::remove_all(worktree);
    const auto again = prepareIn(repository.scratch("link"));
    EXPECT_TRUE(std::holds_alternative<WorktreeCreated>(again)) << failureIn(again);
    expectWorktreeWithItsWork();
}

TEST_F(WorktreePreparationTest, AWorktreeThatIsThereIsUsedAsItIs) {
    prepareIn(root);
    commitWork();
    quernlight::test::writeFile(worktree / "notes.txt", "not yet committed\n");
    EXPECT_TRUE(std::holds_alternative<WorktreeAlreadyExists>(prepareIn(root)));
    expectWorktreeWithItsWork();
    EXPECT_EQ(quernlight::test::readFile(worktree / "notes.txt"), "not yet committed\n");
}

}  // namespace
}  // namespace quernlight::host
