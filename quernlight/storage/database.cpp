#include "quernlight/storage/database.hpp"

#include <thread>
#include <utility>

#include "quernlight/storage/database_error.hpp"

namespace quernlight {
namespace {

/// SQLite does not wait for a lock in this one statement, as the waiting could have no end
/// (sqlite.org/wal.html).
void useWriteAheadLog(Connection& connection, std::chrono::milliseconds lockWait) {
    constexpr std::chrono::milliseconds pause{5};
    const auto deadline = std::chrono::steady_clock::now() + lockWait;
    while (true) {
        try {
            return connection.executeOneShot("PRAGMA journal_mode = WAL");
        } catch (const DatabaseError&) {
            if (!connection.isLockedOut() || std::chrono::steady_clock::now() >= deadline) {
                throw;
            }
        }
        std::this_thread::sleep_for(pause);
    }
}

Connection openConfigured(const std::filesystem::path& path, const DatabaseOptions& options) {
    Connection connection(path, options.access, options.lockWait);
    connection.executeOneShot("PRAGMA foreign_keys = ON");
    if (options.access == Connection::Access::readWrite) {
        useWriteAheadLog(connection, options.lockWait);
        connection.executeOneShot("PRAGMA synchronous = NORMAL");
    }
    return connection;
}

}  // namespace

Database::Database(const std::filesystem::path& path, const DatabaseOptions& options)
    : lockWait_(options.lockWait), connection_(openConfigured(path, options)) {
    connection_.waitForLocks(lockWait_);
}

Task<void> Database::execute(std::string sql, SQLValues values) {
    return executor_.run(
        [this, sql = std::move(sql), values = std::move(values)] { connection_.execute(sql, values); });
}

Task<std::vector<Row>> Database::query(std::string sql, SQLValues values) {
    return executor_.run(
        [this, sql = std::move(sql), values = std::move(values)] { return connection_.query(sql, values); });
}

Task<void> Database::read(std::string sql, SQLValues values, RowReader row) {
    return executor_.run([this, sql = std::move(sql), values = std::move(values), row = std::move(row)] {
        connection_.read(sql, values, row);
    });
}

Task<void> Database::transaction(std::function<void(Connection&)> body, AfterFailure then) {
    return executor_.run([this, body = std::move(body), then] { connection_.transaction(body, then); });
}

Task<void> Database::withConnection(std::function<void(Connection&)> body) {
    return executor_.run([this, body = std::move(body)] { body(connection_); });
}

}  // namespace quernlight
