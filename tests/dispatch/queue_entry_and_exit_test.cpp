#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using enum QueueItemStatus;

using QueueEntryAndExitTest = QueueManagerFixture;

// Leaving the queue

TEST_F(QueueEntryAndExitTest, CancellingClosesTheGapAndClearsTheRun) {
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

TEST_F(QueueEntryAndExitTest, RemovingDeletesTheRowWithItsHistoryAndClosesTheGap) {
    enqueueAll({"a", "b", "c"});
    const BugQueueItem before = item("b");
    EXPECT_EQ(run(manager_.remove(before.id)), before);
    EXPECT_EQ(find("b"), std::nullopt);
    EXPECT_THAT(order(), ElementsAre("a", "c"));
    EXPECT_EQ(eventCount(), 2U);
}

TEST_F(QueueEntryAndExitTest, AnItemWhoseAgentIsLiveIsNotRemoved) {
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

TEST_F(QueueEntryAndExitTest, CancellingKeepsWhatItDoesNotClear) {
    leaveBehind("a", running);
    BugQueueItem expected = item("a");
    run(manager_.cancel(expected.id));
    expected.status = cancelled;
    expected.activeSessionID.reset();
    expected.errorMessage.reset();
    expected.cancelledAt = item("a").cancelledAt;
    EXPECT_NE(expected.cancelledAt, longAgo);
    EXPECT_EQ(item("a"), expected);
}

TEST_F(QueueEntryAndExitTest, CancellingWritesTheItemThenTheGapsThenTheEvent) {
    enqueueAll({"a", "b", "c"}, manual);
    enqueue("other");
    recordWrites();
    run(manager_.cancel(id("a")));
    EXPECT_THAT(writes(), ElementsAre("update a 0 cancelled", "update b 0 queued", "update c 1 queued",
                                      "event cancelled"));
}

TEST_F(QueueEntryAndExitTest, RemovingDeletesTheItemThenClosesTheGapsAndWritesNoEvent) {
    enqueueAll({"a", "b", "c"}, manual);
    const Uuid first = id("a");
    recordWrites();
    run(manager_.remove(first));
    EXPECT_THAT(writes(), ElementsAre("delete a", "update b 0 queued", "update c 1 queued"));
    run(manager_.removeImplementedReviewItem("b"));
    EXPECT_THAT(writes(), ElementsAre("delete b", "update c 0 queued"));
}

TEST_F(QueueEntryAndExitTest, LeavingTheQueueLeavesTheOtherQueuesGapsAlone) {
    enqueueAll({"a", "b", "c", "d"});
    BugQueueItem far = enqueue("m", manual);
    far.queuePosition = 5;
    store(far);
    run(manager_.cancel(id("a")));
    run(manager_.remove(id("b")));
    run(manager_.removeImplementedReviewItem("c"));
    EXPECT_THAT(order(automatic), ElementsAre("d"));
    EXPECT_EQ(item("m").queuePosition, 5);
}

TEST_F(QueueEntryAndExitTest, AMergedBugIsRemovedByAnyFormOfItsIdWhateverItsFlow) {
    enqueueAll({"abcdef12", "b"});
    const BugQueueItem before = item("abcdef12");
    EXPECT_EQ(run(manager_.removeImplementedReviewItem(" ABCDEF12-3456 ")), before);
    EXPECT_EQ(find("abcdef12"), std::nullopt);
    EXPECT_THAT(order(), ElementsAre("b"));
    EXPECT_EQ(run(manager_.removeImplementedReviewItem("unknown")), std::nullopt);
}

// Coming back

TEST_F(QueueEntryAndExitTest, RetryingAnActiveItemInItsQueueKeepsItsPosition) {
    enqueueAll({"a", "b", "c"});
    leaveBehind("b", running);
    const auto again = run(manager_.retry(id("b"), QueueItemGoalFlow::addressReview));
    EXPECT_EQ(again, item("b"));
    EXPECT_EQ(again->goalFlow, QueueItemGoalFlow::addressReview);
    expectReadyForANewRun("b");
    EXPECT_THAT(order(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(events("b"), ElementsAre(event("retried", "Queued for retry.")));
}

TEST_F(QueueEntryAndExitTest, RetryingAnItemThatLeftPutsItAtTheEnd) {
    enqueueAll({"a", "b", "c"});
    run(manager_.markFailed(id("a"), "It broke."));
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug))->queuePosition, 2);
    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
}

TEST_F(QueueEntryAndExitTest, RetryingIntoTheOtherQueueClosesTheGapsInBoth) {
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

TEST_F(QueueEntryAndExitTest, RetryingWritesTheItemThenTheGapsOfItsOldQueueThenThoseOfTheNewThenTheEvent) {
    enqueueAll({"a", "b"}, manual);
    mapApp();
    enqueueAll({"x", "y"});
    BugQueueItem far = item("y");
    far.queuePosition = 5;
    store(far);
    recordWrites();
    run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, automatic));
    EXPECT_THAT(writes(), ElementsAre("update a 6 queued", "update b 0 queued", "update y 1 queued",
                                      "update a 2 queued", "event retried"));
}

TEST_F(QueueEntryAndExitTest, RetryingInOneQueueLeavesTheOtherAlone) {
    enqueueAll({"a", "b"});
    BugQueueItem far = enqueue("m", manual);
    far.queuePosition = 5;
    store(far);
    run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, automatic));
    EXPECT_EQ(item("m").queuePosition, 5);
}

