#include <algorithm>
#include <csignal>
#include <memory>
#include <utility>

#include <sys/wait.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/worktree_preparation.hpp"
#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/host/blocking_script.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
using quernlight::test::readFile;
using quernlight::test::writeFile;
using testing::HasSubstr;

/// The worktree of bug 3f2a9c1d, whose git is killed while it writes the files: "a" is there, "m" and "z" are
/// not.
class HalfMadeWorktreeTest : public testing::Test {
  protected:
    HalfMadeWorktreeTest() {
        repository.git({"remote", "remove", "origin"});
        writeFile(repository.directory() / ".gitattributes", "m filter=block\n");
        commit("a", "First.\n");
        commit("m", "In the middle.\n");
        commit("z", "Last.\n");
        fs::create_directories(root);
    }

    void commit(const std::string& name, const std::string& content) {
        writeFile(repository.directory() / name, content);
        repository.git({"add", "--all"});
        repository.git({"commit", "--quiet", "-m", "Add " + name});
    }

    /// `git worktree add` with these arguments is killed, and all that it has started.
    void killWhileAdding(std::vector<std::string> arguments) {
        repository.git({"config", "filter.block.smudge", filter.path()});
        arguments.insert(arguments.begin(),
                         {"/usr/bin/git", "-C", repository.directory(), "worktree", "add"});
        const pid_t git = spawnProcess(
            {.executable = "/usr/bin/git", .arguments = arguments, .environment = repository.environment()});
        EXPECT_GT(filter.pid(), 0);
        kill(-git, SIGKILL);
        waitpid(git, nullptr, 0);
        repository.git({"config", "--unset", "filter.block.smudge"});
        ASSERT_TRUE(fs::exists(worktree / "a"));
        ASSERT_FALSE(fs::exists(worktree / "z"));
    }
    void leaveHalfMade() { killWhileAdding({"-b", "Shop-3f2a9c1d", worktree, "main"}); }

    PrepareBugRequest request() const {
        return {.repoPath = repository.directory(),
                .worktreeRootPath = root,
                .appName = "Shop",
                .bugID = "3f2a9c1d",
                .baseBranch = "main"};
    }
    GitWorktreePrepareResult prepare(WorktreeUse use = WorktreeUse::first) {
        return quernlight::test::runTask(prepareUsableWorktree(request(), gits, use));
    }
    bool hasEarlierWork() { return quernlight::test::runTask(host::hasEarlierWork(request(), gits.ask)); }
    std::string failure(WorktreeUse use = WorktreeUse::first) {
        const auto result = prepare(use);
        const auto* failed = std::get_if<WorktreeFailed>(&result);
        return failed ? failed->message : "";
    }
    void expectWholeWorktree() {
        EXPECT_EQ(repository.git(worktree, {"status", "--porcelain", "--ignored"}), "");
        EXPECT_EQ(repository.git(worktree, {"branch", "--show-current"}), "Shop-3f2a9c1d");
        EXPECT_EQ(readFile(worktree / "z"), "Last.\n");
        EXPECT_THAT(repository.git({"worktree", "list", "--porcelain"}), testing::Not(HasSubstr("locked")));
    }
    std::string tip(const std::string& branch) { return repository.git({"rev-parse", branch}); }

    static Task<GitCommandResult> writingAfter(Task<GitCommandResult> running, fs::path file) {
        GitCommandResult result = co_await std::move(running);
        if (!file.empty()) {
            writeFile(file, "Keep me.\n");
        }
        co_return result;
    }

    PreparationGit gits;
    standin::test::HostedRepository repository;
    const quernlight::test::BlockingScript filter{repository.scratch("block")};
    const fs::path root = repository.scratch("worktrees");
    const fs::path worktree = root / "Shop-3f2a9c1d";
};

TEST_F(HalfMadeWorktreeTest, IsRemovedAndMadeAnewFromTheNewestBase) {
    leaveHalfMade();
    commit("b", "Since then.\n");
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
    EXPECT_EQ(tip("Shop-3f2a9c1d"), tip("main"));
}

TEST_F(HalfMadeWorktreeTest, AFileThatGitCouldNotWriteToItsEndIsNobodysWork) {
    leaveHalfMade();
    writeFile(worktree / "m", "In the");
    writeFile(worktree / "z", "");
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
}

