#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

using QueueOrderTest = QueueManagerFixture;

TEST_F(QueueOrderTest, AnItemIsPutInFrontOfAnother) {
    enqueueAll({"a", "b", "c", "d"});
    forgetEvents();
    run(manager_.reorder(id("d"), id("b")));
    EXPECT_THAT(order(), ElementsAre("a", "d", "b", "c"));
    EXPECT_THAT(events("d"), ElementsAre(event("reordered", "Moved queue item to position 1.")));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(QueueOrderTest, AnItemWithoutOneToLandInFrontOfGoesToTheEnd) {
    enqueueAll({"a", "b", "c"});
    forgetEvents();
    run(manager_.reorder(id("a"), std::nullopt));
    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
    EXPECT_THAT(events("a"), ElementsAre(event("reordered", "Moved queue item to position 2.")));
}

TEST_F(QueueOrderTest, AnItemToLandInFrontOfThatIsNotInTheSameActiveQueueMeansTheEnd) {
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

TEST_F(QueueOrderTest, NothingGetsInFrontOfTheSessionsUnderWay) {
    enqueueAll({"a", "b", "c", "d", "e"});
    setStatus("a", running);
    setStatus("b", codexCompleted);
    run(manager_.queueNext(id("e")));
    EXPECT_THAT(order(), ElementsAre("a", "b", "e", "c", "d"));
    forgetEvents();
    run(manager_.reorder(id("d"), id("a")));
    EXPECT_THAT(order(), ElementsAre("a", "b", "d", "e", "c"));
    EXPECT_THAT(events("d"), ElementsAre(event("reordered", "Moved queue item to position 2.")));
}

TEST_F(QueueOrderTest, ASessionUnderWayBehindAWaitingItemDoesNotLockTheHead) {
    enqueueAll({"a", "b", "c"});
    setStatus("b", running);
    run(manager_.queueNext(id("c")));
    EXPECT_THAT(order(), ElementsAre("c", "a", "b"));
}

TEST_F(QueueOrderTest, QueueNextTellsSoInTheHistory) {
    enqueueAll({"a", "b"});
    forgetEvents();
    run(manager_.queueNext(id("b")));
    EXPECT_THAT(events("b"), ElementsAre(event("queuedNext", "Moved queue item next.")));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(QueueOrderTest, ReorderingClosesGaps) {
    enqueueAll({"a", "b", "c"});
    BugQueueItem far = item("c");
    far.queuePosition = 9;
    store(far);
    run(manager_.reorder(id("a"), id("c")));
    EXPECT_THAT(order(), ElementsAre("b", "a", "c"));
}

TEST_F(QueueOrderTest, ARunningItemIsNotReordered) {
    enqueueAll({"a", "b"});
    setStatus("b", running);
    forgetEvents();
    run(manager_.reorder(id("b"), id("a")));
    EXPECT_THAT(order(), ElementsAre("a", "b"));
    EXPECT_EQ(eventCount(), 0U);
}

TEST_F(QueueOrderTest, WithTwoRunningItemsAtTheHeadTheNextPlaceIsTwo) {
    enqueueAll({"a", "b", "c", "d"});
    setStatus("a", running);
    setStatus("b", running);
    run(manager_.queueNext(id("d")));
    EXPECT_EQ(item("d").queuePosition, 2);
    run(manager_.reorder(id("c"), id("a")));
    EXPECT_EQ(item("c").queuePosition, 2);
}

TEST_F(QueueOrderTest, EveryStatusOfASessionUnderWayLocksTheHead) {
    enqueueAll({"a", "b", "c", "d", "e"});
    setStatus("a", startingCodex);
    setStatus("b", running);
    setStatus("c", codexCompleted);
    run(manager_.queueNext(id("e")));
    EXPECT_THAT(order(), ElementsAre("a", "b", "c", "e", "d"));
}

TEST_F(QueueOrderTest, AnItemMayLandBehindALockedItemThatIsNotAtTheHead) {
    enqueueAll({"a", "b", "c"});
    setStatus("b", running);
    run(manager_.reorder(id("c"), id("b")));
    EXPECT_THAT(order(), ElementsAre("a", "c", "b"));
}

TEST_F(QueueOrderTest, ReorderingWritesEveryItemInOrderChangedOrNotAndThenTheEvent) {
    enqueueAll({"a", "b", "c", "d"}, manual);
    recordWrites();
    run(manager_.reorder(id("c"), id("b")));
    EXPECT_THAT(writes(), ElementsAre("update a 0 queued", "update c 1 queued", "update b 2 queued",
                                      "update d 3 queued", "event reordered"));
    run(manager_.reorder(id("a"), id("c")));
    EXPECT_THAT(writes(), ElementsAre("update a 0 queued", "update c 1 queued", "update b 2 queued",
                                      "update d 3 queued", "event reordered"));
}

TEST_F(QueueOrderTest, QueueNextWritesEveryItemInOrderChangedOrNotAndThenTheEvent) {
    enqueueAll({"a", "b", "c"}, manual);
    recordWrites();
    run(manager_.queueNext(id("c")));
    EXPECT_THAT(writes(), ElementsAre("update c 0 queued", "update a 1 queued", "update b 2 queued",
                                      "event queuedNext"));
}

TEST_F(QueueOrderTest, TheOtherQueueAndTheItemsThatHaveLeftAreNotWritten) {
    enqueueAll({"a", "b", "gone"});
    enqueue("m", manual);
    setStatus("gone", completed);
    recordWrites();
    run(manager_.queueNext(id("b")));
    EXPECT_THAT(writes(), ElementsAre("update b 0 waitingForMapping", "update a 1 waitingForMapping",
                                      "event queuedNext"));
}

TEST_F(QueueOrderTest, ReorderingChangesNothingOfAnItemButItsPosition) {
    enqueue("a");
    leaveBehind("b", waitingForCapacity);
    BugQueueItem expected = item("b");
    expected.queuePosition = 0;
    run(manager_.queueNext(expected.id));
    EXPECT_EQ(item("b"), expected);
    EXPECT_THAT(events("b"), ElementsAre(event("queuedNext", "Moved queue item next.")));
}

TEST_F(QueueOrderTest, AReorderedItemsSessionIsNotToldInTheHistory) {
    enqueue("a");
    leaveBehind("b", waitingForCapacity);
    ASSERT_TRUE(item("b").activeSessionID);
    run(manager_.reorder(id("b"), id("a")));
    EXPECT_THAT(events("b"), ElementsAre(ItemEvent{.kind = "reordered",
                                                   .message = "Moved queue item to position 0.",
                                                   .sessionID = std::nullopt}));
}

TEST_F(QueueOrderTest, AnItemThatHasLeftTheQueueIsNotReordered) {
    enqueueAll({"a", "b"});
    recordWrites();
    for (const QueueItemStatus left : {awaitingUserInput, completed, failed, cancelled}) {
        setStatus("b", left);
        writes();
        run(manager_.reorder(id("b"), id("a")));
        run(manager_.queueNext(id("b")));
        EXPECT_THAT(writes(), IsEmpty()) << rawValue(left);
    }
}

TEST_F(QueueOrderTest, ARenumberingThatFailsHalfwayStaysHalfDone) {
    enqueueAll({"a", "b", "c"}, manual);
    const Uuid last = id("c");
    execute(
        "CREATE TRIGGER stuck BEFORE UPDATE ON queue_items WHEN NEW.bug_id = 'a'"
        " BEGIN SELECT RAISE(ABORT, 'stuck'); END");
    recordWrites();
    EXPECT_THROW(run(manager_.queueNext(last)), DatabaseError);
    EXPECT_THAT(writes(), ElementsAre("update c 0 queued"));
    EXPECT_EQ(item("a").queuePosition, 0);
}

}  // namespace
}  // namespace quernlight
