#include <csignal>
#include <thread>

#include <sys/wait.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/spawn.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

/// How sessions end when the agent, the backend and the person at the keyboard do so at the same time.
class OwnerEndingsTest : public test::DispatchFixture {
  protected:
    /// A run whose agent behaves so on bug 3f2a9c1d and has its goal; comments are not polled by themselves.
    void startWorking(const std::string& behaviour, const std::vector<std::string>& more = {}) {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", behaviour);
        mapApp();
        startBackend();
        set("poll.comments_seconds", "3600");
        program = start(runWith(more));
        ASSERT_TRUE(program->says("3f2a9c1d  typed: ")) << program->output() << program->errorText();
    }
    void set(const std::string& setting, const std::string& value) {
        const auto outcome = dispatch({"config", "set", setting, value, "--home", home()});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    }
    void stopWith(int signal) {
        program->signal(signal);
        EXPECT_EQ(program->exitCode(), signal == SIGTERM ? 0 : 130)
            << program->output() << program->errorText();
    }
    /// From now on git's far side takes the connection and never answers.
    void silenceTheRemote() {
        const auto silent = repository.scratch("silent");
        test::writeFile(silent, "#!/bin/sh\ntouch \"$0.asked\"\nexec sleep 6000\n");
        std::filesystem::permissions(silent, std::filesystem::perms::owner_all);
        repository.git({"config", "core.sshCommand", silent});
    }
    bool remoteIsAsked() {
        return eventually([this] { return std::filesystem::exists(repository.scratch("silent.asked")); });
    }

    std::unique_ptr<test::DispatchProcess> program;
};

TEST_F(OwnerEndingsTest, AStopWhileTheBackendIsAwayLeavesTheQuestionToTheNextStart) {
    startWorking("idle");
    agentReports("3f2a9c1d", "in_review");
    backendFaults(R"([{"kind": "status", "status": 503}])");
    stopWith(SIGTERM);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_THAT(events("3f2a9c1d"), EndsWith(" resumable"));
    backendFaults("[]");
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "1");
}

