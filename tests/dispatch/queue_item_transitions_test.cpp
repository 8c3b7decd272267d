#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

// Every operation on an item in every status.

namespace quernlight {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using enum QueueItemStatus;

/// What becomes of the item: a status or one of the words below, and the kind of the one event, if any.
struct Outcome {
    std::string_view status;
    std::string_view event;
};

constexpr std::string_view kept = "kept";    ///< the status it was in
constexpr std::string_view waits = "waits";  ///< "queued", or "waitingForMapping" without a mapping

constexpr Outcome refused{"refused", ""};  ///< nothing is written
constexpr Outcome deleted{"deleted", ""};  ///< the row is gone, with its events
constexpr Outcome retried{waits, "retried"};
constexpr Outcome retriedInManual{"queued", "retried"};
constexpr Outcome moved{waits, "queueModeChanged"};
constexpr Outcome movedToManual{"queued", "queueModeChanged"};
constexpr Outcome resumable{waits, "resumable"};
constexpr Outcome bound{kept, "codexSessionStored"};

/// A status whose event has the same name.
constexpr Outcome becomes(std::string_view status) {
    return {status, status};
}

/// One row of the table: the operation, and what it does to an item by the kind of its status.
struct Transition {
    std::string_view operation;
    std::function<Task<void>(QueueManager&, Uuid)> run;
    Outcome fromWaiting;         ///< queued, waitingForMapping, waitingForCapacity
    Outcome fromLive;            ///< startingCodex, running
    Outcome fromCodexCompleted;  ///< codexCompleted
    Outcome fromTerminal;        ///< awaitingUserInput, completed, failed, cancelled

