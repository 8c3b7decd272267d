#include "host/worktree/work_preserver.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::writeFile;
using testing::HasSubstr;

/// A bug's worktree beside a repository with a remote; its branch has one commit that is pushed.
class WorkPreserverTest : public testing::Test {
  protected:
    WorkPreserverTest() {
        git({"worktree", "add", "-b", "Shop-3f2a9c1d", worktree, "main"}, repository.directory());
        git({"config", "user.name", "Agent"});
        git({"config", "user.email", "agent@example.org"});
        writeFile(worktree / "fix.txt", "fixed\n");
        writeFile(worktree / ".gitignore", "build/\n");
        commit("Fix it");
        git({"push", "--quiet", "origin", "Shop-3f2a9c1d"});
    }
    std::string git(std::vector<std::string> arguments) { return git(std::move(arguments), worktree); }
    std::string git(std::vector<std::string> arguments, const std::filesystem::path& directory) {
        return repository.git(directory, arguments);
    }
    void commit(const std::string& message) {
        git({"add", "--all"});
        git({"commit", "--quiet", "-m", message});
    }
    PreserveResult preserve() {
        return quernlight::test::runTask(preserveWork(
            {.repoPath = repository.directory(), .worktreePath = worktree, .branch = "Shop-3f2a9c1d"}));
    }
    KeptReference preserved() {
        const PreserveResult result = preserve();
        const auto* saved = std::get_if<WorkPreserved>(&result);
        EXPECT_TRUE(saved);
        return saved ? saved->references.front() : KeptReference{};
    }
    std::string failure() {
        const PreserveResult result = preserve();
        const auto* failed = std::get_if<PreservingFailed>(&result);
        return failed ? failed->reason : "no failure";
    }
    std::string inMain(std::vector<std::string> arguments) {
        return git(std::move(arguments), repository.directory());
    }

    standin::test::HostedRepository repository;
    const std::filesystem::path worktree = repository.scratch("shop-worktrees/Shop-3f2a9c1d");
};

TEST_F(WorkPreserverTest, WhatIsPushedNeedsNoSaving) {
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
    EXPECT_EQ(inMain({"for-each-ref", "refs/quernlight"}), "");
}

TEST_F(WorkPreserverTest, AGitThatWarnsSavesAllTheSame) {
    inMain({"config", "core.fsyncMethod", "unheard of"});
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
    writeFile(worktree / "notes.txt", "not committed\n");
    const KeptReference saved = preserved();
    EXPECT_THAT(inMain({"for-each-ref", "--format=%(objectname)", "refs/quernlight"}),
                testing::EndsWith(saved.commit));
    EXPECT_EQ(saved.commit.size(), 40U);
    EXPECT_FALSE(preserved().isNew);
}

