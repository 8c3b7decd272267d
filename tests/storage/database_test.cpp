#include "quernlight/storage/database.hpp"

#include <future>
#include <limits>
#include <stdexcept>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>

#include "tests/storage/database_fixture.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;
using test::runTask;

class DatabaseTest : public test::DatabaseFixture {
  protected:
    void SetUp() override { execute("CREATE TABLE notes (id INTEGER PRIMARY KEY, body)"); }

    void transact(std::function<void(Connection&)> body) { runTask(database->transaction(std::move(body))); }

    std::int64_t noteCount() { return *value("SELECT COUNT(*) AS value FROM notes").asInteger(); }

    SQLValue stored(const SQLValue& body) {
        execute("INSERT INTO notes (body) VALUES (?)", {body});
        return value("SELECT body AS value FROM notes ORDER BY id DESC LIMIT 1");
    }
};

TEST_F(DatabaseTest, OpensWithForeignKeysAndWriteAheadJournal) {
    EXPECT_EQ(rows("PRAGMA foreign_keys").at(0).at("foreign_keys"), SQLValue::integer(1));
    EXPECT_EQ(rows("PRAGMA journal_mode").at(0).at("journal_mode"), SQLValue::text("wal"));
    EXPECT_EQ(rows("PRAGMA synchronous").at(0).at("synchronous"), SQLValue::integer(1));
    EXPECT_EQ(rows("PRAGMA busy_timeout").at(0).at("timeout"), SQLValue::integer(0));
}

TEST_F(DatabaseTest, TheConnectionClosesWhenTheLastReferenceIsReleased) {
    const std::filesystem::path journal = path.string() + "-wal";
    std::shared_ptr<Database> last = std::exchange(database, nullptr);
    EXPECT_TRUE(std::filesystem::exists(journal));
    last.reset();
    EXPECT_FALSE(std::filesystem::exists(journal));
}

TEST_F(DatabaseTest, AStatementThatWaitsForALockGivesUpOnceItsPatienceIsTakenBack) {
    Connection other(path);
    other.execute("BEGIN IMMEDIATE");
    database->setLockWait(std::chrono::hours(1));
    auto writing = std::async(std::launch::async, [this] {
        return databaseErrorOf([this] { execute("INSERT INTO notes VALUES (1, 'first')"); });
    });
    database->setLockWait(std::chrono::milliseconds(0));
    EXPECT_EQ(writing.get(), DatabaseError(Kind::stepFailed, "database is locked"));
}

TEST_F(DatabaseTest, AStatementWaitsForALockThatIsReleasedInTime) {
    Connection other(path);
    other.execute("BEGIN IMMEDIATE");
    database->setLockWait(std::chrono::hours(1));
    auto writing =
        std::async(std::launch::async, [this] { execute("INSERT INTO notes VALUES (1, 'first')"); });
    other.execute("COMMIT");
    writing.get();
    EXPECT_EQ(noteCount(), 1);
}

TEST_F(DatabaseTest, AStatementThatDoesNotCompileThrowsPrepareFailed) {
    const auto error = databaseErrorOf([&] { execute("SELECT FROM"); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "near \"FROM\": syntax error"));
}

TEST_F(DatabaseTest, AnEmptyStatementThrowsPrepareFailed) {
    const auto error = databaseErrorOf([&] { rows(""); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), Kind::prepareFailed);
}

TEST_F(DatabaseTest, MoreValuesThanParametersThrowBindFailed) {
    const auto error = databaseErrorOf([&] { rows("SELECT ?", {SQLValue::null(), SQLValue::null()}); });
    EXPECT_EQ(error, DatabaseError(Kind::bindFailed, "column index out of range"));
}

TEST_F(DatabaseTest, ParametersWithoutAValueAreNull) {
    EXPECT_EQ(value("SELECT ? AS value"), SQLValue::null());
}

TEST_F(DatabaseTest, AConstraintThatFailsThrowsStepFailedWithTheMessageOfSQLite) {
    execute("INSERT INTO notes VALUES (1, 'first')");
    const auto error = databaseErrorOf([&] { execute("INSERT INTO notes VALUES (1, 'again')"); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "UNIQUE constraint failed: notes.id"));
}

