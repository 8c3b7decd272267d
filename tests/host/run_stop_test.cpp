#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// A run whose agent works on bug 3f2a9c1d for ever.
class RunStopTest : public test::DispatchFixture {
  protected:
    void startWorking() {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", "idle");
        mapApp();
        startBackend();
        program = start(runWith());
        ASSERT_TRUE(program->says("3f2a9c1d  typed: ")) << program->output() << program->errorText();
    }

    std::unique_ptr<test::DispatchProcess> program;
};

TEST_F(RunStopTest, ControlCStopsTheAgentAndPutsItsBugBackToBeResumed) {
    startWorking();
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->errorText();
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_THAT(events("3f2a9c1d"), testing::EndsWith(" resumable"));
    EXPECT_EQ(attempt("3f2a9c1d", "state"), "failed");
    EXPECT_EQ(attempt("3f2a9c1d", "failure_reason"), "Dispatcher stopped while the session was running.");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunStopTest, OneControlCEndsAnAgentThatNeitherLeavesNorEndsOnSignals) {
    startWorking();
    kill(agent("3f2a9c1d"), SIGSTOP);
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->errorText();
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_EQ(attempt("3f2a9c1d", "failure_reason"), "Dispatcher stopped while the session was running.");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunStopTest, ASecondControlCKillsAnAgentThatDoesNotLeave) {
    startWorking();
    kill(agent("3f2a9c1d"), SIGSTOP);
    program->signal(SIGINT);
    ASSERT_TRUE(program->says("Stopping sessions; Ctrl-C or SIGTERM once more kills them."));
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunStopTest, AServiceManagersStopIsNoFailure) {
    startWorking();
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0) << program->errorText();
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunStopTest, AStopThatIsAskedForTwiceAtOnceIsStillPolite) {
    startWorking();
    program->signal(SIGTERM);
    ASSERT_TRUE(program->says("Stopping sessions"));
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0) << program->errorText();
    EXPECT_THAT(program->output(), Not(HasSubstr("Killing the sessions.")));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
}

TEST_F(RunStopTest, AQueueThatAnotherProgramHasLockedIsNotWaitedForWhenTheRunEnds) {
    startWorking();
    Connection other(queueFile());
    other.execute("BEGIN IMMEDIATE", {});
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 1) << program->output();
    EXPECT_THAT(program->errorText(), HasSubstr("the next start reconciles what became of 1 of them."));
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
    other.execute("ROLLBACK", {});
    EXPECT_EQ(status("3f2a9c1d"), "running");
    agentDoesAsToldAgain();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
}

TEST_F(RunStopTest, AfterAKillTheAgentEndsAndTheNextRunCompletesTheBug) {
    startWorking();
    program->signal(SIGKILL);
    EXPECT_EQ(program->exitCode(), 128 + SIGKILL);
    const pid_t orphan = agent("3f2a9c1d");
    EXPECT_TRUE(eventually([&] { return !test::isAlive(orphan); }));
    agentDoesAsToldAgain();
    const auto next = runOnce();
    EXPECT_EQ(next.exitCode, 0) << next.error;
    EXPECT_THAT(next.output,
                HasSubstr("1 session was interrupted when the dispatcher last ended; reconciling."));
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "2");
}

TEST_F(RunStopTest, ControlCWhileNothingRunsEndsTheProgramAtOnce) {
    startBackend();
    program = start(runWith());
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(home() / "instructions/completion.md"); }));
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->errorText();
}

TEST_F(RunStopTest, ASecondOwnerOfTheHomeIsRefusedByTheFirstOnesProcess) {
    startWorking();
    const std::string refusal = "quernlight-dispatch: The dispatch home " + home().string() +
                                " belongs to process " + std::to_string(program->pid()) + " since ";
    const auto second = dispatch(runWith({"--once"}));
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.error, StartsWith(refusal));
    EXPECT_THAT(dispatch(runWith({"--dry-run"})).output, HasSubstr("is under way   3f2a9c1d"));
}

TEST_F(RunStopTest, TheAdministratorsTokenReachesNeitherTheAgentNorAnyFileOrOutput) {
    environment["QUERNLIGHT_ADMIN_TOKEN"] = token;
    environment["GITHUB_TOKEN"] = token;
    startWorking();
    EXPECT_THAT(test::environmentOf(agent("3f2a9c1d")), HasSubstr("CODEX_HOME="));
    EXPECT_THAT(test::environmentOf(agent("3f2a9c1d")), Not(HasSubstr(token)));
    EXPECT_THAT(filesHolding(token, home()), IsEmpty());
    program->signal(SIGINT);
    program->exitCode();
    EXPECT_THAT(filesHolding(token, home()), IsEmpty());
    EXPECT_THAT(filesHolding(token, repository.scratch("codex-home")), IsEmpty());
    EXPECT_THAT(program->output() + program->errorText(), Not(HasSubstr(token)));
}

TEST_F(RunStopTest, ABackendThatCannotBeReachedForAWhileDoesNotEndTheRun) {
    startBackend({"--fault", R"({"kind": "status", "status": 503})"});
    program = start(runWith());
    EXPECT_TRUE(program->says("cannot be asked (The backend returned HTTP 503"));
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
    EXPECT_EQ(program->errorText(), "");
}

}  // namespace
}  // namespace quernlight
