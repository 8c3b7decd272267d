#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

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

/// A mapped app's queue with the bugs "head", "bug" and "tail"; the reports are about "bug".
class SessionReportsFixture : public QueueManagerFixture {
  protected:
    SessionReportsFixture() {
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

    Uuid bug_{};
};

// What reports write; the model of the random test tells the rest.

using QueueManagerSessionsTest = SessionReportsFixture;

TEST_F(QueueManagerSessionsTest, AReasonIsKeptToTheLetter) {
    const std::string reason = " \"Zeile\" 1\n\tü '; DROP TABLE queue_items; -- ";
    run(manager_.markFailed(bug_, reason));
    EXPECT_EQ(bugItem().errorMessage, reason);
    EXPECT_EQ(bugEvents().at(0).message, reason);
}

TEST_F(QueueManagerSessionsTest, ResumingClosesGaps) {
    setOut(running);
    BugQueueItem far = bugItem();
    far.queuePosition = 7;
    store(far);
    run(manager_.markResumable(bug_));
    EXPECT_THAT(order(), ElementsAre("head", "tail", "bug"));
}

TEST_F(QueueManagerSessionsTest, AnItemThatWasNeverStartedTellsNoSessionAndTakesTheTimeWhenItRuns) {
    run(manager_.markCodexCompleted(bug_, comment));
    EXPECT_EQ(bugEvents().at(0).sessionID, std::nullopt);
    run(manager_.markRunning(bug_, session));
    EXPECT_EQ(itemWithoutClock("bug").startedAt, justNow);
}

TEST_F(QueueManagerSessionsTest, AnInterruptedSessionInTheManualQueueNeedsNoMapping) {
    run(manager_.move(bug_, manual));
    setOut(running);
    run(mappings_.remove("com.acme.shop"));
    run(manager_.markResumable(bug_));
    EXPECT_EQ(bugItem().status, queued);
}

TEST_F(QueueManagerSessionsTest, TheConversationThatIsStoredAlreadyIsNotWrittenAgain) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    refuseUpdates();
    run(manager_.setCodexSession(bug_, conversation, false));
    run(manager_.setCodexSession(bug_, conversation, true));
    EXPECT_THAT(bugEvents(), IsEmpty());
}

// What each report tells, changes and writes

/// A report on a running bug, what it tells and what it changes of the item; and what it writes to a queue
/// "head", "bug", gap, "tail", in this order. The gap in the other queue is left.
struct Report {
    std::string name;
    std::function<Task<void>(QueueManager&, Uuid)> run;
    ItemEvent event;
    std::function<void(BugQueueItem&)> change;
    std::vector<std::string> writes;
    std::optional<Uuid> boundTo{};  ///< the conversation of the bug before
};

void PrintTo(const Report& row, std::ostream* out) {
    *out << row.name;
}

class ReportTest : public SessionReportsFixture, public testing::WithParamInterface<Report> {
  protected:
    void SetUp() override {
        setOut(running);
        BugQueueItem bound = bugItem();
        bound.codexSessionID = GetParam().boundTo;
        store(bound);
        leaveGap("tail");
        enqueue("other", manual);
        leaveGap("other");
        forgetEvents();
    }

    void leaveGap(const std::string& bugID) {
        BugQueueItem far = item(bugID);
        far.queuePosition = 9;
        store(far);
    }
};

TEST_P(ReportTest, TellsAndChangesTheItemAsTheTableSays) {
    BugQueueItem expected = bugItem();
    GetParam().change(expected);
    run(GetParam().run(manager_, bug_));
    EXPECT_EQ(itemWithoutClock("bug"), expected);
    EXPECT_THAT(bugEvents(), ElementsAre(GetParam().event));
}

TEST_P(ReportTest, WritesTheItemThenTheGapsWhereItLeavesTheHeadThenTheEvent) {
    recordWrites();
    run(GetParam().run(manager_, bug_));
    EXPECT_EQ(writes(), GetParam().writes);
}

/// The changes that reports have in common.
BugQueueItem& become(BugQueueItem& item, QueueItemStatus status, std::optional<Uuid> activeSession = {}) {
    item.status = status;
    item.activeSessionID = activeSession;
    item.errorMessage.reset();
    return item;
}

void end(BugQueueItem& item, QueueItemStatus status) {
    become(item, status).completedAt = justNow;
}

using M = QueueManager&;
using Item = BugQueueItem&;

