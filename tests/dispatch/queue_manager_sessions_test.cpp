#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/session_reports_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

using QueueManagerSessionsTest = SessionReportsFixture;

// What each report writes

TEST_F(QueueManagerSessionsTest, StartingTakesTheSessionAndTheTime) {
    setOut(queued);
    run(manager_.markStarting(bug_, session));
    EXPECT_EQ(bugItem().status, startingCodex);
    EXPECT_EQ(bugItem().activeSessionID, session);
    EXPECT_GT(bugItem().startedAt, longAgo);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "startingCodex", .message = "Starting Codex session.", .sessionID = session}));
}

TEST_F(QueueManagerSessionsTest, RunningKeepsTheTimeAtWhichTheSessionWasStarted) {
    run(manager_.markStarting(bug_, earlierSession));
    setOut(startingCodex);
    forgetEvents();
    run(manager_.markRunning(bug_, session));
    EXPECT_EQ(bugItem().status, running);
    EXPECT_EQ(bugItem().activeSessionID, session);
    EXPECT_EQ(bugItem().startedAt, longAgo);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "running", .message = "Codex session is running.", .sessionID = session}));
}

TEST_F(QueueManagerSessionsTest, RunningWithoutHavingBeenStartedTakesTheTime) {
    run(manager_.markRunning(bug_, session));
    EXPECT_TRUE(bugItem().startedAt);
}

TEST_F(QueueManagerSessionsTest, ACompletionCommentKeepsTheSessionUntilTheAgentHasStopped) {
    setOut(running);
    run(manager_.markCodexCompleted(bug_, comment));
    EXPECT_EQ(bugItem().status, codexCompleted);
    EXPECT_EQ(bugItem().activeSessionID, earlierSession);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_EQ(bugItem().completedAt, std::nullopt);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "codexCompleted",
                    .message = "Completion comment detected; stopping Codex.",
                    .sessionID = earlierSession,
                    .metadataJSON = R"({"completion_comment_id":"C0330000-0000-0000-0000-0000000000FF"})"}));
    EXPECT_THAT(order(), ElementsAre("head", "bug", "tail"));
}

TEST_F(QueueManagerSessionsTest, CompletionEndsTheSessionAndLeavesTheQueue) {
    setOut(codexCompleted);
    run(manager_.markCompleted(bug_, comment));
    EXPECT_EQ(bugItem().status, completed);
    EXPECT_EQ(bugItem().activeSessionID, std::nullopt);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_TRUE(bugItem().completedAt);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "completed",
                    .message = "Completion comment detected.",
                    .metadataJSON = R"({"completion_comment_id":"C0330000-0000-0000-0000-0000000000FF"})"}));
    EXPECT_THAT(order(), ElementsAre("head", "tail"));
}

TEST_F(QueueManagerSessionsTest, AwaitingUserInputEndsTheSessionAndLeavesTheQueue) {
    setOut(running);
    run(manager_.markAwaitingUserInput(bug_, comment));
    EXPECT_EQ(bugItem().status, awaitingUserInput);
    EXPECT_EQ(bugItem().activeSessionID, std::nullopt);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_TRUE(bugItem().completedAt);
    EXPECT_THAT(
        bugEvents(),
        ElementsAre(ItemEvent{.kind = "awaitingUserInput",
                              .message = "Agent asked the user for more information.",
                              .metadataJSON = R"({"comment_id":"C0330000-0000-0000-0000-0000000000FF"})"}));
    EXPECT_THAT(order(), ElementsAre("head", "tail"));
}

TEST_F(QueueManagerSessionsTest, FailureRecordsItsReasonAndLeavesTheQueue) {
    setOut(running);
    run(manager_.markFailed(bug_, "Idle timeout elapsed before completion."));
    EXPECT_EQ(bugItem().status, failed);
    EXPECT_EQ(bugItem().activeSessionID, std::nullopt);
    EXPECT_EQ(bugItem().errorMessage, "Idle timeout elapsed before completion.");
    EXPECT_TRUE(bugItem().completedAt);
    EXPECT_THAT(bugEvents(), ElementsAre(ItemEvent{.kind = "failed",
                                                   .message = "Idle timeout elapsed before completion."}));
    EXPECT_THAT(order(), ElementsAre("head", "tail"));
}

TEST_F(QueueManagerSessionsTest, AReasonIsKeptToTheLetter) {
    const std::string reason = " \"Zeile\" 1\n\tü '; DROP TABLE queue_items; -- ";
    run(manager_.markFailed(bug_, reason));
    EXPECT_EQ(bugItem().errorMessage, reason);
    EXPECT_EQ(bugEvents().at(0).message, reason);
}

