#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/sql_value.hpp"

namespace quernlight {

struct DatabaseOptions {
    Connection::Access access = Connection::Access::readWrite;
    std::chrono::milliseconds lockWait{0};  ///< how long a statement waits for the lock of another connection
};

/// The one gateway to the dispatch database. Repositories share it (std::shared_ptr); the connection closes
/// when the last of them lets go. Its operations run one at a time, in the order in which they were awaited,
/// on a thread of the database's own, so the caller's executor never waits for a disk; a coroutine that
/// awaited one goes on on its own executor. The database must outlive the operations that are awaited on it.
/// Failures are DatabaseErrors with SQLite's message: prepareFailed, bindFailed or stepFailed.
class Database {
  public:
    /// Opens or creates the file, with foreign keys enforced and write-ahead journalling; for reading only,
    /// it must exist and nothing of it is changed. The path is always a file's name; a relative one is taken
    /// from the working directory. Blocks. Throws openFailed, or stepFailed when a setting is refused.
    explicit Database(const std::filesystem::path& path, const DatabaseOptions& options = {});
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Runs a statement that returns no rows; one that does fails with stepFailed.
    Task<void> execute(std::string sql, SQLValues values = {});

    /// Runs a statement and collects all its rows, in SQLite's order; one that fails midway yields none.
    Task<std::vector<Row>> query(std::string sql, SQLValues values = {});

    /// The same, but calls `row` for each row, on the database's thread; what it throws is thrown.
    Task<void> read(std::string sql, SQLValues values, RowReader row);

    /// Runs `body` on the database's thread inside a write transaction, which takes the write lock at once.
    /// When the body or the commit throws, all is rolled back and that error is thrown; what the body has
    /// written before it threw is committed instead where that is asked for. The body uses the connection it
    /// is given, nothing else of this class; transactions do not nest.
    Task<void> transaction(std::function<void(Connection&)> body, AfterFailure then = AfterFailure::rollBack);

    /// The same outside of any transaction, for what SQLite does not allow inside of one. Once it was handed
    /// over the body runs to its end, also when the caller is cancelled.
    Task<void> withConnection(std::function<void(Connection&)> body);

    /// From now on, and for the statement that waits now, this takes the place of the options' `lockWait`.
    /// From any thread.
    void setLockWait(std::chrono::milliseconds lockWait) { lockWait_ = lockWait; }

  private:
    LockWait lockWait_;
    Connection connection_;
    BackgroundExecutor executor_;  // last: its end waits for the calls that still use the connection
};

}  // namespace quernlight
