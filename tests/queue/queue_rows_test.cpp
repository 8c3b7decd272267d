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

    Row row;
};

TEST_F(QueueRowsTest, EveryRequiredColumnThatIsNullIsToldByName) {
    for (const char* column : {"id", "bug_id", "app_id", "app_name", "bundle_id", "title", "bug_url",
                               "queue_position", "status", "priority", "created_at", "added_at"}) {
        EXPECT_EQ(errorWith(column, SQLValue::null()), missing(column));
    }
}

TEST_F(QueueRowsTest, RequiredColumnsThatDoNotParseAreToldByName) {
    EXPECT_EQ(errorWith("id", SQLValue::text("no uuid")), missing("id"));
    EXPECT_EQ(errorWith("bug_url", SQLValue::text("not absolute")), missing("bug_url"));
    EXPECT_EQ(errorWith("status", SQLValue::text("Running")), missing("status"));
    EXPECT_EQ(errorWith("queue_position", SQLValue::text("0")), missing("queue_position"));
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
}

TEST_F(QueueRowsTest, TheBugIDIsNormalisedOnReading) {
    EXPECT_EQ(itemWith("bug_id", SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF")).bugID, "3f2a9c10");
}

TEST_F(QueueRowsTest, ASessionThatIsNoUuidReadsAsAbsent) {
    EXPECT_EQ(itemWith("active_session_id", SQLValue::text("x")).activeSessionID, std::nullopt);
    EXPECT_EQ(itemWith("codex_session_id", SQLValue::text("")).codexSessionID, std::nullopt);
}

TEST_F(QueueRowsTest, InstantsThatDoNotParseReadAsTheEpoch) {
    EXPECT_EQ(itemWith("created_at", SQLValue::text("yesterday")).createdAt, Instant{});
    EXPECT_EQ(itemWith("started_at", SQLValue::text("")).startedAt, Instant{});
    EXPECT_EQ(itemWith("completed_at", SQLValue::null()).completedAt, std::nullopt);
}

TEST_F(QueueRowsTest, AnEventWithoutARequiredColumnIsToldByName) {
    const SQLValue uuid = SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF");
    const Row event{{"id", uuid},
                    {"queue_item_id", uuid},
                    {"kind", SQLValue::text("started")},
                    {"message", SQLValue::text("It began.")},
                    {"created_at", SQLValue::text("yesterday")}};
    EXPECT_EQ(queueEventOfRow(event).createdAt, Instant{});
    for (const char* column : {"id", "queue_item_id", "kind", "message", "created_at"}) {
        Row broken = event;
        broken.erase(column);
        EXPECT_EQ(databaseErrorOf([&] { queueEventOfRow(broken); }), missing(column));
    }
}

}  // namespace
}  // namespace quernlight
