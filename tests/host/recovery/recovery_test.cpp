#include "host/recovery/recovery.hpp"

#include <csignal>
#include <ostream>

#include <sys/wait.h>
#include <unistd.h>
#include <gmock/gmock.h>

#include "host/events/item_history.hpp"
#include "host/process/process_metadata.hpp"
#include "host/tools/tool_access.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A queue as a dispatcher that ended without warning leaves it.
class RecoveryTest : public test::ServicesFixture {
  protected:
    /// A bug whose session runs, with its attempt.
    Uuid running(const std::string& bugID) {
        const Uuid item = enqueue(bugID).id;
        run(manager.markStarting(item, session));
        run(manager.markRunning(item, session));
        run(store.attempts.insert({.id = randomUuid(),
                                   .queueItemID = item,
                                   .bugID = bugID,
                                   .completionMarker = upperCaseText(session),
                                   .state = SessionAttemptState::running,
                                   .startedAt = currentInstant()}));
        return item;
    }
    void backendHasReport(const Uuid& item, const std::string& reportedStatus,
                          std::chrono::seconds backendIsBehindBy = {}) {
        const std::string now = formatInstant(currentInstant() - backendIsBehindBy);
        server.answer({.body = R"({"comments":[{"id":"0A000000-0000-4000-8000-00000000000A",)"
                               R"("bug_id":"3f2a9c1d","body":"Words.","attachments":[],)"
                               R"("author_type":"agent","metadata":{"queue_item_id":")" +
                               lowerCaseText(item) + R"(","session_id":")" + lowerCaseText(session) +
                               R"(","status":")" + reportedStatus + R"("},"created_at":")" + now +
                               R"(","updated_at":")" + now + R"("}]})"});
    }
    void wish(const Uuid& item, EventKind kind) {
        run(appendEvent(store.items, {.itemID = item, .kind = kind, .message = "Asked."}));
    }
    void backendHasNoComments() { server.answer({.body = R"({"comments":[]})"}); }
    std::vector<BugQueueItem> interrupted() { return run(recovery.interruptedItems()); }
    std::string reconcile(const Uuid& id) { return run(recovery.reconcile(item(id))); }

    const Uuid session = randomUuid();
    const Uuid reportID = *parseUuid("0A000000-0000-4000-8000-00000000000A");
    Recovery recovery{services};
};

TEST_F(RecoveryTest, ARunningItemWithoutAReportIsPutBackAndItsAttemptHasFailed) {
    const Uuid item = running("3f2a9c1d");
    backendHasNoComments();
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_EQ(history(item), "enqueued startingCodex running resumable recovered goalNotTyped");
    EXPECT_EQ(attempt(item).state, SessionAttemptState::failed);
    EXPECT_EQ(attempt(item).failureReason, "Dispatcher stopped while the session was running.");
    EXPECT_TRUE(attempt(item).endedAt);
}

/// Its owner was killed before the agent had ended.
TEST_F(RecoveryTest, ASessionThatAPersonHasStoppedIsHeldThoughItsOwnerIsGone) {
    const Uuid item = running("3f2a9c1d");
    wish(item, EventKind::holdRequested);
    backendHasNoComments();
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(this->item(item).queueMode, QueueMode::manual);
    EXPECT_EQ(history(item),
              "enqueued startingCodex running holdRequested resumable recovered goalNotTyped "
              "queueModeChanged sessionStopped");
    EXPECT_EQ(attempt(item).state, SessionAttemptState::failed);
    EXPECT_THAT(interrupted(), IsEmpty());
}

TEST_F(RecoveryTest, ABugThatAPersonHasCancelledIsCancelledOnceItsEndIsKnown) {
    const Uuid item = running("3f2a9c1d");
    wish(item, EventKind::cancelRequested);
    server.answer({.status = 503, .body = "no"});
    EXPECT_NE(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::running);
    backendHasNoComments();
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::cancelled);
    EXPECT_EQ(attempt(item).state, SessionAttemptState::failed);
}

