#include "quernlight/dispatch/queue_manager.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

using QueueManagerTest = QueueManagerFixture;

// Enqueueing a new bug

TEST_F(QueueManagerTest, ANewBugIsStoredAtTheEndOfItsQueueWithWhatTheBackendSaid) {
    mapApp();
    enqueue("first");
    const Instant before = currentInstant();
    const BugQueueItem added = enqueue("second");
    EXPECT_GE(added.addedAt, before);
    EXPECT_NE(added.id, id("first"));
    EXPECT_EQ(added,
              (BugQueueItem{.id = added.id,
                            .bugID = "second",
                            .appID = bug("").appID,
                            .appName = "Shop",
                            .bundleID = "com.acme.shop",
                            .title = "Crash on launch",
                            .bugURL = *Url::parse("https://bugs.acme.example/base/v1/bugs/view/second"),
                            .queuePosition = 1,
                            .queueMode = automatic,
                            .status = queued,
                            .goalFlow = QueueItemGoalFlow::fixBug,
                            .priority = 0,
                            .createdAt = bug("").createdAt,
                            .addedAt = added.addedAt}));
}

TEST_F(QueueManagerTest, EnqueueingWritesTheItemAndThenItsEvent) {
    recordWrites();
    enqueue("a");
    EXPECT_THAT(writes(), ElementsAre("insert a 0 waitingForMapping", "event enqueued"));
}

TEST_F(QueueManagerTest, TheBugsPageLiesBeneathTheBackendsUrl) {
    const std::vector<std::pair<std::string, std::string>> pages{
        {"https://bugs.acme.example", "https://bugs.acme.example/v1/bugs/view/a"},
        {"https://bugs.acme.example/", "https://bugs.acme.example/v1/bugs/view/a"},
        {"http://127.0.0.1:8080/deep/base/", "http://127.0.0.1:8080/deep/base/v1/bugs/view/a"},
    };
    for (const auto& [base, page] : pages) {
        QueueManager manager(queue_, mappings_, *Url::parse(base));
        EXPECT_EQ(run(manager.enqueue(bug("a"), automatic)).bugURL.text(), page);
        run(manager_.remove(id("a")));
    }
}

TEST_F(QueueManagerTest, AnEventHasAnIdOfItsOwnAndTheTimeOfItsWriting) {
    const Instant before = currentInstant();
    enqueueAll({"a", "b"});
    const QueueEvent first = run(queue_.events(id("a"))).at(0);
    const QueueEvent second = run(queue_.events(id("b"))).at(0);
    EXPECT_NE(first.id, second.id);
    EXPECT_EQ(first.queueItemID, id("a"));
    EXPECT_GE(first.createdAt, before);
    EXPECT_LE(first.createdAt, currentInstant());
}

TEST_F(QueueManagerTest, TheItemThatEnqueueReturnsEqualsTheRowAsStored) {
    QLBugSummaryDTO odd = bug("  ABCDEF1234-5678  ");
    odd.title = std::string("cut\0here", 8);
    odd.createdAt = *parseInstant("1969-12-31T23:59:59.001Z");
    const BugQueueItem added = run(manager_.enqueue(odd, automatic));
    EXPECT_EQ(added, item("abcdef12"));
    const BugQueueItem moved = enqueue("abcdef12", manual);
    EXPECT_EQ(moved, item("abcdef12"));
    run(manager_.cancel(added.id));
    const BugQueueItem retried = enqueue("abcdef12");
    EXPECT_EQ(retried, item("abcdef12"));
}

TEST_F(QueueManagerTest, ABugHasOneIdInItsRowAndItsPageWhicheverFormOfItIsEnqueued) {
    const std::vector<std::tuple<std::string, std::string, std::string>> rows{
        {" 3F2A9C10-0000-4000-8000-000000000000\n", "3f2a9c10", "3f2a9c10"},
        {"ABCDEFG HIJ", "abcdefg", "abcdefg"},    // its short form would end in a blank
        {std::string("ab \0cd", 6), "ab", "ab"},  // a text in the database ends at a null
        {"a/../b", "a/../b", "a%2F..%2Fb"},
    };
    for (const auto& [given, bugID, inPage] : rows) {
        const BugQueueItem added = enqueue(given);
        EXPECT_EQ(added, item(bugID));
        EXPECT_EQ(added.bugURL.text(), "https://bugs.acme.example/base/v1/bugs/view/" + inPage);
        EXPECT_EQ(enqueue(bugID), added);
        EXPECT_EQ(enqueue(given), added);
    }
}

