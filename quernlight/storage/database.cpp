#include "quernlight/storage/database.hpp"

#include <exception>
#include <utility>

namespace quernlight {
namespace {

Connection openConfigured(const std::filesystem::path& path) {
    Connection connection(path);
    connection.executeOneShot("PRAGMA foreign_keys = ON");
    connection.executeOneShot("PRAGMA journal_mode = WAL");
    connection.executeOneShot("PRAGMA synchronous = NORMAL");
    return connection;
}

void rollBack(Connection& connection) {
    try {
        connection.execute("ROLLBACK");
    } catch (const std::exception&) {
        // What made the transaction fail is what the caller must hear about; SQLite may have rolled back by
        // itself already.
    }
}

void runTransaction(Connection& connection, const std::function<void(Connection&)>& body) {
    connection.execute("BEGIN IMMEDIATE");
    try {
        body(connection);
        connection.execute("COMMIT");
    } catch (...) {
        rollBack(connection);
        throw;
    }
}

}  // namespace

Database::Database(const std::filesystem::path& path) : connection_(openConfigured(path)) {
    connection_.waitForLocks(lockPatience_);
}

Task<void> Database::execute(std::string sql, SQLValues values) {
    return executor_.run(
        [this, sql = std::move(sql), values = std::move(values)] { connection_.execute(sql, values); });
}

Task<std::vector<Row>> Database::query(std::string sql, SQLValues values) {
    return executor_.run(
        [this, sql = std::move(sql), values = std::move(values)] { return connection_.query(sql, values); });
}

Task<void> Database::transaction(std::function<void(Connection&)> body) {
    return executor_.run([this, body = std::move(body)] { runTransaction(connection_, body); });
}

}  // namespace quernlight
