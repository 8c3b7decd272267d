#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

const Uuid session = *parseUuid("5E550000-0000-0000-0000-00000000000a");
const Uuid earlierSession = *parseUuid("5E550000-0000-0000-0000-00000000000b");
const Uuid comment = *parseUuid("c0330000-0000-0000-0000-0000000000ff");
const Uuid conversation = *parseUuid("c0de0000-0000-0000-0000-00000000000a");
const Uuid otherConversation = *parseUuid("c0de0000-0000-0000-0000-00000000000b");

/// A queue with the bugs "head", "bug" and "tail"; the reports are about "bug".
class QueueManagerSessionsTest : public QueueManagerFixture {
  protected:
    QueueManagerSessionsTest() {
        mapApp();
        enqueueAll({"head", "bug", "tail"});
        bug_ = id("bug");
        forgetEvents();
    }

    /// Stores the bug as an earlier, failed run would have left it in this status.
    void setOut(QueueItemStatus status) {
        BugQueueItem changed = item("bug");
        changed.status = status;
        changed.activeSessionID = earlierSession;
        changed.errorMessage = "It broke.";
        changed.startedAt = longAgo;
        store(changed);
    }

    BugQueueItem bugItem() { return item("bug"); }
    std::vector<ItemEvent> bugEvents() { return events("bug"); }

    static constexpr Instant longAgo{std::chrono::hours(1)};
    Uuid bug_{};
};

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

// Late, missing and repeated reports

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

// The agent's own conversation

TEST_F(QueueManagerSessionsTest, TheFirstConversationIsStored) {
    run(manager_.setCodexSession(bug_, conversation, false));
    EXPECT_EQ(bugItem().codexSessionID, conversation);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "codexSessionStored",
                    .message = "Stored Codex session for future resume.",
                    .metadataJSON = R"({"codex_session_id":"C0DE0000-0000-0000-0000-00000000000A"})"}));
}

TEST_F(QueueManagerSessionsTest, TheConversationThatIsStoredAlreadyIsNotWrittenAgain) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    refuseUpdates();
    run(manager_.setCodexSession(bug_, conversation, false));
    run(manager_.setCodexSession(bug_, conversation, true));
    EXPECT_THAT(bugEvents(), IsEmpty());
}