TEST_F(QueueEntryAndExitTest, RetryingInItsOwnQueueClosesTheGapsOfThatQueueOnly) {
    enqueueAll({"a", "b"}, manual);
    BugQueueItem other = enqueue("x");
    other.queuePosition = 5;
    store(other);
    BugQueueItem far = item("b");
    far.queuePosition = 7;
    store(far);
    recordWrites();
    run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug));
    EXPECT_THAT(writes(), ElementsAre("update a 0 queued", "update b 1 queued", "event retried"));
    setStatus("a", failed);
    far.queuePosition = 7;
    store(far);
    writes();
    run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug));
    EXPECT_THAT(writes(),
                ElementsAre("update a 8 queued", "update b 0 queued", "update a 1 queued", "event retried"));
}

TEST_F(QueueEntryAndExitTest, RetryingLooksForTheMappingThatItsTargetQueueCallsFor) {
    enqueue("a", manual);
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, automatic))->status, waitingForMapping);
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, manual))->status, queued);
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug))->status, queued);
    mapApp();
    EXPECT_EQ(run(manager_.retry(id("a"), QueueItemGoalFlow::fixBug, automatic))->status, queued);
}

TEST_F(QueueEntryAndExitTest, MovingAFailedItemWithAFlowRetriesItWithThatFlow) {
    leaveBehind("a", failed);
    const auto moved = run(manager_.move(id("a"), automatic, QueueItemGoalFlow::addressReview));
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::addressReview);
    run(manager_.markFailed(moved->id, "It broke."));
    EXPECT_EQ(run(manager_.move(moved->id, manual))->goalFlow, QueueItemGoalFlow::addressReview);
}

TEST_F(QueueEntryAndExitTest, MovingClearsWhatAnEarlierRunLeft) {
    leaveBehind("a", queued);
    run(manager_.move(id("a"), manual));
    expectReadyForANewRun("a");
    EXPECT_THAT(events("a"), ElementsAre(event("queueModeChanged", "Moved to manual queue.")));
}

TEST_F(QueueEntryAndExitTest, MovingWritesTheItemThenTheGapsOfItsOldQueueThenThoseOfTheNewThenTheEvent) {
    enqueueAll({"a", "b"}, manual);
    mapApp();
    enqueueAll({"x", "y"});
    BugQueueItem far = item("y");
    far.queuePosition = 5;
    store(far);
    recordWrites();
    const auto moved = run(manager_.move(id("a"), automatic));
    EXPECT_EQ(moved, item("a"));
    EXPECT_THAT(writes(), ElementsAre("update a 6 queued", "update b 0 queued", "update y 1 queued",
                                      "update a 2 queued", "event queueModeChanged"));
}

TEST_F(QueueEntryAndExitTest, ChangingOnlyTheFlowClosesTheGapsOfItsQueueOnly) {
    enqueueAll({"a", "b"}, manual);
    BugQueueItem far = enqueue("x");
    far.queuePosition = 5;
    store(far);
    BugQueueItem gap = item("b");
    gap.queuePosition = 7;
    store(gap);
    recordWrites();
    run(manager_.move(id("a"), manual, QueueItemGoalFlow::fixBug));
    EXPECT_THAT(writes(), ElementsAre("update a 0 queued", "update b 1 queued", "event queueModeChanged"));
}

TEST_F(QueueEntryAndExitTest, MovingAFailedItemRetriesItInThatQueue) {
    leaveBehind("a", failed);
    const auto moved = run(manager_.move(id("a"), manual));
    EXPECT_EQ(moved, item("a"));
    EXPECT_EQ(moved->queueMode, manual);
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::fixBug);
    expectReadyForANewRun("a");
    EXPECT_THAT(events("a"), ElementsAre(event("retried", "Queued for retry.")));
}

TEST_F(QueueEntryAndExitTest, MovingPutsAnItemAtTheEndOfTheOtherQueue) {
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

TEST_F(QueueEntryAndExitTest, ChangingOnlyTheFlowIsToldAsAMove) {
    enqueueAll({"a", "b"});
    forgetEvents();
    const auto moved = run(manager_.move(id("a"), automatic, QueueItemGoalFlow::addressReview));
    EXPECT_EQ(moved, item("a"));
    EXPECT_EQ(moved->goalFlow, QueueItemGoalFlow::addressReview);
    EXPECT_THAT(order(), ElementsAre("a", "b"));
    EXPECT_THAT(events("a"), ElementsAre(event("queueModeChanged", "Moved to auto queue.")));
}

TEST_F(QueueEntryAndExitTest, AMoveThatChangesNothingReturnsTheItemAndWritesNothing) {
    const BugQueueItem before = enqueue("a");
    forgetEvents();
    EXPECT_EQ(run(manager_.move(before.id, automatic)), before);
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueEntryAndExitTest, ALockedItemIsNotMovedButReturned) {
    enqueue("a");
    setStatus("a", running);
    forgetEvents();
    EXPECT_EQ(run(manager_.move(id("a"), manual, QueueItemGoalFlow::addressReview)), item("a"));
    EXPECT_EQ(item("a").queueMode, automatic);
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueEntryAndExitTest, ReleasingQueuesTheItemsThatWaitForTheAppOnly) {
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

}  // namespace
}  // namespace quernlight