TEST_F(DatabaseTest, AQueryThatFailsMidwayDiscardsItsRows) {
    execute("INSERT INTO notes (body) VALUES ('{}'), ('not json')");
    const auto error = databaseErrorOf([&] { rows("SELECT json_type(body) FROM notes ORDER BY id"); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "malformed JSON"));
}

TEST_F(DatabaseTest, AQueryWithoutMatchingRowsReturnsAnEmptyList) {
    EXPECT_TRUE(rows("SELECT * FROM notes").empty());
}

TEST_F(DatabaseTest, EveryKindOfValueHasItsStorageClassAndIsReadAsItWasBound) {
    const std::pair<const char*, SQLValue> rows[] = {
        {"text", SQLValue::text("Gr\u00FC\u00DFe")},
        {"text", SQLValue::text("")},
        {"text", SQLValue::text("7")},
        {"integer", SQLValue::integer(std::numeric_limits<std::int64_t>::max())},
        {"integer", SQLValue::integer(-(1LL << 62))},
        {"real", SQLValue::real(0.1)},
        {"real", SQLValue::real(7)},
        {"null", SQLValue::null()},
    };
    for (const auto& [storageClass, bound] : rows) {
        EXPECT_EQ(stored(bound), bound);
        EXPECT_EQ(value("SELECT typeof(?) AS value", {bound}), SQLValue::text(storageClass));
    }
}

TEST_F(DatabaseTest, ATextIsBoundUpToItsFirstNul) {
    EXPECT_EQ(stored(SQLValue::text(std::string_view("ab\0cd", 5))), SQLValue::text("ab"));
}

TEST_F(DatabaseTest, ABlobColumnReadsAsNull) {
    EXPECT_EQ(value("SELECT x'0102' AS value"), SQLValue::null());
}

TEST_F(DatabaseTest, OfTwoColumnsOfOneNameTheLaterWins) {
    EXPECT_EQ(rows("SELECT 1 AS n, 2 AS n"), std::vector<Row>{Row({{"n", SQLValue::integer(2)}})});
}

TEST_F(DatabaseTest, RowsComeInTheOrderInWhichSQLiteYieldsThem) {
    execute("INSERT INTO notes (body) VALUES ('a'), ('b'), ('c')");
    std::string bodies;
    for (const Row& row : rows("SELECT body FROM notes ORDER BY body DESC")) {
        bodies += *row.at("body").asText();
    }
    EXPECT_EQ(bodies, "cba");
}

TEST_F(DatabaseTest, ATransactionThatSucceedsIsKept) {
    transact([](Connection& connection) {
        connection.execute("INSERT INTO notes (body) VALUES (?)", {SQLValue::text("kept")});
        EXPECT_EQ(connection.query("SELECT * FROM notes").size(), 1U);
    });
    EXPECT_EQ(noteCount(), 1);
}

TEST_F(DatabaseTest, ATransactionWhoseBodyThrowsIsRolledBackAndThrowsTheErrorOfTheBody) {
    const auto body = [](Connection& connection) {
        connection.execute("INSERT INTO notes (body) VALUES ('lost')");
        throw std::out_of_range("the body's own");
    };
    EXPECT_THROW(transact(body), std::out_of_range);
    EXPECT_EQ(noteCount(), 0);
}

TEST_F(DatabaseTest, AFailingRollbackDoesNotHideTheErrorOfTheBody) {
    const auto body = [](Connection& connection) {
        connection.execute("ROLLBACK");  // so that the one that follows fails
        throw std::out_of_range("the body's own");
    };
    EXPECT_THROW(transact(body), std::out_of_range);
}

TEST_F(DatabaseTest, ATransactionWhoseCommitFailsIsRolledBackAndThrowsThatError) {
    execute("CREATE TABLE replies (note INTEGER REFERENCES notes(id) DEFERRABLE INITIALLY DEFERRED)");
    const auto error = databaseErrorOf([&] {
        transact([](Connection& connection) { connection.execute("INSERT INTO replies VALUES (99)"); });
    });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "FOREIGN KEY constraint failed"));
    EXPECT_TRUE(rows("SELECT * FROM replies").empty());
    EXPECT_NO_THROW(transact([](Connection&) {}));
}

