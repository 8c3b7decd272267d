#include "quernlight/storage/migrations.hpp"

#include <algorithm>

#include <gmock/gmock.h>

#include "tests/storage/database_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;
using test::runTask;
using testing::ElementsAre;

constexpr const char* firstLongID = "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF";
constexpr const char* secondLongID = "3F2A9C10-1111-2222-3333-444455556666";

class MigrationsTest : public test::DatabaseFixture {
  protected:
    void migrate() { runTask(Migrations(database).run()); }

    std::vector<std::string> names(const std::string& type) {
        const std::string sql =
            "SELECT name FROM sqlite_master WHERE type = ? AND name NOT LIKE 'sqlite_%' ORDER BY name";
        return texts(sql, "name", {SQLValue::text(type)});
    }

    std::vector<std::string> columns(const std::string& table) {
        return texts("PRAGMA table_info(" + table + ")", "name");
    }

    std::vector<std::string> texts(const std::string& sql, const std::string& column,
                                   const SQLValues& values = {}) {
        std::vector<std::string> texts;
        for (const Row& row : rows(sql, values)) {
            const std::string* text = row.at(column).asText();
            texts.push_back(text ? *text : "NULL");
        }
        return texts;
    }

    std::string text(const std::string& sql) { return texts(sql, "value").at(0); }

    void addItem(const std::string& id, const std::string& bugID) {
        execute(
            "INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, "
            "queue_position, status, created_at, added_at) VALUES (?, ?, 'A', 'App', 'b', 'T', ?, 0, "
            "'queued', 'c', 'a')",
            {SQLValue::text(id), SQLValue::text(bugID), SQLValue::text("https://bugs.example/" + bugID)});
    }

    void addAttempt(const std::string& id, const SQLValue& item, const std::string& bugID) {
        execute(
            "INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
            "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, started_at) "
            "VALUES (?, ?, 1, ?, '/r', '/a', '/t', 'goal', 'marker', 'created', 's')",
            {SQLValue::text(id), item, SQLValue::text(bugID)});
    }

    /// Rewrites the layout of a table as an older version created it.
    void replaceInLayout(const std::string& table, const std::string& current, const std::string& older) {
        std::string sql = text("SELECT sql AS value FROM sqlite_master WHERE name = '" + table + "'");
        const auto found = sql.find(current);
        ASSERT_NE(found, std::string::npos) << sql;
        sql.replace(found, current.size(), older);
        execute("DROP TABLE " + table);
        execute(sql);
    }

    void requireQueueItemID() {
        replaceInLayout("session_attempts", "queue_item_id TEXT REFERENCES",
                        "queue_item_id TEXT NOT NULL REFERENCES");
    }

    bool foreignKeysAreOn() {
        return rows("PRAGMA foreign_keys").at(0).at("foreign_keys") == SQLValue::integer(1);
    }
};

TEST_F(MigrationsTest, ANewFileGetsAllTablesAllIndexesAndTheVersion) {
    migrate();
    EXPECT_THAT(names("table"),
                ElementsAre("app_mappings", "queue_events", "queue_items", "session_attempts", "settings"));
    EXPECT_THAT(names("index"), ElementsAre("queue_events_item_idx", "queue_items_codex_session_idx",
                                            "queue_items_mode_position_idx", "queue_items_position_idx",
                                            "queue_items_status_idx", "session_attempts_codex_session_idx",
                                            "session_attempts_queue_item_idx", "session_attempts_state_idx"));
    EXPECT_EQ(rows("PRAGMA user_version").at(0).at("user_version"), SQLValue::integer(7));
}

