#include "host/retire/retired_bugs.hpp"

namespace quernlight::host {

Task<void> RetiredBugs::prepare() const {
    co_await database_->execute(
        "CREATE TABLE IF NOT EXISTS retired_bugs ("
        "bug_id TEXT PRIMARY KEY, title TEXT NOT NULL, added_at TEXT NOT NULL, retired_at TEXT NOT NULL)");
}

Task<void> RetiredBugs::remember(const BugQueueItem& item, Instant retiredAt) const {
    SQLValues values{SQLValue::text(item.bugID), SQLValue::text(item.title),
                     SQLValue::text(formatInstant(item.addedAt)), SQLValue::text(formatInstant(retiredAt))};
    co_await database_->execute(
        "INSERT OR IGNORE INTO retired_bugs (bug_id, title, added_at, retired_at) VALUES (?, ?, ?, ?)",
        std::move(values));
}

Task<std::set<std::string>> RetiredBugs::bugIDs() const {
    std::set<std::string> ids;
    for (const Row& row : co_await database_->query("SELECT bug_id FROM retired_bugs")) {
        if (const std::string* id = row.at("bug_id").asText()) {
            ids.insert(*id);
        }
    }
    co_return ids;
}

Task<int> RetiredBugs::countAddedSince(Instant since) const {
    SQLValues values{SQLValue::text(formatInstant(since))};
    const auto rows = co_await database_->query(
        "SELECT COUNT(*) AS bugs FROM retired_bugs WHERE added_at >= ?", std::move(values));
    co_return static_cast<int>(rows.front().at("bugs").asInteger().value_or(0));
}

}  // namespace quernlight::host