INSTANTIATE_TEST_SUITE_P(
    Reports, ReportTest,
    testing::Values(
        Report{"markStarting",
               [](M m, Uuid id) { return m.markStarting(id, session); },
               {.kind = "startingCodex", .message = "Starting Codex session.", .sessionID = session},
               [](Item item) { become(item, startingCodex, session).startedAt = justNow; },
               {"update bug 1 startingCodex", "event startingCodex"}},
        Report{"markRunning",
               [](M m, Uuid id) { return m.markRunning(id, session); },
               {.kind = "running", .message = "Codex session is running.", .sessionID = session},
               [](Item item) { become(item, running, session); },
               {"update bug 1 running", "event running"}},
        Report{"markCodexCompleted",
               [](M m, Uuid id) { return m.markCodexCompleted(id, comment); },
               {.kind = "codexCompleted",
                .message = "Completion comment detected; stopping Codex.",
                .sessionID = earlierSession,
                .metadataJSON = R"({"completion_comment_id":"C0330000-0000-0000-0000-0000000000FF"})"},
               [](Item item) { become(item, codexCompleted, earlierSession); },
               {"update bug 1 codexCompleted", "event codexCompleted"}},
        Report{"markCompleted",
               [](M m, Uuid id) { return m.markCompleted(id, comment); },
               {.kind = "completed",
                .message = "Completion comment detected.",
                .metadataJSON = R"({"completion_comment_id":"C0330000-0000-0000-0000-0000000000FF"})"},
               [](Item item) { end(item, completed); },
               {"update bug 1 completed", "update tail 1 queued", "event completed"}},
        Report{"markAwaitingUserInput",
               [](M m, Uuid id) { return m.markAwaitingUserInput(id, comment); },
               {.kind = "awaitingUserInput",
                .message = "Agent asked the user for more information.",
                .metadataJSON = R"({"comment_id":"C0330000-0000-0000-0000-0000000000FF"})"},
               [](Item item) { end(item, awaitingUserInput); },
               {"update bug 1 awaitingUserInput", "update tail 1 queued", "event awaitingUserInput"}},
        Report{"markFailed",
               [](M m, Uuid id) { return m.markFailed(id, "It stood still."); },
               {.kind = "failed", .message = "It stood still."},
               [](Item item) {
                   end(item, failed);
                   item.errorMessage = "It stood still.";
               },
               {"update bug 1 failed", "update tail 1 queued", "event failed"}},
        Report{"markResumable",
               [](M m, Uuid id) { return m.markResumable(id); },
               {.kind = "resumable", .message = "Codex session interrupted; queued to resume."},
               [](Item item) { become(item, queued); },
               {"update bug 1 queued", "update tail 2 queued", "event resumable"}},
        Report{"setFirstCodexSession",
               [](M m, Uuid id) { return m.setCodexSession(id, conversation, false); },
               {.kind = "codexSessionStored",
                .message = "Stored Codex session for future resume.",
                .metadataJSON = R"({"codex_session_id":"C0DE0000-0000-0000-0000-00000000000A"})"},
               [](Item item) { item.codexSessionID = conversation; },
               {"update bug 1 running", "event codexSessionStored"}},
        Report{"setFirstCodexSessionAsTheCanonicalOne",
               [](M m, Uuid id) { return m.setCodexSession(id, conversation, true); },
               {.kind = "codexSessionStored",
                .message = "Stored Codex session for future resume.",
                .metadataJSON = R"({"codex_session_id":"C0DE0000-0000-0000-0000-00000000000A"})"},
               [](Item item) { item.codexSessionID = conversation; },
               {"update bug 1 running", "event codexSessionStored"}},
        Report{"setAnotherCodexSession",
               [](M m, Uuid id) { return m.setCodexSession(id, otherConversation, false); },
               {.kind = "codexSessionPreserved",
                .message = "Ignored a different Codex session because this bug is already mapped to a "
                           "session.",
                .metadataJSON = R"({"existing_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                                R"("ignored_codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"},
               [](Item) {},
               {"event codexSessionPreserved"},
               conversation},
        Report{"setAnotherCodexSessionAsTheCanonicalOne",
               [](M m, Uuid id) { return m.setCodexSession(id, otherConversation, true); },
               {.kind = "codexSessionRestored",
                .message = "Restored this bug to its canonical Codex session.",
                .metadataJSON = R"({"previous_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                                R"("codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"},
               [](Item item) { item.codexSessionID = otherConversation; },
               {"update bug 1 running", "event codexSessionRestored"},
               conversation}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight
