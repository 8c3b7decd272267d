#include "quernlight/dispatch/queue_manager.hpp"

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
