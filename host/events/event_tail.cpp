#include "host/events/event_tail.hpp"

namespace quernlight::host {
namespace {

std::string textIn(const Row& row, const char* column) {
    const std::string* text = row.at(column).asText();
    return text ? *text : "";
}

LoggedEvent loggedEvent(const Row& row) {
    LoggedEvent logged{.bugID = textIn(row, "bug_id")};
    logged.event.queueItemID = parseUuid(textIn(row, "queue_item_id")).value_or(Uuid{});
    logged.event.sessionID = parseUuid(textIn(row, "session_id"));
    logged.event.kind = textIn(row, "kind");
    logged.event.message = textIn(row, "message");
    logged.event.createdAt = parseInstant(textIn(row, "created_at")).value_or(Instant{});
    return logged;
}

}  // namespace

Task<void> EventTail::begin() {
    co_await store_.database->query("PRAGMA temp_store = MEMORY");  // so that a full disk does not matter
    co_await store_.database->execute(
        "CREATE TEMP TABLE IF NOT EXISTS unshown_events (number INTEGER PRIMARY KEY AUTOINCREMENT,"
        " queue_item_id TEXT, bug_id TEXT, session_id TEXT, kind TEXT, message TEXT, created_at TEXT)");
    // The end of a session is stored without the session's id; it is that of a start that has no end yet.
    co_await store_.database->execute(
        "CREATE TEMP TRIGGER IF NOT EXISTS keep_unshown_event AFTER INSERT ON main.queue_events BEGIN"
        "  INSERT INTO unshown_events (queue_item_id, bug_id, session_id, kind, message, created_at) VALUES ("
        "    NEW.queue_item_id, (SELECT bug_id FROM queue_items WHERE id = NEW.queue_item_id),"
        "    CASE WHEN NEW.session_id IS NULL AND NEW.kind IN ('completed', 'failed', 'resumable',"
        "        'awaitingUserInput', 'codexSessionStored', 'codexSessionPreserved', 'codexSessionRestored')"
        "      THEN (SELECT CASE kind WHEN 'startingCodex' THEN session_id END FROM queue_events"
        "              WHERE queue_item_id = NEW.queue_item_id AND rowid <> NEW.rowid"
        "              AND kind IN ('startingCodex', 'retried', 'resumable', 'completed', 'failed',"
        "                           'awaitingUserInput')"
        "              ORDER BY created_at DESC, rowid DESC LIMIT 1)"
        "      ELSE NEW.session_id END,"
        "    NEW.kind, NEW.message, NEW.created_at);"
        "END");
}

Task<void> EventTail::showNew() {
    const auto rows = co_await store_.database->query(
        "SELECT number, queue_item_id, bug_id, session_id, kind, message, created_at FROM unshown_events"
        " ORDER BY number");
    if (rows.empty()) {
        co_return;
    }
    SQLValues last{rows.back().at("number")};
    co_await store_.database->execute("DELETE FROM unshown_events WHERE number <= ?", std::move(last));
    for (const Row& row : rows) {
        board_.event(loggedEvent(row));
    }
}

}  // namespace quernlight::host