TEST_F(QueueManagerSessionsTest, AnInterruptedSessionIsQueuedToResumeInItsPlace) {
    setOut(running);
    run(manager_.markResumable(bug_));
    EXPECT_EQ(bugItem().status, queued);
    EXPECT_EQ(bugItem().activeSessionID, std::nullopt);
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_EQ(bugItem().startedAt, longAgo);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{.kind = "resumable",
                                      .message = "Codex session interrupted; queued to resume."}));
    EXPECT_THAT(order(), ElementsAre("head", "bug", "tail"));
}

TEST_F(QueueManagerSessionsTest, AnInterruptedSessionWhoseMappingIsGoneWaitsForOne) {
    setOut(running);
    run(mappings_.remove("com.acme.shop"));
    run(manager_.markResumable(bug_));
    EXPECT_EQ(bugItem().status, waitingForMapping);
}

TEST_F(QueueManagerSessionsTest, ResumingClosesGaps) {
    setOut(running);
    BugQueueItem far = bugItem();
    far.queuePosition = 7;
    store(far);
    run(manager_.markResumable(bug_));
    EXPECT_THAT(order(), ElementsAre("head", "tail", "bug"));
}

TEST_F(QueueManagerSessionsTest, StartingAgainTakesTheNewTime) {
    setOut(running);
    run(manager_.markStarting(bug_, session));
    EXPECT_NE(bugItem().startedAt, longAgo);
}

TEST_F(QueueManagerSessionsTest, AnInterruptedSessionInTheManualQueueNeedsNoMapping) {
    run(manager_.move(bug_, manual));
    setOut(running);
    run(mappings_.remove("com.acme.shop"));
    run(manager_.markResumable(bug_));
    EXPECT_EQ(bugItem().status, queued);
    EXPECT_EQ(bugItem().queueMode, manual);
}

TEST_F(QueueManagerSessionsTest, OnlyTheCompletionCommentOfARunningAgentTellsTheKeptSession) {
    setOut(running);
    run(manager_.setCodexSession(bug_, conversation, false));
    run(manager_.setCodexSession(bug_, otherConversation, false));
    run(manager_.setCodexSession(bug_, otherConversation, true));
    run(manager_.markResumable(bug_));
    setOut(running);
    run(manager_.markCodexCompleted(bug_, comment));
    run(manager_.markCompleted(bug_, comment));
    for (const ItemEvent& event : bugEvents()) {
        const bool tellsSession = event.kind == "codexCompleted";
        EXPECT_EQ(event.sessionID, tellsSession ? std::optional(earlierSession) : std::nullopt) << event.kind;
    }
    EXPECT_EQ(bugEvents().size(), 6U);
}

TEST_F(QueueManagerSessionsTest, ACompletionCommentWithoutASessionTellsNone) {
    run(manager_.markCodexCompleted(bug_, comment));
    EXPECT_EQ(bugEvents().at(0).sessionID, std::nullopt);
}

// What each report writes, in which order

/// A report with what it writes to a queue "head", "bug", gap, "tail". The gap in the other queue is left.
struct WritesOfReport {
    std::string name;
    std::function<Task<void>(QueueManager&, Uuid)> run;
    std::vector<std::string> writes;
};

void PrintTo(const WritesOfReport& row, std::ostream* out) {
    *out << row.name;
}

class ReportWritesTest : public SessionReportsFixture, public testing::WithParamInterface<WritesOfReport> {};

TEST_P(ReportWritesTest, AreTheItemThenTheGapsWhereItLeavesTheHeadThenTheEvent) {
    setOut(running);
    BugQueueItem far = item("tail");
    far.queuePosition = 9;
    store(far);
    BugQueueItem other = enqueue("other", manual);
    other.queuePosition = 9;
    store(other);
    recordWrites();
    run(GetParam().run(manager_, bug_));
    EXPECT_EQ(writes(), GetParam().writes);
}

using M = QueueManager&;

