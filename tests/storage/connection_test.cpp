#include "quernlight/storage/connection.hpp"

#include <gtest/gtest.h>

#include "quernlight/storage/database_error.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;

class ConnectionTest : public testing::Test {
  protected:
    test::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "other.sqlite";
};

TEST_F(ConnectionTest, ReadOnlyAccessNeverCreatesTheFile) {
    const auto error = databaseErrorOf([&] { Connection(path, Connection::Access::readOnly); });
    EXPECT_EQ(error, DatabaseError(Kind::openFailed, "unable to open database file"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ConnectionTest, ReadOnlyAccessReadsButRefusesToWrite) {
    Connection(path).execute("CREATE TABLE threads (id INTEGER)");
    Connection connection(path, Connection::Access::readOnly);
    EXPECT_TRUE(connection.query("SELECT * FROM threads").empty());
    const auto error = databaseErrorOf([&] { connection.execute("INSERT INTO threads VALUES (1)"); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "attempt to write a readonly database"));
}

TEST_F(ConnectionTest, AStatementIsSteppedRowByRowToItsEnd) {
    Connection connection(path);
    Statement statement = connection.prepare("VALUES (1), (2)");
    EXPECT_EQ(statement.step(), Statement::StepResult::row);
    EXPECT_EQ(statement.integerColumn(0), 1);
    EXPECT_EQ(statement.step(), Statement::StepResult::row);
    EXPECT_EQ(statement.column(0), SQLValue::integer(2));
    EXPECT_EQ(statement.step(), Statement::StepResult::done);
}

TEST_F(ConnectionTest, AFailedStepSaysWhy) {
    Connection connection(path);
    connection.execute("CREATE TABLE one (id INTEGER PRIMARY KEY)");
    connection.execute("INSERT INTO one VALUES (1)");
    Statement statement = connection.prepare("INSERT INTO one VALUES (1)");
    EXPECT_EQ(statement.step(), Statement::StepResult::failed);
    EXPECT_EQ(statement.errorMessage(), "UNIQUE constraint failed: one.id");
}

TEST_F(ConnectionTest, IntegersAreConvertedByTheRulesOfSQLite) {
    Connection connection(path);
    Statement statement = connection.prepare("SELECT '42', 7.9, NULL");
    ASSERT_EQ(statement.step(), Statement::StepResult::row);
    EXPECT_EQ(statement.columnCount(), 3);
    EXPECT_EQ(statement.integerColumn(0), 42);
    EXPECT_EQ(statement.integerColumn(1), 7);
    EXPECT_EQ(statement.integerColumn(2), 0);
}

TEST_F(ConnectionTest, OneShotExecutionDoesNotMindRowsAndReportsFailures) {
    Connection connection(path);
    EXPECT_NO_THROW(connection.executeOneShot("SELECT 1"));
    const auto error = databaseErrorOf([&] { connection.executeOneShot("SELECT absent"); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "no such column: absent"));
}

TEST_F(ConnectionTest, ATextWithoutAStatementDoesNotPrepare) {
    Connection connection(path);
    const auto error = databaseErrorOf([&] { connection.prepare("  -- only a comment"); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "not an error"));
}

TEST(DatabaseErrorTest, AMissingColumnDescribesItselfByName) {
    const DatabaseError error(Kind::missingColumn, "bug_id");
    EXPECT_EQ(error.errorDescription(), "Missing SQLite column bug_id.");
    EXPECT_EQ(error.text(), "bug_id");
}

TEST(DatabaseErrorTest, EveryOtherKindIsDescribedByTheTextItCarries) {
    for (const Kind kind : {Kind::openFailed, Kind::prepareFailed, Kind::stepFailed, Kind::bindFailed}) {
        EXPECT_EQ(DatabaseError(kind, "database is locked").errorDescription(), "database is locked");
    }
}

}  // namespace
}  // namespace quernlight
