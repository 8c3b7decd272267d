#include "quernlight/storage/migrations.hpp"

#include <utility>

#include "quernlight/storage/attempts_rebuild.hpp"

namespace quernlight {
namespace {

constexpr const char* createAppMappings =
    "CREATE TABLE IF NOT EXISTS app_mappings (\n"
    "  bundle_id TEXT PRIMARY KEY,\n"
    "  app_id TEXT,\n"
    "  app_name TEXT NOT NULL,\n"
    "  repo_path TEXT NOT NULL,\n"
    "  worktree_root_path TEXT,\n"
    "  base_branch TEXT NOT NULL DEFAULT 'main',\n"
    "  codex_profile TEXT NOT NULL DEFAULT 'default',\n"
    "  created_at TEXT NOT NULL,\n"
    "  updated_at TEXT NOT NULL\n"
    ")";

constexpr const char* createQueueItems =
    "CREATE TABLE IF NOT EXISTS queue_items (\n"
    "  id TEXT PRIMARY KEY,\n"
    "  bug_id TEXT NOT NULL,\n"
    "  app_id TEXT NOT NULL,\n"
    "  app_name TEXT NOT NULL,\n"
    "  bundle_id TEXT NOT NULL,\n"
    "  title TEXT NOT NULL,\n"
    "  bug_url TEXT NOT NULL,\n"
    "  queue_position INTEGER NOT NULL,\n"
    "  queue_mode TEXT NOT NULL DEFAULT 'auto',\n"
    "  status TEXT NOT NULL,\n"
    "  goal_flow TEXT NOT NULL DEFAULT 'fix_bug',\n"
    "  priority INTEGER NOT NULL DEFAULT 0,\n"
    "  active_session_id TEXT,\n"
    "  codex_session_id TEXT,\n"
    "  error_message TEXT,\n"
    "  created_at TEXT NOT NULL,\n"
    "  added_at TEXT NOT NULL,\n"
    "  started_at TEXT,\n"
    "  completed_at TEXT,\n"
    "  cancelled_at TEXT,\n"
    "  UNIQUE(bug_id) ON CONFLICT IGNORE\n"
    ")";

constexpr const char* createQueueEvents =
    "CREATE TABLE IF NOT EXISTS queue_events (\n"
    "  id TEXT PRIMARY KEY,\n"
    "  queue_item_id TEXT NOT NULL REFERENCES queue_items(id) ON DELETE CASCADE,\n"
    "  session_id TEXT,\n"
    "  kind TEXT NOT NULL,\n"
    "  message TEXT NOT NULL,\n"
    "  metadata_json TEXT,\n"
    "  created_at TEXT NOT NULL\n"
    ")";

constexpr const char* createSettings =
    "CREATE TABLE IF NOT EXISTS settings (\n"
    "  key TEXT PRIMARY KEY,\n"
    "  value TEXT NOT NULL,\n"
    "  updated_at TEXT NOT NULL\n"
    ")";

// Bug ids were once stored as whole UUIDs. The URLs come first: they are found by the whole id inside them.
constexpr const char* shortenBugURLs =
    "UPDATE queue_items\n"
    "   SET bug_url = replace(bug_url, bug_id, lower(substr(bug_id, 1, 8)))\n"
    " WHERE length(bug_id) = 36\n"
    "   AND substr(bug_id, 9, 1) = '-'";

constexpr const char* ofLongBugIDs =
    "\n"
    " WHERE length(bug_id) = 36\n"
    "   AND substr(bug_id, 9, 1) = '-'";

std::string shorteningOfBugIDs(const std::string& table) {
    return "UPDATE " + table + "\n   SET bug_id = lower(substr(bug_id, 1, 8))" + ofLongBugIDs;
}

bool hasColumn(Connection& connection, const std::string& table, const std::string& column) {
    for (const Row& row : connection.query("PRAGMA table_info(" + table + ")")) {
        if (row.at("name") == SQLValue::text(column)) {
            return true;
        }
    }
    return false;
}

}  // namespace

Task<void> Migrations::run() const {
    co_await database_->execute(createAppMappings);
    co_await addColumnIfMissing("app_mappings", "worktree_root_path", "worktree_root_path TEXT");
    co_await createQueueTables();
    co_await relaxAttemptQueueItemID();
    co_await shortenBugIDs();
    co_await createAttemptIndexes();
    co_await database_->execute(createQueueEvents);
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS queue_events_item_idx ON queue_events(queue_item_id, created_at)");
    co_await database_->execute(createSettings);
    co_await setVersion();
}

Task<void> Migrations::createQueueTables() const {
    co_await database_->execute(createQueueItems);
    co_await addColumnIfMissing("queue_items", "queue_mode", "queue_mode TEXT NOT NULL DEFAULT 'auto'");
    co_await database_->execute("CREATE INDEX IF NOT EXISTS queue_items_status_idx ON queue_items(status)");
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS queue_items_position_idx ON queue_items(queue_position)");
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS queue_items_mode_position_idx ON queue_items(queue_mode, queue_position)");
    co_await database_->execute(std::string("CREATE TABLE IF NOT EXISTS ") + sessionAttemptsLayout);
    co_await addColumnIfMissing("queue_items", "codex_session_id", "codex_session_id TEXT");
    co_await addColumnIfMissing("queue_items", "goal_flow", "goal_flow TEXT NOT NULL DEFAULT 'fix_bug'");
    co_await addColumnIfMissing("session_attempts", "codex_session_id", "codex_session_id TEXT");
}

Task<void> Migrations::createAttemptIndexes() const {
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS session_attempts_queue_item_idx ON session_attempts(queue_item_id)");
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS session_attempts_state_idx ON session_attempts(state)");
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS queue_items_codex_session_idx ON queue_items(codex_session_id)");
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS session_attempts_codex_session_idx ON "
        "session_attempts(codex_session_id)");
}

