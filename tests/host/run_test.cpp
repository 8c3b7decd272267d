#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/instant.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// `run --once`: the road and how its bugs end.
class RunTest : public test::DispatchFixture {};

TEST_F(RunTest, AClearBugGoesToReviewAndAnUnclearOneWaitsForTheUser) {
    reportClearBug("3f2a9c1d");
    report("77777777", "It does not work");
    const auto outcome = workAll();
    ASSERT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(events("3f2a9c1d"),
              "enqueued startingCodex running codexSessionStored codexCompleted completed");
    EXPECT_EQ(status("77777777"), "awaitingUserInput");
    EXPECT_EQ(events("77777777"), "enqueued startingCodex running codexSessionStored awaitingUserInput");
    EXPECT_EQ(backendStatus("3f2a9c1d"), "in_review");
    EXPECT_EQ(backendStatus("77777777"), "investigate");
    EXPECT_EQ(outcome.error, "");
}

TEST_F(RunTest, ACompletedBugLeavesItsBranchItsTranscriptsAndNoProcess) {
    reportClearBug("3f2a9c1d");
    workAll();
    EXPECT_EQ(repository.git(repository.bare(), {"rev-parse", "Shop-3f2a9c1d"}),
              repository.git(repository.scratch("shop-worktrees/Shop-3f2a9c1d"), {"rev-parse", "HEAD"}));
    EXPECT_EQ(attempt("3f2a9c1d", "state"), "completed");
    EXPECT_EQ(attempt("3f2a9c1d", "exit_code"), "0");
    EXPECT_THAT(test::readFile(attempt("3f2a9c1d", "transcript_ansi_path")), HasSubstr("\x1b["));
    EXPECT_THAT(test::readFile(attempt("3f2a9c1d", "transcript_text_path")), Not(HasSubstr("\x1b")));
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunTest, BugsThatAreKnownAreNotWorkedOnAgain) {
    report("77777777", "It does not work");
    workAll();
    const auto again = runOnce();
    EXPECT_EQ(again.exitCode, 0) << again.error;
    EXPECT_EQ(again.output, "");
    EXPECT_EQ(attempt("77777777", "attempt_number"), "1");
}

TEST_F(RunTest, WithoutAMappingBugsWaitAndAreNamedWithTheCommandToType) {
    reportClearBug("3f2a9c1d");
    startBackend();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "waitingForMapping");
    EXPECT_THAT(outcome.output,
                HasSubstr("Bug 3f2a9c1d (Shop) waits for a repository: quernlight-dispatch map set "
                          "--bundle com.acme.shop --app Shop --repo PATH\n"));
}

TEST_F(RunTest, ACommandToTypeRunsNoWordOfAnAppsName) {
    appName = "\"; touch x; $(touch x)'\u202e";
    reportClearBug("3f2a9c1d");
    startBackend();
    const auto outcome = runOnce();
    EXPECT_THAT(outcome.output, HasSubstr(R"( --app $'"; touch x; $(touch x)\'\342\200\256' --repo PATH)"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("\u202e")));
}

TEST_F(RunTest, KeysInAnAppsNameNeitherEndItsAgentNorCutItsGoal) {
    appName = "Sh\x15op\r\n\x1b[201~\x03\x04";
    reportClearBug("3f2a9c1d");
    EXPECT_EQ(workAll().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_THAT(attempt("3f2a9c1d", "goal_text"), HasSubstr("containing Sh op   [201~  's app window"));
}

TEST_F(RunTest, ANewMappingReleasesTheBugsThatWaitedForIt) {
    report("77777777", "It does not work");
    startBackend();
    runOnce();
    mapApp();
    EXPECT_EQ(status("77777777"), "queued");
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("77777777"), "awaitingUserInput");
}

TEST_F(RunTest, AnAgentThatCrashesFailsItsBugWithTheSignalsName) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "crash");
    EXPECT_EQ(workAll({"--exit-grace", "1"}).exitCode, 1);
    EXPECT_EQ(status("3f2a9c1d"), "failed");
    EXPECT_EQ(item("3f2a9c1d", "error_message"),
              "Codex was ended by SIGSEGV without posting a completion comment.");
    EXPECT_EQ(attempt("3f2a9c1d", "state"), "failed");
}

TEST_F(RunTest, AnAgentThatLeavesWithoutAWordFailsItsBug) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "silent-exit");
    EXPECT_EQ(workAll({"--exit-grace", "1"}).exitCode, 1);
    EXPECT_EQ(status("3f2a9c1d"), "failed");
    EXPECT_EQ(attempt("3f2a9c1d", "failure_reason"), "Codex exited without posting a completion comment.");
}

