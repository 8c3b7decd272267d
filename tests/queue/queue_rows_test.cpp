#include "quernlight/queue/queue_rows.hpp"

#include "quernlight/queue/queue_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::databaseErrorOf;
using test::runTask;

class QueueRowsTest : public test::QueueFixture {
  protected:
    void SetUp() override {
        QueueFixture::SetUp();
        const QueueRepository repository(database);
        runTask(repository.insert(fullItem()));
        row = rows("SELECT * FROM queue_items").at(0);
    }

    /// The item of the row with one column changed.
    BugQueueItem itemWith(const std::string& column, const SQLValue& changed) {
        row[column] = changed;
        return queueItemOfRow(row);
    }

    std::optional<DatabaseError> errorWith(const std::string& column, const SQLValue& changed) {
        Row broken = row;
        broken[column] = changed;
        return databaseErrorOf([&] { queueItemOfRow(broken); });
    }

    static DatabaseError missing(const std::string& column) {
        return DatabaseError(DatabaseError::Kind::missingColumn, column);
    }

    /// The row of an event that has the required columns only.
    static Row eventRow() {
        const SQLValue uuid = SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF");
        return {{"id", uuid},
                {"queue_item_id", uuid},
                {"kind", SQLValue::text("started")},
                {"message", SQLValue::text("It began.")},
                {"created_at", SQLValue::text("yesterday")}};
    }

    Row row;
};

TEST_F(QueueRowsTest, EveryRequiredColumnThatIsNullOrAbsentIsToldByName) {
    for (const char* column : {"id", "bug_id", "app_id", "app_name", "bundle_id", "title", "bug_url",
                               "queue_position", "status", "priority", "created_at", "added_at"}) {
        EXPECT_EQ(errorWith(column, SQLValue::null()), missing(column));
        Row broken = row;
        broken.erase(column);
        EXPECT_EQ(databaseErrorOf([&] { queueItemOfRow(broken); }), missing(column));
    }
}

TEST_F(QueueRowsTest, RequiredColumnsThatAreOfTheWrongKindOrDoNotParseAreToldByName) {
    const SQLValue number = SQLValue::integer(7);
    for (const auto& [column, unusable] :
         std::vector<std::pair<std::string, SQLValue>>{{"id", number},
                                                       {"id", SQLValue::text("no uuid")},
                                                       {"bug_id", number},
                                                       {"app_id", number},
                                                       {"app_id", SQLValue::text("no uuid")},
                                                       {"app_name", number},
                                                       {"bundle_id", number},
                                                       {"title", number},
                                                       {"bug_url", number},
                                                       {"bug_url", SQLValue::text("not absolute")},
                                                       {"queue_position", SQLValue::text("0")},
                                                       {"queue_position", SQLValue::real(0)},
                                                       {"status", number},
                                                       {"status", SQLValue::text("Running")},
                                                       {"priority", SQLValue::text("0")},
                                                       {"created_at", number},
                                                       {"added_at", number}}) {
        EXPECT_EQ(errorWith(column, unusable), missing(column));
    }
}

TEST_F(QueueRowsTest, AnAbsentOrUnknownModeReadsAsAuto) {
    EXPECT_EQ(itemWith("queue_mode", SQLValue::null()).queueMode, QueueMode::automatic);
    EXPECT_EQ(itemWith("queue_mode", SQLValue::text("batch")).queueMode, QueueMode::automatic);
    row.erase("queue_mode");
    EXPECT_EQ(queueItemOfRow(row).queueMode, QueueMode::automatic);
}

TEST_F(QueueRowsTest, AnAbsentOrUnknownGoalFlowReadsAsFixBug) {
    EXPECT_EQ(itemWith("goal_flow", SQLValue::null()).goalFlow, QueueItemGoalFlow::fixBug);
    EXPECT_EQ(itemWith("goal_flow", SQLValue::text("fixBug")).goalFlow, QueueItemGoalFlow::fixBug);
    EXPECT_EQ(itemWith("goal_flow", SQLValue::integer(1)).goalFlow, QueueItemGoalFlow::fixBug);
    row.erase("goal_flow");
    EXPECT_EQ(queueItemOfRow(row).goalFlow, QueueItemGoalFlow::fixBug);
}

