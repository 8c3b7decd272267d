#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/dispatch/active_queue.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using enum QueueItemStatus;

// The rule by which an item changes its place

/// A queue's items by letter; one in capitals is under way. `target` is the item to land in front of, "" the
/// end, "next" the place behind those under way. `after` is empty where nothing may change.
struct Move {
    std::string name;
    std::string before;
    char item;
    std::string target;
    std::string after;
};

void PrintTo(const Move& row, std::ostream* out) {
    *out << row.name;
}

class ActiveQueueTest : public testing::TestWithParam<Move> {
  protected:
    static Uuid idOf(char letter) {
        Uuid id{};
        *id.begin() = static_cast<std::uint8_t>(letter);
        return id;
    }

    static ActiveQueue queueOf(const std::string& letters, QueueItemStatus underWay) {
        std::vector<BugQueueItem> items;
        for (const char letter : letters) {
            const bool isUnderWay = letter >= 'A' && letter <= 'Z';
            items.push_back(
                {.id = idOf(letter), .bugID = {letter}, .status = isUnderWay ? underWay : queued});
        }
        return ActiveQueue(std::move(items));
    }

    static std::string lettersOf(const ActiveQueue& queue) {
        std::string letters;
        for (const BugQueueItem& item : queue.items()) {
            EXPECT_EQ(item.queuePosition, static_cast<std::int64_t>(letters.size()));
            letters += item.bugID;
        }
        return letters;
    }

    static std::optional<std::size_t> moveIn(ActiveQueue& queue) {
        const auto& [name, before, item, target, after] = GetParam();
        if (target == "next") {
            return queue.moveNext(idOf(item));
        }
        return queue.move(idOf(item), target.empty() ? std::nullopt : std::optional(idOf(target[0])));
    }
};

TEST_P(ActiveQueueTest, AnItemLandsWhereTheTableSays) {
    for (const QueueItemStatus underWay : {startingCodex, running, codexCompleted}) {
        ActiveQueue queue = queueOf(GetParam().before, underWay);
        const auto position = moveIn(queue);
        if (GetParam().after.empty()) {
            EXPECT_EQ(position, std::nullopt);
            continue;
        }
        EXPECT_EQ(lettersOf(queue), GetParam().after) << rawValue(underWay);
        EXPECT_EQ(position, GetParam().after.find(GetParam().item));
    }
}

INSTANTIATE_TEST_SUITE_P(Moves, ActiveQueueTest,
                         testing::Values(Move{"InFrontOfAnother", "abcd", 'd', "b", "adbc"},
                                         Move{"ToTheEnd", "abc", 'a', "", "bca"},
                                         Move{"InFrontOfOneThatIsNotThere", "abc", 'a', "z", "bca"},
                                         Move{"InFrontOfItself", "abc", 'b', "b", "acb"},
                                         Move{"NextBehindThoseUnderWay", "ABcde", 'e', "next", "ABecd"},
                                         Move{"InFrontOfThoseUnderWay", "ABecd", 'd', "A", "ABdec"},
                                         Move{"NextWithOneUnderWayFurtherBack", "aBc", 'c', "next", "caB"},
                                         Move{"InFrontOfOneUnderWayFurtherBack", "aBc", 'c', "B", "acB"},
                                         Move{"OneUnderWay", "aB", 'B', "a", ""},
                                         Move{"OneUnderWayNext", "aB", 'B', "next", ""},
                                         Move{"OneThatIsNotThere", "ab", 'z', "a", ""}),
                         [](const auto& row) { return row.param.name; });

// What the manager writes of it

using QueueOrderTest = QueueManagerFixture;

TEST_F(QueueOrderTest, ReorderingClosesGaps) {
    enqueueAll({"a", "b", "c"});
    BugQueueItem far = item("c");
    far.queuePosition = 9;
    store(far);
    run(manager_.reorder(id("a"), id("c")));
    EXPECT_THAT(order(), ElementsAre("b", "a", "c"));
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
