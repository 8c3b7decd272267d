#include <limits>

#include "quernlight/queue/queue_repository.hpp"
#include "tests/queue/queue_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using test::runTask;

class QueuePositionsTest : public test::QueueFixture {
  protected:
    void add(const std::string& bugID, std::int64_t position,
             QueueItemStatus status = QueueItemStatus::queued, QueueMode mode = QueueMode::automatic) {
        BugQueueItem item = fullItem();
        item.bugID = bugID;
        item.queuePosition = position;
        item.status = status;
        item.queueMode = mode;
        runTask(repository.insert(item));
    }

    BugQueueItem item(std::string_view bugID) { return runTask(repository.item(bugID)).value(); }

    std::int64_t nextPosition() { return runTask(repository.nextPosition()); }

    const QueueRepository repository{database};
};

class ItemOfEveryStatusTest : public QueuePositionsTest,
                              public testing::WithParamInterface<QueueItemStatus> {};

TEST_P(ItemOfEveryStatusTest, HoldsAPlaceUnlessItsStatusIsTerminal) {
    add("a", 5, GetParam());
    const bool active = !isTerminal(GetParam());
    EXPECT_EQ(runTask(repository.items()).size(), active ? 1U : 0U);
    EXPECT_EQ(runTask(repository.items({.includeTerminal = true})).size(), 1U);
    EXPECT_EQ(nextPosition(), active ? 6 : 0);
    runTask(repository.compactActiveQueuePositions(QueueMode::automatic));
    EXPECT_EQ(item("a").queuePosition, active ? 0 : 5);
}

TEST_P(ItemOfEveryStatusTest, IsReleasedByAMappingOnlyWhenItWaitsForOne) {
    add("a", 5, GetParam());
    runTask(repository.markWaitingItemsQueued("example.lantern"));
    const bool waited = GetParam() == QueueItemStatus::waitingForMapping;
    EXPECT_EQ(item("a").status, waited ? QueueItemStatus::queued : GetParam());
    EXPECT_EQ(item("a").errorMessage, waited ? std::nullopt : std::optional<std::string>("waits"));
    EXPECT_EQ(item("a").queuePosition, 5);
}

INSTANTIATE_TEST_SUITE_P(Statuses, ItemOfEveryStatusTest, testing::ValuesIn(allQueueItemStatuses),
                         [](const auto& status) { return std::string(rawValue(status.param)); });

TEST_F(QueuePositionsTest, AMappingReleasesTheWaitingItemsOfBothQueues) {
    add("a", 0, QueueItemStatus::waitingForMapping);
    add("m", 0, QueueItemStatus::waitingForMapping, QueueMode::manual);
    runTask(repository.markWaitingItemsQueued("example.lantern"));
    EXPECT_EQ(item("a").status, QueueItemStatus::queued);
    EXPECT_EQ(item("m").status, QueueItemStatus::queued);
}

TEST_F(QueuePositionsTest, ANextPositionThatIsNoIntegerIsAMissingColumn) {
    add("a", std::numeric_limits<std::int64_t>::max());
    const auto error = test::databaseErrorOf([&] { nextPosition(); });
    EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::missingColumn, "next_position"));
}

TEST_F(QueuePositionsTest, PositionsAreComparedAsNumbers) {
    add("ten", 10);
    add("nine", 9);
    const auto listed = runTask(repository.items());
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].bugID, "nine");
}

TEST_F(QueuePositionsTest, CompactionOfOneQueueLeavesTheOtherAlone) {
    add("a", 3);
    add("m", 7, QueueItemStatus::queued, QueueMode::manual);
    runTask(repository.compactActiveQueuePositions(QueueMode::manual));
    EXPECT_EQ(item("a").queuePosition, 3);
    EXPECT_EQ(item("m").queuePosition, 0);
}

TEST_F(QueuePositionsTest, CompactionWritesTheWholeItemAsItWasListed) {
    add("a", 3);
    BugQueueItem expected = item("a");
    expected.queuePosition = 0;
    runTask(repository.compactActiveQueuePositions());
    EXPECT_EQ(item("a"), expected);
}

/// Which items compaction writes, seen in the statements.
class CompactionStatementsTest : public test::RecordedDatabaseFixture {
  protected:
    void SetUp() override { runTask(Migrations(database).run()); }

    void add(const std::string& bugID, std::int64_t position) {
        runTask(repository.insert({.id = randomUuid(),
                                   .bugID = bugID,
                                   .bugURL = Url::parse("https://bugs.example/").value(),
                                   .queuePosition = position}));
    }

    /// The first word of every statement of a compaction of both queues.
    std::string compact() {
        recorder.take();
        runTask(repository.compactActiveQueuePositions());
        std::string words;
        for (const std::string& statement : recorder.take()) {
            words += statement.substr(0, statement.find(' ')) + " ";
        }
        return words;
    }

    const QueueRepository repository{database};
};

TEST_F(CompactionStatementsTest, DensePositionsCauseNoWrites) {
    add("a", 0);
    add("b", 1);
    add("c", 2);
    EXPECT_EQ(compact(), "SELECT SELECT ");
}

TEST_F(CompactionStatementsTest, OnlyItemsOutOfPlaceAreWritten) {
    add("a", 0);
    add("b", 2);
    add("c", 5);
    EXPECT_EQ(compact(), "SELECT BEGIN UPDATE UPDATE COMMIT SELECT ");
}

TEST_F(CompactionStatementsTest, OneItemOutOfPlaceIsATransactionByItself) {
    add("a", 0);
    add("b", 2);
    EXPECT_EQ(compact(), "SELECT UPDATE SELECT ");
}

}  // namespace
}  // namespace quernlight
