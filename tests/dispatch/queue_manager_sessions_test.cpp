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

// Binding a bug to the agent's own conversation

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

TEST_F(QueueManagerSessionsTest, TheConversationIsReplacedBeforeTheHistoryTellsSo) {
    setOut(running);
    run(manager_.setCodexSession(bug_, conversation, false));
    recordWrites();
    run(manager_.setCodexSession(bug_, otherConversation, true));
    EXPECT_THAT(writes(), ElementsAre("update bug 1 running", "event codexSessionRestored"));
}

}  // namespace
}  // namespace quernlight