INSTANTIATE_TEST_SUITE_P(
    Reports, ReportWritesTest,
    testing::Values(WritesOfReport{"markStarting",
                                   [](M m, Uuid id) { return m.markStarting(id, session); },
                                   {"update bug 1 startingCodex", "event startingCodex"}},
                    WritesOfReport{"markRunning",
                                   [](M m, Uuid id) { return m.markRunning(id, session); },
                                   {"update bug 1 running", "event running"}},
                    WritesOfReport{"markCodexCompleted",
                                   [](M m, Uuid id) { return m.markCodexCompleted(id, comment); },
                                   {"update bug 1 codexCompleted", "event codexCompleted"}},
                    WritesOfReport{"markCompleted",
                                   [](M m, Uuid id) { return m.markCompleted(id, comment); },
                                   {"update bug 1 completed", "update tail 1 queued", "event completed"}},
                    WritesOfReport{"markAwaitingUserInput",
                                   [](M m, Uuid id) { return m.markAwaitingUserInput(id, comment); },
                                   {"update bug 1 awaitingUserInput", "update tail 1 queued",
                                    "event awaitingUserInput"}},
                    WritesOfReport{"markFailed",
                                   [](M m, Uuid id) { return m.markFailed(id, "It broke."); },
                                   {"update bug 1 failed", "update tail 1 queued", "event failed"}},
                    WritesOfReport{"markResumable",
                                   [](M m, Uuid id) { return m.markResumable(id); },
                                   {"update bug 1 queued", "update tail 2 queued", "event resumable"}},
                    WritesOfReport{"setCodexSession",
                                   [](M m, Uuid id) { return m.setCodexSession(id, conversation, false); },
                                   {"update bug 1 running", "event codexSessionStored"}}),
    [](const auto& row) { return row.param.name; });

// Late, missing and repeated reports

TEST_F(QueueManagerSessionsTest, TheFirstReportThatEndsASessionWins) {
    setOut(running);
    run(manager_.markAwaitingUserInput(bug_, comment));
    const BugQueueItem before = bugItem();
    run(manager_.markFailed(bug_, "It broke."));
    run(manager_.markCompleted(bug_, comment));
    run(manager_.cancel(bug_));
    EXPECT_EQ(bugItem(), before);
    EXPECT_EQ(bugEvents().size(), 1U);
}

TEST_F(QueueManagerSessionsTest, CompletionAfterTheUserCancelledChangesNothing) {
    run(manager_.cancel(bug_));
    forgetEvents();
    const BugQueueItem before = bugItem();
    run(manager_.markCompleted(bug_, comment));
    EXPECT_EQ(bugItem(), before);
    EXPECT_THAT(bugEvents(), IsEmpty());
}

TEST_F(QueueManagerSessionsTest, CompletionStraightFromRunningIsAccepted) {
    setOut(running);
    run(manager_.markCompleted(bug_, comment));
    EXPECT_EQ(bugItem().status, completed);
}

TEST_F(QueueManagerSessionsTest, RetryAfterAFailureForgetsTheReasonAndKeepsTheConversation) {
    run(manager_.setCodexSession(bug_, conversation, false));
    run(manager_.markFailed(bug_, "It broke."));
    run(manager_.retry(bug_, QueueItemGoalFlow::fixBug));
    EXPECT_EQ(bugItem().errorMessage, std::nullopt);
    EXPECT_EQ(bugItem().codexSessionID, conversation);
}

TEST_F(QueueManagerSessionsTest, ABugThatAskedTheUserComesBackWhenItIsEnqueuedAgain) {
    run(manager_.markAwaitingUserInput(bug_, comment));
    EXPECT_THAT(order(), ElementsAre("head", "tail"));
    EXPECT_EQ(enqueue("bug").id, bug_);
    EXPECT_THAT(order(), ElementsAre("head", "tail", "bug"));
}

TEST_F(QueueManagerSessionsTest, ReportsOnAnUnknownItemChangeNothing) {
    const Uuid unknown = randomUuid();
    run(manager_.markStarting(unknown, session));
    run(manager_.markRunning(unknown, session));
    run(manager_.markCodexCompleted(unknown, comment));
    run(manager_.markCompleted(unknown, comment));
    run(manager_.markAwaitingUserInput(unknown, comment));
    run(manager_.markFailed(unknown, "It broke."));
    run(manager_.markResumable(unknown));
    run(manager_.setCodexSession(unknown, conversation, true));
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueManagerSessionsTest, AChangeWhoseEventCannotBeWrittenStays) {
    execute("CREATE TRIGGER deaf BEFORE INSERT ON queue_events BEGIN SELECT RAISE(ABORT, 'deaf'); END");
    EXPECT_THROW(run(manager_.markRunning(bug_, session)), DatabaseError);
    EXPECT_EQ(bugItem().status, running);
}

}  // namespace
}  // namespace quernlight