    Outcome from(QueueItemStatus status) const {
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

Task<void> enqueueAgain(QueueManager& manager, QueueMode mode) {
    QLBugSummaryDTO summary;
    summary.id = "bug";
    summary.bundleID = "com.acme.shop";
    return withoutResult(manager.enqueue(std::move(summary), mode));
}

constexpr auto addressReview = QueueItemGoalFlow::addressReview;
const Uuid session = *parseUuid("5E550000-0000-0000-0000-00000000000a");
const Uuid comment = *parseUuid("c0330000-0000-0000-0000-0000000000ff");

const std::vector<Transition>& transitions() {
    using M = QueueManager&;
    static const std::vector<Transition> table{
        {"enqueue", [](M m, Uuid) { return enqueueAgain(m, automatic); }, refused, refused, refused, retried},
        {"enqueueToManual", [](M m, Uuid) { return enqueueAgain(m, manual); }, movedToManual, refused,
         refused, retriedInManual},
        {"retry", [](M m, Uuid id) { return withoutResult(m.retry(id, addressReview)); }, retried, retried,
         retried, retried},
        {"retryToManual", [](M m, Uuid id) { return withoutResult(m.retry(id, addressReview, manual)); },
         retriedInManual, retriedInManual, retriedInManual, retriedInManual},
        {"moveInPlace", [](M m, Uuid id) { return withoutResult(m.move(id, automatic)); }, refused, refused,
         refused, retried},
        {"moveWithFlow", [](M m, Uuid id) { return withoutResult(m.move(id, automatic, addressReview)); },
         moved, refused, refused, retried},
        {"moveToManual", [](M m, Uuid id) { return withoutResult(m.move(id, manual)); }, movedToManual,
         refused, refused, retriedInManual},
        {"reorder",
         [](M m, Uuid id) { return m.reorder(id, std::nullopt); },
         {kept, "reordered"},
         refused,
         refused,
         refused},
        {"queueNext",
         [](M m, Uuid id) { return m.queueNext(id); },
         {kept, "queuedNext"},
         refused,
         refused,
         refused},
        {"removeImplementedReviewItem",
         [](M m, Uuid) { return withoutResult(m.removeImplementedReviewItem("bug")); }, deleted, refused,
         refused, deleted},
        {"remove", [](M m, Uuid id) { return withoutResult(m.remove(id)); }, deleted, refused, deleted,
         deleted},
        {"cancel", [](M m, Uuid id) { return m.cancel(id); }, becomes("cancelled"), becomes("cancelled"),
         becomes("cancelled"), refused},
        {"markStarting", [](M m, Uuid id) { return m.markStarting(id, session); }, becomes("startingCodex"),
         becomes("startingCodex"), becomes("startingCodex"), refused},
        {"markRunning", [](M m, Uuid id) { return m.markRunning(id, session); }, becomes("running"),
         becomes("running"), becomes("running"), refused},
        {"markCodexCompleted", [](M m, Uuid id) { return m.markCodexCompleted(id, comment); },
         becomes("codexCompleted"), becomes("codexCompleted"), becomes("codexCompleted"), refused},
        {"markCompleted", [](M m, Uuid id) { return m.markCompleted(id, comment); }, becomes("completed"),
         becomes("completed"), becomes("completed"), refused},
        {"markAwaitingUserInput", [](M m, Uuid id) { return m.markAwaitingUserInput(id, comment); },
         becomes("awaitingUserInput"), becomes("awaitingUserInput"), becomes("awaitingUserInput"), refused},
        {"markFailed", [](M m, Uuid id) { return m.markFailed(id, "It broke."); }, becomes("failed"),
         becomes("failed"), becomes("failed"), refused},
        {"markResumable", [](M m, Uuid id) { return m.markResumable(id); }, resumable, resumable, resumable,
         refused},
        {"setCodexSession", [](M m, Uuid id) { return m.setCodexSession(id, randomUuid(), false); }, bound,
         bound, bound, bound},
    };
    return table;
}

/// A queue with the bugs "head", "bug" and "tail"; the operations are on "bug".
class QueueItemTransitionTest : public QueueManagerFixture, public testing::WithParamInterface<Transition> {
  protected:
    QueueItemTransitionTest() {
        enqueueAll({"head", "bug", "tail"});
        recordWrites();
    }

    void expectTransition(QueueItemStatus from, bool mapped) {
        run(mappings_.remove("com.acme.shop"));
        if (mapped) {
            mapApp();
        }
        restoreBug(from);
        const BugQueueItem before = item("bug");
        run(GetParam().run(manager_, before.id));
        expectOutcome(before, GetParam().from(from), mapped);
        order(automatic);
        order(manual);
    }

  private:
    /// Puts the bug between the two others as an earlier run left it in this status.
    void restoreBug(QueueItemStatus status) {
        execute("DELETE FROM queue_items WHERE bug_id = 'bug'");
        const Uuid bug = enqueue("bug").id;
        run(manager_.reorder(bug, id("tail")));
        BugQueueItem changed = item("bug");
        changed.status = status;
        changed.activeSessionID = session;
        changed.errorMessage = "It broke before.";
        changed.startedAt = longAgo;
        store(changed);
        run(queue_.compactActiveQueuePositions());
        forgetEvents();
        writes();
    }

    void expectOutcome(const BugQueueItem& before, Outcome expected, bool mapped) {
        const std::vector<std::string> written = writes();
        if (expected.status == refused.status) {
            EXPECT_EQ(item("bug"), before);
            EXPECT_THAT(written, IsEmpty());
            return;
        }
        EXPECT_EQ(statusNow(), statusText(before, expected.status, mapped));
        if (expected.event.empty()) {
            EXPECT_EQ(eventCount(), 0U);
        } else {
            EXPECT_EQ(written.back(), "event " + std::string(expected.event));
            EXPECT_THAT(events("bug"), SizeIs(1));
            EXPECT_EQ(eventCount(), 1U);
        }
    }

    std::string statusNow() {
        const auto found = find("bug");
        return found ? std::string(rawValue(found->status)) : "deleted";
    }

    static std::string statusText(const BugQueueItem& before, std::string_view expected, bool mapped) {
        if (expected == kept) {
            return std::string(rawValue(before.status));
        }
        if (expected == waits) {
            return mapped ? "queued" : "waitingForMapping";
        }
        return std::string(expected);
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

TEST_P(QueueItemTransitionTest, DoesNothingForAnUnknownItem) {
    execute("DELETE FROM queue_items WHERE bug_id = 'bug'");
    writes();
    if (!GetParam().operation.starts_with("enqueue")) {
        run(GetParam().run(manager_, randomUuid()));
        EXPECT_THAT(writes(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, QueueItemTransitionTest, testing::ValuesIn(transitions()),
                         [](const auto& row) { return std::string(row.param.operation); });

using QueueItemReleaseTest = QueueManagerFixture;

TEST_F(QueueItemReleaseTest, SavingTheMappingReleasesWaitingItemsAndNoOthers) {
    enqueue("bug");
    forgetEvents();
    for (const QueueItemStatus from : allQueueItemStatuses) {
        BugQueueItem expected = item("bug");
        expected.status = from;
        expected.errorMessage = "No mapping.";
        store(expected);
        run(manager_.releaseWaitingItems("com.acme.shop"));
        if (from == waitingForMapping) {
            expected.status = queued;
            expected.errorMessage.reset();
        }
        EXPECT_EQ(item("bug"), expected) << rawValue(from);
    }
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueItemReleaseTest, AnUnknownItemIsReturnedAsNothing) {
    const Uuid unknown = randomUuid();
    EXPECT_EQ(run(manager_.remove(unknown)), std::nullopt);
    EXPECT_EQ(run(manager_.removeImplementedReviewItem("unknown")), std::nullopt);
    EXPECT_EQ(run(manager_.removeImplementedReviewItem("")), std::nullopt);
    EXPECT_EQ(run(manager_.retry(unknown, QueueItemGoalFlow::fixBug)), std::nullopt);
    EXPECT_EQ(run(manager_.move(unknown, manual)), std::nullopt);
}

}  // namespace
}  // namespace quernlight
