#include "quernlight/git/git_worktree_cleaner.hpp"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/git/git_worktree_preparer.hpp"
#include "tests/git/fake_git.hpp"
#include "tests/git/git_sandbox.hpp"
#include "tests/support/closed_directory.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using test::Arguments;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class GitWorktreeCleanerTest : public testing::Test {
  protected:
    test::GitSandbox sandbox;
    test::FakeGit fake;
    const std::string root = sandbox.path("wt");
    const std::string worktree = root + "/My-App-3f2a9c1d";
    CleanupBugRequest request{.repoPath = sandbox.path("Acme"),
                              .worktreeRootPath = root,
                              .appName = "My App!",
                              .bugID = "3F2A9C1D-0000-4000-8000-000000000000"};
    const GitWorktreeCleanupResult removed = WorktreeRemoved{worktree};

    GitWorktreeCleanupResult cleanUp() {
        return test::runTask(GitWorktreeCleaner().cleanupImplementedBug(request));
    }
    GitWorktreeCleanupResult cleanUpWithFake(const FileManager& files = defaultFileManager()) {
        return test::runTask(GitWorktreeCleaner(fake.runner(), files).cleanupImplementedBug(request));
    }

    /// A repository with the bug's worktree in it.
    std::string prepareWorktree() {
        const std::string repository = sandbox.makeRepository("Acme");
        const auto prepared = test::runTask(GitWorktreePreparer().prepareBug({.repoPath = repository,
                                                                              .worktreeRootPath = root,
                                                                              .appName = request.appName,
                                                                              .bugID = request.bugID,
                                                                              .baseBranch = "main"}));
        EXPECT_TRUE(std::holds_alternative<WorktreeCreated>(prepared));
        return repository;
    }

    bool isThere() const { return std::filesystem::exists(worktree); }
};

GitWorktreeCleanupResult failed(const std::string& message) {
    return WorktreeFailed{message};
}

TEST_F(GitWorktreeCleanerTest, RemovesARegisteredWorktreeWithItsChangesAndKeepsTheBranch) {
    const std::string repository = prepareWorktree();
    test::writeFile(worktree + "/unfinished.txt", "changed");
    EXPECT_EQ(cleanUp(), removed);
    EXPECT_FALSE(isThere());
    sandbox.git(repository, {"show-ref", "--verify", "refs/heads/My-App-3f2a9c1d"});
}

Task<GitWorktreeCleanupResult> cleanUpInBraces(std::string repository, std::string root) {
    const GitWorktreeCleaner cleaner;
    co_return co_await cleaner.cleanupImplementedBug(
        {repository, root, "My App!", "3F2A9C1D-0000-4000-8000-000000000000"});
}

TEST_F(GitWorktreeCleanerTest, ARequestInBracesSurvivesTheAwait) {
    const std::string repository = prepareWorktree();
    EXPECT_EQ(test::runTask(cleanUpInBraces(repository, root)), removed);
}

TEST_F(GitWorktreeCleanerTest, ARegisteredWorktreeWhoseDirectoryIsGoneIsForgotten) {
    const std::string repository = prepareWorktree();
    std::filesystem::remove_all(worktree);
    EXPECT_EQ(cleanUp(), removed);
    EXPECT_THAT(sandbox.git(repository, {"worktree", "list"}), Not(HasSubstr("My-App-3f2a9c1d")));
}

TEST_F(GitWorktreeCleanerTest, ALockedWorktreeFailsWithGitsWordsAndIsKept) {
    const std::string repository = prepareWorktree();
    sandbox.git(repository, {"worktree", "lock", worktree});
    EXPECT_THAT(std::get<WorktreeFailed>(cleanUp()).message,
                StartsWith("fatal: cannot remove a locked working tree"));
    EXPECT_TRUE(isThere());
}

TEST_F(GitWorktreeCleanerTest, ACleanedBugCanBePreparedAgainOnItsBranch) {
    prepareWorktree();
    const std::string work = sandbox.commit(worktree, "work");
    cleanUp();
    const auto prepared = test::runTask(GitWorktreePreparer().prepareBug({.repoPath = request.repoPath,
                                                                          .worktreeRootPath = root,
                                                                          .appName = request.appName,
                                                                          .bugID = request.bugID,
                                                                          .baseBranch = "main"}));
    EXPECT_TRUE(std::holds_alternative<WorktreeCreated>(prepared));
    EXPECT_EQ(sandbox.git(worktree, {"rev-parse", "HEAD"}), work);
}

