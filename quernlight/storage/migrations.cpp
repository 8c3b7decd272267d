#include "quernlight/storage/migrations.hpp"

#include <exception>
#include <string_view>

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

constexpr const char* sessionAttemptsLayout =
    "session_attempts (\n"
    "  id TEXT PRIMARY KEY,\n"
    "  queue_item_id TEXT REFERENCES queue_items(id) ON DELETE CASCADE,\n"
    "  attempt_number INTEGER NOT NULL,\n"
    "  bug_id TEXT NOT NULL,\n"
    "  repo_path TEXT NOT NULL,\n"
    "  agent_workspace_path TEXT,\n"
    "  transcript_ansi_path TEXT NOT NULL,\n"
    "  transcript_text_path TEXT NOT NULL,\n"
    "  goal_text TEXT NOT NULL,\n"
    "  completion_marker TEXT NOT NULL,\n"
    "  pid INTEGER,\n"
    "  state TEXT NOT NULL,\n"
    "  exit_code INTEGER,\n"
    "  started_at TEXT NOT NULL,\n"
    "  last_output_at TEXT,\n"
    "  ended_at TEXT,\n"
    "  completion_comment_id TEXT,\n"
    "  completion_comment_created_at TEXT,\n"
    "  codex_session_id TEXT,\n"
    "  failure_reason TEXT,\n"
    "  UNIQUE(queue_item_id, attempt_number)\n"
    ")";

constexpr const char* sessionAttemptsColumns =
    "id, queue_item_id, attempt_number, bug_id, repo_path, agent_workspace_path, transcript_ansi_path, "
    "transcript_text_path, goal_text, completion_marker, pid, state, exit_code, started_at, last_output_at, "
    "ended_at, completion_comment_id, completion_comment_created_at, codex_session_id, failure_reason";

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

std::string shortenBugIDs(const std::string& table) {
    return "UPDATE " + table +
           "\n"
           "   SET bug_id = lower(substr(bug_id, 1, 8))\n"
           " WHERE length(bug_id) = 36\n"
           "   AND substr(bug_id, 9, 1) = '-'";
}

bool hasText(const Row& row, std::string_view column, const std::string& text) {
    const auto found = row.find(column);
    return found != row.end() && found->second == SQLValue::text(text);
}

bool isRequired(const Row& row) {
    const auto found = row.find("notnull");
    return found != row.end() && found->second == SQLValue::integer(1);
}

}  // namespace

Task<void> Migrations::run() const {
    co_await database_->execute(createAppMappings);
    co_await addColumnIfMissing("app_mappings", "worktree_root_path", "worktree_root_path TEXT");
    co_await createQueueTables();
    co_await relaxAttemptQueueItemID();
    co_await database_->execute(shortenBugURLs);
    co_await database_->execute(shortenBugIDs("queue_items"));
    co_await database_->execute(shortenBugIDs("session_attempts"));
    co_await createAttemptIndexes();
    co_await database_->execute(createQueueEvents);
    co_await database_->execute(
        "CREATE INDEX IF NOT EXISTS queue_events_item_idx ON queue_events(queue_item_id, created_at)");
    co_await database_->execute(createSettings);
    co_await database_->execute("PRAGMA user_version = 7");
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

Task<void> Migrations::addColumnIfMissing(std::string table, std::string column,
                                          std::string definition) const {
    const std::vector<Row> rows = co_await database_->query("PRAGMA table_info(" + table + ")");
    for (const Row& row : rows) {
        if (hasText(row, "name", column)) {
            co_return;
        }
    }
    co_await database_->execute("ALTER TABLE " + table + " ADD COLUMN " + definition);
}

Task<void> Migrations::relaxAttemptQueueItemID() const {
    const bool needed = co_await attemptsRequireQueueItemID();
    if (!needed) {
        co_return;
    }
    co_await database_->execute("PRAGMA foreign_keys = OFF");
    std::exception_ptr failure;
    try {
        co_await rebuildAttempts();
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        co_await restoreForeignKeys();
        std::rethrow_exception(failure);
    }
}

Task<bool> Migrations::attemptsRequireQueueItemID() const {
    const std::vector<Row> rows = co_await database_->query("PRAGMA table_info(session_attempts)");
    for (const Row& row : rows) {
        if (hasText(row, "name", "queue_item_id") && isRequired(row)) {
            co_return true;
        }
    }
    co_return false;
}

Task<void> Migrations::rebuildAttempts() const {
    const std::string columns = sessionAttemptsColumns;
    co_await database_->execute("ALTER TABLE session_attempts RENAME TO session_attempts_legacy_notnull");
    co_await database_->execute(std::string("CREATE TABLE ") + sessionAttemptsLayout);
    co_await database_->execute("INSERT INTO session_attempts (" + columns + ")\nSELECT " + columns +
                                "\n  FROM session_attempts_legacy_notnull");
    co_await database_->execute("DROP TABLE session_attempts_legacy_notnull");
    co_await database_->execute("PRAGMA foreign_keys = ON");
}

Task<void> Migrations::restoreForeignKeys() const {
    try {
        co_await database_->execute("PRAGMA foreign_keys = ON");
    } catch (const std::exception&) {
        // The error that stopped the rebuild is the one to be told.
    }
}

}  // namespace quernlight