TEST_F(RecoveryTest, AReportCountsAboveWhatAPersonWishes) {
    const Uuid item = running("3f2a9c1d");
    wish(item, EventKind::cancelRequested);
    backendHasReport(item, "in_review");
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

/// It was stopped while its worktree was being prepared, and then its owner was killed.
TEST_F(RecoveryTest, AWishThatNoSessionIsLeftToGrantIsFoundAndGranted) {
    const Uuid item = enqueue("3f2a9c1d").id;
    EXPECT_THAT(interrupted(), IsEmpty());
    wish(item, EventKind::holdRequested);
    ASSERT_THAT(interrupted(), SizeIs(1));
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(this->item(item).queueMode, QueueMode::manual);
    EXPECT_EQ(history(item), "enqueued holdRequested queueModeChanged sessionStopped");
    EXPECT_THAT(interrupted(), IsEmpty());
}

TEST_F(RecoveryTest, TheSecretForTheAgentsToolsGoes) {
    const Uuid item = running("3f2a9c1d");
    const std::string transcript = (directory / "sessions/1/terminal.txt").string();
    run(store.database->execute("UPDATE session_attempts SET transcript_text_path = '" + transcript + "'"));
    const auto secret = toolSecretFile(directory / "sessions/1");
    quernlight::test::writeFile(secret, "secret");
    backendHasNoComments();
    reconcile(item);
    EXPECT_FALSE(std::filesystem::exists(secret));
}

TEST_F(RecoveryTest, AnAttemptWhoseGoalWasBegunIsNotSaidToLackIt) {
    const Uuid item = running("3f2a9c1d");
    run(appendEvent(store.items, {.itemID = item, .kind = EventKind::typing, .sessionID = session}));
    backendHasNoComments();
    reconcile(item);
    EXPECT_EQ(history(item), "enqueued startingCodex running typing resumable recovered");
}

TEST_F(RecoveryTest, ASessionThatLeftNothingToSettleIsToldOnceThatCanBeStored) {
    const Uuid item = enqueue("3f2a9c1d").id;
    EXPECT_EQ(run(recovery.reconcile(this->item(item), {.reason = "The disk was full."})), "");
    EXPECT_EQ(history(item), "enqueued recovered");
    EXPECT_EQ(run(store.items.events(item)).back().message, "The disk was full.");
    run(
        store.database->execute("CREATE TRIGGER full BEFORE INSERT ON queue_events BEGIN"
                                " SELECT RAISE(ABORT, 'full'); END"));
    EXPECT_THROW(run(recovery.reconcile(this->item(item))), DatabaseError);
}

TEST_F(RecoveryTest, AnItemWhoseSessionCouldNotBeRecordedIsPutBackForThatReason) {
    const Uuid item = running("3f2a9c1d");
    backendHasNoComments();
    EXPECT_EQ(run(recovery.reconcile(this->item(item), {.reason = "The disk was full."})), "");
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_EQ(attempt(item).failureReason, "The disk was full.");
}

TEST_F(RecoveryTest, AnItemWhoseSessionWentWrongFailsOnceNoReportIsFound) {
    const Uuid item = running("3f2a9c1d");
    backendHasNoComments();
    EXPECT_EQ(run(recovery.reconcile(this->item(item), {.reason = "It broke.", .failsItem = true})), "");
    EXPECT_EQ(status(item), QueueItemStatus::failed);
    EXPECT_EQ(this->item(item).errorMessage, "It broke.");
    EXPECT_EQ(attempt(item).failureReason, "It broke.");
}

TEST_F(RecoveryTest, AReportThatArrivedMeanwhileCompletesItemAndAttempt) {
    const Uuid item = running("3f2a9c1d");
    backendHasReport(item, "in_review");
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_EQ(history(item), "enqueued startingCodex running codexCompleted completed recovered");
    EXPECT_EQ(attempt(item).state, SessionAttemptState::completed);
    EXPECT_EQ(attempt(item).completionCommentID, reportID);
    EXPECT_EQ(server.lines().front(), "GET /v1/bugs/3f2a9c1d/comments");
}

TEST_F(RecoveryTest, AReportIsFoundThoughTheBackendsClockIsBehind) {
    const Uuid item = running("3f2a9c1d");
    backendHasReport(item, "in_review", std::chrono::minutes(10));
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RecoveryTest, AQuestionThatArrivedMeanwhileMakesTheItemAwaitTheUser) {
    const Uuid item = running("3f2a9c1d");
    backendHasReport(item, "investigate");
    reconcile(item);
    EXPECT_EQ(status(item), QueueItemStatus::awaitingUserInput);
    EXPECT_EQ(attempt(item).completionCommentID, reportID);
}

TEST_F(RecoveryTest, WhileTheBackendCannotBeAskedTheItemStaysAsItIs) {
    const Uuid item = running("3f2a9c1d");
    server.answer({.status = 503, .body = "no"});
    EXPECT_EQ(reconcile(item), "The backend cannot be asked whether its interrupted session had finished.");
    EXPECT_EQ(status(item), QueueItemStatus::running);
    EXPECT_EQ(attempt(item).state, SessionAttemptState::running);
    EXPECT_THAT(healthChanges, SizeIs(1));
    backendHasNoComments();
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::queued);
}