TEST_F(GitWorktreeCleanerTest, ARootReachedThroughParentsIsComparedAsStandardized) {
    prepareWorktree();
    request.worktreeRootPath = sandbox.path("elsewhere/../wt/");
    EXPECT_EQ(cleanUp(), removed);
    EXPECT_FALSE(isThere());
}

TEST_F(GitWorktreeCleanerTest, ARootGivenWithATildeLiesInTheUsersHome) {
    const test::ScopedVariable home("HOME", sandbox.path("."));
    request.worktreeRootPath = "~/wt";
    EXPECT_EQ(cleanUpWithFake(), GitWorktreeCleanupResult(WorktreeNotFound{worktree}));
}

TEST_F(GitWorktreeCleanerTest, ARelativeRootInAWorkingDirectoryThatIsGoneFailsInTheSystemsWords) {
    const std::string gone = sandbox.path("gone");
    std::filesystem::create_directory(gone);
    const test::ScopedWorkingDirectory directory(gone);
    std::filesystem::remove(gone);
    request.worktreeRootPath = "wt";
    EXPECT_THAT(std::get<WorktreeFailed>(cleanUpWithFake()).message, HasSubstr("No such file or directory"));
    EXPECT_THAT(fake.commands(), IsEmpty());
}

TEST_F(GitWorktreeCleanerTest, ARelativeRegisteredPathInAWorkingDirectoryThatIsGoneIsAnother) {
    const std::string gone = sandbox.path("gone");
    std::filesystem::create_directory(gone);
    const test::ScopedWorkingDirectory directory(gone);
    std::filesystem::remove(gone);
    fake.answer("worktree list", {0, "worktree My-App-3f2a9c1d"});
    EXPECT_EQ(cleanUpWithFake(), GitWorktreeCleanupResult(WorktreeNotFound{worktree}));
}

TEST_F(GitWorktreeCleanerTest, AnEmptyRepositoryPathIsRefused) {
    request.repoPath.clear();
    EXPECT_EQ(cleanUpWithFake(), failed("The path of the repository is empty; name one."));
    EXPECT_THAT(fake.commands(), IsEmpty());
}

TEST_F(GitWorktreeCleanerTest, APlaceThatMayNotBeLookedAtIsNotTakenForGone) {
    test::writeFile(worktree + "/work.txt", "work");
    const test::ClosedDirectory closed(root);
    ASSERT_TRUE(closed.isClosed());
    EXPECT_EQ(cleanUpWithFake(), failed("Unable to look at " + worktree + ": Permission denied"));
}

TEST_F(GitWorktreeCleanerTest, APathThatIsNeitherThereNorRegisteredIsNotFound) {
    prepareWorktree();
    cleanUp();
    EXPECT_EQ(cleanUp(), GitWorktreeCleanupResult(WorktreeNotFound{worktree}));
}

TEST_F(GitWorktreeCleanerTest, APlainDirectoryIsSkippedAndKept) {
    sandbox.makeRepository("Acme");
    test::writeFile(worktree + "/notes.txt", "mine");
    EXPECT_EQ(cleanUp(), GitWorktreeCleanupResult(WorktreeSkipped{
                             "Configured worktree path does not look like a git worktree: " + worktree}));
    EXPECT_EQ(test::readFile(worktree + "/notes.txt"), "mine");
}

TEST_F(GitWorktreeCleanerTest, AFileIsSkippedAndKept) {
    sandbox.makeRepository("Acme");
    test::writeFile(worktree, "mine");
    EXPECT_EQ(cleanUp(), GitWorktreeCleanupResult(
                             WorktreeSkipped{"Configured worktree path is not a directory: " + worktree}));
    EXPECT_TRUE(isThere());
}

TEST_F(GitWorktreeCleanerTest, AWorktreeThatGitHasForgottenIsDeleted) {
    test::writeFile(worktree + "/.git", "gitdir: elsewhere");
    test::writeFile(worktree + "/sources/main.txt", "text");
    EXPECT_EQ(cleanUp(), removed);
    EXPECT_FALSE(isThere());
}

TEST_F(GitWorktreeCleanerTest, ADirectoryWithAGitDirectoryInItIsDeletedToo) {
    test::writeFile(worktree + "/.git/HEAD", "ref: refs/heads/main");
    EXPECT_EQ(cleanUpWithFake(), removed);
    EXPECT_FALSE(isThere());
    EXPECT_TRUE(std::filesystem::exists(root));
    EXPECT_THAT(fake.commands(),
                ElementsAre(Arguments{"-C", request.repoPath, "worktree", "list", "--porcelain"}));
}

