#include "quernlight/git/git_worktree_preparer.hpp"

#include <filesystem>
#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/git/fake_git.hpp"
#include "tests/git/git_sandbox.hpp"
#include "tests/support/closed_directory.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using test::Arguments;
using testing::ElementsAre;
using testing::IsEmpty;

class GitWorktreePreparerTest : public testing::Test {
  protected:
    const std::string branch = "My-App-3f2a9c1d";
    test::GitSandbox sandbox;
    test::FakeGit fake;
    const std::string root = sandbox.path("deep/wt");
    const std::string worktree = root + "/" + branch;
    PrepareBugRequest request{.repoPath = sandbox.path("Acme"),
                              .worktreeRootPath = root,
                              .appName = "My App!",
                              .bugID = "3F2A9C1D-0000-4000-8000-000000000000",
                              .baseBranch = "main"};
    const GitWorktreePrepareResult created = WorktreeCreated{worktree, branch};
    const GitWorktreePrepareResult alreadyExists = WorktreeAlreadyExists{worktree, branch};

    GitWorktreePrepareResult prepare() { return test::runTask(GitWorktreePreparer().prepareBug(request)); }
    GitWorktreePrepareResult prepareWithFake(const FileManager& files = defaultFileManager()) {
        return test::runTask(GitWorktreePreparer(fake.runner(), files).prepareBug(request));
    }

    std::string headOf(const std::string& path) { return sandbox.git(path, {"rev-parse", "HEAD"}); }

    /// What the fake was asked, without the first two arguments, which name the repository.
    std::vector<Arguments> asked() {
        std::vector<Arguments> commands = fake.commands();
        for (Arguments& command : commands) {
            EXPECT_EQ(command.at(0), "-C");
            EXPECT_EQ(command.at(1), request.repoPath);
            command.erase(command.begin(), command.begin() + 2);
        }
        return commands;
    }

    /// The message of the failure when one command fails without a word of its own.
    GitWorktreePrepareResult prepareWhenSilentlyFailing(const std::string& command) {
        fake.answer(command, {1, ""});
        return prepareWithFake();
    }
};

GitWorktreePrepareResult failed(const std::string& message) {
    return WorktreeFailed{message};
}

TEST_F(GitWorktreePreparerTest, CreatesAWorktreeOnABranchOfItsOwn) {
    const std::string repository = sandbox.makeRepository("Acme");
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(sandbox.git(worktree, {"branch", "--show-current"}), branch);
    EXPECT_EQ(headOf(worktree), headOf(repository));
}

Task<GitWorktreePrepareResult> prepareInBraces(std::string repository, std::string root) {
    const GitWorktreePreparer preparer;
    co_return co_await preparer.prepareBug({.repoPath = repository,
                                            .worktreeRootPath = root,
                                            .appName = "My App!",
                                            .bugID = "3F2A9C1D-0000-4000-8000-000000000000",
                                            .baseBranch = "main"});
}

TEST_F(GitWorktreePreparerTest, ARequestInBracesSurvivesTheAwait) {
    const std::string repository = sandbox.makeRepository("Acme");
    EXPECT_EQ(test::runTask(prepareInBraces(repository, root)), created);
}