/// The repository's own configuration names them by relative paths, so that they lie where the agent writes.
TEST_F(WorkPreserverTest, NoProgramInTheWorktreeIsRun) {
    const std::filesystem::path trap = repository.scratch("trap");
    const auto writeProgram = [&](const std::filesystem::path& path) {
        std::filesystem::create_directories(path.parent_path());
        writeFile(path, "#!/bin/sh\ntouch '" + trap.string() + "'\ncat\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    };
    for (const char* hook : {"reference-transaction", "post-index-change", "pre-commit"}) {
        writeProgram(worktree / ".husky" / hook);
    }
    writeProgram(worktree / "clean.sh");
    writeFile(worktree / ".gitattributes", "*.txt filter=x\n");
    writeFile(worktree / "notes.txt", "not committed\n");
    inMain({"config", "core.hooksPath", ".husky"});
    inMain({"config", "filter.x.clean", "./clean.sh"});
    inMain({"config", "filter.x.required", "true"});
    EXPECT_TRUE(preserved().isNew);
    EXPECT_FALSE(std::filesystem::exists(trap));
}

TEST_F(WorkPreserverTest, AWorktreeThatIsGoneNeedsNoSaving) {
    std::filesystem::remove_all(worktree);
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
}

TEST_F(WorkPreserverTest, ASubmoduleThatIsCheckedOutKeepsTheWorktreeWhateverItsState) {
    const auto library = repository.scratch("library");
    git({"init", "--quiet", "--initial-branch=main", library}, repository.directory());
    git({"-c", "user.name=L", "-c", "user.email=l@example.org", "commit", "--quiet", "--allow-empty", "-m",
         "1"},
        library);
    git({"-c", "protocol.file.allow=always", "submodule", "--quiet", "add", library, "parts/library"});
    commit("Use the library");
    git({"push", "--quiet", "origin", "Shop-3f2a9c1d"});
    EXPECT_THAT(failure(), HasSubstr("it holds a git repository of its own at parts/library;"));
    std::filesystem::remove_all(worktree / "parts/library");
    std::filesystem::create_directory(worktree / "parts/library");
    EXPECT_THAT(failure(), HasSubstr("git keeps its submodules' repositories at "));
    std::filesystem::remove_all(repository.directory() / ".git/worktrees/Shop-3f2a9c1d/modules");
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
}

TEST_F(WorkPreserverTest, ChangedNewAndDeletedFilesAreSavedAndIgnoredOnesAreNot) {
    writeFile(worktree / "fix.txt", "fixed better\n");
    writeFile(worktree / "new/file.txt", "new\n");
    writeFile(worktree / "build/output.o", "ignored\n");
    writeFile(worktree / "staged.txt", "staged\n");
    git({"add", "staged.txt"});
    std::filesystem::remove(worktree / ".gitignore");
    writeFile(worktree / ".gitignore", "build/\n*.tmp\n");
    const KeptReference saved = preserved();
    EXPECT_EQ(saved.reference, "refs/quernlight/preserved/Shop-3f2a9c1d");
    EXPECT_EQ(inMain({"rev-parse", saved.reference}), saved.commit);
    EXPECT_EQ(inMain({"show", saved.reference + ":fix.txt"}), "fixed better");
    EXPECT_EQ(inMain({"ls-tree", "-r", "--name-only", saved.reference, "new", "build", "staged.txt"}),
              "new/file.txt\nstaged.txt");
    EXPECT_EQ(inMain({"rev-parse", saved.reference + "^"}), git({"rev-parse", "HEAD"}));
}

TEST_F(WorkPreserverTest, NeitherABranchNorTheMainRepositorysIndexOrFilesAreTouched) {
    const auto state = [&] {
        return inMain({"for-each-ref", "refs/heads", "refs/remotes"}) + inMain({"status", "--porcelain"}) +
               inMain({"ls-files", "--stage"});
    };
    const std::string before = state();
    writeFile(worktree / "new.txt", "new\n");
    preserved();
    EXPECT_EQ(state(), before);
}

TEST_F(WorkPreserverTest, CommitsThatNoRemoteHasAreSavedAsTheyAre) {
    writeFile(worktree / "more.txt", "more\n");
    commit("More");
    EXPECT_EQ(preserved().commit, git({"rev-parse", "HEAD"}));
}

TEST_F(WorkPreserverTest, AHalfMadeMergeIsSavedWithItsConflicts) {
    writeFile(worktree / "fix.txt", "ours\n");
    commit("Ours");
    git({"checkout", "--quiet", "-b", "other", "HEAD^"});
    writeFile(worktree / "fix.txt", "theirs\n");
    commit("Theirs");
    git({"checkout", "--quiet", "Shop-3f2a9c1d"});
    EXPECT_ANY_THROW(git({"merge", "other"}));
    EXPECT_THAT(inMain({"show", preserved().reference + ":fix.txt"}), HasSubstr("<<<<<<< "));
}

TEST_F(WorkPreserverTest, EarlierSavedWorkStaysAndTheSameWorkIsSavedOnce) {
    writeFile(worktree / "new.txt", "first\n");
    commit("First");
    EXPECT_EQ(preserved().reference, "refs/quernlight/preserved/Shop-3f2a9c1d");
    EXPECT_EQ(preserved().reference, "refs/quernlight/preserved/Shop-3f2a9c1d");
    writeFile(worktree / "new.txt", "second\n");
    commit("Second");
    EXPECT_EQ(preserved().reference, "refs/quernlight/preserved/Shop-3f2a9c1d-2");
    EXPECT_EQ(inMain({"show", "refs/quernlight/preserved/Shop-3f2a9c1d:new.txt"}), "first");
}

TEST_F(WorkPreserverTest, WhatIsNotCommittedIsKeptOnceHoweverOftenItIsSaved) {
    writeFile(worktree / "new.txt", "first");
    EXPECT_TRUE(preserved().isNew);
    EXPECT_FALSE(preserved().isNew);
    EXPECT_EQ(inMain({"for-each-ref", "--format=%(refname)", "refs/quernlight"}),
              "refs/quernlight/preserved/Shop-3f2a9c1d");
    writeFile(worktree / "new.txt", "second");
    EXPECT_EQ(preserved().reference, "refs/quernlight/preserved/Shop-3f2a9c1d-2");
}

TEST_F(WorkPreserverTest, WhatGitWasToldToOverlookIsPreserved) {
    const std::string quoted = "gr\u00f6\u00dfer \"1\".txt";  // which git prints quoted
    writeFile(worktree / quoted, "large\n");
    commit("Size it");
    git({"push", "--quiet", "origin", "Shop-3f2a9c1d"});
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
    git({"update-index", "--assume-unchanged", quoted});
    git({"update-index", "--skip-worktree", "fix.txt"});
    writeFile(worktree / quoted, "larger\n");
    writeFile(worktree / "fix.txt", "fixed here only\n");
    ASSERT_EQ(git({"status", "--porcelain"}), "");
    const KeptReference saved = preserved();
    EXPECT_EQ(inMain({"show", saved.reference + ":" + quoted}), "larger");
    EXPECT_EQ(inMain({"show", saved.reference + ":fix.txt"}), "fixed here only");
}

TEST_F(WorkPreserverTest, ADeletionThatGitWasToldToOverlookIsPreserved) {
    writeFile(worktree / "more.txt", "more\n");
    commit("More");
    git({"push", "--quiet", "origin", "Shop-3f2a9c1d"});
    git({"update-index", "--assume-unchanged", "fix.txt"});
    git({"update-index", "--skip-worktree", "more.txt"});
    std::filesystem::remove(worktree / "fix.txt");
    std::filesystem::remove(worktree / "more.txt");
    ASSERT_EQ(git({"status", "--porcelain"}), "");
    const KeptReference saved = preserved();
    EXPECT_EQ(inMain({"ls-tree", "--name-only", saved.reference, "fix.txt", "more.txt"}), "");
}

TEST_F(WorkPreserverTest, WhatASparseCheckoutLeavesOutIsNotDeletedAndWhatWasPutThereIsPreserved) {
    writeFile(worktree / "docs/guide.txt", "guide\n");
    writeFile(worktree / "docs/terms.txt", "terms\n");
    commit("Explain it");
    git({"push", "--quiet", "origin", "Shop-3f2a9c1d"});
    git({"sparse-checkout", "set", "parts"});
    ASSERT_FALSE(std::filesystem::exists(worktree / "docs"));
    EXPECT_TRUE(std::holds_alternative<NothingToPreserve>(preserve()));
    writeFile(worktree / "docs/guide.txt", "better guide\n");
    const KeptReference saved = preserved();
    EXPECT_EQ(inMain({"show", saved.reference + ":docs/guide.txt"}), "better guide");
    EXPECT_EQ(inMain({"show", saved.reference + ":docs/terms.txt"}), "terms");
}

TEST_F(WorkPreserverTest, ARepositoryInsideItCannotBeSavedSoTheWorktreeStays) {
    writeFile(worktree / "inner/file.txt", "inner\n");
    git({"init", "--quiet"}, worktree / "inner");
    git({"add", "--all"}, worktree / "inner");
    git({"-c", "user.name=A", "-c", "user.email=a@b.c", "commit", "--quiet", "-m", "Inner"},
        worktree / "inner");
    EXPECT_EQ(failure(), "The work in " + worktree.string() +
                             " cannot be saved, so it stays: it holds a git " +
                             "repository of its own at inner; move that elsewhere first.");
}

TEST_F(WorkPreserverTest, ADirectoryThatIsNoWorktreeOfTheRepositoryIsNotTouched) {
    std::filesystem::remove_all(worktree);
    writeFile(worktree / "file.txt", "foreign\n");
    git({"init", "--quiet"});
    EXPECT_THAT(failure(), HasSubstr("it is no worktree of " + repository.directory().string()));
    EXPECT_EQ(git({"status", "--porcelain"}), "?? file.txt");
}

}  // namespace
}  // namespace quernlight::host