TEST_F(GitWorktreeCleanerTest, ARootWithANullCharacterIsNotTheDirectoryBeforeIt) {
    test::writeFile(root + "/.git/HEAD", "ref: refs/heads/main");
    request.worktreeRootPath += std::string("\0x", 2);
    EXPECT_EQ(cleanUpWithFake(),
              GitWorktreeCleanupResult(WorktreeNotFound{request.worktreeRootPath + "/My-App-3f2a9c1d"}));
    EXPECT_TRUE(std::filesystem::exists(root + "/.git/HEAD"));
}

TEST_F(GitWorktreeCleanerTest, WhenTheListFailsNoPathCountsAsRegistered) {
    fake.answer("worktree list", {128, "worktree " + worktree});
    EXPECT_EQ(cleanUpWithFake(), GitWorktreeCleanupResult(WorktreeNotFound{worktree}));
    EXPECT_THAT(fake.commands(),
                ElementsAre(Arguments{"-C", request.repoPath, "worktree", "list", "--porcelain"}));
}

TEST_F(GitWorktreeCleanerTest, ARegisteredPathIsRecognizedHoweverGitSpellsIt) {
    fake.answer("worktree list", {0, "worktree " + root + "/./x/../My-App-3f2a9c1d/"});
    EXPECT_EQ(cleanUpWithFake(), removed);
}

TEST_F(GitWorktreeCleanerTest, ALineThatOnlyContainsTheWordIsNoRegisteredPath) {
    fake.answer("worktree list", {0, "worktree /src/Acme\nlocked worktree " + worktree});
    EXPECT_EQ(cleanUpWithFake(), GitWorktreeCleanupResult(WorktreeNotFound{worktree}));
}

TEST_F(GitWorktreeCleanerTest, TheRepositoryPathReachesGitAsGiven) {
    request.repoPath = "~/x/../Acme/";
    fake.answer("worktree list", {0, "worktree " + worktree});
    EXPECT_EQ(cleanUpWithFake(), removed);
    EXPECT_EQ(fake.commands().size(), 2U);
    for (const Arguments& command : fake.commands()) {
        EXPECT_EQ(command.at(1), "~/x/../Acme/");
    }
}

TEST_F(GitWorktreeCleanerTest, AFailingDeletionIsReportedInItsOwnWords) {
    struct Stubborn : FileManager {
        void removeAll(const std::filesystem::path&) const override { throw std::runtime_error("it stays"); }
    };
    test::writeFile(worktree + "/.git", "gitdir: elsewhere");
    EXPECT_EQ(cleanUpWithFake(Stubborn()), failed("it stays"));
}

TEST_F(GitWorktreeCleanerTest, ARegisteredWorktreeTakesTheseCommands) {
    fake.answer("worktree list", {0, "worktree /src/Acme\nbare\n\nworktree " + worktree + "\nHEAD 0"});
    EXPECT_EQ(cleanUpWithFake(), removed);
    EXPECT_THAT(fake.commands(),
                ElementsAre(Arguments{"-C", request.repoPath, "worktree", "list", "--porcelain"},
                            Arguments{"-C", request.repoPath, "worktree", "remove", "--force", worktree}));
}

TEST_F(GitWorktreeCleanerTest, AFailingRemovalIsReportedInGitsWordsOrDescribed) {
    fake.answer("worktree list", {0, "worktree " + worktree});
    fake.answer("worktree remove", {128, "fatal: locked"});
    EXPECT_EQ(cleanUpWithFake(), failed("fatal: locked"));
    fake.answer("worktree remove", {128, ""});
    EXPECT_EQ(cleanUpWithFake(), failed("Failed to remove worktree " + worktree + "."));
}

TEST_F(GitWorktreeCleanerTest, AnIdThatLeadsOutOfTheRootOrToTheRootItselfIsRefusedBeforeGitIsAsked) {
    const std::string refusal = "Refusing to clean worktree outside configured root: ";
    request.bugID = "/../../x";
    EXPECT_EQ(cleanUpWithFake(), failed(refusal + root + "/My-App-/../../x"));
    request.bugID = "/..";
    EXPECT_EQ(cleanUpWithFake(), failed(refusal + root + "/My-App-/.."));
    EXPECT_THAT(fake.commands(), IsEmpty());
}

TEST_F(GitWorktreeCleanerTest, AnEmptyOrUnsafeBugIdIsRefusedBeforeAnythingIsTouched) {
    for (const char* id : {"", " \n", "..", "a/b", "a\nb"}) {
        request.bugID = id;
        const auto result = std::get<WorktreeFailed>(cleanUpWithFake());
        EXPECT_THAT(result.message, StartsWith("Refusing a worktree for a bug whose id "));
    }
    EXPECT_THAT(fake.commands(), IsEmpty());
}

}  // namespace
}  // namespace quernlight
