#include "quernlight/storage/migrations.hpp"

#include "tests/storage/database_fixture.hpp"
#include "tests/storage/older_layout.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using test::OlderLayout;
using test::runTask;
using testing::ElementsAre;

class MigrationsTest : public test::RecordedDatabaseFixture {
  protected:
    void migrate() { runTask(Migrations(database).run()); }

    void build(const OlderLayout& layout) {
        for (const std::string& statement : test::statementsOf(layout)) {
            execute(statement);
        }
    }

    /// The column "value" of all rows.
    std::vector<SQLValue> values(const std::string& sql) {
        std::vector<SQLValue> values;
        for (const Row& row : rows(sql)) {
            values.push_back(row.at("value"));
        }
        return values;
    }

    SQLValue version() { return rows("PRAGMA user_version").at(0).at("user_version"); }

    /// The statements that a run executes.
    std::vector<std::string> steps() {
        recorder.take();
        migrate();
        return recorder.take();
    }
};

std::string firstLineOfALayout(const std::string& statement) {
    return statement.starts_with("CREATE TABLE") ? statement.substr(0, statement.find('\n')) : statement;
}

TEST_F(MigrationsTest, AllStepsRunInTheirOrder) {
    std::vector<std::string> shown;
    for (const std::string& statement : steps()) {
        shown.push_back(firstLineOfALayout(statement));
    }
    EXPECT_THAT(
        shown,
        ElementsAre(
            "CREATE TABLE IF NOT EXISTS app_mappings (", "PRAGMA table_info(app_mappings)",
            "CREATE TABLE IF NOT EXISTS queue_items (", "PRAGMA table_info(queue_items)",
            "CREATE INDEX IF NOT EXISTS queue_items_status_idx ON queue_items(status)",
            "CREATE INDEX IF NOT EXISTS queue_items_position_idx ON queue_items(queue_position)",
            "CREATE INDEX IF NOT EXISTS queue_items_mode_position_idx ON queue_items(queue_mode, "
            "queue_position)",
            "CREATE TABLE IF NOT EXISTS session_attempts (", "PRAGMA table_info(queue_items)",
            "PRAGMA table_info(queue_items)", "PRAGMA table_info(session_attempts)",
            "PRAGMA table_info(session_attempts)",
            "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'session_attempts_legacy_notnull'",
            "SELECT 1 FROM queue_items\n"
            " WHERE length(bug_id) = 36\n"
            "   AND substr(bug_id, 9, 1) = '-'\n"
            " LIMIT 1",
            "SELECT 1 FROM session_attempts\n"
            " WHERE length(bug_id) = 36\n"
            "   AND substr(bug_id, 9, 1) = '-'\n"
            " LIMIT 1",
            "CREATE INDEX IF NOT EXISTS session_attempts_queue_item_idx ON session_attempts(queue_item_id)",
            "CREATE INDEX IF NOT EXISTS session_attempts_state_idx ON session_attempts(state)",
            "CREATE INDEX IF NOT EXISTS queue_items_codex_session_idx ON queue_items(codex_session_id)",
            "CREATE INDEX IF NOT EXISTS session_attempts_codex_session_idx ON "
            "session_attempts(codex_session_id)",
            "CREATE TABLE IF NOT EXISTS queue_events (",
            "CREATE INDEX IF NOT EXISTS queue_events_item_idx ON queue_events(queue_item_id, created_at)",
            "CREATE TABLE IF NOT EXISTS settings (", "PRAGMA user_version", "PRAGMA user_version = 7"));
}

TEST_F(MigrationsTest, LongBugIDsAreShortenedWithTheURLsFirst) {
    build({.firstBugID = test::longBugID});
    std::vector<std::string> updates = steps();
    std::erase_if(updates, [](const std::string& step) { return !step.starts_with("UPDATE"); });
    EXPECT_THAT(updates,
                ElementsAre("UPDATE queue_items\n"
                            "   SET bug_url = replace(bug_url, bug_id, lower(substr(bug_id, 1, 8)))\n"
                            " WHERE length(bug_id) = 36\n"
                            "   AND substr(bug_id, 9, 1) = '-'",
                            "UPDATE queue_items\n"
                            "   SET bug_id = lower(substr(bug_id, 1, 8))\n"
                            " WHERE length(bug_id) = 36\n"
                            "   AND substr(bug_id, 9, 1) = '-'",
                            "UPDATE session_attempts\n"
                            "   SET bug_id = lower(substr(bug_id, 1, 8))\n"
                            " WHERE length(bug_id) = 36\n"
                            "   AND substr(bug_id, 9, 1) = '-'"));
}

TEST_F(MigrationsTest, ALaterStartNeedsNoWriteLock) {
    migrate();
    Connection writer(directory / "queue.sqlite");
    writer.execute("BEGIN IMMEDIATE");
    EXPECT_NO_THROW(migrate());
}

TEST_F(MigrationsTest, MissingColumnsAreAddedInTheOrderOfTheSteps) {
    build({.mappingsHaveWorktreeRoot = false,
           .itemsHaveQueueMode = false,
           .itemsHaveConversation = false,
           .itemsHaveGoalFlow = false,
           .attemptsHaveConversation = false,
           .hasIndexes = false});
    std::vector<std::string> alters = steps();
    std::erase_if(alters, [](const std::string& step) { return !step.starts_with("ALTER TABLE"); });
    EXPECT_THAT(alters,
                ElementsAre("ALTER TABLE app_mappings ADD COLUMN worktree_root_path TEXT",
                            "ALTER TABLE queue_items ADD COLUMN queue_mode TEXT NOT NULL DEFAULT 'auto'",
                            "ALTER TABLE queue_items ADD COLUMN codex_session_id TEXT",
                            "ALTER TABLE queue_items ADD COLUMN goal_flow TEXT NOT NULL DEFAULT 'fix_bug'",
                            "ALTER TABLE session_attempts ADD COLUMN codex_session_id TEXT"));
}

TEST_F(MigrationsTest, ANewerVersionIsSetBack) {
    execute("PRAGMA user_version = 9");
    migrate();
    EXPECT_EQ(version(), SQLValue::integer(7));
}

TEST_F(MigrationsTest, AColumnIsMissingUnlessItsNameIsTheSameToTheLetter) {
    build({.mappingsHaveWorktreeRoot = false, .hasIndexes = false});
    execute("ALTER TABLE app_mappings ADD COLUMN WORKTREE_ROOT_PATH TEXT");
    const auto error = test::databaseErrorOf([&] { migrate(); });
    EXPECT_EQ(error,
              DatabaseError(DatabaseError::Kind::prepareFailed, "duplicate column name: worktree_root_path"));
}

TEST_F(MigrationsTest, TheFirstErrorStopsTheRunAndKeepsTheStepsBeforeIt) {
    execute("CREATE VIEW queue_items AS SELECT 1 AS id");
    const auto error = test::databaseErrorOf([&] { migrate(); });
    EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::prepareFailed, "Cannot add a column to a view"));
    EXPECT_THAT(values("SELECT name AS value FROM sqlite_master WHERE type = 'table'"),
                ElementsAre(SQLValue::text("app_mappings")));
    EXPECT_EQ(version(), SQLValue::integer(0));
}

}  // namespace
}  // namespace quernlight
