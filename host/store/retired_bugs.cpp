#include "host/store/retired_bugs.hpp"

#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {

Task<void> RetiredBugs::prepare() const {
    co_await database_->execute(
        "CREATE TABLE IF NOT EXISTS retired_bugs ("
        "bug_id TEXT PRIMARY KEY, item_id TEXT, title TEXT NOT NULL, added_at TEXT NOT NULL,"
        " retired_at TEXT NOT NULL, preserved_ref TEXT)");
    for (const char* column : {"item_id", "preserved_ref"}) {
        co_await addIfMissing(column);
    }
}

/// Tables of this program's first days have fewer columns.
Task<void> RetiredBugs::addIfMissing(std::string column) const {
    SQLValues values{SQLValue::text(column)};
    const auto rows = co_await database_->query(
        "SELECT 1 FROM pragma_table_info('retired_bugs') WHERE name = ?", std::move(values));
    if (rows.empty()) {
        co_await database_->execute("ALTER TABLE retired_bugs ADD COLUMN " + column + " TEXT");
    }
}

Task<void> RetiredBugs::remember(const BugQueueItem& item, std::optional<std::string> preservedReference,
                                 Instant retiredAt) const {
    SQLValues values{SQLValue::text(item.bugID),
                     SQLValue::text(upperCaseText(item.id)),
                     SQLValue::text(item.title),
                     SQLValue::text(formatInstant(item.addedAt)),
                     SQLValue::text(formatInstant(retiredAt)),
                     preservedReference ? SQLValue::text(*preservedReference) : SQLValue::null()};
    co_await database_->execute(
        "INSERT OR IGNORE INTO retired_bugs (bug_id, item_id, title, added_at, retired_at, preserved_ref)"
        " VALUES (?, ?, ?, ?, ?, ?)",
        std::move(values));
}

Task<std::optional<RetiredBug>> RetiredBugs::bug(std::string bugID) const {
    SQLValues values{SQLValue::text(BugID::normalized(bugID))};
    const auto rows = co_await database_->query(
        "SELECT bug_id, title, retired_at, preserved_ref FROM retired_bugs WHERE bug_id = ?",
        std::move(values));
    if (rows.empty()) {
        co_return std::nullopt;
    }
    const auto text = [&](const char* column) {
        const std::string* stored = rows.front().at(column).asText();
        return stored ? std::optional(*stored) : std::nullopt;
    };
    co_return RetiredBug{.bugID = text("bug_id").value_or(""),
                         .title = text("title").value_or(""),
                         .retiredAt = parseInstant(text("retired_at").value_or("")).value_or(Instant{}),
                         .preservedReference = text("preserved_ref")};
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

Task<std::map<std::string, std::string>> RetiredBugs::titles() const {
    std::map<std::string, std::string> titles;
    for (const Row& row : co_await database_->query("SELECT bug_id, title FROM retired_bugs")) {
        const std::string* id = row.at("bug_id").asText();
        const std::string* title = row.at("title").asText();
        if (id && title) {
            titles.emplace(*id, *title);
        }
    }
    co_return titles;
}

Task<int> RetiredBugs::countAddedSince(Instant since) const {
    SQLValues values{SQLValue::text(formatInstant(since))};
    const auto rows = co_await database_->query(
        "SELECT COUNT(*) AS bugs FROM retired_bugs WHERE added_at >= ?", std::move(values));
    co_return static_cast<int>(rows.front().at("bugs").asInteger().value_or(0));
}

}  // namespace quernlight::host