TEST_F(DatabaseTest, ATransactionTakesTheWriteLockBeforeItsBodyRuns) {
    Connection other(path);
    transact([&](Connection&) {
        const auto error = databaseErrorOf([&] { other.execute("BEGIN IMMEDIATE"); });
        EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "database is locked"));
    });
}

TEST_F(DatabaseTest, OneThatWasToldToWaitWaitsForTheLockOfAnother) {
    Connection other(path);
    other.execute("BEGIN IMMEDIATE");
    Database waiting(path, {.lockWait = test::generousBound});
    boost::asio::io_context io;
    auto written = boost::asio::co_spawn(io, waiting.execute("INSERT INTO notes (body) VALUES ('late')"),
                                         boost::asio::use_future);
    io.poll();
    other.execute("COMMIT");
    io.restart();
    io.run();
    EXPECT_NO_THROW(written.get());
}

TEST_F(DatabaseTest, ManyThatOpenANewFileAtOnceAndWaitAllOpenIt) {
    for (int round = 0; round < 5; ++round) {
        const auto file = directory / ("new" + std::to_string(round));
        std::vector<std::future<void>> openings;
        for (int number = 0; number < 8; ++number) {
            openings.push_back(std::async(std::launch::async, [&] {
                Database opened(file, {.lockWait = test::generousBound});
                runTask(opened.execute("CREATE TABLE IF NOT EXISTS notes (body)"));
            }));
        }
        for (auto& opening : openings) {
            EXPECT_NO_THROW(opening.get());
        }
    }
}

TEST_F(DatabaseTest, OneForReadingOnlyReadsAndRefusesToWrite) {
    execute("INSERT INTO notes (body) VALUES ('read')");
    Database reader(path, {.access = Connection::Access::readOnly});
    EXPECT_EQ(runTask(reader.query("SELECT * FROM notes")).size(), 1U);
    const auto error = databaseErrorOf([&] { runTask(reader.execute("DELETE FROM notes")); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "attempt to write a readonly database"));
}

TEST_F(DatabaseTest, WhatRunsWithTheConnectionAloneIsInNoTransaction) {
    runTask(database->withConnection([](Connection& connection) {
        connection.execute("PRAGMA foreign_keys = OFF");
        EXPECT_EQ(connection.query("PRAGMA foreign_keys").at(0).at("foreign_keys"), SQLValue::integer(0));
    }));
}

TEST_F(DatabaseTest, OtherConnectionsReadWhileATransactionWrites) {
    transact([&](Connection& connection) {
        connection.execute("INSERT INTO notes (body) VALUES ('unseen')");
        EXPECT_TRUE(Connection(path, Connection::Access::readOnly).query("SELECT * FROM notes").empty());
    });
}

TEST_F(DatabaseTest, TheExecutorOfTheCallerGoesOnWhileTheDatabaseWorks) {
    boost::asio::io_context io;
    std::promise<void> released;
    boost::asio::post(io, [&] { boost::asio::post(io, [&] { released.set_value(); }); });
    std::future_status seen = std::future_status::timeout;
    runTask(io, database->transaction(
                    [&](Connection&) { seen = released.get_future().wait_for(test::generousBound); }));
    EXPECT_EQ(seen, std::future_status::ready);
}

TEST_F(DatabaseTest, OperationsRunOneAtATimeInTheOrderTheyWereAwaited) {
    boost::asio::io_context io;
    std::vector<SQLValue> awaited;
    for (int number = 0; number < 50; ++number) {
        awaited.push_back(SQLValue::integer(number));
        Task<void> insert = database->execute("INSERT INTO notes (body) VALUES (?)", {awaited.back()});
        boost::asio::co_spawn(io, std::move(insert), boost::asio::use_future);
    }
    io.run();
    std::vector<SQLValue> stored;
    for (const Row& row : rows("SELECT body FROM notes ORDER BY id")) {
        stored.push_back(row.at("body"));
    }
    EXPECT_EQ(stored, awaited);
}

}  // namespace
}  // namespace quernlight
