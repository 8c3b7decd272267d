#include "host/session_verdict.hpp"

#include <csignal>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::seconds;

/// A session that began at second 0 of its own clock, with 100 seconds of idle time and 10 of grace.
class SessionVerdictTest : public testing::Test {
  protected:
    static Instant at(int second) { return parseInstant("2026-03-04T05:06:07Z").value() + seconds(second); }
    std::optional<SessionVerdict> judgeAt(int second) const {
        return judge(session, at(second), {.idleTimeoutSeconds = 100, .postExitCommentGraceSeconds = 10});
    }
    std::string failureAt(int second) const {
        const auto verdict = judgeAt(second);
        const auto* failed = verdict ? std::get_if<SessionFailed>(&*verdict) : nullptr;
        return failed ? failed->reason : "no failure";
    }
    void exits(int second, int code) {
        session.activity.exitedAt = at(second);
        session.activity.exitCode = code;
    }
    void comments(CompletionOutcome outcome) {
        session.detection = CompletionDetection{.comment = {}, .outcome = outcome};
        session.detection->comment.body = "Done.";
    }
    template <class Verdict>
    bool is(int second) const {
        const auto verdict = judgeAt(second);
        return verdict && std::holds_alternative<Verdict>(*verdict);
    }

    WatchedSession session{.activity = {.startedAt = at(0)}};
};

TEST_F(SessionVerdictTest, ASessionThatWorksGoesOn) {
    session.activity.lastOutputAt = at(90);
    EXPECT_FALSE(judgeAt(150));
}

TEST_F(SessionVerdictTest, ACompletionCommentCountsAboveAStopACrashAndATimeOut) {
    comments(CompletionOutcome::completed);
    session.stopRequested = true;
    exits(1, 3);
    EXPECT_TRUE(is<WorkCompleted>(1000));
    EXPECT_EQ(std::get<WorkCompleted>(*judgeAt(1000)).comment.body, "Done.");
}

TEST_F(SessionVerdictTest, AnInvestigateCommentAsksTheUser) {
    comments(CompletionOutcome::investigate);
    EXPECT_TRUE(is<UserAsked>(1));
}

TEST_F(SessionVerdictTest, AStopCountsAboveTheRulesThatFailASession) {
    session.stopRequested = true;
    EXPECT_TRUE(is<SessionInterrupted>(1));
    exits(1, 3);
    EXPECT_TRUE(is<SessionInterrupted>(1000));
}

TEST_F(SessionVerdictTest, ACrashFailsTheSessionOnlyAfterTheGraceForItsComment) {
    exits(20, 3);
    EXPECT_FALSE(judgeAt(20));
    EXPECT_FALSE(judgeAt(30));
    EXPECT_EQ(failureAt(31), "Codex exited with code 3 without posting a completion comment.");
}

TEST_F(SessionVerdictTest, ADeathBySignalIsToldByTheSignalsName) {
    exits(20, 128 + SIGSEGV);
    EXPECT_EQ(failureAt(31), "Codex was ended by SIGSEGV without posting a completion comment.");
    EXPECT_EQ(describeUncleanExit(128 + SIGKILL),
              "Codex was ended by SIGKILL without posting a completion comment.");
    EXPECT_EQ(describeUncleanExit(128), "Codex exited with code 128 without posting a completion comment.");
}

TEST_F(SessionVerdictTest, ACleanExitFailsTheSessionOnlyAfterTheGraceForItsComment) {
    exits(20, 0);
    EXPECT_FALSE(judgeAt(30));
    EXPECT_EQ(failureAt(31), "Codex exited without posting a completion comment.");
}

TEST_F(SessionVerdictTest, SilenceFailsTheSessionAndOutputOrACommentEndsTheSilence) {
    EXPECT_FALSE(judgeAt(100));
    EXPECT_EQ(failureAt(101), "Idle timeout elapsed before completion.");
    session.activity.lastOutputAt = at(50);
    EXPECT_FALSE(judgeAt(150));
    session.activity.lastCommentPollWithNewCommentAt = at(140);
    EXPECT_FALSE(judgeAt(240));
    EXPECT_EQ(failureAt(241), "Idle timeout elapsed before completion.");
}

}  // namespace
}  // namespace quernlight::host