TEST_F(MigrationsTest, TheTablesHaveTheirColumnsInOrder) {
    migrate();
    EXPECT_THAT(columns("app_mappings"),
                ElementsAre("bundle_id", "app_id", "app_name", "repo_path", "worktree_root_path",
                            "base_branch", "codex_profile", "created_at", "updated_at"));
    EXPECT_THAT(
        columns("queue_items"),
        ElementsAre("id", "bug_id", "app_id", "app_name", "bundle_id", "title", "bug_url", "queue_position",
                    "queue_mode", "status", "goal_flow", "priority", "active_session_id", "codex_session_id",
                    "error_message", "created_at", "added_at", "started_at", "completed_at", "cancelled_at"));
    EXPECT_THAT(
        columns("session_attempts"),
        ElementsAre("id", "queue_item_id", "attempt_number", "bug_id", "repo_path", "agent_workspace_path",
                    "transcript_ansi_path", "transcript_text_path", "goal_text", "completion_marker", "pid",
                    "state", "exit_code", "started_at", "last_output_at", "ended_at", "completion_comment_id",
                    "completion_comment_created_at", "codex_session_id", "failure_reason"));
    EXPECT_THAT(columns("queue_events"), ElementsAre("id", "queue_item_id", "session_id", "kind", "message",
                                                     "metadata_json", "created_at"));
    EXPECT_THAT(columns("settings"), ElementsAre("key", "value", "updated_at"));
}

TEST_F(MigrationsTest, TheIndexesAreOnTheirColumns) {
    migrate();
    const auto indexed = [&](const std::string& index) {
        return texts("PRAGMA index_info(" + index + ")", "name");
    };
    EXPECT_THAT(indexed("queue_items_mode_position_idx"), ElementsAre("queue_mode", "queue_position"));
    EXPECT_THAT(indexed("queue_events_item_idx"), ElementsAre("queue_item_id", "created_at"));
    EXPECT_THAT(indexed("session_attempts_codex_session_idx"), ElementsAre("codex_session_id"));
}

TEST_F(MigrationsTest, ASecondRunChangesNothing) {
    migrate();
    addItem("I", "3f2a9c10");
    addAttempt("A", SQLValue::text("I"), "3f2a9c10");
    const auto layout = rows("SELECT * FROM sqlite_master");
    const auto items = rows("SELECT * FROM queue_items");
    const auto changes = rows("SELECT total_changes() AS value");
    migrate();
    EXPECT_EQ(rows("SELECT * FROM sqlite_master"), layout);
    EXPECT_EQ(rows("SELECT * FROM queue_items"), items);
    EXPECT_EQ(rows("SELECT total_changes() AS value"), changes);
}

TEST_F(MigrationsTest, ANewerVersionIsSetBack) {
    execute("PRAGMA user_version = 9");
    migrate();
    EXPECT_EQ(rows("PRAGMA user_version").at(0).at("user_version"), SQLValue::integer(7));
}

TEST_F(MigrationsTest, MappingsWithoutAWorktreeRootGainOneThatIsNull) {
    migrate();
    replaceInLayout("app_mappings", "  worktree_root_path TEXT,\n", "");
    execute(
        "INSERT INTO app_mappings (bundle_id, app_name, repo_path, created_at, updated_at) "
        "VALUES ('b', 'App', '/r', 'c', 'u')");
    migrate();
    EXPECT_EQ(text("SELECT worktree_root_path AS value FROM app_mappings"), "NULL");
    EXPECT_EQ(text("SELECT base_branch AS value FROM app_mappings"), "main");
    EXPECT_EQ(text("SELECT codex_profile AS value FROM app_mappings"), "default");
}

TEST_F(MigrationsTest, ItemsWithoutModeOrGoalFlowGainTheDefaults) {
    migrate();
    replaceInLayout("queue_items", "  queue_mode TEXT NOT NULL DEFAULT 'auto',\n", "");
    replaceInLayout("queue_items", "  goal_flow TEXT NOT NULL DEFAULT 'fix_bug',\n", "");
    addItem("I", "3f2a9c10");
    migrate();
    EXPECT_EQ(text("SELECT queue_mode AS value FROM queue_items"), "auto");
    EXPECT_EQ(text("SELECT goal_flow AS value FROM queue_items"), "fix_bug");
}

