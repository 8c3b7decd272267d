#include "quernlight/queue/queue_repository.hpp"

#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::databaseErrorOf;
using test::instant;
using test::runTask;

class QueueRepositoryTest : public test::QueueFixture {
  protected:
    /// Adds an item; the later it is added, the later its `addedAt`.
    BugQueueItem add(const std::string& bugID, std::int64_t position,
                     QueueItemStatus status = QueueItemStatus::queued,
                     QueueMode mode = QueueMode::automatic) {
        BugQueueItem item = fullItem();
        item.bugID = bugID;
        item.queuePosition = position;
        item.status = status;
        item.queueMode = mode;
        item.addedAt += std::chrono::milliseconds(++added_);
        runTask(repository().insert(item));
        return item;
    }

    /// Inserts an item now that was added before all others.
    void addEarlier(const std::string& bugID, std::int64_t position) {
        BugQueueItem item = fullItem();
        item.bugID = bugID;
        item.queuePosition = position;
        item.status = QueueItemStatus::queued;
        item.queueMode = QueueMode::automatic;
        runTask(repository().insert(item));
    }

    QueueRepository repository() { return QueueRepository(database); }

    std::optional<BugQueueItem> item(std::string_view bugID) { return runTask(repository().item(bugID)); }

    /// "bug position" of each listed item, one after another.
    std::string listed(const QueueListing& listing = {}) {
        std::string text;
        const QueueRepository repository(database);
        for (const BugQueueItem& item : runTask(repository.items(listing))) {
            text += item.bugID + " " + std::to_string(item.queuePosition) + ", ";
        }
        return text;
    }

    std::int64_t nextPosition(QueueMode mode = QueueMode::automatic) {
        const QueueRepository repository(database);
        return runTask(repository.nextPosition(mode));
    }

    void compact() {
        const QueueRepository repository(database);
        runTask(repository.compactActiveQueuePositions());
    }

    void append(const Uuid& itemID, const std::string& kind, const std::string& time) {
        runTask(repository().appendEvent(itemID, kind, "message", std::nullopt, std::nullopt, instant(time)));
    }

    std::vector<QueueEvent> events(const Uuid& itemID) {
        const QueueRepository repository(database);
        return runTask(repository.events(itemID));
    }

  private:
    int added_ = 0;
};

TEST_F(QueueRepositoryTest, AnItemIsReadAsItWasInserted) {
    const BugQueueItem inserted = fullItem();
    const QueueRepository repository(database);
    runTask(repository.insert(inserted));
    EXPECT_EQ(runTask(repository.item(inserted.id)), inserted);
}

TEST_F(QueueRepositoryTest, AnItemWithoutOptionalFieldsIsReadAsItWasInserted) {
    const BugQueueItem inserted{
        .id = randomUuid(), .bugID = "ab1", .bugURL = Url::parse("https://bugs.example/").value()};
    const QueueRepository repository(database);
    runTask(repository.insert(inserted));
    EXPECT_EQ(runTask(repository.item(inserted.id)), inserted);
}

TEST_F(QueueRepositoryTest, AnUnknownItemIsNone) {
    const QueueRepository repository(database);
    EXPECT_EQ(runTask(repository.item(randomUuid())), std::nullopt);
    EXPECT_EQ(item("3f2a9c10"), std::nullopt);
}

TEST_F(QueueRepositoryTest, AnItemIsFoundByAnyWrittenFormOfItsBugID) {
    const BugQueueItem added = add("3f2a9c10", 0);
    EXPECT_EQ(item("  3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF\n"), added);
}

TEST_F(QueueRepositoryTest, ABugIsQueuedOnceAndASecondInsertIsSilentlySkipped) {
    const BugQueueItem first = add("3f2a9c10", 0);
    EXPECT_NO_THROW(add("3F2A9C10", 7, QueueItemStatus::failed));
    EXPECT_EQ(item("3f2a9c10"), first);
    EXPECT_EQ(rows("SELECT * FROM queue_items").size(), 1U);
}