TEST_F(OwnerEndingsTest, ATokenThatIsRefusedFromNowOnStopsTheSessionsAndEndsTheProgram) {
    set("poll.bugs_seconds", "0.2");
    startWorking("idle");
    backendFaults(R"([{"kind": "status", "status": 401}])");
    EXPECT_EQ(program->exitCode(), 1);
    EXPECT_THAT(program->errorText(), HasSubstr("refuses the token (HTTP 401)"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(OwnerEndingsTest, ARefusedTokenFailsNoBugHoweverSeldomBugsAreAskedFor) {
    set("poll.bugs_seconds", "3600");
    startWorking("idle");
    agentReports("3f2a9c1d", "in_review");
    backendFaults(R"([{"kind": "status", "status": 401}])");
    set("poll.comments_seconds", "0.2");
    EXPECT_EQ(program->exitCode(), 1);
    EXPECT_THAT(program->errorText(), HasSubstr("refuses the token (HTTP 401)"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    backendFaults("[]");
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "1");
}

TEST_F(OwnerEndingsTest, TheTimeForWhichMachineAndAgentStandStillIsNoSilence) {
    constexpr std::chrono::seconds stillness{12};  // what is tested is that this time passes
    startWorking("idle", {"--idle-timeout", "10"});
    kill(agent("3f2a9c1d"), SIGSTOP);
    program->signal(SIGSTOP);
    std::this_thread::sleep_for(stillness);
    kill(agent("3f2a9c1d"), SIGCONT);
    program->signal(SIGCONT);
    EXPECT_TRUE(program->says("agents are called silent only for what follows.")) << program->output();
    stopWith(SIGTERM);
    EXPECT_EQ(status("3f2a9c1d"), "queued") << history("3f2a9c1d");
}

TEST_F(OwnerEndingsTest, AHangUpThatIsToldTwiceIsStillPolite) {
    startWorking("idle");
    program->signal(SIGHUP);
    ASSERT_TRUE(program->says("Stopping sessions"));
    stopWith(SIGHUP);
    EXPECT_THAT(program->output(), Not(HasSubstr("Killing the sessions.")));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
}

TEST_F(OwnerEndingsTest, TheTerminalsHangUpIsAPoliteStop) {
    startWorking("idle");
    stopWith(SIGHUP);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(OwnerEndingsTest, ARemoteThatNeverAnswersLeavesTheBugQueuedAndIsNamed) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    set("git.fetch_seconds", "1");
    silenceTheRemote();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("1 bug could not be started: "));
    EXPECT_THAT(outcome.error, HasSubstr("git fetch did not end within 1 s"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
}

TEST_F(OwnerEndingsTest, AStopWhileAWorktreeIsPreparedEndsTheFetchAndLeavesTheBugQueued) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    silenceTheRemote();
    program = start(runWith());
    ASSERT_TRUE(remoteIsAsked());
    stopWith(SIGTERM);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_EQ(history("3f2a9c1d"), "enqueued");
}

TEST_F(OwnerEndingsTest, AStopWhileAMergeIsLookedForEndsTheFetch) {
    reportClearBug("3f2a9c1d");
    workAll();
    silenceTheRemote();
    set("poll.merge_seconds", "0.2");
    program = start(runWith());
    ASSERT_TRUE(remoteIsAsked());
    stopWith(SIGTERM);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_THAT(program->output(), Not(HasSubstr("unknown")));
}

TEST_F(OwnerEndingsTest, AManualBugThatWasStartedAndInterruptedGoesOnByItself) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "idle");
    startBackend();
    runOnce();
    dispatch({"queue", "hold", "3f2a9c1d", "--home", home()});
    mapApp();
    dispatch({"queue", "start", "3f2a9c1d", "--home", home()});
    program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: "));
    stopWith(SIGINT);
    agentDoesAsToldAgain();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
}

TEST_F(OwnerEndingsTest, NoSessionStartsInAWorktreeInWhichAnOrphanOfAnEarlierOneStillWorks) {
    startWorking("idle");
    stopWith(SIGINT);
    agentDoesAsToldAgain();
    set("poll.comments_seconds", "0.2");
    const auto worktree = repository.scratch("shop-worktrees/Shop-3f2a9c1d");
    const pid_t orphan = spawnProcess(
        {.executable = "/bin/sleep", .arguments = {"sleep", "6000"}, .workingDirectory = worktree});
    // Its parent is this test and not the first process, so it is no orphan yet for the program that follows.
    const auto shell = "cd '" + worktree.string() + "' && (sleep 6000 & echo $! > '" +
                       repository.scratch("orphan").string() + "')";
    const pid_t parent = spawnProcess({.executable = "/bin/sh", .arguments = {"sh", "-c", shell}});
    waitpid(parent, nullptr, 0);
    const pid_t left = std::stoi(test::readFile(repository.scratch("orphan")));
    program = start(runWith());
    EXPECT_TRUE(program->says("Bug 3f2a9c1d waits: process " + std::to_string(left) +
                              " still runs in its worktree;"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    kill(left, SIGKILL);
    EXPECT_TRUE(program->says("3f2a9c1d  completed: ")) << program->output();
    stopWith(SIGTERM);
    kill(orphan, SIGKILL);
    waitpid(orphan, nullptr, 0);
}

TEST_F(OwnerEndingsTest, OneAgentAtATimeInTheOrderOfTheList) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        reportClearBug(bugID);
    }
    std::istringstream lines(workAll({"--max-sessions", "1"}).output);
    std::string order;
    for (std::string line; std::getline(lines, line);) {
        const bool starts = line.find(" startingCodex: ") != line.npos;
        if (starts || line.find(" completed: ") != line.npos) {
            order += (starts ? " start " : " end ") + line.substr(line.find("  ") + 2, 1);
        }
    }
    EXPECT_EQ(order, " start 1 end 1 start 2 end 2 start 3 end 3");
}

TEST_F(OwnerEndingsTest, TwoAgentsWorkAtATimeByDefault) {
    set("sessions.memory_floor_mib", "0");
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        reportClearBug(bugID);
        agentDoes(bugID, "idle");
    }
    mapApp();
    startBackend();
    program = start(runWith());
    for (const char* event : {"33333333  enqueued: ", "11111111  typed: ", "22222222  typed: "}) {
        ASSERT_TRUE(program->says(event)) << program->output() << program->errorText();
    }
    EXPECT_EQ(status("33333333"), "queued");
    EXPECT_TRUE(test::isAlive(agent("11111111")) && test::isAlive(agent("22222222")));
    stopWith(SIGINT);
    EXPECT_EQ(history("33333333"), "enqueued");
}

TEST_F(OwnerEndingsTest, ABaseBranchThatIsGoneLeavesTheBugQueuedAndIsToldInGitsWords) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    repository.git(repository.bare(), {"update-ref", "-d", "refs/heads/main"});
    EXPECT_THAT(runOnce().error, HasSubstr("couldn't find remote ref refs/heads/main"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
}

TEST_F(OwnerEndingsTest, WhileIntakeIsOffNoNewBugComesIn) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    set("intake.enabled", "false");
    EXPECT_EQ(runOnce().output, "");
    EXPECT_THAT(dispatch(runWith({"--dry-run"})).output,
                HasSubstr("New bugs are not taken in (setting intake.enabled)."));
    EXPECT_EQ(status("3f2a9c1d"), "no such row");
}

}  // namespace
}  // namespace quernlight
