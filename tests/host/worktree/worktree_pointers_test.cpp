#include "host/worktree/worktree_pointers.hpp"

#include <ostream>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/work_preserver.hpp"
#include "host/worktree/worktree_preparation.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
using quernlight::test::readFile;
using quernlight::test::runTask;
using quernlight::test::writeFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The worktree of bug 3f2a9c1d, in which an agent has worked, and another repository whose configuration
/// names a program, which every git that looks for changes there starts.
class WorktreePointersTest : public testing::Test {
  protected:
    WorktreePointersTest() {
        repository.git({"remote", "remove", "origin"});
        fs::create_directories(root);
        EXPECT_TRUE(std::holds_alternative<WorktreeCreated>(prepare()));
        writeFile(program, "#!/bin/sh\ntouch " + trap.string() + "\n");
        fs::permissions(program, fs::perms::owner_all);
        setTrapIn(hostile);
    }

    void setTrapIn(const fs::path& repo) {
        repository.git({"init", "--quiet", "--initial-branch=main", repo});
        const auto in = [&](std::vector<std::string> words) { repository.git(repo, words); };
        in({"config", "user.name", "Mallory"});
        in({"config", "user.email", "m@example.org"});
        writeFile(repo / "README", "hello\n");
        in({"add", "--all"});
        in({"commit", "--quiet", "-m", "Begin"});
        in({"config", "core.fsmonitor", program});
    }
    GitWorktreePrepareResult prepare(WorktreeUse use = WorktreeUse::first) {
        PrepareBugRequest request{.repoPath = repository.directory(),
                                  .worktreeRootPath = root,
                                  .appName = "Shop",
                                  .bugID = "3f2a9c1d",
                                  .baseBranch = "main"};
        return runTask(prepareUsableWorktree(std::move(request), PreparationGit{}, use));
    }
    std::string refusal() {
        const auto result = prepare(WorktreeUse::again);
        const auto* failed = std::get_if<WorktreeFailed>(&result);
        return failed ? failed->message : "none";
    }
    std::string unsaved() { return unsavedIn(repository.directory()); }
    std::string unsavedIn(const fs::path& mapped) {
        const auto result =
            runTask(preserveWork({.repoPath = mapped, .worktreePath = worktree, .branch = "Shop-3f2a9c1d"}));
        const auto* failed = std::get_if<PreservingFailed>(&result);
        return failed ? failed->reason : "none";
    }
    PointerState state() const { return pointersOf(repository.directory(), worktree).state; }
    std::vector<fs::path> writable() const { return gitDirectoriesOf(repository.directory(), worktree); }

    /// A repository of its own in the worktree, whose commit the index names.
    void commitInnerRepository() {
        setTrapIn(worktree / "inner");
        repository.git(worktree, {"config", "user.name", "Agent"});
        repository.git(worktree, {"config", "user.email", "agent@example.org"});
        repository.git(worktree, {"-c", "advice.addEmbeddedRepo=false", "add", "--all"});
        repository.git(worktree, {"commit", "--quiet", "-m", "Use it"});
        fs::remove(trap);
    }

    standin::test::HostedRepository repository;
    const fs::path root = repository.scratch("worktrees");
    const fs::path worktree = root / "Shop-3f2a9c1d";
    const fs::path common = repository.directory() / ".git";
    const fs::path own = common / "worktrees/Shop-3f2a9c1d";
    const fs::path hostile = repository.scratch("hostile");
    const fs::path program = repository.scratch("program");
    const fs::path trap = repository.scratch("trap");
};

TEST_F(WorktreePointersTest, WhatGitHasMadeIsIntactAlsoWithRelativePathsAndSparse) {
    EXPECT_EQ(state(), PointerState::intact);
    repository.git({"config", "extensions.worktreeConfig", "true"});
    repository.git(worktree, {"sparse-checkout", "set", "docs"});
    EXPECT_TRUE(fs::exists(own / "config.worktree"));
    EXPECT_EQ(state(), PointerState::intact);
    writeFile(worktree / ".git", "gitdir: ../../shop/.git/worktrees/Shop-3f2a9c1d\n");
    EXPECT_EQ(state(), PointerState::intact);
    EXPECT_THAT(writable(), ElementsAre(own, common / "objects", common / "refs", common / "logs"));
}

