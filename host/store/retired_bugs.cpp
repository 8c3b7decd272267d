#include "host/store/retired_bugs.hpp"

#include <charconv>

#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

SQLValue textOrNull(const std::optional<std::string>& text) {
    return text ? SQLValue::text(*text) : SQLValue::null();
}

SQLValue instantOrNull(const std::optional<Instant>& instant) {
    return instant ? SQLValue::text(formatInstant(*instant)) : SQLValue::null();
}

/// Empty for null.
std::string textIn(const Row& row, const char* column) {
    const std::string* stored = row.at(column).asText();
    return stored ? *stored : "";
}

std::int64_t numberIn(const Row& row, const char* column) {
    const std::string text = textIn(row, column);
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

RetiredBug retiredBug(const Row& row) {
    const std::string reference = textIn(row, "preserved_ref");
    return {.bugID = textIn(row, "bug_id"),
            .title = textIn(row, "title"),
            .retiredAt = parseInstant(textIn(row, "retired_at")).value_or(Instant{}),
            .preservedReference = reference.empty() ? std::nullopt : std::optional(reference),
            .appName = textIn(row, "app_name"),
            .pullRequest = Url::parse(textIn(row, "pull_request")),
            .work = {.attempts = static_cast<int>(numberIn(row, "attempts")),
                     .worked = std::chrono::seconds(numberIn(row, "worked_seconds")),
                     .startedAt = parseInstant(textIn(row, "started_at")),
                     .endedAt = parseInstant(textIn(row, "ended_at"))},
            .spans = readWorkSpans(textIn(row, "work_spans"))};
}

}  // namespace

Task<void> RetiredBugs::prepare() const {
    co_await database_->execute(
        "CREATE TABLE IF NOT EXISTS retired_bugs ("
        "bug_id TEXT PRIMARY KEY, item_id TEXT, title TEXT NOT NULL, added_at TEXT NOT NULL,"
        " retired_at TEXT NOT NULL, preserved_ref TEXT)");
    for (const char* column : {"item_id", "preserved_ref", "app_name", "pull_request", "attempts",
                               "worked_seconds", "started_at", "ended_at", "work_spans"}) {
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

Task<void> RetiredBugs::remember(const BugQueueItem& item, RetiredWork work, Instant retiredAt) const {
    SQLValues values{SQLValue::text(item.bugID),
                     SQLValue::text(upperCaseText(item.id)),
                     SQLValue::text(item.title),
                     SQLValue::text(formatInstant(item.addedAt)),
                     SQLValue::text(formatInstant(retiredAt)),
                     textOrNull(work.preservedReference),
                     SQLValue::text(item.appName),
                     work.pullRequest ? SQLValue::text(work.pullRequest->text()) : SQLValue::null(),
                     SQLValue::text(std::to_string(work.work.attempts)),
                     SQLValue::text(std::to_string(work.work.worked.count())),
                     instantOrNull(work.work.startedAt),
                     instantOrNull(work.work.endedAt),
                     SQLValue::text(textOf(work.spans))};
    co_await database_->execute(
        "INSERT OR IGNORE INTO retired_bugs (bug_id, item_id, title, added_at, retired_at, preserved_ref,"
        " app_name, pull_request, attempts, worked_seconds, started_at, ended_at, work_spans)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        std::move(values));
}

Task<std::optional<RetiredBug>> RetiredBugs::bug(std::string bugID) const {
    SQLValues values{SQLValue::text(BugID::normalized(bugID))};
    const auto rows =
        co_await database_->query("SELECT * FROM retired_bugs WHERE bug_id = ?", std::move(values));
    co_return rows.empty() ? std::nullopt : std::optional(retiredBug(rows.front()));
}

Task<std::vector<RetiredBug>> RetiredBugs::retiredSince(Instant since) const {
    SQLValues values{SQLValue::text(formatInstant(since))};
    std::vector<RetiredBug> bugs;
    for (const Row& row : co_await database_->query(
             "SELECT * FROM retired_bugs WHERE retired_at >= ? ORDER BY retired_at", std::move(values))) {
        bugs.push_back(retiredBug(row));
    }
    co_return bugs;
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