TEST_F(RecoveryTest, ABackendThatWantsToBeLeftAloneIsNotAskedForAReport) {
    const Uuid item = running("3f2a9c1d");
    health.heed(std::chrono::seconds(60));
    EXPECT_EQ(reconcile(item), "The backend cannot be asked whether its interrupted session had finished.");
    EXPECT_EQ(status(item), QueueItemStatus::running);
    EXPECT_THAT(server.lines(), IsEmpty());
}

TEST_F(RecoveryTest, ABugThatWasPutBackUnaskedIsCompletedWhenItsReportIsFound) {
    const Uuid item = running("3f2a9c1d");
    run(manager.markResumable(item));
    EXPECT_THAT(interrupted(), SizeIs(1));
    backendHasReport(item, "in_review");
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_EQ(attempt(item).state, SessionAttemptState::completed);
}

TEST_F(RecoveryTest, CommentsThatCannotBeReadAreTheBugsTrouble) {
    const Uuid item = running("3f2a9c1d");
    server.answer({.body = "no json"});
    EXPECT_THAT(reconcile(item),
                HasSubstr("Its comments cannot be read: The backend's answer is not valid JSON"));
    EXPECT_THAT(healthChanges, IsEmpty());
}

TEST_F(RecoveryTest, ABugThatTheBackendNoLongerKnowsHasNoReport) {
    const Uuid item = running("3f2a9c1d");
    server.answer({.status = 404, .body = "no such bug"});
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_THAT(healthChanges, IsEmpty());
}

TEST_F(RecoveryTest, AnItemWhoseCompletionHadBeenSeenIsCompletedWithoutAskingAnybody) {
    const Uuid item = running("3f2a9c1d");
    run(manager.markCodexCompleted(item, reportID));
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_EQ(attempt(item).state, SessionAttemptState::completed);
    EXPECT_EQ(attempt(item).completionCommentID, reportID);
    EXPECT_THAT(server.lines(), IsEmpty());
}

TEST_F(RecoveryTest, ACompletionWhoseAttemptHadBeenClosedAlreadyIsCompletedToo) {
    const Uuid item = running("3f2a9c1d");
    run(manager.markCodexCompleted(item, reportID));
    run(store.attempts.markCompleted(attempt(item).id, reportID, currentInstant(), currentInstant()));
    reconcile(item);
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RecoveryTest, AnItemThatHadNoAttemptYetIsPutBackWithoutAskingAnybody) {
    const Uuid item = running("3f2a9c1d");
    run(store.database->execute("DELETE FROM session_attempts"));
    EXPECT_EQ(reconcile(item), "");
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_THAT(server.lines(), IsEmpty());
}