TEST_F(WorktreePointersTest, ThePathMayBeSpelledInAnotherWay) {
    writeFile(worktree / ".git", "gitdir: " + common.string() + "/./worktrees//Shop-3f2a9c1d\n");
    EXPECT_EQ(state(), PointerState::intact);
    writeFile(own / "commondir", "../.././\n");
    EXPECT_EQ(state(), PointerState::intact);
}

TEST_F(WorktreePointersTest, SettingsThatLeadGitNowhereElseAreNobodysAttack) {
    repository.git({"config", "extensions.worktreeConfig", "true"});
    repository.git(worktree, {"config", "--worktree", "user.email", "before@example.org"});
    repository.git(worktree, {"config", "--worktree", "core.bare", "false"});
    EXPECT_EQ(state(), PointerState::intact);
}

TEST_F(WorktreePointersTest, AMovedRepositoryIsToldOfWithWhatMendsIt) {
    const fs::path moved = repository.scratch("moved");
    fs::rename(repository.directory(), moved);
    const WorktreePointers pointers = pointersOf(moved, worktree);
    EXPECT_EQ(
        describe(pointers),
        (worktree / ".git").string() +
            " names a place where nothing is; after a move of the repository or the worktree \"git -C " +
            (moved / ".git").string() + " worktree repair " + worktree.string() + "\" mends that");
    EXPECT_THAT(unsavedIn(moved), HasSubstr(describe(pointers)));
    repository.git(moved / ".git", {"worktree", "repair", worktree});
    EXPECT_EQ(pointersOf(moved, worktree).state, PointerState::intact);
}

TEST_F(WorktreePointersTest, AMovedWorktreeIsToldOfWithWhatMendsIt) {
    const fs::path moved = repository.scratch("moved");
    fs::rename(worktree, moved);
    EXPECT_THAT(describe(pointersOf(repository.directory(), moved)), HasSubstr(" worktree repair "));
    repository.git(common, {"worktree", "repair", moved});
    EXPECT_EQ(pointersOf(repository.directory(), moved).state, PointerState::intact);
}

TEST_F(WorktreePointersTest, OfWhatIsNoLinkedWorktreeNothingIsWritable) {
    for (const fs::path& place : {repository.directory(), hostile, repository.scratch("missing")}) {
        EXPECT_THAT(gitDirectoriesOf(repository.directory(), place), IsEmpty()) << place;
    }
}

TEST_F(WorktreePointersTest, AFileThatGitHasNotFinishedIsNotTakenForAnAlteredOne) {
    writeFile(own / "commondir", "");
    EXPECT_EQ(state(), PointerState::incomplete);
    fs::remove(own / "commondir");
    EXPECT_EQ(state(), PointerState::incomplete);
    fs::remove_all(own);
    EXPECT_EQ(state(), PointerState::incomplete);
    fs::remove(worktree / ".git");
    EXPECT_EQ(state(), PointerState::incomplete);
}

/// What an agent does that may write in its worktree and beside its index.
struct AttackRow {
    const char* name;
    void (*attack)(const fs::path& worktree, const fs::path& own, const fs::path& hostile);
};

void PrintTo(const AttackRow& row, std::ostream* out) {
    *out << row.name;
}

class HostileWorktreeTest : public WorktreePointersTest, public testing::WithParamInterface<AttackRow> {};