TEST_F(QueueManagerSessionsTest, AnotherConversationIsIgnoredAndToldSo) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    refuseUpdates();
    run(manager_.setCodexSession(bug_, otherConversation, false));
    EXPECT_EQ(bugItem().codexSessionID, conversation);
    EXPECT_THAT(
        bugEvents(),
        ElementsAre(ItemEvent{
            .kind = "codexSessionPreserved",
            .message = "Ignored a different Codex session because this bug is already mapped to a session.",
            .metadataJSON = R"({"existing_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                            R"("ignored_codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"}));
}

TEST_F(QueueManagerSessionsTest, AnotherConversationReplacesTheStoredOneWhenAskedTo) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    run(manager_.setCodexSession(bug_, otherConversation, true));
    EXPECT_EQ(bugItem().codexSessionID, otherConversation);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "codexSessionRestored",
                    .message = "Restored this bug to its canonical Codex session.",
                    .metadataJSON = R"({"previous_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                                    R"("codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"}));
}

TEST_F(QueueManagerSessionsTest, AnItemThatHasLeftTheQueueStillTakesItsConversation) {
    for (const QueueItemStatus left : {completed, failed, cancelled, awaitingUserInput}) {
        setStatus("bug", left);
        run(manager_.setCodexSession(bug_, randomUuid(), true));
    }
    EXPECT_EQ(bugEvents().size(), 4U);
}

// Every operation on an item in every status

/// What becomes of an item: a status, or one of these.
constexpr std::string_view refused = "refused";  ///< the row unchanged, no event
constexpr std::string_view kept = "kept";        ///< done, in the status it was in
constexpr std::string_view deleted = "deleted";  ///< the row is gone
constexpr std::string_view waits = "waits";      ///< "queued", or "waitingForMapping" without a mapping

/// One row of the table: the operation, and what it does to an item by the kind of its status.
struct Transition {
    std::string_view operation;
    std::function<Task<void>(QueueManager&, Uuid)> run;
    std::string_view fromWaiting;         ///< queued, waitingForMapping, waitingForCapacity
    std::string_view fromLive;            ///< startingCodex, running
    std::string_view fromCodexCompleted;  ///< codexCompleted
    std::string_view fromTerminal;        ///< awaitingUserInput, completed, failed, cancelled

    std::string_view from(QueueItemStatus status) const {
        if (isTerminal(status)) {
            return fromTerminal;
        }
        if (!isReorderLocked(status)) {
            return fromWaiting;
        }
        return status == codexCompleted ? fromCodexCompleted : fromLive;
    }
};

void PrintTo(const Transition& row, std::ostream* out) {
    *out << row.operation;
}

template <class Result>
Task<void> withoutResult(Task<Result> task) {
    co_await std::move(task);
}

Task<void> enqueueAgain(QueueManager& manager, QueueMode mode) {
    QLBugSummaryDTO summary;
    summary.id = "bug";
    summary.bundleID = "com.acme.shop";
    return withoutResult(manager.enqueue(std::move(summary), mode));
}

constexpr auto addressReview = QueueItemGoalFlow::addressReview;

const std::vector<Transition>& transitions() {
    using M = QueueManager&;
    static const std::vector<Transition> table{
        {"enqueue", [](M m, Uuid) { return enqueueAgain(m, automatic); }, refused, refused, refused, waits},
        {"retry", [](M m, Uuid id) { return withoutResult(m.retry(id, addressReview)); }, waits, waits, waits,
         waits},
        {"moveInPlace", [](M m, Uuid id) { return withoutResult(m.move(id, automatic)); }, refused, refused,
         refused, waits},
        {"moveWithFlow", [](M m, Uuid id) { return withoutResult(m.move(id, automatic, addressReview)); },
         waits, refused, refused, waits},
        {"moveToManual", [](M m, Uuid id) { return withoutResult(m.move(id, manual)); }, "queued", refused,
         refused, "queued"},
        {"enqueueToManual", [](M m, Uuid) { return enqueueAgain(m, manual); }, "queued", refused, refused,
         "queued"},
        {"reorder", [](M m, Uuid id) { return m.reorder(id, std::nullopt); }, kept, refused, refused,
         refused},
        {"queueNext", [](M m, Uuid id) { return m.queueNext(id); }, kept, refused, refused, refused},
        {"removeImplementedReviewItem",
         [](M m, Uuid) { return withoutResult(m.removeImplementedReviewItem("bug")); }, deleted, refused,
         refused, deleted},
        {"remove", [](M m, Uuid id) { return withoutResult(m.remove(id)); }, deleted, refused, deleted,
         deleted},
        {"cancel", [](M m, Uuid id) { return m.cancel(id); }, "cancelled", "cancelled", "cancelled", refused},
        {"markStarting", [](M m, Uuid id) { return m.markStarting(id, session); }, "startingCodex",
         "startingCodex", "startingCodex", refused},
        {"markRunning", [](M m, Uuid id) { return m.markRunning(id, session); }, "running", "running",
         "running", refused},
        {"markCodexCompleted", [](M m, Uuid id) { return m.markCodexCompleted(id, comment); },
         "codexCompleted", "codexCompleted", "codexCompleted", refused},
        {"markCompleted", [](M m, Uuid id) { return m.markCompleted(id, comment); }, "completed", "completed",
         "completed", refused},
        {"markAwaitingUserInput", [](M m, Uuid id) { return m.markAwaitingUserInput(id, comment); },
         "awaitingUserInput", "awaitingUserInput", "awaitingUserInput", refused},
        {"markFailed", [](M m, Uuid id) { return m.markFailed(id, "It broke."); }, "failed", "failed",
         "failed", refused},
        {"markResumable", [](M m, Uuid id) { return m.markResumable(id); }, waits, waits, waits, refused},
        {"setCodexSession", [](M m, Uuid id) { return m.setCodexSession(id, conversation, false); }, kept,
         kept, kept, kept},
    };
    return table;
}

class QueueItemTransitionTest : public QueueManagerSessionsTest,
                                public testing::WithParamInterface<Transition> {
  protected:
    void expectTransition(QueueItemStatus from, bool mapped) {
        run(mappings_.remove("com.acme.shop"));
        if (mapped) {
            mapApp();
        }
        restoreBug(from);
        const BugQueueItem before = bugItem();
        run(GetParam().run(manager_, bug_));
        expectOutcome(before, GetParam().from(from), mapped);
    }

  private:
    /// Puts the bug into its queue in this status, whatever became of it before.
    void restoreBug(QueueItemStatus status) {
        if (find("bug")) {
            execute("DELETE FROM queue_items WHERE bug_id = 'bug'");
        }
        bug_ = enqueue("bug").id;
        setStatus("bug", status);
        forgetEvents();
    }

    void expectOutcome(const BugQueueItem& before, std::string_view expected, bool mapped) {
        if (expected == deleted) {
            EXPECT_EQ(find("bug"), std::nullopt);
            EXPECT_EQ(eventCount(), 0U);
        } else if (expected == refused) {
            EXPECT_EQ(bugItem(), before);
            EXPECT_EQ(eventCount(), 0U);
        } else {
            EXPECT_EQ(rawValue(bugItem().status), statusText(before, expected, mapped));
            EXPECT_EQ(bugEvents().size(), 1U);
        }
    }

    static std::string_view statusText(const BugQueueItem& before, std::string_view expected, bool mapped) {
        if (expected == kept) {
            return rawValue(before.status);
        }
        if (expected == waits) {
            return mapped ? "queued" : "waitingForMapping";
        }
        return expected;
    }
};

TEST_P(QueueItemTransitionTest, LeadsFromEveryStatusWhereTheTableSays) {
    for (const QueueItemStatus from : allQueueItemStatuses) {
        for (const bool mapped : {true, false}) {
            SCOPED_TRACE(std::string(rawValue(from)) + (mapped ? ", mapped" : ", not mapped"));
            expectTransition(from, mapped);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, QueueItemTransitionTest, testing::ValuesIn(transitions()),
                         [](const auto& row) { return std::string(row.param.operation); });

TEST_F(QueueManagerSessionsTest, SavingTheMappingReleasesWaitingItemsAndNoOthers) {
    for (const QueueItemStatus from : allQueueItemStatuses) {
        setStatus("bug", from);
        run(manager_.releaseWaitingItems("com.acme.shop"));
        EXPECT_EQ(bugItem().status, from == waitingForMapping ? queued : from) << rawValue(from);
    }
    EXPECT_EQ(eventCount(), 0U);
}

}  // namespace
}  // namespace quernlight
