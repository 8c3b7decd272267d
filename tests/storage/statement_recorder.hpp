#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <sqlite3.h>

#include "tests/storage/database_fixture.hpp"

namespace quernlight::test {

/// Keeps the text of every statement that connections opened during its life run, as they were prepared. At
/// most one at a time; it must outlive those connections.
class StatementRecorder {
  public:
    StatementRecorder() {
        current_ = this;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&traceConnection));
    }
    StatementRecorder(const StatementRecorder&) = delete;
    StatementRecorder& operator=(const StatementRecorder&) = delete;
    ~StatementRecorder() {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&traceConnection));
        current_ = nullptr;
    }

    /// What has been run since the last call.
    std::vector<std::string> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(statements_, {});
    }

  private:
    static int traceConnection(sqlite3* connection, char**, const void*) {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &record, current_);
    }

    static int record(unsigned, void* recorder, void*, void* text) {
        const std::string statement = static_cast<const char*>(text);
        if (!statement.starts_with("--")) {  // SQLite marks those that it runs by itself
            static_cast<StatementRecorder*>(recorder)->add(statement);
        }
        return 0;
    }

    void add(const std::string& statement) {
        const std::lock_guard lock(mutex_);
        statements_.push_back(statement);
    }

    inline static StatementRecorder* current_ = nullptr;

    std::mutex mutex_;
    std::vector<std::string> statements_;
};

/// Before a fixture's database, so that it outlives the connections that it listens to.
struct RecordedStatements {
    StatementRecorder recorder;
};

/// A database whose statements are known.
class RecordedDatabaseFixture : protected RecordedStatements, public DatabaseFixture {};

}  // namespace quernlight::test
