#include "quernlight/dispatch/queue_manager.hpp"

#include <future>
#include <string>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

const Uuid agentConversation = *parseUuid("C0DE0000-0000-0000-0000-000000000001");

ItemEvent event(const std::string& kind, const std::string& message) {
    return {.kind = kind, .message = message};
}

class QueueManagerTest : public QueueManagerFixture {
  protected:
    /// Stores a bug that a session has left in `status`, bound to the agent's conversation.
    void leaveBehind(const std::string& bugID, QueueItemStatus status) {
        BugQueueItem item = enqueue(bugID);
        item.status = status;
        item.activeSessionID = randomUuid();
        item.codexSessionID = agentConversation;
        item.errorMessage = "It broke.";
        item.startedAt = item.completedAt = item.cancelledAt = currentInstant();
        store(item);
        forgetEvents();
    }

    /// Whether the bug waits for an agent with nothing left of an earlier run but the agent's conversation.
    void expectReadyForANewRun(const std::string& bugID) {
        const BugQueueItem found = item(bugID);
        EXPECT_FALSE(isTerminal(found.status));
        EXPECT_EQ(found.activeSessionID, std::nullopt);
        EXPECT_EQ(found.errorMessage, std::nullopt);
        EXPECT_EQ(found.startedAt, std::nullopt);
        EXPECT_EQ(found.completedAt, std::nullopt);
        EXPECT_EQ(found.cancelledAt, std::nullopt);
        EXPECT_EQ(found.codexSessionID, agentConversation);
    }

    QueueItemGoalFlow flowOf(QLBugSummaryDTO summary) {
        return run(manager_.enqueue(std::move(summary), manual)).goalFlow;
    }
};

TEST_F(QueueManagerTest, BootstrapAndScheduleIfNeededLeaveTheDatabaseAlone) {
    execute("DROP TABLE queue_items");
    EXPECT_NO_THROW(run(manager_.bootstrap()));
    EXPECT_NO_THROW(run(manager_.scheduleIfNeeded()));
}

// Enqueueing a new bug