TEST_P(HostileWorktreeTest, NoGitFollowsAPointerThatTheAgentHasChangedAndNothingIsDeleted) {
    repository.git({"config", "extensions.worktreeConfig", "true"});
    writeFile(worktree / "work.txt", "not yet committed\n");
    GetParam().attack(worktree, own, hostile);
    EXPECT_THAT(unsaved(), HasSubstr("cannot be saved, so it stays"));
    EXPECT_THAT(refusal(), AllOf(HasSubstr("cannot be used: what git wrote to "),
                                 HasSubstr(" was changed, so it may lead git to a repository"),
                                 HasSubstr("once you have mended it, or removed it by hand.")));
    EXPECT_THAT(writable(), IsEmpty());
    EXPECT_EQ(readFile(worktree / "work.txt"), "not yet committed\n");
    EXPECT_FALSE(fs::exists(trap));
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileWorktreeTest,
    testing::Values(
        AttackRow{"a repository of its own in the place of .git",
                  [](const fs::path& worktree, const fs::path&, const fs::path& hostile) {
                      fs::remove(worktree / ".git");
                      fs::copy(hostile / ".git", worktree / ".git", fs::copy_options::recursive);
                  }},
        AttackRow{".git names another repository",
                  [](const fs::path& worktree, const fs::path&, const fs::path& hostile) {
                      writeFile(worktree / ".git", "gitdir: " + (hostile / ".git").string() + "\n");
                  }},
        AttackRow{"another repository, and git does not know of the worktree any more",
                  [](const fs::path& worktree, const fs::path& own, const fs::path& hostile) {
                      fs::remove_all(own);
                      writeFile(worktree / ".git", "gitdir: " + (hostile / ".git").string() + "\n");
                  }},
        AttackRow{".git is a link to another",
                  [](const fs::path& worktree, const fs::path&, const fs::path& hostile) {
                      fs::remove(worktree / ".git");
                      fs::create_directory_symlink(hostile / ".git", worktree / ".git");
                  }},
        AttackRow{"commondir names another repository",
                  [](const fs::path&, const fs::path& own, const fs::path& hostile) {
                      writeFile(own / "commondir", (hostile / ".git").string() + "\n");
                  }},
        AttackRow{"commondir goes by way of a link",
                  [](const fs::path&, const fs::path& own, const fs::path& hostile) {
                      fs::create_directory_symlink(hostile / ".git/objects", own / "by");
                      writeFile(own / "commondir", "by/..\n");
                  }},
        AttackRow{"commondir goes by way of a link, still to the right one",
                  [](const fs::path&, const fs::path& own, const fs::path&) {
                      fs::create_directory_symlink("../../objects", own / "by");
                      writeFile(own / "commondir", "by/..\n");
                  }},
        AttackRow{"commondir goes into the worktree and back, still to the right one",
                  [](const fs::path& worktree, const fs::path& own, const fs::path&) {
                      fs::create_directory(worktree / "by");
                      const fs::path back = fs::relative(own / "../..", worktree / "by");
                      writeFile(own / "commondir", (worktree / "by" / back).string() + "\n");
                  }},
        AttackRow{"another working tree",
                  [](const fs::path&, const fs::path& own, const fs::path& hostile) {
                      writeFile(own / "config.worktree", "[core]\n\tworktree = " + hostile.string() + "\n");
                  }},
        AttackRow{"an index that never answers",
                  [](const fs::path&, const fs::path& own, const fs::path&) {
                      fs::remove(own / "index");
                      ASSERT_EQ(mkfifo((own / "index").c_str(), 0600), 0);
                  }},
        AttackRow{"gitdir names another place",
                  [](const fs::path&, const fs::path& own, const fs::path& hostile) {
                      writeFile(own / "gitdir", (hostile / ".git").string() + "\n");
                  }},
        AttackRow{"a configuration for the worktree alone",
                  [](const fs::path&, const fs::path& own, const fs::path& hostile) {
                      writeFile(own / "config.worktree",
                                "[core]\n\tfsmonitor = " + (hostile / "../program").string() + "\n");
                  }}),
    [](const auto& row) {
        std::string name = row.param.name;
        std::erase_if(name,
                      [](char letter) { return std::isalnum(static_cast<unsigned char>(letter)) == 0; });
        return name;
    });

TEST_F(WorktreePointersTest, WorkIsSavedByNoGitThatRunsInARepositoryInside) {
    commitInnerRepository();
    EXPECT_THAT(unsaved(), HasSubstr("it holds a git repository of its own at inner;"));
    EXPECT_FALSE(fs::exists(trap));
}

TEST_F(WorktreePointersTest, AWorktreeWithoutIndexIsComparedByNoGitThatRunsInARepositoryInside) {
    commitInnerRepository();
    fs::remove(own / "index");
    EXPECT_THAT(refusal(), AllOf(HasSubstr("it has no index"), HasSubstr("inner")));
    EXPECT_FALSE(fs::exists(trap));
}

/// Shows that the trap works.
TEST_F(WorktreePointersTest, GitStartsTheProgramOfARepositoryThatItIsLedTo) {
    repository.git(hostile, {"status"});
    EXPECT_TRUE(fs::exists(trap));
}

}  // namespace
}  // namespace quernlight::host
