#include "quernlight/storage/connection.hpp"

#include <exception>
#include <new>
#include <thread>
#include <utility>

#include <sqlite3.h>

#include "quernlight/storage/database_error.hpp"

namespace quernlight {
namespace {

struct MessageReleaser {
    void operator()(char* message) const { sqlite3_free(message); }
};

[[noreturn]] void fail(DatabaseError::Kind kind, std::string message) {
    throw DatabaseError(kind, std::move(message));
}

/// SQLite takes some relative names, "file:notes" or ":memory:", for something other than a file.
std::filesystem::path nameOfFile(const std::filesystem::path& path) {
    return path.is_absolute() ? path : "." / path;
}

int openHandle(const std::filesystem::path& named, Connection::Access access, sqlite3** handle) {
    const std::filesystem::path path = nameOfFile(named);
    if (access == Connection::Access::readOnly) {
        return sqlite3_open_v2(path.c_str(), handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_FULLMUTEX, nullptr);
    }
    // Without SQLite's own mutex: its locks took a tenth of the time of a listing.
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    return sqlite3_open_v2(path.c_str(), handle, flags, nullptr);
}

int bindValue(sqlite3_stmt* statement, int index, const SQLValue& value) {
    switch (value.kind()) {
        case SQLValue::Kind::text:
            return sqlite3_bind_text(statement, index, value.asText()->c_str(), -1, SQLITE_TRANSIENT);
        case SQLValue::Kind::integer:
            return sqlite3_bind_int64(statement, index, *value.asInteger());
        case SQLValue::Kind::real:
            return sqlite3_bind_double(statement, index, *value.asReal());
        case SQLValue::Kind::null:
            break;
    }
    return sqlite3_bind_null(statement, index);
}

std::string_view textColumn(sqlite3_stmt* statement, int index) {
    const unsigned char* text = sqlite3_column_text(statement, index);
    if (!text) {
        throw std::bad_alloc();
    }
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
    return {reinterpret_cast<const char*>(text), size};
}

/// SQLite's busy handler (sqlite.org/c3ref/busy_handler.html): whether to look at the lock once more.
int waitABit(void* lockWait, int waits) {
    constexpr std::chrono::milliseconds pause{10};
    if (waits * pause >= static_cast<const LockWait*>(lockWait)->load()) {
        return 0;
    }
    std::this_thread::sleep_for(pause);
    return 1;
}

void endFailed(Connection& connection, AfterFailure then) {
    try {
        connection.execute(then == AfterFailure::commit ? "COMMIT" : "ROLLBACK");
    } catch (const std::exception&) {
        // What made the transaction fail is what the caller must hear about; SQLite may have rolled back by
        // itself already.
        if (then == AfterFailure::commit) {
            endFailed(connection, AfterFailure::rollBack);
        }
    }
}

}  // namespace

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

void Statement::bind(const SQLValues& values) {
    int index = 0;
    for (const SQLValue& value : values) {
        if (bindValue(statement_.get(), ++index, value) != SQLITE_OK) {
            fail(DatabaseError::Kind::bindFailed, errorMessage());
        }
    }
}

Statement::StepResult Statement::step() {
    switch (sqlite3_step(statement_.get())) {
        case SQLITE_ROW:
            return StepResult::row;
        case SQLITE_DONE:
            return StepResult::done;
        default:
            return StepResult::failed;
    }
}

int Statement::columnCount() const {
    return sqlite3_column_count(statement_.get());
}

std::string Statement::columnName(int index) const {
    const char* name = sqlite3_column_name(statement_.get(), index);
    if (!name) {
        throw std::bad_alloc();
    }
    return name;
}

SQLValue Statement::column(int index) const {
    switch (sqlite3_column_type(statement_.get(), index)) {
        case SQLITE_INTEGER:
            return SQLValue::integer(integerColumn(index));
        case SQLITE_FLOAT:
            return SQLValue::real(sqlite3_column_double(statement_.get(), index));
        case SQLITE_TEXT:
            return SQLValue::text(textColumn(statement_.get(), index));
        default:
            return SQLValue::null();
    }
}

SQLValueView Statement::columnView(int index) const {
    switch (sqlite3_column_type(statement_.get(), index)) {
        case SQLITE_INTEGER:
            return {.kind = SQLValue::Kind::integer, .integer = integerColumn(index)};
        case SQLITE_FLOAT:
            return {.kind = SQLValue::Kind::real};
        case SQLITE_TEXT:
            return {.kind = SQLValue::Kind::text, .text = textColumn(statement_.get(), index)};
        default:
            return {};
    }
}

std::int64_t Statement::integerColumn(int index) const {
    return sqlite3_column_int64(statement_.get(), index);
}

Row Statement::row() const {
    Row row;
    const int count = columnCount();
    for (int index = 0; index < count; ++index) {
        row.insert_or_assign(columnName(index), column(index));
    }
    return row;
}

std::string Statement::errorMessage() const {
    return sqlite3_errmsg(sqlite3_db_handle(statement_.get()));
}

void Statement::reset() {
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
}

bool Statement::mayNotCompile() const {
    const int code = sqlite3_errcode(sqlite3_db_handle(statement_.get()));
    return code == SQLITE_ERROR || code == SQLITE_SCHEMA || code == SQLITE_AUTH;
}

void Connection::Closer::operator()(sqlite3* handle) const {
    sqlite3_close(handle);
}

Connection::Connection(const std::filesystem::path& path, Access access, std::chrono::milliseconds lockWait) {
    sqlite3* handle = nullptr;
    const int result = openHandle(path, access, &handle);
    handle_.reset(handle);
    if (!handle) {
        fail(DatabaseError::Kind::openFailed, "Unable to open SQLite database.");
    }
    if (result != SQLITE_OK) {
        fail(DatabaseError::Kind::openFailed, errorMessage());
    }
    sqlite3_busy_timeout(handle, static_cast<int>(lockWait.count()));
}

void Connection::waitForLocks(const LockWait& lockWait) {
    sqlite3_busy_handler(handle_.get(), waitABit, const_cast<LockWait*>(&lockWait));
}

void Connection::executeOneShot(const std::string& sql) {
    char* text = nullptr;
    const int result = sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, &text);
    const std::unique_ptr<char, MessageReleaser> message(text);
    if (result != SQLITE_OK) {
        fail(DatabaseError::Kind::stepFailed, message ? message.get() : errorMessage());
    }
}