TEST_F(QueueManagerTest, ANewBugIsStoredAtTheEndOfItsQueueWithWhatTheBackendSaid) {
    mapApp();
    enqueue("first");
    const Instant before = currentInstant();
    const BugQueueItem added = enqueue("second");
    EXPECT_EQ(added.bugID, "second");
    EXPECT_EQ(added.appID, bug("").appID);
    EXPECT_EQ(added.appName, "Shop");
    EXPECT_EQ(added.bundleID, "com.acme.shop");
    EXPECT_EQ(added.title, "Crash on launch");
    EXPECT_EQ(added.createdAt, bug("").createdAt);
    EXPECT_EQ(added.queuePosition, 1);
    EXPECT_EQ(added.queueMode, automatic);
    EXPECT_EQ(added.status, queued);
    EXPECT_EQ(added.goalFlow, QueueItemGoalFlow::fixBug);
    EXPECT_EQ(added.priority, 0);
    EXPECT_GE(added.addedAt, before);
    EXPECT_EQ(added.startedAt, std::nullopt);
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

TEST_F(QueueManagerTest, ABugIsKnownByItsShortIdFromTheMomentItIsEnqueued) {
    const BugQueueItem added = enqueue(" 3F2A9C10-0000-4000-8000-000000000000\n");
    EXPECT_EQ(added.bugID, "3f2a9c10");
    EXPECT_EQ(added.bugURL.text(), "https://bugs.acme.example/base/v1/bugs/view/3f2a9c10");
    EXPECT_EQ(enqueue("3F2A9C10"), added);
}

TEST_F(QueueManagerTest, ASlashInABugIdStaysInsideItsPartOfTheUrl) {
    EXPECT_EQ(enqueue("a/../b").bugURL.text(), "https://bugs.acme.example/base/v1/bugs/view/a%2F..%2Fb");
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

TEST_F(QueueManagerTest, ABugOfAMappedAppIsQueued) {
    mapApp();
    EXPECT_EQ(enqueue("a").status, queued);
    EXPECT_THAT(events("a"), ElementsAre(event("enqueued", "Added to queue.")));
}

TEST_F(QueueManagerTest, ABugOfAnAppWithoutMappingWaitsForIt) {
    EXPECT_EQ(enqueue("a").status, waitingForMapping);
    EXPECT_THAT(events("a"),
                ElementsAre(event("enqueued", "Added to queue while waiting for repository mapping.")));
}

TEST_F(QueueManagerTest, TheManualQueueNeverWaitsForAMapping) {
    EXPECT_EQ(enqueue("a", manual).status, queued);
    EXPECT_THAT(events("a"), ElementsAre(event("enqueued", "Added to manual queue.")));
}

TEST_F(QueueManagerTest, ABugInReviewOrWithAPullRequestIsEnqueuedToAddressTheReview) {
    QLBugSummaryDTO inReview = bug("a");
    inReview.status = "In_Review";
    EXPECT_EQ(flowOf(inReview), QueueItemGoalFlow::addressReview);
    QLBugSummaryDTO inReviewInWords = bug("b");
    inReviewInWords.status = "In Review";
    EXPECT_EQ(flowOf(inReviewInWords), QueueItemGoalFlow::addressReview);
    QLBugSummaryDTO withPullRequest = bug("c");
    withPullRequest.prURL = Url::parse("https://git.example/acme/shop/pull/7");
    EXPECT_EQ(flowOf(withPullRequest), QueueItemGoalFlow::addressReview);
    QLBugSummaryDTO other = bug("d");
    other.status = " in_review ";
    EXPECT_EQ(flowOf(other), QueueItemGoalFlow::fixBug);
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

// Enqueueing a bug that is known

TEST_F(QueueManagerTest, ABugThatIsActiveInTheSameQueueIsReturnedAsItIs) {
    const BugQueueItem added = enqueue("a");
    setStatus("a", running);
    forgetEvents();
    EXPECT_EQ(enqueue("a"), item("a"));
    EXPECT_EQ(enqueue("a").id, added.id);
    EXPECT_THAT(events("a"), IsEmpty());
}

TEST_F(QueueManagerTest, ABugThatHasLeftItsQueueIsRetriedNotInsertedAgain) {
    for (const QueueItemStatus left : {completed, failed, cancelled, awaitingUserInput}) {
        const std::string bugID(rawValue(left).substr(0, 4));
        leaveBehind(bugID, left);
        const Uuid known = id(bugID);
        EXPECT_EQ(enqueue(bugID).id, known);
        expectReadyForANewRun(bugID);
        EXPECT_THAT(events(bugID), ElementsAre(event("retried", "Queued for retry.")));
    }
}

TEST_F(QueueManagerTest, ARetriedBugTakesTheFlowThatItsNewStateCallsFor) {
    leaveBehind("a", completed);
    QLBugSummaryDTO inReview = bug("a");
    inReview.status = "in_review";
    const BugQueueItem again = run(manager_.enqueue(inReview, manual));
    EXPECT_EQ(again.goalFlow, QueueItemGoalFlow::addressReview);
    EXPECT_EQ(again.queueMode, manual);
}

TEST_F(QueueManagerTest, ABugThatWaitsInTheOtherQueueIsMoved) {
    enqueueAll({"a", "b"});
    forgetEvents();
    EXPECT_EQ(enqueue("a", manual).queueMode, manual);
    EXPECT_THAT(order(automatic), ElementsAre("b"));
    EXPECT_THAT(order(manual), ElementsAre("a"));
    EXPECT_THAT(events("a"), ElementsAre(event("queueModeChanged", "Moved to manual queue.")));
}

// Order

TEST_F(QueueManagerTest, AnItemIsPutInFrontOfAnother) {
    enqueueAll({"a", "b", "c", "d"});
    forgetEvents();
    run(manager_.reorder(id("d"), id("b")));
    EXPECT_THAT(order(), ElementsAre("a", "d", "b", "c"));
    EXPECT_THAT(events("d"), ElementsAre(event("reordered", "Moved queue item to position 1.")));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(QueueManagerTest, AnItemWithoutOneToLandInFrontOfGoesToTheEnd) {
    enqueueAll({"a", "b", "c"});
    forgetEvents();
    run(manager_.reorder(id("a"), std::nullopt));
    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
    EXPECT_THAT(events("a"), ElementsAre(event("reordered", "Moved queue item to position 2.")));
}

TEST_F(QueueManagerTest, AnItemToLandInFrontOfThatIsNotInTheSameActiveQueueMeansTheEnd) {
    enqueueAll({"a", "b", "c"});
    enqueue("other", manual);
    run(manager_.reorder(id("a"), id("other")));
    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
    run(manager_.reorder(id("b"), id("b")));
    EXPECT_THAT(order(), ElementsAre("c", "a", "b"));
    setStatus("b", failed);
    run(manager_.reorder(id("c"), id("b")));
    EXPECT_THAT(order(), ElementsAre("a", "c"));
}

TEST_F(QueueManagerTest, NothingGetsInFrontOfTheSessionsUnderWay) {
    enqueueAll({"a", "b", "c", "d", "e"});
    setStatus("a", running);
    setStatus("b", codexCompleted);
    run(manager_.queueNext(id("e")));
    EXPECT_THAT(order(), ElementsAre("a", "b", "e", "c", "d"));
    run(manager_.reorder(id("d"), id("a")));
    EXPECT_THAT(order(), ElementsAre("a", "b", "d", "e", "c"));
    EXPECT_EQ(item("d").queuePosition, 2);
}

TEST_F(QueueManagerTest, ASessionUnderWayBehindAWaitingItemDoesNotLockTheHead) {
    enqueueAll({"a", "b", "c"});
    setStatus("b", running);
    run(manager_.queueNext(id("c")));
    EXPECT_THAT(order(), ElementsAre("c", "a", "b"));
}

TEST_F(QueueManagerTest, QueueNextTellsSoInTheHistory) {
    enqueueAll({"a", "b"});
    forgetEvents();
    run(manager_.queueNext(id("b")));
    EXPECT_THAT(events("b"), ElementsAre(event("queuedNext", "Moved queue item next.")));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(QueueManagerTest, ReorderingClosesGaps) {
    enqueueAll({"a", "b", "c"});
    BugQueueItem far = item("c");
    far.queuePosition = 9;
    store(far);
    run(manager_.reorder(id("a"), id("c")));
    EXPECT_THAT(order(), ElementsAre("b", "a", "c"));
}

TEST_F(QueueManagerTest, ARunningItemIsNotReordered) {
    enqueueAll({"a", "b"});
    setStatus("b", running);
    forgetEvents();
    run(manager_.reorder(id("b"), id("a")));
    EXPECT_THAT(order(), ElementsAre("a", "b"));
    EXPECT_EQ(eventCount(), 0U);
}

// Leaving the queue

TEST_F(QueueManagerTest, CancellingClosesTheGapAndClearsTheRun) {
    enqueueAll({"a", "b", "c"});
    BugQueueItem started = item("a");
    started.activeSessionID = randomUuid();
    started.errorMessage = "It broke.";
    store(started);
    forgetEvents();
    run(manager_.cancel(id("a")));
    EXPECT_THAT(order(), ElementsAre("b", "c"));
    EXPECT_EQ(status("a"), cancelled);
    EXPECT_TRUE(item("a").cancelledAt);
    EXPECT_EQ(item("a").activeSessionID, std::nullopt);
    EXPECT_EQ(item("a").errorMessage, std::nullopt);
    EXPECT_THAT(events("a"), ElementsAre(event("cancelled", "Cancelled by user.")));
}

TEST_F(QueueManagerTest, RemovingDeletesTheRowWithItsHistoryAndClosesTheGap) {
    enqueueAll({"a", "b", "c"});
    const BugQueueItem before = item("b");
    EXPECT_EQ(run(manager_.remove(before.id)), before);
    EXPECT_EQ(find("b"), std::nullopt);
    EXPECT_THAT(order(), ElementsAre("a", "c"));
    EXPECT_EQ(eventCount(), 2U);
}

TEST_F(QueueManagerTest, AnItemWhoseAgentIsLiveIsNotRemoved) {
    enqueue("a");
    for (const QueueItemStatus live : {startingCodex, running}) {
        setStatus("a", live);
        EXPECT_EQ(run(manager_.remove(id("a"))), std::nullopt);
        EXPECT_EQ(status("a"), live);
    }
    setStatus("a", codexCompleted);
    EXPECT_TRUE(run(manager_.remove(id("a"))));
    EXPECT_EQ(find("a"), std::nullopt);
}

TEST_F(QueueManagerTest, AMergedBugIsRemovedByAnyFormOfItsIdWhateverItsFlow) {
    enqueueAll({"abcdef12", "b"});
    const BugQueueItem before = item("abcdef12");
    EXPECT_EQ(run(manager_.removeImplementedReviewItem(" ABCDEF12-3456 ")), before);
    EXPECT_EQ(find("abcdef12"), std::nullopt);
    EXPECT_THAT(order(), ElementsAre("b"));
    EXPECT_EQ(run(manager_.removeImplementedReviewItem("unknown")), std::nullopt);
}

// Coming back

TEST_F(QueueManagerTest, RetryingAnActiveItemInItsQueueKeepsItsPosition) {
    enqueueAll({"a", "b", "c"});
    leaveBehind("b", running);
    const auto again = run(manager_.retry(id("b"), QueueItemGoalFlow::addressReview));
    EXPECT_EQ(again, item("b"));
    EXPECT_EQ(again->goalFlow, QueueItemGoalFlow::addressReview);
    expectReadyForANewRun("b");
    EXPECT_THAT(order(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(events("b"), ElementsAre(event("retried", "Queued for retry.")));
}

TEST_F(QueueManagerTest, RetryingAnItemThatLeftPutsItAtTheEnd) {
    enqueueAll({"a", "b", "c"});
    run(manager_.markFailed(id("a"), "It broke."));
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug))->queuePosition, 2);
    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
}

TEST_F(QueueManagerTest, RetryingIntoTheOtherQueueClosesTheGapsInBoth) {
    enqueueAll({"a", "b"});
    enqueueAll({"m", "n"}, manual);
    BugQueueItem far = item("n");
    far.queuePosition = 5;
    store(far);
    const auto again = run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, manual));
    EXPECT_EQ(again, item("a"));
    EXPECT_EQ(again->status, queued);
    EXPECT_THAT(order(automatic), ElementsAre("b"));
    EXPECT_THAT(order(manual), ElementsAre("m", "n", "a"));
}

TEST_F(QueueManagerTest, MovingAFailedItemRetriesItInThatQueue) {
    leaveBehind("a", failed);
    const auto moved = run(manager_.move(id("a"), manual));
    EXPECT_EQ(moved, item("a"));
    EXPECT_EQ(moved->queueMode, manual);
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::fixBug);
    expectReadyForANewRun("a");
    EXPECT_THAT(events("a"), ElementsAre(event("retried", "Queued for retry.")));
}

TEST_F(QueueManagerTest, MovingPutsAnItemAtTheEndOfTheOtherQueue) {
    enqueueAll({"a", "b"});
    enqueue("m", manual);
    forgetEvents();
    const auto moved = run(manager_.move(id("m"), automatic, QueueItemGoalFlow::addressReview));
    EXPECT_EQ(moved, item("m"));
    EXPECT_EQ(moved->status, waitingForMapping);
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::addressReview);
    EXPECT_THAT(order(automatic), ElementsAre("a", "b", "m"));
    EXPECT_THAT(events("m"), ElementsAre(event("queueModeChanged", "Moved to auto queue.")));
}