TEST_F(QueueRepositoryTest, AnUpdateNeverChangesBugAppOrTimesOfOrigin) {
    const BugQueueItem first = add("3f2a9c10", 0);
    BugQueueItem changed = fullItem();
    changed.id = first.id;
    changed.bugID = "other";
    changed.createdAt = changed.addedAt = instant("2030-01-01T00:00:00Z");
    changed.title = "changed";
    runTask(repository().update(changed));
    BugQueueItem expected = changed;
    expected.bugID = first.bugID;
    expected.appID = first.appID;
    expected.createdAt = first.createdAt;
    expected.addedAt = first.addedAt;
    EXPECT_EQ(item("3f2a9c10"), expected);
}

TEST_F(QueueRepositoryTest, UpdatingAnUnknownItemChangesNothing) {
    const BugQueueItem first = add("3f2a9c10", 0);
    EXPECT_NO_THROW(runTask(repository().update(fullItem())));
    EXPECT_EQ(item("3f2a9c10"), first);
}

TEST_F(QueueRepositoryTest, RemovingAnItemRemovesItsEvents) {
    const BugQueueItem first = add("3f2a9c10", 0);
    append(first.id, "enqueued", "2026-03-01T00:00:00Z");
    runTask(repository().remove(first.id));
    EXPECT_EQ(item("3f2a9c10"), std::nullopt);
    EXPECT_TRUE(rows("SELECT * FROM queue_events").empty());
}

TEST_F(QueueRepositoryTest, ItemsAreListedByPosition) {
    add("b", 1);
    add("c", 2);
    add("a", 0);
    EXPECT_EQ(listed(), "a 0, b 1, c 2, ");
}

TEST_F(QueueRepositoryTest, ItemsOfEqualPositionAreListedInTheOrderTheyWereAdded) {
    add("last", 3);
    addEarlier("later", 3);
    add("first", 0);
    EXPECT_EQ(listed(), "first 0, later 3, last 3, ");
}

TEST_F(QueueRepositoryTest, TheWholeListingShowsAutoItemsBeforeManualOnes) {
    add("m", 0, QueueItemStatus::queued, QueueMode::manual);
    add("a", 1);
    add("done", 0, QueueItemStatus::completed);
    EXPECT_EQ(listed({.includeTerminal = true}), "done 0, a 1, m 0, ");
}

TEST_F(QueueRepositoryTest, AListingMayBeOfOneModeAlone) {
    add("m", 0, QueueItemStatus::queued, QueueMode::manual);
    add("n", 1, QueueItemStatus::failed, QueueMode::manual);
    add("a", 0);
    EXPECT_EQ(listed({.queueMode = QueueMode::manual}), "m 0, ");
    EXPECT_EQ(listed({.includeTerminal = true, .queueMode = QueueMode::manual}), "m 0, n 1, ");
}

TEST_F(QueueRepositoryTest, TheNextPositionOfAModeWithoutActiveItemsIsZero) {
    EXPECT_EQ(nextPosition(), 0);
    add("done", 9, QueueItemStatus::completed);
    add("m", 4, QueueItemStatus::queued, QueueMode::manual);
    EXPECT_EQ(nextPosition(), 0);
    EXPECT_EQ(nextPosition(QueueMode::manual), 5);
}

TEST_F(QueueRepositoryTest, CompactionClosesGaps) {
    add("a", 0);
    add("b", 2);
    add("c", 5);
    compact();
    EXPECT_EQ(listed(), "a 0, b 1, c 2, ");
}

TEST_F(QueueRepositoryTest, CompactionNumbersItemsOfEqualPositionInTheOrderTheyWereAdded) {
    add("c", 3);
    addEarlier("b", 3);
    compact();
    EXPECT_EQ(listed(), "b 0, c 1, ");
}

TEST_F(QueueRepositoryTest, CompactionNumbersEachModeByItself) {
    add("a", 3);
    add("m", 4, QueueItemStatus::queued, QueueMode::manual);
    add("n", 8, QueueItemStatus::queued, QueueMode::manual);
    compact();
    EXPECT_EQ(listed(), "a 0, m 0, n 1, ");
}

