#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"

namespace quernlight {
namespace {

using test::runTask;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class SchemaTest : public test::DatabaseFixture {
  protected:
    void SetUp() override { runTask(Migrations(database).run()); }

    std::vector<std::string> texts(const std::string& sql) {
        std::vector<std::string> texts;
        for (const Row& row : rows(sql)) {
            texts.push_back(*row.at("value").asText());
        }
        return texts;
    }

    /// Each column as it would be declared, in order.
    std::vector<std::string> columns(const std::string& table) {
        return texts(
            "SELECT name || ' ' || type || iif(\"notnull\", ' NOT NULL', '') || "
            "iif(dflt_value IS NULL, '', ' DEFAULT ' || dflt_value) || iif(pk, ' PRIMARY KEY', '') "
            "AS value FROM pragma_table_info('" +
            table + "') ORDER BY cid");
    }

    /// The constraints that span a table, and those that point out of it.
    std::vector<std::string> uniqueConstraints(const std::string& table) {
        return texts(
            "SELECT (SELECT group_concat(name, ', ') FROM pragma_index_info(l.name)) AS value "
            "FROM pragma_index_list('" +
            table + "') l WHERE origin = 'u' AND \"unique\" AND NOT partial");
    }

    std::vector<std::string> foreignKeys(const std::string& table) {
        return texts(
            "SELECT \"from\" || ' to ' || \"table\" || '(' || \"to\" || ') ' || on_delete AS value "
            "FROM pragma_foreign_key_list('" +
            table + "')");
    }

    void addItem(const std::string& id, const std::string& bugID) {
        execute(
            "INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, "
            "queue_position, status, created_at, added_at) VALUES (?, ?, 'A', 'App', 'b', 'T', 'u', 0, "
            "'queued', 'c', 'a')",
            {SQLValue::text(id), SQLValue::text(bugID)});
    }

    void addAttempt(const std::string& id, const SQLValue& item) {
        execute(
            "INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
            "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, started_at) "
            "VALUES (?, ?, 1, 'b', '/r', '/a', '/t', 'goal', 'marker', 'created', 's')",
            {SQLValue::text(id), item});
    }
};

TEST_F(SchemaTest, OfANewFileHasFiveTablesAndVersionSeven) {
    EXPECT_THAT(
        texts("SELECT name AS value FROM sqlite_master WHERE type = 'table'"),
        UnorderedElementsAre("app_mappings", "queue_items", "session_attempts", "queue_events", "settings"));
    EXPECT_EQ(rows("PRAGMA user_version").at(0).at("user_version"), SQLValue::integer(7));
}

TEST_F(SchemaTest, OfMappings) {
    EXPECT_THAT(columns("app_mappings"),
                ElementsAre("bundle_id TEXT PRIMARY KEY", "app_id TEXT", "app_name TEXT NOT NULL",
                            "repo_path TEXT NOT NULL", "worktree_root_path TEXT",
                            "base_branch TEXT NOT NULL DEFAULT 'main'",
                            "codex_profile TEXT NOT NULL DEFAULT 'default'", "created_at TEXT NOT NULL",
                            "updated_at TEXT NOT NULL"));
    EXPECT_THAT(uniqueConstraints("app_mappings"), ElementsAre());
}

TEST_F(SchemaTest, OfQueueItems) {
    EXPECT_THAT(
        columns("queue_items"),
        ElementsAre("id TEXT PRIMARY KEY", "bug_id TEXT NOT NULL", "app_id TEXT NOT NULL",
                    "app_name TEXT NOT NULL", "bundle_id TEXT NOT NULL", "title TEXT NOT NULL",
                    "bug_url TEXT NOT NULL", "queue_position INTEGER NOT NULL",
                    "queue_mode TEXT NOT NULL DEFAULT 'auto'", "status TEXT NOT NULL",
                    "goal_flow TEXT NOT NULL DEFAULT 'fix_bug'", "priority INTEGER NOT NULL DEFAULT 0",
                    "active_session_id TEXT", "codex_session_id TEXT", "error_message TEXT",
                    "created_at TEXT NOT NULL", "added_at TEXT NOT NULL", "started_at TEXT",
                    "completed_at TEXT", "cancelled_at TEXT"));
    EXPECT_THAT(uniqueConstraints("queue_items"), ElementsAre("bug_id"));
}

TEST_F(SchemaTest, OfAttempts) {
    EXPECT_THAT(
        columns("session_attempts"),
        ElementsAre("id TEXT PRIMARY KEY", "queue_item_id TEXT", "attempt_number INTEGER NOT NULL",
                    "bug_id TEXT NOT NULL", "repo_path TEXT NOT NULL", "agent_workspace_path TEXT",
                    "transcript_ansi_path TEXT NOT NULL", "transcript_text_path TEXT NOT NULL",
                    "goal_text TEXT NOT NULL", "completion_marker TEXT NOT NULL", "pid INTEGER",
                    "state TEXT NOT NULL", "exit_code INTEGER", "started_at TEXT NOT NULL",
                    "last_output_at TEXT", "ended_at TEXT", "completion_comment_id TEXT",
                    "completion_comment_created_at TEXT", "codex_session_id TEXT", "failure_reason TEXT"));
    EXPECT_THAT(uniqueConstraints("session_attempts"), ElementsAre("queue_item_id, attempt_number"));
    EXPECT_THAT(foreignKeys("session_attempts"), ElementsAre("queue_item_id to queue_items(id) CASCADE"));
}

TEST_F(SchemaTest, OfEvents) {
    EXPECT_THAT(columns("queue_events"),
                ElementsAre("id TEXT PRIMARY KEY", "queue_item_id TEXT NOT NULL", "session_id TEXT",
                            "kind TEXT NOT NULL", "message TEXT NOT NULL", "metadata_json TEXT",
                            "created_at TEXT NOT NULL"));
    EXPECT_THAT(foreignKeys("queue_events"), ElementsAre("queue_item_id to queue_items(id) CASCADE"));
}

TEST_F(SchemaTest, OfSettings) {
    EXPECT_THAT(columns("settings"),
                ElementsAre("key TEXT PRIMARY KEY", "value TEXT NOT NULL", "updated_at TEXT NOT NULL"));
}

TEST_F(SchemaTest, HasEightIndexesByNameAndColumns) {
    EXPECT_THAT(
        texts("SELECT m.name || ' on ' || m.tbl_name || '(' || (SELECT group_concat(name, ', ') FROM "
              "pragma_index_info(m.name)) || ')' AS value FROM sqlite_master m WHERE type = 'index' "
              "AND sql IS NOT NULL"),
        UnorderedElementsAre("queue_items_status_idx on queue_items(status)",
                             "queue_items_position_idx on queue_items(queue_position)",
                             "queue_items_mode_position_idx on queue_items(queue_mode, queue_position)",
                             "session_attempts_queue_item_idx on session_attempts(queue_item_id)",
                             "session_attempts_state_idx on session_attempts(state)",
                             "queue_items_codex_session_idx on queue_items(codex_session_id)",
                             "session_attempts_codex_session_idx on session_attempts(codex_session_id)",
                             "queue_events_item_idx on queue_events(queue_item_id, created_at)"));
}

TEST_F(SchemaTest, SkipsAnInsertOrUpdateThatWouldQueueABugTwice) {
    addItem("I", "first");
    addItem("J", "second");
    EXPECT_NO_THROW(addItem("K", "first"));
    EXPECT_NO_THROW(execute("UPDATE queue_items SET bug_id = 'first' WHERE id = 'J'"));
    EXPECT_THAT(texts("SELECT id || ' ' || bug_id AS value FROM queue_items ORDER BY id"),
                ElementsAre("I first", "J second"));
}

TEST_F(SchemaTest, DeletesTheAttemptsAndEventsOfADeletedItemAndNoOthers) {
    addItem("I", "first");
    addItem("J", "second");
    addAttempt("T", SQLValue::text("I"));
    addAttempt("U", SQLValue::text("J"));
    addAttempt("R", SQLValue::null());
    execute("INSERT INTO queue_events VALUES ('E', 'I', NULL, 'enqueued', 'm', NULL, 'c')");
    execute("INSERT INTO queue_events VALUES ('F', 'J', NULL, 'enqueued', 'm', NULL, 'c')");
    execute("DELETE FROM queue_items WHERE id = 'I'");
    EXPECT_THAT(texts("SELECT id AS value FROM session_attempts ORDER BY id"), ElementsAre("R", "U"));
    EXPECT_THAT(texts("SELECT id AS value FROM queue_events"), ElementsAre("F"));
}

TEST_F(SchemaTest, LetsAttemptsWithoutAnItemShareANumberButNotThoseOfOneItem) {
    addItem("I", "first");
    addAttempt("R", SQLValue::null());
    EXPECT_NO_THROW(addAttempt("S", SQLValue::null()));
    addAttempt("T", SQLValue::text("I"));
    EXPECT_THROW(addAttempt("U", SQLValue::text("I")), DatabaseError);
}

}  // namespace
}  // namespace quernlight