TEST_F(HalfMadeWorktreeTest, IsLeftAloneWhenItHoldsAFileOfSomebodys) {
    leaveHalfMade();
    writeFile(worktree / "notes.txt", "Keep me.\n");
    EXPECT_EQ(failure(), "The worktree at " + worktree.string() +
                             " cannot be used: git has not finished making it, and it holds what git did not "
                             "put there (notes.txt). It is left alone; keep what is needed of it, and retry "
                             "the bug once you have removed it with: git -C " +
                             repository.directory().string() + " worktree remove --force --force " +
                             worktree.string());
    EXPECT_EQ(readFile(worktree / "notes.txt"), "Keep me.\n");
}

TEST_F(HalfMadeWorktreeTest, IsLeftAloneWhenAFileWasChangedOrIsIgnored) {
    leaveHalfMade();
    writeFile(worktree / "a", "Second.\n");
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (a)."));
    writeFile(worktree / "a", "First.\n");
    writeFile(repository.directory() / ".git/info/exclude", "build\n");
    writeFile(worktree / "build/log", "Of a build.\n");
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (build"));
    EXPECT_EQ(readFile(worktree / "build/log"), "Of a build.\n");
}

TEST_F(HalfMadeWorktreeTest, ABranchWithWorkOnItStaysAndIsCheckedOutAgain) {
    repository.git({"checkout", "--quiet", "-b", "Shop-3f2a9c1d"});
    commit("work", "Done earlier.\n");
    const std::string work = tip("Shop-3f2a9c1d");
    repository.git({"checkout", "--quiet", "main"});
    killWhileAdding({worktree, "Shop-3f2a9c1d"});
    EXPECT_EQ(failure(WorktreeUse::again), "");
    expectWholeWorktree();
    EXPECT_EQ(tip("Shop-3f2a9c1d"), work);
}

TEST_F(HalfMadeWorktreeTest, IsLeftAloneWhenSomethingIsInTheDirectoryOfASubmodule) {
    const std::string link = "160000," + tip("main") + ",inner";
    repository.git({"update-index", "--add", "--cacheinfo", link});
    repository.git({"commit", "--quiet", "-m", "Add a submodule"});
    leaveHalfMade();
    writeFile(worktree / "inner/notes.txt", "Keep me.\n");
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (inner)."));
    EXPECT_TRUE(fs::exists(worktree / "inner/notes.txt"));
}

TEST_F(HalfMadeWorktreeTest, ABranchThatIsCheckedOutElsewhereStays) {
    leaveHalfMade();
    fs::remove_all(repository.directory() / ".git/worktrees");
    repository.git({"checkout", "--quiet", "Shop-3f2a9c1d"});
    EXPECT_THAT(failure(), HasSubstr("Shop-3f2a9c1d"));
    EXPECT_EQ(repository.git({"branch", "--show-current"}), "Shop-3f2a9c1d");
    EXPECT_EQ(tip("Shop-3f2a9c1d"), tip("main"));
}

TEST_F(HalfMadeWorktreeTest, ACommitThatNoBranchHoldsKeepsIt) {
    leaveHalfMade();
    const std::string work =
        repository.git(worktree, {"commit-tree", "HEAD^{tree}", "-p", "HEAD", "-m", "Work"});
    repository.git(worktree, {"update-ref", "--no-deref", "HEAD", work});
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (commit " + work + ")"));
    EXPECT_TRUE(fs::exists(worktree / "a"));
}

/// Git forgets a worktree first and removes its files then.
TEST_F(HalfMadeWorktreeTest, IsMadeAnewWhenGitWasKilledWhileItRemovedIt) {
    leaveHalfMade();
    fs::remove_all(repository.directory() / ".git/worktrees");
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
}

TEST_F(HalfMadeWorktreeTest, IsMadeAnewWhenNothingButFilesAndItsBranchAreLeft) {
    leaveHalfMade();
    fs::remove_all(repository.directory() / ".git/worktrees");
    fs::remove(worktree / ".git");
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
}

TEST_F(HalfMadeWorktreeTest, ADirectoryThatNoPreparationMadeIsNotTouched) {
    writeFile(worktree / "a", "First.\n");
    EXPECT_EQ(failure(),
              "Configured worktree path already exists but is not a git worktree: " + worktree.string());
    EXPECT_EQ(readFile(worktree / "a"), "First.\n");
}

TEST_F(HalfMadeWorktreeTest, GitsLockOnOneWhoseDirectoryIsGoneHoldsNothingUp) {
    leaveHalfMade();
    fs::remove_all(worktree);
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
}

TEST_F(HalfMadeWorktreeTest, BeforeAnyAgentAWorktreeThatLacksFilesIsMadeAnew) {
    prepare();
    fs::remove(worktree / "z");
    EXPECT_EQ(failure(), "");
    expectWholeWorktree();
}

/// Git writes the index last, so what is cut short then was cut by somebody.
TEST_F(HalfMadeWorktreeTest, InAFinishedWorktreeAFileThatWasCutShortIsSomebodysWork) {
    prepare();
    fs::remove(worktree / "a");
    writeFile(worktree / "z", "La");
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (z)"));
    EXPECT_EQ(readFile(worktree / "z"), "La");
}

TEST_F(HalfMadeWorktreeTest, WhatComesBetweenTheLookAndTheRemovalKeepsIt) {
    leaveHalfMade();
    const auto notes = worktree / "notes.txt";
    const auto hasCome = std::make_shared<bool>(false);
    gits.run = [notes, hasCome, run = gits.run](std::vector<std::string> arguments) {
        const bool isLook = std::ranges::find(arguments, "status") != arguments.end();
        const bool comes = isLook && !std::exchange(*hasCome, *hasCome || isLook);
        return writingAfter(run(std::move(arguments)), comes ? notes : fs::path());
    };
    EXPECT_THAT(failure(), HasSubstr("it holds what git did not put there (notes.txt)"));
    EXPECT_EQ(readFile(notes), "Keep me.\n");
}

TEST_F(HalfMadeWorktreeTest, IsLeftAloneWhileSomebodyWorksInIt) {
    leaveHalfMade();
    const pid_t shell = spawnProcess({.executable = "/bin/sleep",
                                      .arguments = {"sleep", "600"},
                                      .environment = {},
                                      .workingDirectory = worktree});
    EXPECT_THAT(failure(), HasSubstr("(process " + std::to_string(shell) + ")"));
    EXPECT_TRUE(fs::exists(worktree / "a"));
    kill(shell, SIGKILL);
    waitpid(shell, nullptr, 0);
}

TEST_F(HalfMadeWorktreeTest, OneThatIsAwayAndLockedByAPersonIsNotForgotten) {
    prepare();
    repository.git({"worktree", "lock", "--reason", "on a disk", worktree});
    fs::rename(worktree, repository.scratch("disk"));
    EXPECT_THAT(failure(), HasSubstr("its directory is away, and somebody has locked it"));
    EXPECT_THAT(repository.git({"worktree", "list", "--porcelain"}), HasSubstr("locked on a disk"));
}

TEST_F(HalfMadeWorktreeTest, OneThatIsAwayWithCommitsThatNothingElseHoldsIsNotForgotten) {
    prepare();
    repository.git(worktree, {"checkout", "--quiet", "--detach"});
    repository.git(worktree, {"commit", "--quiet", "--allow-empty", "-m", "Only here"});
    fs::rename(worktree, repository.scratch("disk"));
    EXPECT_THAT(failure(), HasSubstr("nothing else holds what was done there (commit "));
}

TEST_F(HalfMadeWorktreeTest, AnAgentMayDeleteFiles) {
    prepare();
    fs::remove(worktree / "z");
    EXPECT_TRUE(std::holds_alternative<WorktreeAlreadyExists>(prepare(WorktreeUse::again)));
    EXPECT_FALSE(fs::exists(worktree / "z"));
}

/// Its deletion may be somebody's.
TEST_F(HalfMadeWorktreeTest, AWorktreeThatLacksFilesIsLeftAloneOnceItsBranchHoldsWork) {
    prepare();
    repository.git(worktree, {"commit", "--quiet", "--allow-empty", "-m", "Work"});
    fs::remove(worktree / "z");
    EXPECT_THAT(failure(), HasSubstr(" cannot be used: files of its branch are missing. It is left alone;"));
    EXPECT_TRUE(fs::exists(worktree / "a"));
}

/// A bug may be forgotten and come in again; what its agent has committed stays.
TEST_F(HalfMadeWorktreeTest, ABranchThatHasCommitsWasWorkedOnWhateverTheQueueKnows) {
    EXPECT_FALSE(hasEarlierWork());
    EXPECT_EQ(failure(), "");
    EXPECT_FALSE(hasEarlierWork());
    repository.git(worktree, {"commit", "--quiet", "--allow-empty", "-m", "Mend the crash"});
    EXPECT_TRUE(hasEarlierWork());
    repository.git({"worktree", "remove", worktree});
    EXPECT_TRUE(hasEarlierWork());
}

}  // namespace
}  // namespace quernlight::host