TEST_F(RecoveryTest, AnAttemptThatAFailedItemHadLeftOpenFailsWithTheItemsReason) {
    const Uuid item = running("3f2a9c1d");
    run(manager.markFailed(item, "Idle timeout elapsed before completion."));
    EXPECT_THAT(interrupted(), SizeIs(1));
    reconcile(item);
    EXPECT_EQ(status(item), QueueItemStatus::failed);
    EXPECT_EQ(attempt(item).failureReason, "Idle timeout elapsed before completion.");
    EXPECT_THAT(interrupted(), IsEmpty());
}

TEST_F(RecoveryTest, AnAttemptThatAQuestionHadLeftOpenIsCompletedWithThatComment) {
    const Uuid item = running("3f2a9c1d");
    run(manager.markAwaitingUserInput(item, reportID));
    reconcile(item);
    EXPECT_EQ(status(item), QueueItemStatus::awaitingUserInput);
    EXPECT_EQ(attempt(item).state, SessionAttemptState::completed);
    EXPECT_EQ(attempt(item).completionCommentID, reportID);
}

TEST_F(RecoveryTest, WhatTellsTheTruthAlreadyIsNotInterrupted) {
    const Uuid failed = running("3f2a9c1d");
    run(manager.markFailed(failed, "It broke."));
    run(store.attempts.markFailed(attempt(failed).id, "It broke.", currentInstant()));
    enqueue("77777777");
    EXPECT_THAT(interrupted(), IsEmpty());
}

TEST_F(RecoveryTest, TheAgentThatStillRunsIsEndedWithAllItsProcesses) {
    const Uuid item = running("3f2a9c1d");
    const ProcessMark mark = markOf(session);
    const std::string script = "trap '' HUP; setsid sleep 600 & sleep 600";
    const pid_t orphan = spawnProcess({.executable = "/bin/sh",
                                       .arguments = {"sh", "-c", script},
                                       .environment = {"PATH=/usr/bin:/bin", mark.assignment()}});
    EXPECT_TRUE(quernlight::test::eventually([&] { return ProcessTree(session).alive().size() == 3; }));
    run(appendEvent(store.items, {.itemID = item,
                                  .kind = EventKind::agentStarted,
                                  .sessionID = session,
                                  .metadataJSON = processMetadata(orphan, processEntry(orphan).startTime)}));
    backendHasNoComments();
    EXPECT_EQ(reconcile(item), "");
    EXPECT_THAT(ProcessTree(session).alive(), IsEmpty());
    waitpid(orphan, nullptr, 0);
}

TEST_F(RecoveryTest, AProcessThatOnlyGotTheAgentsPidIsNotTouched) {
    const Uuid item = running("3f2a9c1d");
    const pid_t stranger = spawnProcess({.executable = "/bin/sleep", .arguments = {"sleep", "600"}});
    run(appendEvent(store.items, {.itemID = item,
                                  .kind = EventKind::agentStarted,
                                  .sessionID = session,
                                  .metadataJSON = processMetadata(stranger, "another start")}));
    backendHasNoComments();
    reconcile(item);
    EXPECT_EQ(waitpid(stranger, nullptr, WNOHANG), 0);
    kill(stranger, SIGKILL);
    waitpid(stranger, nullptr, 0);
}

struct StepCase {
    const char* name;
    InterruptedItem item;
    std::optional<std::optional<AgentReport>> answer;
    RecoveryStep step;
};

void PrintTo(const StepCase& row, std::ostream* out) {
    *out << row.name;
}

class RecoveryStepTest : public testing::TestWithParam<StepCase> {};

TEST_P(RecoveryStepTest, IsWhatTheItemNeeds) {
    EXPECT_EQ(recoveryStep(GetParam().item, GetParam().answer), GetParam().step);
}

using enum QueueItemStatus;
const AgentReport report{.commentID = *parseUuid("0A000000-0000-4000-8000-00000000000A")};
const std::string interruptedText = "Dispatcher stopped while the session was running.";