TEST_F(GitWorktreePreparerTest, PreparingTwiceFindsTheSamePathAndBranch) {
    sandbox.makeRepository("Acme");
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(prepare(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, ARegisteredWorktreeWhoseDirectoryIsGoneStillCountsAsExisting) {
    sandbox.makeRepository("Acme");
    prepare();
    std::filesystem::remove_all(worktree);
    EXPECT_EQ(prepare(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, ARootReachedThroughParentsIsComparedAsStandardized) {
    sandbox.makeRepository("Acme");
    request.worktreeRootPath = sandbox.path("deep/elsewhere/../wt/");
    EXPECT_EQ(prepare(), created);
}

TEST_F(GitWorktreePreparerTest, ARootGivenWithATildeLiesInTheUsersHome) {
    const test::ScopedVariable home("HOME", sandbox.path("deep"));
    sandbox.makeRepository("Acme");
    request.worktreeRootPath = "~/wt/";
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(prepare(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, ARelativeRootInAWorkingDirectoryThatIsGoneFailsInTheSystemsWords) {
    const std::string gone = sandbox.path("gone");
    std::filesystem::create_directory(gone);
    const test::ScopedWorkingDirectory directory(gone);
    std::filesystem::remove(gone);
    request.worktreeRootPath = "wt";
    EXPECT_THAT(std::get<WorktreeFailed>(prepareWithFake()).message,
                testing::HasSubstr("No such file or directory"));
    EXPECT_THAT(fake.commands(), IsEmpty());
}

TEST_F(GitWorktreePreparerTest, ARelativeRegisteredPathInAWorkingDirectoryThatIsGoneIsAnother) {
    const std::string gone = sandbox.path("gone");
    std::filesystem::create_directory(gone);
    const test::ScopedWorkingDirectory directory(gone);
    std::filesystem::remove(gone);
    fake.answer("worktree list", {0, "worktree My-App-3f2a9c1d"});
    EXPECT_EQ(prepareWithFake(), created);
}

TEST_F(GitWorktreePreparerTest, AWarningIsNoRemote) {
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.warnAlways(repository);
    EXPECT_EQ(prepare(), created);
}

TEST_F(GitWorktreePreparerTest, AnEmptyRepositoryPathIsRefusedBeforeAnythingIsMade) {
    request.repoPath.clear();
    EXPECT_EQ(prepareWithFake(), failed("The path of the repository is empty; name one."));
    EXPECT_THAT(fake.commands(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(root));
}

TEST_F(GitWorktreePreparerTest, APlaceThatMayNotBeLookedAtIsNotTakenForFree) {
    std::filesystem::create_directories(root);
    const test::ClosedDirectory closed(root);
    ASSERT_TRUE(closed.isClosed());
    EXPECT_EQ(prepareWithFake(), failed("Unable to look at " + worktree + ": Permission denied"));
}

TEST_F(GitWorktreePreparerTest, ABranchThatExistsIsTakenUpAgain) {
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.git(repository, {"branch", branch});
    sandbox.commit(repository, "later");
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(headOf(worktree), sandbox.git(repository, {"rev-parse", "main~1"}));
}

TEST_F(GitWorktreePreparerTest, TheLatestBaseBranchOfTheRemoteIsTheStart) {
    const std::string upstream = sandbox.makeRepository("Upstream");
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.addRemote(repository, "upstream", upstream);
    const std::string latest = sandbox.commit(upstream, "latest");
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(headOf(worktree), latest);
}

TEST_F(GitWorktreePreparerTest, ARewrittenBaseBranchIsFetchedAnew) {
    const std::string origin = sandbox.makeRepository("Origin");
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.addRemote(repository, "origin", origin);
    sandbox.commit(origin, "to be dropped");
    sandbox.git(repository, {"fetch", "--quiet", "origin"});
    sandbox.git(origin, {"commit", "--quiet", "--amend", "--allow-empty", "-m", "in its place"});
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(headOf(worktree), headOf(origin));
}

TEST_F(GitWorktreePreparerTest, WithSeveralRemotesOriginIsFetched) {
    const std::string origin = sandbox.makeRepository("Origin");
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.addRemote(repository, "another", sandbox.path("nowhere"));
    sandbox.addRemote(repository, "origin", origin);
    const std::string latest = sandbox.commit(origin, "latest");
    EXPECT_EQ(prepare(), created);
    EXPECT_EQ(headOf(worktree), latest);
}

TEST_F(GitWorktreePreparerTest, ABaseBranchThatNobodyHasFailsWithGitsWords) {
    sandbox.makeRepository("Acme", "master");
    EXPECT_EQ(prepare(), failed("fatal: Needed a single revision"));
    EXPECT_FALSE(std::filesystem::exists(worktree));
}

TEST_F(GitWorktreePreparerTest, ARemoteThatCannotBeFetchedFailsWithGitsWordsAndCreatesNothing) {
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.addRemote(repository, "origin", sandbox.path("nowhere"));
    const auto result = std::get<WorktreeFailed>(prepare());
    EXPECT_THAT(result.message, testing::HasSubstr("does not appear to be a git repository"));
    EXPECT_FALSE(std::filesystem::exists(worktree));
}

TEST_F(GitWorktreePreparerTest, APlainDirectoryAtThePathFailsAndIsKept) {
    sandbox.makeRepository("Acme");
    test::writeFile(worktree + "/notes.txt", "mine");
    EXPECT_EQ(prepare(),
              failed("Configured worktree path already exists but is not a git worktree: " + worktree));
    EXPECT_EQ(test::readFile(worktree + "/notes.txt"), "mine");
}

TEST_F(GitWorktreePreparerTest, AFileAtThePathFailsAndIsKept) {
    sandbox.makeRepository("Acme");
    test::writeFile(worktree, "mine");
    EXPECT_EQ(prepare(), failed("Configured worktree path is not a directory: " + worktree));
    EXPECT_EQ(test::readFile(worktree), "mine");
}

TEST_F(GitWorktreePreparerTest, ADirectoryWithAGitEntryCountsAsExistingEvenWhenGitDoesNotKnowIt) {
    sandbox.makeRepository("Acme");
    test::writeFile(worktree + "/.git", "gitdir: elsewhere");
    EXPECT_EQ(prepare(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, AnInnerGitDirectoryCountsLikeAGitFile) {
    std::filesystem::create_directories(worktree + "/.git");
    EXPECT_EQ(prepareWithFake(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, WhatIsAtThePathDecidesBeforeGitIsAskedForMore) {
    test::writeFile(worktree, "mine");
    prepareWithFake();
    EXPECT_THAT(asked(), ElementsAre(Arguments{"worktree", "list", "--porcelain"}));
}

TEST_F(GitWorktreePreparerTest, ARegisteredPathCountsAsExistingWhateverIsThere) {
    test::writeFile(worktree, "mine");
    fake.answer("worktree list", {0, "worktree " + worktree});
    EXPECT_EQ(prepareWithFake(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, TheErrorOfARootThatCannotBeCreatedIsToldBeforeGitIsAskedForMore) {
    struct Stubborn : FileManager {
        void createDirectories(const std::filesystem::path&) const override {
            throw std::runtime_error("no room");
        }
    };
    EXPECT_EQ(prepareWithFake(Stubborn()), failed("Unable to create worktree root " + root + ": no room"));
    EXPECT_THAT(asked(), ElementsAre(Arguments{"worktree", "list", "--porcelain"}));
}

TEST_F(GitWorktreePreparerTest, ARootThatCannotBeCreatedFails) {
    sandbox.makeRepository("Acme");
    test::writeFile(sandbox.path("deep"), "a file in the way");
    const auto result = std::get<WorktreeFailed>(prepare());
    EXPECT_THAT(result.message, testing::StartsWith("Unable to create worktree root " + root + ": "));
    EXPECT_THAT(result.message, testing::HasSubstr("Not a directory"));
}

TEST_F(GitWorktreePreparerTest, ABranchNameThatGitForbidsFailsWithGitsWords) {
    sandbox.makeRepository("Acme");
    request.bugID = "foo.lock";
    EXPECT_THAT(std::get<WorktreeFailed>(prepare()).message,
                testing::EndsWith("fatal: 'My-App-foo.lock' is not a valid branch name"));
}

TEST_F(GitWorktreePreparerTest, AnIdThatLeadsOutOfTheRootOrToTheRootItselfIsRefusedBeforeGitIsAsked) {
    const std::string refusal = "Refusing to create worktree outside configured root: ";
    request.bugID = "/../../x";
    EXPECT_EQ(prepareWithFake(), failed(refusal + root + "/My-App-/../../x"));
    request.bugID = "/..";
    EXPECT_EQ(prepareWithFake(), failed(refusal + root + "/My-App-/.."));
    EXPECT_THAT(fake.commands(), IsEmpty());
}

TEST_F(GitWorktreePreparerTest, AnEmptyOrUnsafeBugIdIsRefusedBeforeAnythingIsTouched) {
    for (const char* id : {"", " \n", "..", "a/b", "a\nb"}) {
        request.bugID = id;
        const auto result = std::get<WorktreeFailed>(prepareWithFake());
        EXPECT_THAT(result.message, testing::StartsWith("Refusing a worktree for a bug whose id "));
    }
    EXPECT_THAT(fake.commands(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(root));
}

TEST_F(GitWorktreePreparerTest, ANewBranchOffARemoteTakesTheseCommands) {
    fake.answer("remote", {0, "upstream\n origin "});
    fake.answer("show-ref", {1, ""});
    EXPECT_EQ(prepareWithFake(), created);
    EXPECT_THAT(
        asked(),
        ElementsAre(Arguments{"worktree", "list", "--porcelain"}, Arguments{"remote"},
                    Arguments{"fetch", "--quiet", "origin", "+refs/heads/main:refs/remotes/origin/main"},
                    Arguments{"show-ref", "--verify", "--quiet", "refs/heads/" + branch},
                    Arguments{"worktree", "add", "-b", branch, worktree, "refs/remotes/origin/main"}));
}

TEST_F(GitWorktreePreparerTest, AnExistingBranchWithoutARemoteTakesTheseCommands) {
    EXPECT_EQ(prepareWithFake(), created);
    EXPECT_THAT(asked(), ElementsAre(Arguments{"worktree", "list", "--porcelain"}, Arguments{"remote"},
                                     Arguments{"rev-parse", "--verify", "main"},
                                     Arguments{"show-ref", "--verify", "--quiet", "refs/heads/" + branch},
                                     Arguments{"worktree", "add", worktree, branch}));
}

TEST_F(GitWorktreePreparerTest, ANewBranchWithoutARemoteStartsAtTheLocalBaseBranch) {
    fake.answer("show-ref", {1, ""});
    prepareWithFake();
    EXPECT_EQ(asked().back(), (Arguments{"worktree", "add", "-b", branch, worktree, "main"}));
}

TEST_F(GitWorktreePreparerTest, AnExistingBranchIsTakenUpAfterTheFetchToo) {
    fake.answer("remote", {0, "origin"});
    EXPECT_EQ(prepareWithFake(), created);
    EXPECT_EQ(asked().at(2),
              (Arguments{"fetch", "--quiet", "origin", "+refs/heads/main:refs/remotes/origin/main"}));
    EXPECT_EQ(asked().back(), (Arguments{"worktree", "add", worktree, branch}));
}

TEST_F(GitWorktreePreparerTest, ABaseBranchWithASlashIsFetchedByItsWholeName) {
    request.baseBranch = "release/1.0";
    fake.answer("remote", {0, "origin"});
    fake.answer("show-ref", {1, ""});
    prepareWithFake();
    EXPECT_EQ(asked().at(2), (Arguments{"fetch", "--quiet", "origin",
                                        "+refs/heads/release/1.0:refs/remotes/origin/release/1.0"}));
    EXPECT_EQ(asked().back(),
              (Arguments{"worktree", "add", "-b", branch, worktree, "refs/remotes/origin/release/1.0"}));
}

struct RemoteCase {
    GitCommandResult listed;
    const char* fetched;  ///< null: none is, and the local branch is resolved
};

void PrintTo(const RemoteCase& row, std::ostream* out) {
    *out << (row.fetched ? row.fetched : "none");
}

class ChosenRemoteTest : public GitWorktreePreparerTest, public testing::WithParamInterface<RemoteCase> {};

TEST_P(ChosenRemoteTest, IsOriginOrElseTheFirstThatIsListed) {
    fake.answer("remote", GetParam().listed);
    EXPECT_EQ(prepareWithFake(), created);
    const std::string remote = GetParam().fetched ? GetParam().fetched : "";
    const Arguments fetch{"fetch", "--quiet", remote, "+refs/heads/main:refs/remotes/" + remote + "/main"};
    const Arguments resolve{"rev-parse", "--verify", "main"};
    EXPECT_EQ(asked().at(2), remote.empty() ? resolve : fetch);
}

INSTANTIATE_TEST_SUITE_P(Table, ChosenRemoteTest,
                         testing::Values(RemoteCase{{0, "origin"}, "origin"},
                                         RemoteCase{{0, "upstream"}, "upstream"},
                                         RemoteCase{{0, "upstream\norigin"}, "origin"},
                                         RemoteCase{{0, "upstream\nzebra"}, "upstream"},
                                         RemoteCase{{0, " zebra \r\n \n\tupstream"}, "zebra"},
                                         RemoteCase{{0, "Origin\norigin2"}, "Origin"},
                                         RemoteCase{{0, ""}, nullptr}, RemoteCase{{1, "origin"}, nullptr}));

TEST_F(GitWorktreePreparerTest, ARegisteredPathIsRecognizedHoweverGitSpellsIt) {
    fake.answer("worktree list",
                {0, "worktree /src/Acme\nHEAD 0\n\nworktree " + root + "/./x/../" + branch + "\nHEAD 0"});
    EXPECT_EQ(prepareWithFake(), alreadyExists);
}

TEST_F(GitWorktreePreparerTest, ALineThatOnlyContainsTheWordIsNoRegisteredPath) {
    fake.answer("worktree list", {0, "worktree /src/Acme\nlocked worktree " + worktree});
    EXPECT_EQ(prepareWithFake(), created);
}

TEST_F(GitWorktreePreparerTest, TheRepositoryPathReachesGitAsGiven) {
    request.repoPath = "~/x/../Acme/";
    EXPECT_EQ(prepareWithFake(), created);
    EXPECT_EQ(fake.commands().size(), 5U);
    for (const Arguments& command : fake.commands()) {
        EXPECT_EQ(command.at(1), "~/x/../Acme/");
    }
}

TEST_F(GitWorktreePreparerTest, WhenTheListFailsNoPathCountsAsRegistered) {
    fake.answer("worktree list", {128, "worktree " + worktree});
    EXPECT_EQ(prepareWithFake(), created);
}

TEST_F(GitWorktreePreparerTest, AStepThatFailsWithoutAWordIsDescribed) {
    EXPECT_EQ(prepareWhenSilentlyFailing("worktree add"),
              failed("Unable to create worktree " + worktree + "."));
    EXPECT_EQ(prepareWhenSilentlyFailing("rev-parse"), failed("Unable to resolve local main."));
    fake.answer("remote", {0, "upstream"});
    EXPECT_EQ(prepareWhenSilentlyFailing("fetch"), failed("Unable to fetch latest main from upstream."));
}

TEST_F(GitWorktreePreparerTest, GitsOwnWordsAreTheMessageOfAFailure) {
    fake.answer("worktree add", {128, "fatal: add"});
    EXPECT_EQ(prepareWithFake(), failed("fatal: add"));
    fake.answer("rev-parse", {128, "fatal: resolve"});
    EXPECT_EQ(prepareWithFake(), failed("fatal: resolve"));
    fake.answer("remote", {0, "upstream"});
    fake.answer("fetch", {128, "fatal: fetch"});
    EXPECT_EQ(prepareWithFake(), failed("fatal: fetch"));
}

}  // namespace
}  // namespace quernlight
