#include "host/health/outside_failure.hpp"

#include <filesystem>
#include <new>
#include <ostream>

#include <boost/system/system_error.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/watched_git.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

std::error_code code(std::errc error) {
    return std::make_error_code(error);
}

/// Whom a failed preparation in the repository "/shop" concerns.
std::string concerned(const GitTrouble& trouble) {
    const auto failure = outsideFailure("/shop", trouble);
    return failure ? failure->repository.value_or("all bugs") : "the bug";
}

TEST(OutsideFailureTest, WhatTheRemoteOrTheBaseBranchRefusesConcernsTheRepository) {
    for (const char* command : {"fetch", "remote", "rev-parse"}) {
        EXPECT_EQ(concerned({.failedCommand = command}), "/shop") << command;
    }
    EXPECT_THAT(outsideFailure("/shop", {.failedCommand = "fetch", .output = "fatal:\nno route"})->cause,
                HasSubstr("git fetch fails in /shop: fatal: no route"));
}

TEST(OutsideFailureTest, WhatConcernsABranchOrAWorktreeIsTheBugsOwn) {
    EXPECT_EQ(concerned({.failedCommand = "worktree"}), "the bug");
    EXPECT_EQ(concerned({}), "the bug");
}

TEST(OutsideFailureTest, AGitThatCannotBeStartedConcernsAllBugs) {
    for (const auto error :
         {std::errc::too_many_files_open, std::errc::not_enough_memory,
          std::errc::resource_unavailable_try_again, std::errc::no_such_file_or_directory}) {
        EXPECT_EQ(concerned({.failedCommand = "worktree", .systemError = code(error)}), "all bugs");
    }
}

TEST(OutsideFailureTest, AGitThatTookTooLongConcernsTheRepository) {
    EXPECT_EQ(concerned({.failedCommand = "worktree", .systemError = code(std::errc::timed_out)}),
              concerned({.failedCommand = "fetch"}));
}

TEST(OutsideFailureTest, AShortageWithinGitAndAGitThatIsKilledConcernAllBugs) {
    EXPECT_EQ(concerned({.failedCommand = "worktree",
                         .output = "fatal: cannot fork() for checkout: Resource "
                                   "temporarily unavailable"}),
              "all bugs");
    EXPECT_EQ(concerned({.failedCommand = "worktree", .systemError = code(std::errc::interrupted)}),
              "all bugs");
}

TEST(OutsideFailureTest, ALostExitStatusIsToldInItsOwnWords) {
    const auto failure = outsideFailure("/shop", {.failedCommand = "fetch",
                                                  .output = "It is lost.",
                                                  .systemError = code(std::errc::no_child_process)});
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->cause, "It is lost.");
}

TEST(OutsideFailureTest, AShortageIsKnownWhateverThrowsIt) {
    using boost::system::errc::make_error_code;
    EXPECT_TRUE(shortageIn(std::make_exception_ptr(std::bad_alloc())));
    EXPECT_TRUE(shortageIn(std::make_exception_ptr(std::system_error(code(std::errc::too_many_files_open)))));
    EXPECT_TRUE(shortageIn(std::make_exception_ptr(
        boost::system::system_error(make_error_code(boost::system::errc::too_many_files_open)))));
    EXPECT_FALSE(shortageIn(std::make_exception_ptr(std::system_error(code(std::errc::invalid_argument)))));
    EXPECT_FALSE(shortageIn(std::make_exception_ptr(std::runtime_error("no"))));
    EXPECT_FALSE(shortageIn(nullptr));
}

TEST(OutsideFailureTest, ARepositoryOrARootForWorktreesThatIsNotThereConcernsTheRepository) {
    const quernlight::test::TemporaryDirectory directory;
    const std::string gone = directory / "gone";
    EXPECT_TRUE(repositoryTrouble(gone, directory.path()));
    EXPECT_EQ(unusableRepository(gone, directory.path())->repository, gone);
    quernlight::test::writeFile(directory / "file", "");
    EXPECT_EQ(unusableRepository(directory.path(), directory / "file/worktrees")->repository,
              directory.path());
    EXPECT_TRUE(repositoryTrouble(directory.path(), directory / "file/worktrees"));
    EXPECT_TRUE(repositoryTrouble(directory.path(), directory / "file"));
    EXPECT_FALSE(repositoryTrouble(directory.path(), directory / "new/worktrees"));
    EXPECT_FALSE(std::filesystem::exists(directory / "new"));
    EXPECT_FALSE(unusableRepository(directory.path(), directory / "new/worktrees"));
    EXPECT_TRUE(std::filesystem::is_directory(directory / "new/worktrees"));
}

Task<GitCommandResult> answer(GitCommandResult result) {
    co_return result;
}

/// Git that gives these answers in turn.
GitRunner answering(std::vector<GitCommandResult> answers) {
    const auto left = std::make_shared<std::vector<GitCommandResult>>(std::move(answers));
    return [left](const std::vector<std::string>&) {
        GitCommandResult next = left->front();
        left->erase(left->begin());
        return answer(std::move(next));
    };
}

TEST(BlockedAgentTest, PausesLongestWhereItsUseIsLimitedAndLongerWhereItsModelDoesNotAnswer) {
    using std::chrono::minutes;
    const auto limited = pausesAfterBlockedAgent(true, true);
    const auto unanswered = pausesAfterBlockedAgent(false, true);
    const auto blocked = pausesAfterBlockedAgent(false, false);
    EXPECT_EQ(limited.first, minutes(5));
    EXPECT_EQ(limited.longest, minutes(30));
    EXPECT_EQ(unanswered.first, std::chrono::seconds(20));
    EXPECT_EQ(unanswered.longest, minutes(5));
    EXPECT_LT(blocked.first, unanswered.first);
}

TEST(WatchedGitTest, TheLastCommandCountsIfItFailedAndAnyThatCouldNotBeStarted) {
    GitTrouble trouble;
    const GitRunner git =
        watched(answering({{.status = 1, .output = "", .systemError = code(std::errc::too_many_files_open)},
                           {.status = 0, .output = "origin"},
                           {.status = 128, .output = "fatal: no route"}}),
                trouble);
    quernlight::test::runTask(git({"-C", "/shop", "worktree", "list"}));
    quernlight::test::runTask(git({"-C", "/shop", "remote"}));
    EXPECT_EQ(trouble.failedCommand, "");
    quernlight::test::runTask(git({"-C", "/shop", "fetch", "--quiet"}));
    EXPECT_EQ(trouble.failedCommand, "fetch");
    EXPECT_EQ(trouble.output, "fatal: no route");
    EXPECT_EQ(trouble.systemError, code(std::errc::too_many_files_open));
}

TEST(WatchedGitTest, OfALookAtOnePlaceOnlyWhatTellsOfTheRepositoryCounts) {
    GitTrouble trouble;
    const GitRunner git = watchedLook(answering({{.status = 128, .output = "fatal: not a git repository"},
                                                 {.status = 1, .output = "fatal: no such branch"}}),
                                      trouble);
    quernlight::test::runTask(git({"-C", "/shop", "worktree", "list", "--porcelain"}));
    quernlight::test::runTask(git({"-C", "/shop", "rev-parse", "--verify", "Shop-1"}));
    EXPECT_EQ(trouble.failedCommand, "worktree list");
    EXPECT_EQ(trouble.output, "fatal: not a git repository");
}

}  // namespace
}  // namespace quernlight::host