TEST_F(QueueManagerTest, ChangingOnlyTheFlowIsToldAsAMove) {
    enqueueAll({"a", "b"});
    forgetEvents();
    const auto moved = run(manager_.move(id("a"), automatic, QueueItemGoalFlow::addressReview));
    EXPECT_EQ(moved, item("a"));
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::addressReview);
    EXPECT_THAT(order(), ElementsAre("a", "b"));
    EXPECT_THAT(events("a"), ElementsAre(event("queueModeChanged", "Moved to auto queue.")));
}

TEST_F(QueueManagerTest, AMoveThatChangesNothingReturnsTheItemAndWritesNothing) {
    const BugQueueItem before = enqueue("a");
    forgetEvents();
    EXPECT_EQ(run(manager_.move(before.id, automatic)), before);
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueManagerTest, ALockedItemIsNotMovedButReturned) {
    enqueue("a");
    setStatus("a", running);
    forgetEvents();
    EXPECT_EQ(run(manager_.move(id("a"), manual, QueueItemGoalFlow::addressReview)), item("a"));
    EXPECT_EQ(item("a").queueMode, automatic);
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueManagerTest, ReleasingQueuesTheItemsThatWaitForTheAppOnly) {
    enqueueAll({"a", "b"});
    QLBugSummaryDTO foreign = bug("c");
    foreign.bundleID = "com.acme.other";
    run(manager_.enqueue(foreign, automatic));
    setStatus("b", failed);
    run(manager_.releaseWaitingItems("com.acme.shop"));
    EXPECT_EQ(status("a"), queued);
    EXPECT_EQ(status("b"), failed);
    EXPECT_EQ(status("c"), waitingForMapping);
}

