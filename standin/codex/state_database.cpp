#include "standin/codex/state_database.hpp"

#include <initializer_list>
#include <stdexcept>

#include <sqlite3.h>

namespace quernlight::standin::codex {
namespace {

constexpr int busyTimeoutMilliseconds = 10'000;

[[noreturn]] void fail(sqlite3* database) {
    throw std::runtime_error(std::string("The state database cannot be used: ") + sqlite3_errmsg(database) +
                             ".");
}

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

/// Runs one statement with texts bound to its parameters; returns whether it gave a row.
bool run(sqlite3* database, const char* sql, std::initializer_list<std::string> texts) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &raw, nullptr) != SQLITE_OK) {
        fail(database);
    }
    const std::unique_ptr<sqlite3_stmt, Finalize> statement(raw);
    int parameter = 0;
    for (const std::string& text : texts) {
        sqlite3_bind_text(raw, ++parameter, text.c_str(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    const int result = sqlite3_step(raw);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        fail(database);
    }
    return result == SQLITE_ROW;
}

/// Several agents may start at once in a fresh home, and the change to WAL does not always wait for its turn.
void useWriteAheadLog(sqlite3* database) {
    constexpr int attempts = 200;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (sqlite3_exec(database, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr) == SQLITE_OK) {
            return;
        }
        sqlite3_sleep(10);
    }
    fail(database);
}

}  // namespace

void StateDatabase::Close::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

StateDatabase::StateDatabase(const std::filesystem::path& home) {
    std::filesystem::create_directories(home);
    sqlite3* raw = nullptr;
    const int result = sqlite3_open((home / "state_5.sqlite").c_str(), &raw);
    database_.reset(raw);
    if (result != SQLITE_OK) {
        fail(raw);
    }
    sqlite3_busy_timeout(raw, busyTimeoutMilliseconds);
    useWriteAheadLog(raw);
    run(raw,
        "CREATE TABLE IF NOT EXISTS threads (id TEXT PRIMARY KEY, cwd TEXT NOT NULL, title TEXT NOT NULL, "
        "source TEXT NOT NULL, created_at INTEGER NOT NULL, updated_at INTEGER NOT NULL)",
        {});
}

void StateDatabase::keepGoals() {
    run(database_.get(),
        "CREATE TABLE IF NOT EXISTS thread_goals (thread_id TEXT PRIMARY KEY, objective TEXT NOT NULL, "
        "status TEXT NOT NULL)",
        {});
}

bool StateDatabase::hasOtherGoal(const std::string& id, const std::string& objective) {
    return run(database_.get(),
               "SELECT 1 FROM thread_goals WHERE thread_id = ? AND objective != ? AND status != 'complete'",
               {id, objective});
}

void StateDatabase::setGoal(const std::string& id, const std::string& objective) {
    run(database_.get(), "INSERT OR REPLACE INTO thread_goals VALUES (?, ?, 'active')", {id, objective});
}

void StateDatabase::completeGoal(const std::string& id) {
    run(database_.get(),
        "UPDATE thread_goals SET status = 'complete' WHERE thread_id = ? AND status = 'active'", {id});
}

void StateDatabase::limitGoal(const std::string& id) {
    run(database_.get(), "UPDATE thread_goals SET status = 'usage_limited' WHERE thread_id = ?", {id});
}

void StateDatabase::pauseGoal(const std::string& id) {
    run(database_.get(), "UPDATE thread_goals SET status = 'paused' WHERE thread_id = ?", {id});
}

void StateDatabase::insertThread(const std::string& id, const std::string& directory,
                                 const std::string& source) {
    run(database_.get(),
        "INSERT INTO threads (id, cwd, title, source, created_at, updated_at) "
        "VALUES (?, ?, '', ?, unixepoch(), unixepoch())",
        {id, directory, source});
}

bool StateDatabase::hasThread(const std::string& id) {
    return run(database_.get(), "SELECT 1 FROM threads WHERE id = ?", {id});
}

void StateDatabase::touchThread(const std::string& id) {
    run(database_.get(), "UPDATE threads SET updated_at = unixepoch() WHERE id = ?", {id});
}

void StateDatabase::setTitle(const std::string& id, const std::string& title) {
    run(database_.get(), "UPDATE threads SET title = ?, updated_at = unixepoch() WHERE id = ?", {title, id});
}

}  // namespace quernlight::standin::codex