INSTANTIATE_TEST_SUITE_P(
    Table, RecoveryStepTest,
    testing::Values(
        StepCase{"queued", {.status = queued}, {}, NothingToReconcile{}},
        StepCase{"completed", {.status = completed}, {}, NothingToReconcile{}},
        StepCase{"startingWithoutAttempt",
                 {.status = startingCodex},
                 {},
                 CloseAttempt{.reason = interruptedText, .item = ItemsEnd::goesBack}},
        StepCase{"startingWithAttempt", {.status = startingCodex, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"running", {.status = running, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"runningNoReport",
                 {.status = running, .hasOpenAttempt = true},
                 std::optional<AgentReport>(),
                 CloseAttempt{.reason = interruptedText, .item = ItemsEnd::goesBack}},
        StepCase{"runningNoReportAfterTrouble",
                 {.status = running, .hasOpenAttempt = true, .cause = {"It broke.", true}},
                 std::optional<AgentReport>(),
                 CloseAttempt{.reason = "It broke.", .item = ItemsEnd::fails}},
        StepCase{"runningReportAfterTrouble",
                 {.status = running, .hasOpenAttempt = true, .cause = {"It broke.", true}},
                 std::optional(report),
                 TakeReport{report}},
        StepCase{"runningReport",
                 {.status = running, .hasOpenAttempt = true},
                 std::optional(report),
                 TakeReport{report}},
        StepCase{"codexCompleted",
                 {.status = codexCompleted, .hasOpenAttempt = true, .storedReport = report},
                 {},
                 TakeReport{report}},
        StepCase{"codexCompletedClosed",
                 {.status = codexCompleted, .storedReport = report},
                 {},
                 TakeReport{report}},
        StepCase{
            "codexCompletedNoEvent", {.status = codexCompleted, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"completedOpen",
                 {.status = completed, .hasOpenAttempt = true, .storedReport = report},
                 {},
                 TakeReport{report}},
        StepCase{"completedOpenNoEvent", {.status = completed, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"awaitingOpen",
                 {.status = awaitingUserInput, .hasOpenAttempt = true, .storedReport = report},
                 {},
                 TakeReport{report}},
        StepCase{
            "awaitingOpenNoEvent", {.status = awaitingUserInput, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"awaitingOpenReport",
                 {.status = awaitingUserInput, .hasOpenAttempt = true},
                 std::optional(report),
                 TakeReport{report}},
        StepCase{"awaitingOpenNoReport",
                 {.status = awaitingUserInput, .hasOpenAttempt = true},
                 std::optional<AgentReport>(),
                 CloseAttempt{.reason = interruptedText}},
        StepCase{"failedOpen",
                 {.status = failed, .errorMessage = "It broke.", .hasOpenAttempt = true},
                 {},
                 CloseAttempt{.reason = "It broke."}},
        StepCase{
            "failedOpenIgnoresReports",
            {.status = failed, .errorMessage = "It broke.", .hasOpenAttempt = true, .storedReport = report},
            {},
            CloseAttempt{.reason = "It broke."}},
        StepCase{"cancelledOpen",
                 {.status = cancelled, .hasOpenAttempt = true},
                 {},
                 CloseAttempt{.reason = "Cancelled by user."}},
        StepCase{"codexCompletedNoCommentLeft",
                 {.status = codexCompleted, .hasOpenAttempt = true},
                 std::optional<AgentReport>(),
                 TakeReport{AgentReport{}}},
        StepCase{"queuedOpen", {.status = queued, .hasOpenAttempt = true}, {}, AskBackend{}},
        StepCase{"queuedOpenReport",
                 {.status = queued, .hasOpenAttempt = true},
                 std::optional(report),
                 TakeReport{report}},
        StepCase{"queuedOpenNoReport",
                 {.status = queued, .hasOpenAttempt = true},
                 std::optional<AgentReport>(),
                 CloseAttempt{.reason = interruptedText}}),
    [](const auto& named) { return std::string(named.param.name); });

}  // namespace
}  // namespace quernlight::host