TEST_F(QueueManagerTest, ABlankBugIdIsRefused) {
    try {
        enqueue(" \n\t");
        FAIL() << "a blank bug id was enqueued";
    } catch (const BackendError& error) {
        EXPECT_EQ(error, BackendError::invalidURL());
    }
    EXPECT_THAT(order(), IsEmpty());
}

TEST_F(QueueManagerTest, ABugThatAnotherConnectionHasJustAddedIsReturnedAsThatOneStoredIt) {
    execute(
        "CREATE TRIGGER rival BEFORE INSERT ON queue_items BEGIN"
        " INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position,"
        "   queue_mode, status, goal_flow, priority, created_at, added_at)"
        " VALUES ('0B000000-0000-0000-0000-00000000000B', NEW.bug_id, NEW.app_id, NEW.app_name,"
        "   NEW.bundle_id, 'Theirs', NEW.bug_url, 7, 'manual', 'running', 'fix_bug', 0, NEW.created_at,"
        "   NEW.added_at); END");
    const BugQueueItem added = enqueue("a");
    EXPECT_EQ(added.title, "Theirs");
    EXPECT_EQ(added, item("a"));
    EXPECT_THAT(events("a"), IsEmpty());
}

/// The flow that a new bug's state calls for.
struct FlowOfState {
    std::string name;
    std::string status;
    std::optional<Url> prURL;
    QueueItemGoalFlow flow;
};

void PrintTo(const FlowOfState& row, std::ostream* out) {
    *out << row.name;
}

class GoalFlowInferenceTest : public QueueManagerFixture, public testing::WithParamInterface<FlowOfState> {};

TEST_P(GoalFlowInferenceTest, DependsOnTheStatusAndThePullRequest) {
    QLBugSummaryDTO summary = bug("a");
    summary.status = GetParam().status;
    summary.prURL = GetParam().prURL;
    EXPECT_EQ(run(manager_.enqueue(summary, automatic)).goalFlow, GetParam().flow);
}

const auto pullRequest = Url::parse("https://git.example/acme/shop/pull/7");
constexpr auto fixBug = QueueItemGoalFlow::fixBug;
constexpr auto addressReview = QueueItemGoalFlow::addressReview;

INSTANTIATE_TEST_SUITE_P(
    States, GoalFlowInferenceTest,
    testing::Values(FlowOfState{"InReview", "in_review", {}, addressReview},
                    FlowOfState{"InReviewInWords", "in review", {}, addressReview},
                    FlowOfState{"InReviewInCapitals", "IN_REVIEW", {}, addressReview},
                    FlowOfState{"InReviewInWordsCapitalised", "In Review", {}, addressReview},
                    FlowOfState{"OpenWithAPullRequest", "open", pullRequest, addressReview},
                    FlowOfState{"InReviewWithAPullRequest", "in_review", pullRequest, addressReview},
                    FlowOfState{"Open", "open", {}, fixBug},
                    FlowOfState{"Investigate", "investigate", {}, fixBug},
                    FlowOfState{"NoStatus", "", {}, fixBug},
                    FlowOfState{"InReviewWithAHyphen", "in-review", {}, fixBug},
                    FlowOfState{"InReviewWithBlanksAround", " in_review ", {}, fixBug}),
    [](const auto& row) { return row.param.name; });

// Enqueueing a bug that is known

TEST_F(QueueManagerTest, ABugThatIsMovedByEnqueueingTakesTheFlowThatItsNewStateCallsFor) {
    enqueue("a");
    QLBugSummaryDTO withPullRequest = bug("a");
    withPullRequest.prURL = pullRequest;
    EXPECT_EQ(run(manager_.enqueue(withPullRequest, manual)).goalFlow, addressReview);
    EXPECT_EQ(enqueue("a", automatic).goalFlow, fixBug);
}

TEST_F(QueueManagerTest, EnqueueingAKnownBugTakesNothingOfTheNewSummaryButItsFlow) {
    BugQueueItem expected = enqueue("a");
    QLBugSummaryDTO renamed = bug("a");
    renamed.title = renamed.appName = renamed.bundleID = "com.acme.renamed";
    renamed.createdAt = longAgo;
    renamed.status = "in_review";
    QueueManager elsewhere(queue_, mappings_, *Url::parse("https://bugs.elsewhere.example"));
    run(elsewhere.enqueue(renamed, automatic));
    EXPECT_EQ(item("a"), expected);
    expected.queueMode = manual;
    expected.status = queued;
    expected.goalFlow = addressReview;
    run(elsewhere.enqueue(renamed, manual));
    EXPECT_EQ(item("a"), expected);
    run(manager_.cancel(expected.id));
    run(elsewhere.enqueue(renamed, manual));
    EXPECT_EQ(item("a"), expected);
}