TEST_F(QueueRowsTest, TheBugIDIsNormalisedOnReading) {
    EXPECT_EQ(itemWith("bug_id", SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF")).bugID, "3f2a9c10");
}

TEST_F(QueueRowsTest, ASessionThatIsNoUuidReadsAsAbsent) {
    EXPECT_EQ(itemWith("active_session_id", SQLValue::text("x")).activeSessionID, std::nullopt);
    EXPECT_EQ(itemWith("codex_session_id", SQLValue::text("")).codexSessionID, std::nullopt);
}

TEST_F(QueueRowsTest, AnOptionalColumnThatIsNullOrMissingReadsAsAbsent) {
    for (const char* column : {"active_session_id", "codex_session_id", "error_message", "started_at",
                               "completed_at", "cancelled_at"}) {
        row[column] = SQLValue::null();
    }
    const BugQueueItem item = queueItemOfRow(row);
    EXPECT_FALSE(item.activeSessionID || item.codexSessionID || item.errorMessage);
    EXPECT_FALSE(item.startedAt || item.completedAt || item.cancelledAt);
    std::erase_if(row, [](const auto& column) { return column.second.isNull(); });
    EXPECT_EQ(queueItemOfRow(row), item);
}

TEST_F(QueueRowsTest, EveryInstantThatDoesNotParseReadsAsTheEpoch) {
    for (const char* column : {"created_at", "added_at", "started_at", "completed_at", "cancelled_at"}) {
        row[column] = SQLValue::text("yesterday");
    }
    const BugQueueItem item = queueItemOfRow(row);
    EXPECT_EQ(item.createdAt, Instant{});
    EXPECT_EQ(item.addedAt, Instant{});
    EXPECT_EQ(item.startedAt, Instant{});
    EXPECT_EQ(item.completedAt, Instant{});
    EXPECT_EQ(item.cancelledAt, Instant{});
}

TEST_F(QueueRowsTest, InstantsWithoutAFractionAreRead) {
    EXPECT_EQ(itemWith("added_at", SQLValue::text("2026-03-04T05:06:07Z")).addedAt,
              test::instant("2026-03-04T05:06:07.000Z"));
}

TEST_F(QueueRowsTest, OptionalColumnsOfAnEventAreAbsentWhenUnusable) {
    const SQLValue uuid = SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF");
    const QueueEvent event = queueEventOfRow({{"id", uuid},
                                              {"queue_item_id", uuid},
                                              {"session_id", SQLValue::text("no uuid")},
                                              {"kind", SQLValue::text("started")},
                                              {"message", SQLValue::text("It began.")},
                                              {"metadata_json", SQLValue::integer(7)},
                                              {"created_at", SQLValue::text("2026-03-04T05:06:07Z")}});
    EXPECT_EQ(event.sessionID, std::nullopt);
    EXPECT_EQ(event.metadataJSON, std::nullopt);
    EXPECT_EQ(event.createdAt, test::instant("2026-03-04T05:06:07.000Z"));
}

TEST_F(QueueRowsTest, AnEventWithoutARequiredColumnIsToldByName) {
    EXPECT_EQ(queueEventOfRow(eventRow()).createdAt, Instant{});
    for (const char* column : {"id", "queue_item_id", "kind", "message", "created_at"}) {
        Row broken = eventRow();
        broken.erase(column);
        EXPECT_EQ(databaseErrorOf([&] { queueEventOfRow(broken); }), missing(column));
    }
}

TEST_F(QueueRowsTest, AnEventColumnThatIsNullOfTheWrongKindOrDoesNotParseIsToldByName) {
    const SQLValue number = SQLValue::integer(7);
    const SQLValue noUuid = SQLValue::text("no uuid");
    const SQLValue null = SQLValue::null();
    for (const auto& [column, unusable] :
         std::vector<std::pair<std::string, SQLValue>>{{"id", number},
                                                       {"id", noUuid},
                                                       {"id", null},
                                                       {"queue_item_id", number},
                                                       {"queue_item_id", noUuid},
                                                       {"queue_item_id", null},
                                                       {"kind", number},
                                                       {"kind", null},
                                                       {"message", number},
                                                       {"message", null},
                                                       {"created_at", number},
                                                       {"created_at", null}}) {
        Row broken = eventRow();
        broken[column] = unusable;
        EXPECT_EQ(databaseErrorOf([&] { queueEventOfRow(broken); }), missing(column));
    }
}

TEST_F(QueueRowsTest, ColumnsAreFoundInAStatementWhateverTheirOrder) {
    const char* backwards =
        "SELECT cancelled_at, completed_at, started_at, added_at, created_at, error_message, codex_session_id, "
        "active_session_id, priority, goal_flow, status, queue_mode, queue_position, bug_url, title, bundle_id, "
        "app_name, app_id, bug_id, 'more' AS more, id FROM queue_items";
    QueueItemReader reader;
    std::optional<BugQueueItem> item;
    runTask(database->read(backwards, {}, [&](const Statement& read) { item = reader.item(read); }));
    EXPECT_EQ(item, queueItemOfRow(row));
}

TEST_F(QueueRowsTest, AColumnThatAStatementLacksIsToldByName) {
    QueueItemReader reader;
    std::string bugID;
    const auto read = [&](const Statement& found) {
        bugID = reader.bugID(found);
        reader.item(found);
    };
    const auto error = databaseErrorOf(
        [&] { runTask(database->read("SELECT id, bug_id, app_id FROM queue_items", {}, read)); });
    EXPECT_EQ(error, missing("app_name"));
    EXPECT_EQ(bugID, "3f2a9c10");
}

}  // namespace
}  // namespace quernlight