TEST_F(MigrationsTest, TablesWithoutTheConversationOfTheAgentGainIt) {
    migrate();
    replaceInLayout("queue_items", "  codex_session_id TEXT,\n", "");
    replaceInLayout("session_attempts", "  codex_session_id TEXT,\n", "");
    migrate();
    EXPECT_THAT(columns("queue_items"), testing::Contains("codex_session_id"));
    EXPECT_THAT(columns("session_attempts"), testing::Contains("codex_session_id"));
}

TEST_F(MigrationsTest, ALongBugIDIsShortenedInTheItemItsURLAndItsAttempts) {
    migrate();
    addItem("I", firstLongID);
    addAttempt("A", SQLValue::text("I"), firstLongID);
    migrate();
    EXPECT_EQ(text("SELECT bug_id AS value FROM queue_items"), "3f2a9c10");
    EXPECT_EQ(text("SELECT bug_url AS value FROM queue_items"), "https://bugs.example/3f2a9c10");
    EXPECT_EQ(text("SELECT bug_id AS value FROM session_attempts"), "3f2a9c10");
}

TEST_F(MigrationsTest, OnlyTextsOfTheFormOfAUuidAreShortened) {
    migrate();
    addItem("I", "3F2A9C10");
    addItem("J", "3F2A9C10xAAAA-BBBB-CCCC-DDDDEEEEFFFF");
    migrate();
    EXPECT_THAT(texts("SELECT bug_id FROM queue_items ORDER BY id", "bug_id"),
                ElementsAre("3F2A9C10", "3F2A9C10xAAAA-BBBB-CCCC-DDDDEEEEFFFF"));
}

TEST_F(MigrationsTest, OfTwoLongBugIDsWithOneShortFormTheSecondStaysLongButForItsURL) {
    migrate();
    addItem("I", firstLongID);
    addItem("J", secondLongID);
    migrate();
    EXPECT_THAT(texts("SELECT bug_id FROM queue_items ORDER BY rowid", "bug_id"),
                ElementsAre("3f2a9c10", secondLongID));
    EXPECT_THAT(texts("SELECT bug_url FROM queue_items ORDER BY rowid", "bug_url"),
                ElementsAre("https://bugs.example/3f2a9c10", "https://bugs.example/3f2a9c10"));
}

TEST_F(MigrationsTest, AttemptsThatRequireAQueueItemAreRebuiltWithAllRowsKept) {
    migrate();
    requireQueueItemID();
    addItem("I", "3f2a9c10");
    addAttempt("A", SQLValue::text("I"), "3f2a9c10");
    const auto before = rows("SELECT * FROM session_attempts");
    migrate();
    EXPECT_EQ(rows("SELECT * FROM session_attempts"), before);
    EXPECT_NO_THROW(addAttempt("B", SQLValue::null(), "3f2a9c10"));
    EXPECT_THAT(names("table"), testing::Not(testing::Contains("session_attempts_legacy_notnull")));
    EXPECT_TRUE(foreignKeysAreOn());
}

TEST_F(MigrationsTest, ARebuiltTableHasTheLayoutOfANewOne) {
    migrate();
    const auto fresh = columns("session_attempts");
    const auto indexes = names("index");
    requireQueueItemID();
    migrate();
    EXPECT_EQ(columns("session_attempts"), fresh);
    EXPECT_EQ(names("index"), indexes);
    addItem("I", "3f2a9c10");
    addAttempt("A", SQLValue::text("I"), "3f2a9c10");
    EXPECT_THROW(addAttempt("B", SQLValue::text("I"), "3f2a9c10"), DatabaseError);
}

TEST_F(MigrationsTest, ARebuildThatCannotBeginRestoresForeignKeysAndTellsWhy) {
    migrate();
    requireQueueItemID();
    execute("CREATE TABLE session_attempts_legacy_notnull (id TEXT)");
    const auto error = databaseErrorOf([&] { migrate(); });
    ASSERT_TRUE(error);
    EXPECT_THAT(error->text(), testing::HasSubstr("session_attempts_legacy_notnull"));
    EXPECT_TRUE(foreignKeysAreOn());
}