// What each operation tells and changes

/// An operation on "b", which an earlier run left in `from` between "a" and "c", with "m" and "n" in the
/// manual queue; what it tells, what it changes of the item, and the queues after it.
struct Operation {
    std::string name;
    QueueItemStatus from;
    std::function<Task<void>(QueueManager&, Uuid)> run;
    ItemEvent event;
    std::function<void(BugQueueItem&)> change;
    std::string queues;
};

void PrintTo(const Operation& row, std::ostream* out) {
    *out << row.name;
}

class QueueOperationTest : public QueueManagerFixture, public testing::WithParamInterface<Operation> {
  protected:
    void SetUp() override {
        mapApp();
        enqueue("a");
        leaveBehind("b", queued);
        enqueue("c");
        enqueueAll({"m", "n"}, manual);
        setStatus("b", GetParam().from);
        run(queue_.compactActiveQueuePositions(automatic));
        forgetEvents();
    }

    std::string queues() {
        std::string bugIDs;
        for (const QueueMode mode : {automatic, manual}) {
            for (const std::string& bugID : order(mode)) {
                bugIDs += bugID;
            }
            bugIDs += mode == automatic ? " | " : "";
        }
        return bugIDs;
    }
};

TEST_P(QueueOperationTest, TellsAndChangesTheItemAsTheTableSays) {
    BugQueueItem expected = item("b");
    GetParam().change(expected);
    run(GetParam().run(manager_, expected.id));
    EXPECT_EQ(itemWithoutClock("b"), expected);
    EXPECT_THAT(events("b"), ElementsAre(GetParam().event));
    EXPECT_EQ(eventCount(), 1U);
    EXPECT_EQ(queues(), GetParam().queues);
}

/// The bug waits for a run with nothing left of an earlier one but the agent's conversation.
void waitAt(BugQueueItem& item, QueueMode mode, std::int64_t position, QueueItemGoalFlow flow = fixBug) {
    item.queueMode = mode;
    item.queuePosition = position;
    item.goalFlow = flow;
    item.status = queued;
    item.activeSessionID.reset();
    item.errorMessage.reset();
    item.startedAt.reset();
    item.completedAt.reset();
    item.cancelledAt.reset();
}

Task<void> enqueueAgain(QueueManager& manager, QueueMode mode, std::string status = "open") {
    QLBugSummaryDTO summary;
    summary.id = "b";
    summary.status = std::move(status);
    return withoutResult(manager.enqueue(std::move(summary), mode));
}

using M = QueueManager&;
using Item = BugQueueItem&;
const ItemEvent retried = event("retried", "Queued for retry.");
const ItemEvent movedToAuto = event("queueModeChanged", "Moved to auto queue.");
const ItemEvent movedToManual = event("queueModeChanged", "Moved to manual queue.");

INSTANTIATE_TEST_SUITE_P(
    Operations, QueueOperationTest,
    testing::Values(
        Operation{"EnqueueOneThatHasLeft", failed, [](M m, Uuid) { return enqueueAgain(m, automatic); },
                  retried, [](Item item) { waitAt(item, automatic, 2); }, "acb | mn"},
        Operation{"EnqueueOneThatHasLeftToTheOtherQueue", completed,
                  [](M m, Uuid) { return enqueueAgain(m, manual, "in_review"); }, retried,
                  [](Item item) { waitAt(item, manual, 2, addressReview); }, "ac | mnb"},
        Operation{"EnqueueToTheOtherQueue", queued, [](M m, Uuid) { return enqueueAgain(m, manual); },
                  movedToManual, [](Item item) { waitAt(item, manual, 2); }, "ac | mnb"},
        Operation{"RetryInItsPlace", running,
                  [](M m, Uuid id) { return withoutResult(m.retry(id, addressReview)); }, retried,
                  [](Item item) { waitAt(item, automatic, 1, addressReview); }, "abc | mn"},
        Operation{"RetryOneThatHasLeft", failed,
                  [](M m, Uuid id) { return withoutResult(m.retry(id, fixBug)); }, retried,
                  [](Item item) { waitAt(item, automatic, 2); }, "acb | mn"},
        Operation{"RetryInTheOtherQueue", running,
                  [](M m, Uuid id) { return withoutResult(m.retry(id, fixBug, manual)); }, retried,
                  [](Item item) { waitAt(item, manual, 2); }, "ac | mnb"},
        Operation{"MoveOneThatHasLeft", failed,
                  [](M m, Uuid id) { return withoutResult(m.move(id, manual)); }, retried,
                  [](Item item) { waitAt(item, manual, 2); }, "ac | mnb"},
        Operation{"MoveOneThatHasLeftWithAFlow", failed,
                  [](M m, Uuid id) { return withoutResult(m.move(id, automatic, addressReview)); }, retried,
                  [](Item item) { waitAt(item, automatic, 2, addressReview); }, "acb | mn"},
        Operation{"MoveToTheOtherQueue", queued,
                  [](M m, Uuid id) { return withoutResult(m.move(id, manual, addressReview)); },
                  movedToManual, [](Item item) { waitAt(item, manual, 2, addressReview); }, "ac | mnb"},
        Operation{"MoveInItsQueueWithAFlow", queued,
                  [](M m, Uuid id) { return withoutResult(m.move(id, automatic, addressReview)); },
                  movedToAuto, [](Item item) { waitAt(item, automatic, 1, addressReview); }, "abc | mn"},
        Operation{"Reorder", queued, [](M m, Uuid id) { return m.reorder(id, std::nullopt); },
                  event("reordered", "Moved queue item to position 2."),
                  [](Item item) { item.queuePosition = 2; }, "acb | mn"},
        Operation{"QueueNext", queued, [](M m, Uuid id) { return m.queueNext(id); },
                  event("queuedNext", "Moved queue item next."), [](Item item) { item.queuePosition = 0; },
                  "bac | mn"},
        Operation{"Cancel", running, [](M m, Uuid id) { return m.cancel(id); },
                  event("cancelled", "Cancelled by user."),
                  [](Item item) {
                      item.status = cancelled;
                      item.activeSessionID.reset();
                      item.errorMessage.reset();
                      item.cancelledAt = justNow;
                  },
                  "ac | mn"}),
    [](const auto& row) { return row.param.name; });