TEST_F(RunTest, AnAgentThatFallsSilentFailsItsBugAndIsStopped) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "idle");
    EXPECT_EQ(workAll({"--idle-timeout", "3"}).exitCode, 1);
    EXPECT_EQ(status("3f2a9c1d"), "failed");
    EXPECT_EQ(attempt("3f2a9c1d", "failure_reason"), "Idle timeout elapsed before completion.");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunTest, AnAgentThatDoesNotLeaveWhenAskedIsMadeToAndItsBugIsStillCompleted) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "ignore-exit");
    EXPECT_EQ(workAll().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(RunTest, AFloodOfOutputIsAllInTheTranscriptAndStopsNothing) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "flood");
    EXPECT_EQ(workAll().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_GE(std::filesystem::file_size(attempt("3f2a9c1d", "transcript_ansi_path")), 20U << 20U);
}

TEST_F(RunTest, TheTimeOfTheLastOutputIsStoredAtMostOnceASecond) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "flood");
    mapApp();
    Connection database(queueFile(), Connection::Access::readWrite);
    database.executeOneShot("CREATE TABLE marks (at TEXT)");
    database.executeOneShot(
        "CREATE TRIGGER keep AFTER UPDATE OF last_output_at ON session_attempts"
        " BEGIN INSERT INTO marks VALUES (NEW.last_output_at); END");
    startBackend();
    EXPECT_EQ(runOnce().exitCode, 0);
    const auto marks = database.query("SELECT at FROM marks ORDER BY rowid", {});
    ASSERT_FALSE(marks.empty());
    for (std::size_t index = 1; index < marks.size(); ++index) {
        const auto earlier = parseInstant(*marks[index - 1].at("at").asText());
        const auto later = parseInstant(*marks[index].at("at").asText());
        EXPECT_GE(*later - *earlier, std::chrono::seconds(1));
    }
}

TEST_F(RunTest, ABugThatFailsWhileACommentOfItsCannotBeReadNamesThatComment) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "silent-exit");
    mapApp();
    startBackend({"--fault", R"({"kind": "status", "status": 200, "method": "GET",)"
                             R"( "path_prefix": "/v1/bugs/3f2a9c1d/comments",)"
                             R"( "body": "{\"comments\": [{\"id\": \"of-old\"}]}"})"});
    EXPECT_EQ(runOnce({"--exit-grace", "1"}).exitCode, 1);
    EXPECT_EQ(status("3f2a9c1d"), "failed");
    EXPECT_THAT(item("3f2a9c1d", "error_message"), HasSubstr("cannot be read: of-old (id: "));
}

TEST_F(RunTest, ABugThatCannotBeReadHoldsUpNoOther) {
    const std::string good =
        R"({\"id\": \"3f2a9c1d-0000\", \"title\": \"Crash\", \"metadata\": {}, \"status\": \"open\",)"
        R"( \"occurred_at\": \"2026-03-01T09:00:00Z\", \"created_at\": \"2026-03-01T09:00:00Z\",)"
        R"( \"updated_at\": \"2026-03-01T09:00:00Z\", \"attachment_count\": 0, \"comment_count\": 0,)"
        R"( \"app_id\": \"00000000-0000-4000-8000-000000000001\", \"bundle_id\": \"com.acme.shop\",)"
        R"( \"app_name\": \"Shop\"})";
    startBackend({"--fault", R"({"kind": "status", "status": 200, "body": "{\"bugs\": [)" + good +
                                 R"(, {\"id\": \"77777777-0000\"}]}"})"});
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "waitingForMapping");
    EXPECT_THAT(outcome.output, HasSubstr("A bug is left out, because the backend's record of it cannot be "
                                          "read: 77777777-0000 (title: "));
}

TEST_F(RunTest, OneBugThatFailsDoesNotHoldUpAnother) {
    reportClearBug("3f2a9c1d");
    report("77777777", "It does not work");
    agentDoes("3f2a9c1d", "crash");
    const auto outcome = workAll({"--exit-grace", "1", "--max-sessions", "1"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.error,
              "quernlight-dispatch: Of 2 bugs worked on 1 failed; see why with: "
              "quernlight-dispatch queue list\n");
    EXPECT_EQ(status("3f2a9c1d"), "failed");
    EXPECT_EQ(status("77777777"), "awaitingUserInput");
}

TEST_F(RunTest, OfMoreBugsThanTheBackendListsAtOnceTheOldestComeFirst) {
    for (int number = 0; number < 450; ++number) {
        report(std::to_string(10000000 + number), "Bug");
    }
    startBackend();
    const auto outcome = dispatch(runWith({"--dry-run"}));
    EXPECT_THAT(outcome.output, StartsWith("would enqueue  10000000  Shop: Bug\n"
                                           "would enqueue  10000001  Shop: Bug\n"));
    EXPECT_THAT(outcome.output, HasSubstr("430 new bugs are left for another day:"));
}

}  // namespace
}  // namespace quernlight
