#include "host/event_tail.hpp"

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

Task<void> EventTail::skipToEnd() {
    const auto rows =
        co_await store_.database->query("SELECT COALESCE(MAX(rowid), 0) AS newest FROM queue_events");
    shown_ = rows.front().at("newest").asInteger().value_or(0);
}

Task<void> EventTail::showNew() {
    SQLValues values{SQLValue::integer(shown_)};
    const auto rows = co_await store_.database->query(
        "SELECT e.rowid AS row, e.queue_item_id, e.session_id, e.kind, e.message, e.created_at, i.bug_id"
        "  FROM queue_events e JOIN queue_items i ON i.id = e.queue_item_id"
        " WHERE e.rowid > ? ORDER BY e.rowid",
        std::move(values));
    for (const Row& row : rows) {
        shown_ = row.at("row").asInteger().value_or(shown_);
        board_.event(loggedEvent(row));
    }
}

}  // namespace quernlight::host