TEST_F(MigrationsTest, ARebuildThatFailsMidwayRestoresForeignKeysAndLeavesTheDataUnderTheLegacyName) {
    migrate();
    requireQueueItemID();
    replaceInLayout("session_attempts", "  failure_reason TEXT,\n", "");
    addItem("I", "3f2a9c10");
    addAttempt("A", SQLValue::text("I"), "3f2a9c10");
    const auto error = databaseErrorOf([&] { migrate(); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "no such column: failure_reason"));
    EXPECT_TRUE(foreignKeysAreOn());
    EXPECT_EQ(rows("SELECT * FROM session_attempts_legacy_notnull").size(), 1U);
}

TEST_F(MigrationsTest, TheFirstErrorStopsTheRunAndKeepsTheStepsBeforeIt) {
    execute("CREATE VIEW queue_items AS SELECT 1 AS id");
    EXPECT_THROW(migrate(), DatabaseError);
    EXPECT_THAT(names("table"), ElementsAre("app_mappings"));
    EXPECT_EQ(rows("PRAGMA user_version").at(0).at("user_version"), SQLValue::integer(0));
}

TEST_F(MigrationsTest, DeletingAnItemDeletesItsAttemptsAndEvents) {
    migrate();
    addItem("I", "3f2a9c10");
    addAttempt("A", SQLValue::text("I"), "3f2a9c10");
    execute("INSERT INTO queue_events VALUES ('E', 'I', NULL, 'enqueued', 'm', NULL, 'c')");
    execute("DELETE FROM queue_items");
    EXPECT_TRUE(rows("SELECT * FROM session_attempts").empty());
    EXPECT_TRUE(rows("SELECT * FROM queue_events").empty());
}

TEST(MigrationStepsTest, TheStepsRunInTheirOrder) {
    test::StatementRecorder recorder;
    const test::TemporaryDirectory directory;
    const auto database = std::make_shared<Database>(directory / "queue.sqlite");
    recorder.take();
    runTask(Migrations(database).run());
    std::vector<std::string> steps;
    for (const std::string& statement : recorder.take()) {
        steps.push_back(statement.substr(0, statement.find('\n')));
    }
    EXPECT_THAT(
        steps,
        ElementsAre(
            "CREATE TABLE IF NOT EXISTS app_mappings (", "PRAGMA table_info(app_mappings)",
            "CREATE TABLE IF NOT EXISTS queue_items (", "PRAGMA table_info(queue_items)",
            "CREATE INDEX IF NOT EXISTS queue_items_status_idx ON queue_items(status)",
            "CREATE INDEX IF NOT EXISTS queue_items_position_idx ON queue_items(queue_position)",
            "CREATE INDEX IF NOT EXISTS queue_items_mode_position_idx ON queue_items(queue_mode, "
            "queue_position)",
            "CREATE TABLE IF NOT EXISTS session_attempts (", "PRAGMA table_info(queue_items)",
            "PRAGMA table_info(queue_items)", "PRAGMA table_info(session_attempts)",
            "PRAGMA table_info(session_attempts)", "UPDATE queue_items", "UPDATE queue_items",
            "UPDATE session_attempts",
            "CREATE INDEX IF NOT EXISTS session_attempts_queue_item_idx ON session_attempts(queue_item_id)",
            "CREATE INDEX IF NOT EXISTS session_attempts_state_idx ON session_attempts(state)",
            "CREATE INDEX IF NOT EXISTS queue_items_codex_session_idx ON queue_items(codex_session_id)",
            "CREATE INDEX IF NOT EXISTS session_attempts_codex_session_idx ON "
            "session_attempts(codex_session_id)",
            "CREATE TABLE IF NOT EXISTS queue_events (",
            "CREATE INDEX IF NOT EXISTS queue_events_item_idx ON queue_events(queue_item_id, created_at)",
            "CREATE TABLE IF NOT EXISTS settings (", "PRAGMA user_version = 7"));
}

}  // namespace
}  // namespace quernlight