Statement Connection::prepare(const std::string& sql) {
    return compile(sql, 0);
}

Statement Connection::compile(const std::string& sql, unsigned flags) {
    sqlite3_stmt* compiled = nullptr;
    const int result = sqlite3_prepare_v3(handle_.get(), sql.c_str(), -1, flags, &compiled, nullptr);
    Statement statement(compiled);
    if (result != SQLITE_OK || !compiled) {
        fail(DatabaseError::Kind::prepareFailed, errorMessage());
    }
    return statement;
}

void Connection::execute(const std::string& sql, const SQLValues& values) {
    run(sql, values, nullptr);
}

std::vector<Row> Connection::query(const std::string& sql, const SQLValues& values) {
    std::vector<Row> rows;
    run(sql, values, [&rows](const Statement& statement) { rows.push_back(statement.row()); });
    return rows;
}

void Connection::read(const std::string& sql, const SQLValues& values, const RowReader& row) {
    run(sql, values, row);
}

void Connection::run(const std::string& sql, const SQLValues& values, const RowReader& row) {
    if (!values.empty()) {
        runWithValues(sql, values, row);
        return;
    }
    Statement statement = prepare(sql);
    readRows(statement, statement.step(), row);
}

/// A kept statement that SQLite compiles anew by itself, for a schema that has changed, may fail in doing so;
/// what is told of it then is what is told of one that was not kept. One that fails is not kept.
void Connection::runWithValues(const std::string& sql, const SQLValues& values, const RowReader& row) {
    auto kept = kept_.extract(sql);
    Statement statement = kept ? std::move(kept.mapped()) : compile(sql, SQLITE_PREPARE_PERSISTENT);
    statement.bind(values);
    Statement::StepResult first = statement.step();
    if (kept && first == Statement::StepResult::failed && statement.mayNotCompile()) {
        statement = compile(sql, SQLITE_PREPARE_PERSISTENT);
        statement.bind(values);
        first = statement.step();
    }
    readRows(statement, first, row);
    keep(sql, std::move(statement));
}

/// Without a reader a row is a failure.
void Connection::readRows(Statement& statement, Statement::StepResult first, const RowReader& row) {
    Statement::StepResult result = first;
    for (; row && result == Statement::StepResult::row; result = statement.step()) {
        row(statement);
    }
    if (result != Statement::StepResult::done) {
        fail(DatabaseError::Kind::stepFailed, errorMessage());
    }
}

void Connection::keep(const std::string& sql, Statement statement) {
    constexpr std::size_t mostKept = 64;  // more than the library has
    if (kept_.size() >= mostKept) {
        kept_.clear();
    }
    statement.reset();
    kept_.insert_or_assign(sql, std::move(statement));
}

void Connection::transaction(const std::function<void(Connection&)>& body, AfterFailure then) {
    execute("BEGIN IMMEDIATE");
    try {
        body(*this);
    } catch (...) {
        endFailed(*this, then);
        throw;
    }
    try {
        execute("COMMIT");
    } catch (...) {
        endFailed(*this, AfterFailure::rollBack);
        throw;
    }
}

std::string Connection::errorMessage() const {
    return sqlite3_errmsg(handle_.get());
}

bool Connection::isLockedOut() const {
    constexpr int primaryCode = 0xff;
    return (sqlite3_errcode(handle_.get()) & primaryCode) == SQLITE_BUSY;
}

}  // namespace quernlight
