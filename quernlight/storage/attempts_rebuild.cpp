#include "quernlight/storage/attempts_rebuild.hpp"

#include <exception>
#include <string>

namespace quernlight {

const char* const sessionAttemptsLayout =
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

namespace {

constexpr const char* sessionAttemptsColumns =
    "id, queue_item_id, attempt_number, bug_id, repo_path, agent_workspace_path, transcript_ansi_path, "
    "transcript_text_path, goal_text, completion_marker, pid, state, exit_code, started_at, last_output_at, "
    "ended_at, completion_comment_id, completion_comment_created_at, codex_session_id, failure_reason";

// After the program was cut off the numbers began anew, with those of the rows that were left. The rows that
// were left are the older ones: those after them move up behind them. By way of negative numbers, since each
// row must be the only one of its number at every moment.
constexpr const char* moveUpWhatHasALeftNumber =
    "UPDATE session_attempts AS newer\n"
    "   SET attempt_number = -(attempt_number + (SELECT MAX(attempt_number)\n"
    "                                              FROM session_attempts_legacy_notnull AS older\n"
    "                                             WHERE older.queue_item_id = newer.queue_item_id))\n"
    " WHERE id NOT IN (SELECT id FROM session_attempts_legacy_notnull)\n"
    "   AND queue_item_id IN (SELECT same.queue_item_id\n"
    "                           FROM session_attempts AS same\n"
    "                           JOIN session_attempts_legacy_notnull AS older\n"
    "                             ON older.queue_item_id = same.queue_item_id\n"
    "                            AND older.attempt_number = same.attempt_number\n"
    "                            AND older.id <> same.id)";

constexpr const char* makeNumbersPositive =
    "UPDATE session_attempts SET attempt_number = -attempt_number WHERE attempt_number < 0";

bool attemptsRequireAnItem(Connection& connection) {
    for (const Row& column : connection.query("PRAGMA table_info(session_attempts)")) {
        if (column.at("name") == SQLValue::text("queue_item_id")) {
            return column.at("notnull") == SQLValue::integer(1);
        }
    }
    return false;
}

bool legacyRowsAreLeft(Connection& connection) {
    const auto rows = connection.query(
        "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'session_attempts_legacy_notnull'");
    return !rows.empty();
}

std::string copyLegacyRows(const std::string& condition = "") {
    const std::string columns = sessionAttemptsColumns;
    return "INSERT INTO session_attempts (" + columns + ")\nSELECT " + columns +
           "\n  FROM session_attempts_legacy_notnull" + condition;
}

void takeBackLegacyRows(Connection& connection) {
    connection.execute(moveUpWhatHasALeftNumber);
    connection.execute(makeNumbersPositive);
    connection.execute(copyLegacyRows("\n WHERE id NOT IN (SELECT id FROM session_attempts)"));
    connection.execute("DROP TABLE session_attempts_legacy_notnull");
}

void relaxQueueItemID(Connection& connection) {
    connection.execute("ALTER TABLE session_attempts RENAME TO session_attempts_legacy_notnull");
    connection.execute(std::string("CREATE TABLE ") + sessionAttemptsLayout);
    connection.execute(copyLegacyRows());
    connection.execute("DROP TABLE session_attempts_legacy_notnull");
}

/// Looks again, since another process may have been faster.
void rebuildWhatNeedsIt(Connection& connection) {
    if (legacyRowsAreLeft(connection)) {
        takeBackLegacyRows(connection);
    }
    if (attemptsRequireAnItem(connection)) {
        relaxQueueItemID(connection);
    }
}

void restoreForeignKeys(Connection& connection) {
    try {
        connection.execute("PRAGMA foreign_keys = ON");
    } catch (const std::exception&) {
        // The error that stopped the rebuild is the one to be told.
    }
}

}  // namespace

bool attemptsNeedRebuild(Connection& connection) {
    return attemptsRequireAnItem(connection) || legacyRowsAreLeft(connection);
}

// Foreign keys cannot be switched inside a transaction. With them the attempts of items that are gone would
// stop the rebuild.
void rebuildAttempts(Connection& connection) {
    try {
        connection.execute("PRAGMA foreign_keys = OFF");
        connection.transaction(rebuildWhatNeedsIt);
        connection.execute("PRAGMA foreign_keys = ON");
    } catch (...) {
        restoreForeignKeys(connection);
        throw;
    }
}

}  // namespace quernlight