TEST_F(QueueRepositoryTest, AnErrorStopsCompactionAndKeepsWhatWasWritten) {
    add("a", 3);
    add("b", 5);
    add("c", 7);
    add("m", 4, QueueItemStatus::queued, QueueMode::manual);
    execute(
        "CREATE TRIGGER refuse BEFORE UPDATE ON queue_items WHEN OLD.bug_id = 'b' "
        "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    const auto error = databaseErrorOf([&] { compact(); });
    EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::stepFailed, "refused"));
    EXPECT_EQ(listed(), "a 0, b 5, c 7, m 4, ");
}

TEST_F(QueueRepositoryTest, AnUnusableRowFailsEveryReadingThatMeetsIt) {
    const BugQueueItem a = add("a", 0);
    const BugQueueItem b = add("b", 1);
    execute("UPDATE queue_items SET status = 'Running' WHERE bug_id = 'b'");
    const DatabaseError noStatus(DatabaseError::Kind::missingColumn, "status");
    EXPECT_EQ(databaseErrorOf([&] { listed(); }), noStatus);
    EXPECT_EQ(databaseErrorOf([&] { item("b"); }), noStatus);
    EXPECT_EQ(databaseErrorOf([&] { runTask(repository().item(b.id)); }), noStatus);
    EXPECT_EQ(item("a"), a);
    append(a.id, "started", "2026-03-04T05:06:07Z");
    execute("UPDATE queue_events SET id = 'no uuid'");
    EXPECT_EQ(databaseErrorOf([&] { events(a.id); }),
              DatabaseError(DatabaseError::Kind::missingColumn, "id"));
}

TEST_F(QueueRepositoryTest, AMappingOfAnotherAppReleasesNothing) {
    add("waits", 3, QueueItemStatus::waitingForMapping);
    runTask(repository().markWaitingItemsQueued("example.other"));
    EXPECT_EQ(item("waits")->status, QueueItemStatus::waitingForMapping);
}

TEST_F(QueueRepositoryTest, AnEventIsReadAsItWasAppended) {
    const BugQueueItem added = add("a", 0);
    const Uuid session = randomUuid();
    runTask(repository().appendEvent(added.id, "started", "It began.", session, "{\"pid\": 7}",
                                     instant("2026-03-04T05:06:07.890Z")));
    const std::vector<QueueEvent> found = events(added.id);
    ASSERT_EQ(found.size(), 1U);
    const QueueEvent expected{.id = found[0].id,
                              .queueItemID = added.id,
                              .sessionID = session,
                              .kind = "started",
                              .message = "It began.",
                              .metadataJSON = "{\"pid\": 7}",
                              .createdAt = instant("2026-03-04T05:06:07.890Z")};
    EXPECT_EQ(found[0], expected);
}

TEST_F(QueueRepositoryTest, EventsComeOldestFirst) {
    const BugQueueItem added = add("a", 0);
    append(added.id, "second", "2026-03-04T05:06:07.891Z");
    append(added.id, "first", "2026-03-04T05:06:07.890Z");
    const std::vector<QueueEvent> found = events(added.id);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].kind, "first");
    EXPECT_EQ(found[1].kind, "second");
    EXPECT_NE(found[0].id, found[1].id);
}

TEST_F(QueueRepositoryTest, AnObserverIsToldOfAnEventOnceItIsStoredAndOfNoOther) {
    std::vector<std::string> told;
    const QueueRepository observed = repository().observedBy(
        [&](const QueueEvent& event, const std::string& bugID) { told.push_back(bugID + " " + event.kind); });
    const BugQueueItem added = add("auto", 1);
    runTask(observed.appendEvent(added.id, "started", "", std::nullopt, std::nullopt, Instant{}));
    EXPECT_THROW(
        runTask(observed.appendEvent(randomUuid(), "lost", "", std::nullopt, std::nullopt, Instant{})),
        DatabaseError);
    EXPECT_EQ(told, std::vector<std::string>{added.bugID + " started"});
    ASSERT_EQ(events(added.id).size(), 1U);
    EXPECT_EQ(events(added.id).front().kind, "started");
}

TEST_F(QueueRepositoryTest, AnEventOfAnUnknownItemIsRefused) {
    const auto error = databaseErrorOf([&] { append(randomUuid(), "started", "2026-03-04T05:06:07Z"); });
    EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::stepFailed, "FOREIGN KEY constraint failed"));
}

}  // namespace
}  // namespace quernlight