/// Looks once more under the write lock, since another process may have been faster.
Task<void> Migrations::addColumnIfMissing(std::string table, std::string column,
                                          std::string definition) const {
    bool isThere = false;
    const auto look = [&](Connection& connection) { isThere = hasColumn(connection, table, column); };
    co_await database_->withConnection(look);
    if (isThere) {
        co_return;
    }
    const auto add = [table, column, definition](Connection& connection) {
        if (!hasColumn(connection, table, column)) {
            connection.execute("ALTER TABLE " + table + " ADD COLUMN " + definition);
        }
    };
    co_await database_->transaction(add);
}

Task<void> Migrations::relaxAttemptQueueItemID() const {
    const auto rebuildIfNeeded = [](Connection& connection) {
        if (attemptsNeedRebuild(connection)) {
            rebuildAttempts(connection);
        }
    };
    co_await database_->withConnection(rebuildIfNeeded);
}

Task<void> Migrations::shortenBugIDs() const {
    const bool itemsAreLong = co_await hasLongBugIDs("queue_items");
    if (itemsAreLong) {
        co_await database_->execute(shortenBugURLs);
        co_await database_->execute(shorteningOfBugIDs("queue_items"));
    }
    const bool attemptsAreLong = co_await hasLongBugIDs("session_attempts");
    if (attemptsAreLong) {
        co_await database_->execute(shorteningOfBugIDs("session_attempts"));
    }
}

Task<bool> Migrations::hasLongBugIDs(std::string table) const {
    const auto rows = co_await database_->query("SELECT 1 FROM " + table + ofLongBugIDs + "\n LIMIT 1");
    co_return !rows.empty();
}

Task<void> Migrations::setVersion() const {
    const auto rows = co_await database_->query("PRAGMA user_version");
    if (rows.at(0).at("user_version") != SQLValue::integer(version)) {
        co_await database_->execute("PRAGMA user_version = " + std::to_string(version));
    }
}

}  // namespace quernlight