TEST_F(QueueManagerTest, ANewBugTellsWhereItWaitsAndForWhat) {
    enqueue("unmapped");
    enqueue("manual", manual);
    mapApp();
    enqueue("mapped");
    EXPECT_THAT(events("unmapped"),
                ElementsAre(event("enqueued", "Added to queue while waiting for repository mapping.")));
    EXPECT_THAT(events("manual"), ElementsAre(event("enqueued", "Added to manual queue.")));
    EXPECT_THAT(events("mapped"), ElementsAre(event("enqueued", "Added to queue.")));
    EXPECT_EQ(status("unmapped"), waitingForMapping);
    EXPECT_EQ(status("manual"), queued);
    EXPECT_EQ(status("mapped"), queued);
}

TEST_F(QueueManagerTest, AnItemWaitsForTheMappingThatTheQueueItComesToCallsFor) {
    const Uuid itemID = enqueue("a", manual).id;
    run(manager_.retry(itemID, fixBug));
    EXPECT_EQ(status("a"), queued);
    run(manager_.retry(itemID, fixBug, automatic));
    EXPECT_EQ(status("a"), waitingForMapping);
    run(manager_.move(itemID, manual));
    EXPECT_EQ(status("a"), queued);
    run(manager_.move(itemID, automatic));
    EXPECT_EQ(status("a"), waitingForMapping);
}

TEST_F(QueueManagerTest, AnItemIsReturnedAsItIsStored) {
    leaveBehind("a", failed);
    const Uuid itemID = id("a");
    const auto again = run(manager_.retry(itemID, addressReview));
    EXPECT_EQ(again, item("a"));
    setStatus("a", failed);
    const auto moved = run(manager_.move(itemID, manual));
    EXPECT_EQ(moved, item("a"));
    EXPECT_EQ(run(manager_.move(itemID, manual)), moved);
    setStatus("a", running);
    const BugQueueItem underWay = item("a");
    EXPECT_EQ(run(manager_.move(itemID, automatic, fixBug)), underWay);
    EXPECT_EQ(enqueue("a", automatic), underWay);
    setStatus("a", completed);
    const BugQueueItem left = item("a");
    EXPECT_EQ(run(manager_.remove(itemID)), left);
}

// Failures

TEST_F(QueueManagerTest, AFailingStepIsThrownKeepsWhatWasWrittenAndDoesNotHoldUpTheNextOperation) {
    enqueueAll({"a", "b"});
    execute("CREATE TRIGGER deaf BEFORE INSERT ON queue_events BEGIN SELECT RAISE(ABORT, 'deaf'); END");
    try {
        run(manager_.cancel(id("a")));
        FAIL() << "the failure was swallowed";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::stepFailed, "deaf"));
    }
    EXPECT_EQ(status("a"), cancelled);
    execute("DROP TRIGGER deaf");
    run(manager_.cancel(id("b")));
    EXPECT_EQ(status("b"), cancelled);
}

}  // namespace
}  // namespace quernlight
