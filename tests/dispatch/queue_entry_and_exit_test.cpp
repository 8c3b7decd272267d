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

}  // namespace
}  // namespace quernlight
