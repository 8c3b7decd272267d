#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/process_table.hpp"
#include "tests/host/blocking_script.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using test::isAlive;

/// The worktree of bug 3f2a9c1d holds a file on which a filter blocks.
class OrphanedGitTest : public test::DispatchFixture {
  protected:
    OrphanedGitTest() {
        test::writeFile(repository.directory() / ".gitattributes", "m filter=block\n");
        test::writeFile(repository.directory() / "m", "In the middle.\n");
        test::writeFile(repository.directory() / "z", "Last.\n");
        repository.git({"add", "--all"});
        repository.git({"commit", "--quiet", "-m", "Add files"});
        repository.git({"push", "--quiet", "origin", "main"});
    }

    /// Runs until git is at work on the worktree, or where else it uses the program of this setting, and
    /// blocks.
    void startUntilGitBlocks(const std::string& setting = "filter.block.smudge") {
        mapApp();
        repository.git({"config", setting, filter.path()});
        reportClearBug("3f2a9c1d");
        startBackend();
        program = start(runWith());
        ASSERT_GT(filter.pid(), 0) << program->output() << program->errorText();
    }
    /// Git leads a session with all that it starts.
    void killGit() { kill(-processEntry(filter.pid()).session, SIGKILL); }

    void expectBugIsWorkedOnInAWholeWorktree() {
        EXPECT_EQ(status("3f2a9c1d"), "completed");
        EXPECT_EQ(repository.git(worktree, {"status", "--porcelain"}), "");
        EXPECT_EQ(test::readFile(worktree / "z"), "Last.\n");
    }

    const test::BlockingScript filter{repository.scratch("block")};
    const std::filesystem::path worktree = repository.scratch("shop-worktrees/Shop-3f2a9c1d");
    std::unique_ptr<test::DispatchProcess> program;
};

TEST_F(OrphanedGitTest, OfAKilledOwnerIsEndedBeforeTheRepositoryIsTouched) {
    startUntilGitBlocks();
    program->signal(SIGKILL);
    program->exitCode();
    ASSERT_TRUE(isAlive(filter.pid()));
    const auto next = runOnce();
    EXPECT_EQ(next.exitCode, 0) << next.output << next.error;
    EXPECT_FALSE(isAlive(filter.pid()));
    expectBugIsWorkedOnInAWholeWorktree();
}

TEST_F(OrphanedGitTest, AFetchOfAKilledOwnerIsEndedWithAllThatItHasStarted) {
    startUntilGitBlocks("core.sshCommand");
    program->signal(SIGKILL);
    program->exitCode();
    ASSERT_TRUE(isAlive(filter.pid()));
    repository.git({"config", "--unset", "core.sshCommand"});
    const auto next = runOnce();
    EXPECT_EQ(next.exitCode, 0) << next.output << next.error;
    EXPECT_FALSE(isAlive(filter.pid()));
    expectBugIsWorkedOnInAWholeWorktree();
}

TEST_F(OrphanedGitTest, AfterOwnerAndGitWereKilledTheWorktreeIsMadeAnew) {
    startUntilGitBlocks();
    program->signal(SIGKILL);
    program->exitCode();
    killGit();
    const auto next = runOnce();
    EXPECT_EQ(next.exitCode, 0) << next.output << next.error;
    expectBugIsWorkedOnInAWholeWorktree();
}

TEST_F(OrphanedGitTest, AWorktreeWhoseGitWasKilledIsMadeAnewAtOnce) {
    startUntilGitBlocks();
    killGit();
    EXPECT_TRUE(program->says("3f2a9c1d  completed")) << program->output() << program->errorText();
    program->signal(SIGTERM);
    program->exitCode();
    expectBugIsWorkedOnInAWholeWorktree();
}

TEST_F(OrphanedGitTest, ASignalEndsTheProgramAndTheGitThatItWaitsFor) {
    startUntilGitBlocks();
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->errorText();
    EXPECT_FALSE(isAlive(filter.pid()));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    const auto next = runOnce();
    EXPECT_EQ(next.exitCode, 0) << next.output << next.error;
    expectBugIsWorkedOnInAWholeWorktree();
}

}  // namespace
}  // namespace quernlight