// Failures

TEST_F(QueueManagerTest, AnUnknownItemIsNoError) {
    enqueue("a");
    forgetEvents();
    const Uuid unknown = randomUuid();
    run(manager_.reorder(unknown, id("a")));
    run(manager_.queueNext(unknown));
    run(manager_.cancel(unknown));
    EXPECT_EQ(run(manager_.remove(unknown)), std::nullopt);
    EXPECT_EQ(run(manager_.retry(unknown, QueueItemGoalFlow::fixBug)), std::nullopt);
    EXPECT_EQ(run(manager_.move(unknown, manual)), std::nullopt);
    EXPECT_EQ(eventCount(), 0U);
}

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

// Operations at the same time

class ConcurrentQueueManagerTest : public QueueManagerTest {
  protected:
    ~ConcurrentQueueManagerTest() override { threads_.join(); }

    /// Starts the operation on one of several threads.
    template <class Result>
    auto start(Task<Result> operation) {
        return boost::asio::co_spawn(threads_, std::move(operation), boost::asio::use_future);
    }

    boost::asio::thread_pool threads_{4};
};

TEST_F(ConcurrentQueueManagerTest, BugsEnqueuedAtOnceAreNumberedWithoutGapsOrDoubles) {
    constexpr std::size_t count = 60;
    std::vector<std::future<BugQueueItem>> added;
    for (std::size_t index = 0; index < count; ++index) {
        added.push_back(start(manager_.enqueue(bug("bug" + std::to_string(index)), automatic)));
    }
    for (auto& item : added) {
        item.get();
    }
    EXPECT_EQ(order().size(), count);
}

