#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "quernlight/storage/sql_value.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace quernlight {

/// A compiled statement of one connection, finalised on destruction. Made by `Connection::prepare`; used on
/// the thread that uses the connection.
class Statement {
  public:
    enum class StepResult { row, done, failed };

    /// Binds the values to the parameters 1, 2, 3, ... Throws DatabaseError (bindFailed) at the first that
    /// cannot be bound.
    void bind(const SQLValues& values);

    /// `failed` is any result but a row or the end; `errorMessage` tells why.
    StepResult step();

    /// Of the row that the last step yielded; indexes count from 0.
    int columnCount() const;
    std::string columnName(int index) const;
    /// By the value's storage class; a blob is null.
    SQLValue column(int index) const;
    /// Converted by SQLite's own rules when the value is no integer (NULL is 0).
    std::int64_t integerColumn(int index) const;
    /// The same value where it lies in the row: valid until the next step.
    SQLValueView columnView(int index) const;
    /// All columns by name.
    Row row() const;

    /// SQLite's current message for the connection.
    std::string errorMessage() const;

  private:
    friend class Connection;
    /// Ready to be run anew, with nothing bound.
    void reset();
    /// Whether the last step failed since the text may not compile any more, or for a cause without a name.
    bool mayNotCompile() const;

    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };

    explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}

    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// How long a statement waits for a lock that another connection holds; read while it waits.
using LockWait = std::atomic<std::chrono::milliseconds>;

/// Takes the statement's current row.
using RowReader = std::function<void(const Statement&)>;

/// What becomes of what a transaction has written when it fails.
enum class AfterFailure { rollBack, commit };

/// One SQLite connection, closed on destruction. Every call blocks and belongs to one thread at a time. All
/// failures are DatabaseErrors that carry SQLite's message; a busy file fails at once unless the connection
/// was told to wait, nothing else is retried. Statements that are run with values are kept compiled.
class Connection {
  public:
    enum class Access {
        readWrite,  ///< created when missing; without SQLite's mutex, since one thread at a time is here
        readOnly,   ///< never created; SQLite's full mutex
    };

    /// The path is always a file's name, also where SQLite would take it for something else (":memory:",
    /// "file:queue"); a relative one is taken from the working directory. `lockWait` is how long a statement
    /// waits for the lock of another connection. Throws openFailed.
    explicit Connection(const std::filesystem::path& path, Access access = Access::readWrite,
                        std::chrono::milliseconds lockWait = std::chrono::milliseconds(0));

    /// From now on statements wait so long for a file that is busy. `lockWait` outlives the connection and
    /// may be changed from any thread; that counts for the statement that waits, too.
    void waitForLocks(const LockWait& lockWait);

    /// SQLite's one-shot execution, which does not mind a statement that returns rows. Throws stepFailed.
    void executeOneShot(const std::string& sql);

    /// Compiles the text's first statement. Throws prepareFailed, also for a text without a statement.
    Statement prepare(const std::string& sql);

    /// Runs a statement that returns no rows; one that does fails with stepFailed.
    void execute(const std::string& sql, const SQLValues& values = {});

    /// All rows in the order in which SQLite yields them.
    std::vector<Row> query(const std::string& sql, const SQLValues& values = {});

    /// Calls `row` for each row. What it throws ends the statement.
    void read(const std::string& sql, const SQLValues& values, const RowReader& row);

    /// Runs `body` inside a write transaction, which takes the write lock at once. When the body or the
    /// commit throws, all is rolled back and that error is thrown; what the body has written before it threw
    /// is committed instead where that is asked for. Transactions do not nest.
    void transaction(const std::function<void(Connection&)>& body,
                     AfterFailure then = AfterFailure::rollBack);

    /// SQLite's current message for the connection.
    std::string errorMessage() const;

    /// Whether the last call failed because another connection holds a lock.
    bool isLockedOut() const;

  private:
    struct Closer {
        void operator()(sqlite3* handle) const;
    };

    Statement compile(const std::string& sql, unsigned flags);
    void run(const std::string& sql, const SQLValues& values, const RowReader& row);
    void runWithValues(const std::string& sql, const SQLValues& values, const RowReader& row);
    void readRows(Statement& statement, Statement::StepResult first, const RowReader& row);
    void keep(const std::string& sql, Statement statement);

    std::unique_ptr<sqlite3, Closer> handle_;
    std::unordered_map<std::string, Statement> kept_;  // not those that are being run
};

}  // namespace quernlight
