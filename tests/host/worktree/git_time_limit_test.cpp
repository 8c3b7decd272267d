#include "host/worktree/git_time_limit.hpp"

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/git_marks.hpp"
#include "quernlight/platform/child_task.hpp"
#include "tests/host/blocking_script.hpp"
#include "tests/host/process_table.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

/// A repository whose remote takes the connection and never answers.
class GitTimeLimitTest : public testing::Test {
  protected:
    GitTimeLimitTest() {
        const auto silent = repository.scratch("silent");
        quernlight::test::writeFile(silent, "#!/bin/sh\ntouch \"$0.asked\"\nexec sleep 6000\n");
        std::filesystem::permissions(silent, std::filesystem::perms::owner_all);
        repository.git({"config", "core.sshCommand", silent});
    }
    Task<void> fetch() {
        std::vector<std::string> arguments{"-C", repository.directory(), "fetch", "origin", "main"};
        result = co_await git(std::move(arguments));
    }
    /// A command that blocks on a hook.
    Task<void> blockedCommand() {
        std::vector<std::string> arguments{"-C", repository.directory(), "checkout", "--quiet", "main"};
        result = co_await git(std::move(arguments));
    }
    void blockOn(const std::string& script) {
        const auto hook = repository.directory() / ".git/hooks/post-checkout";
        quernlight::test::writeFile(hook, script);
        std::filesystem::permissions(hook, std::filesystem::perms::owner_all);
    }
    pid_t pidIn(const std::string& name) const {
        pid_t pid = -1;
        std::ifstream(repository.scratch(name)) >> pid;
        return pid;
    }
    bool isAsked() const { return std::filesystem::exists(repository.scratch("silent.asked")); }

    standin::test::HostedRepository repository;
    boost::asio::io_context io;
    StopRequest stop;
    SystemClock clock;
    Settings settings;
    GitRunner git = gitWithTimeLimit(stop, clock, settings, gitMarkOf(repository.scratch("home")));
    GitCommandResult result;
};

TEST_F(GitTimeLimitTest, AFetchThatTakesTooLongIsEndedAndSaysWhatToDo) {
    settings.gitFetchSeconds = 0.2;
    quernlight::test::runTask(io, fetch());
    EXPECT_FALSE(result.succeeded());
    EXPECT_THAT(result.output, HasSubstr("git fetch did not end within 1 s (setting git.fetch_seconds);"));
}

TEST_F(GitTimeLimitTest, AStopEndsAFetchAtOnce) {
    ChildTask fetching(io.get_executor(), "fetching", fetch());
    while (!isAsked()) {
        io.run_one_for(std::chrono::milliseconds(5));
    }
    stop.raise(StopLevel::stop);
    io.run();
    EXPECT_FALSE(result.succeeded());
}

TEST_F(GitTimeLimitTest, AfterAKillNoCommandRuns) {
    stop.raise(StopLevel::kill);
    const auto status = quernlight::test::runTask(io, git({"-C", repository.directory(), "status"}));
    EXPECT_FALSE(status.succeeded());
}

TEST_F(GitTimeLimitTest, AfterAStopNoFetchBeginsButOtherCommandsRun) {
    stop.raise(StopLevel::stop);
    quernlight::test::runTask(io, fetch());
    EXPECT_FALSE(result.succeeded());
    EXPECT_FALSE(isAsked());
    const auto status = quernlight::test::runTask(io, git({"-C", repository.directory(), "status"}));
    EXPECT_TRUE(status.succeeded()) << status.output;
}

TEST_F(GitTimeLimitTest, AStopEndsACommandThatBlocksOnAHook) {
    const quernlight::test::BlockingScript hook(repository.directory() / ".git/hooks/post-checkout");
    ChildTask running(io.get_executor(), "checking out", blockedCommand());
    while (!hook.hasBegun()) {
        io.run_one_for(std::chrono::milliseconds(5));
    }
    stop.raise(StopLevel::stop);
    io.run_for(quernlight::test::generousBound);
    EXPECT_EQ(result.output, "git checkout was ended: the program is ending.");
    EXPECT_FALSE(quernlight::test::isAlive(hook.pid()));
}

TEST_F(GitTimeLimitTest, ACommandThatTakesTooLongIsEndedAndSaysWhatToDo) {
    const quernlight::test::BlockingScript hook(repository.directory() / ".git/hooks/post-checkout");
    settings.gitCommandSeconds = 0.5;
    quernlight::test::runTask(io, blockedCommand());
    EXPECT_EQ(result.output,
              "git checkout did not end within 1 s (setting git.command_seconds); see what its hooks and "
              "filters wait for.");
    EXPECT_FALSE(result.succeeded());
}

TEST_F(GitTimeLimitTest, AfterACommandThatHadToBeEndedNoneIsTakenForAnAnswer) {
    const quernlight::test::BlockingScript hook(repository.directory() / ".git/hooks/post-checkout");
    settings.gitCommandSeconds = 0.5;
    quernlight::test::runTask(io, blockedCommand());
    EXPECT_EQ(quernlight::test::runTask(io, git({"-C", repository.directory(), "remote"})), result);
}

TEST_F(GitTimeLimitTest, WhatLeavesTheProcessGroupOfAKilledGitEndsWithIt) {
    blockOn("#!/bin/sh\nsetsid sleep 6000 >/dev/null 2>&1 &\necho $! > " +
            repository.scratch("child").string() + "\nkill -KILL $PPID\n");
    quernlight::test::runTask(io, blockedCommand());
    EXPECT_TRUE(wasKilled(result)) << result.status;
    EXPECT_GT(pidIn("child"), 0);
    EXPECT_FALSE(quernlight::test::isAlive(pidIn("child")));
}

}  // namespace
}  // namespace quernlight::host