TEST_F(ConcurrentQueueManagerTest, OneBugEnqueuedManyTimesAtOnceIsOneItemWithOneEvent) {
    std::vector<std::future<BugQueueItem>> added;
    for (int index = 0; index < 20; ++index) {
        added.push_back(start(manager_.enqueue(bug("same"), automatic)));
    }
    for (auto& item : added) {
        EXPECT_EQ(item.get().bugID, "same");
    }
    EXPECT_THAT(order(), ElementsAre("same"));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(ConcurrentQueueManagerTest, NoItemWaitsForEverWhenItsMappingIsSavedWhileItIsEnqueued) {
    std::vector<std::future<BugQueueItem>> added;
    for (int index = 0; index < 30; ++index) {
        added.push_back(start(manager_.enqueue(bug("bug" + std::to_string(index)), automatic)));
    }
    mapApp();
    start(manager_.releaseWaitingItems("com.acme.shop")).get();
    for (auto& item : added) {
        item.get();
    }
    for (const std::string& bugID : order()) {
        EXPECT_EQ(status(bugID), queued) << bugID;
    }
}

TEST_F(ConcurrentQueueManagerTest, OperationsOfOneThreadTakeEffectInTheOrderInWhichTheyWereStarted) {
    std::vector<std::future<BugQueueItem>> added;
    for (const auto* bugID : {"a", "b", "c", "d", "e"}) {
        added.push_back(
            boost::asio::co_spawn(io_, manager_.enqueue(bug(bugID), automatic), boost::asio::use_future));
    }
    io_.restart();
    io_.run_for(test::generousBound);
    EXPECT_THAT(order(), ElementsAre("a", "b", "c", "d", "e"));
}

}  // namespace
}  // namespace quernlight
