#include <limits>
#include <stdexcept>

#include "tests/storage/database_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;
using test::runTask;
using testing::ElementsAre;

constexpr const char* addNote = "INSERT INTO notes (body) VALUES ('note')";

/// A database whose statements are looked at as SQLite runs them.
class DatabaseStatementsTest : public test::RecordedDatabaseFixture {
  protected:
    void SetUp() override {
        execute("CREATE TABLE notes (id INTEGER PRIMARY KEY, body)");
        recorder.take();
    }

    std::optional<DatabaseError> transactionError(const std::function<void(Connection&)>& body) {
        return databaseErrorOf([&] { runTask(database->transaction(body)); });
    }
};

TEST_F(DatabaseStatementsTest, ATransactionBeginsAtOnceAndCommits) {
    runTask(database->transaction([](Connection& connection) { connection.execute(addNote); }));
    EXPECT_THAT(recorder.take(), ElementsAre("BEGIN IMMEDIATE", addNote, "COMMIT"));
}

TEST_F(DatabaseStatementsTest, ATransactionWhoseBodyThrowsIsRolledBack) {
    const auto fail = [](Connection& connection) { connection.execute("INSERT INTO absent VALUES (1)"); };
    EXPECT_EQ(transactionError(fail), DatabaseError(Kind::prepareFailed, "no such table: absent"));
    EXPECT_THAT(recorder.take(), ElementsAre("BEGIN IMMEDIATE", "ROLLBACK"));
}

TEST_F(DatabaseStatementsTest, ATransactionThatCannotCommitIsRolledBack) {
    const char* addReply = "INSERT INTO replies VALUES (99)";
    execute("CREATE TABLE replies (note INTEGER REFERENCES notes(id) DEFERRABLE INITIALLY DEFERRED)");
    recorder.take();
    const auto error = transactionError([&](Connection& connection) { connection.execute(addReply); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "FOREIGN KEY constraint failed"));
    EXPECT_THAT(recorder.take(), ElementsAre("BEGIN IMMEDIATE", addReply, "COMMIT", "ROLLBACK"));
}

TEST_F(DatabaseStatementsTest, ATransactionMayKeepWhatItsBodyWroteBeforeItThrew) {
    const auto fail = [](Connection& connection) {
        connection.execute(addNote);
        connection.execute("INSERT INTO absent VALUES (1)");
    };
    const auto error = databaseErrorOf([&] { runTask(database->transaction(fail, AfterFailure::commit)); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "no such table: absent"));
    EXPECT_THAT(recorder.take(), ElementsAre("BEGIN IMMEDIATE", addNote, "COMMIT"));
    EXPECT_EQ(rows("SELECT * FROM notes").size(), 1U);
}

TEST_F(DatabaseStatementsTest, ATransactionThatCannotBeginRunsNothingElse) {
    Connection other(path);
    other.execute("BEGIN IMMEDIATE");
    recorder.take();
    EXPECT_EQ(transactionError([](Connection&) { FAIL() << "the body ran"; }),
              DatabaseError(Kind::stepFailed, "database is locked"));
    EXPECT_THAT(recorder.take(), ElementsAre("BEGIN IMMEDIATE"));
}

TEST_F(DatabaseStatementsTest, TransactionsDoNotNest) {
    const auto nest = [](Connection& connection) {
        connection.execute(addNote);
        connection.execute("BEGIN IMMEDIATE");
    };
    EXPECT_EQ(transactionError(nest),
              DatabaseError(Kind::stepFailed, "cannot start a transaction within a transaction"));
    EXPECT_TRUE(rows("SELECT * FROM notes").empty());
}

TEST_F(DatabaseStatementsTest, ForeignKeysCannotBeSwitchedInsideATransaction) {
    runTask(database->transaction(
        [](Connection& connection) { connection.execute("PRAGMA foreign_keys = OFF"); }));
    EXPECT_EQ(rows("PRAGMA foreign_keys").at(0).at("foreign_keys"), SQLValue::integer(1));
}

TEST_F(DatabaseStatementsTest, ALockedFileFailsAStatementAtOnceAndItIsTriedOnce) {
    Connection other(path);
    other.execute("BEGIN IMMEDIATE");
    recorder.take();
    EXPECT_EQ(databaseErrorOf([&] { execute(addNote); }),
              DatabaseError(Kind::stepFailed, "database is locked"));
    EXPECT_THAT(recorder.take(), ElementsAre(addNote));
}

TEST_F(DatabaseStatementsTest, ExecutingAStatementThatYieldsARowThrowsTheMessageOfSQLite) {
    EXPECT_EQ(databaseErrorOf([&] { execute("SELECT 1"); }),
              DatabaseError(Kind::stepFailed, "another row available"));
}

TEST_F(DatabaseStatementsTest, AStatementThatYieldsNoRowMayBeExecuted) {
    EXPECT_NO_THROW(execute("SELECT * FROM notes"));
}

TEST_F(DatabaseStatementsTest, OfAValueThatCannotBeBoundTheStatementNeverRuns) {
    EXPECT_EQ(databaseErrorOf([&] { execute(addNote, {SQLValue::integer(1)}); }),
              DatabaseError(Kind::bindFailed, "column index out of range"));
    EXPECT_THAT(recorder.take(), ElementsAre());
}

// A statement that is still open keeps its table from being dropped, and the file from being closed.
TEST_F(DatabaseStatementsTest, AreFinalisedHoweverTheyEnd) {
    execute("INSERT INTO notes (body) VALUES ('{}'), ('not json')");
    databaseErrorOf([&] { execute("SELECT * FROM notes"); });
    databaseErrorOf([&] { rows("SELECT json_type(body) FROM notes ORDER BY id"); });
    databaseErrorOf([&] { rows("SELECT * FROM notes", {SQLValue::null()}); });
    databaseErrorOf([&] { execute("SELECT * FROM notes; nonsense", {SQLValue::null()}); });
    EXPECT_EQ(rows("SELECT * FROM notes").size(), 2U);
    EXPECT_NO_THROW(execute("DROP TABLE notes"));
    database.reset();
    EXPECT_FALSE(std::filesystem::exists(path.string() + "-wal"));
}

/// Statements with values, which are kept compiled from one run to the next.
class KeptStatementsTest : public DatabaseStatementsTest {
  protected:
    static constexpr const char* insertNote = "INSERT INTO notes (body) VALUES (?)";
    static constexpr const char* selectNotes = "SELECT * FROM notes WHERE body >= ?";

    void insert(const std::string& body) { execute(insertNote, {SQLValue::text(body)}); }
    std::vector<Row> notes() { return rows(selectNotes, {SQLValue::text("")}); }
};

TEST_F(KeptStatementsTest, EachRunBindsItsOwnValues) {
    insert("one");
    insert("two");
    const std::vector<Row> found = notes();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[1].at("body"), SQLValue::text("two"));
    EXPECT_THAT(recorder.take(), ElementsAre(insertNote, insertNote, selectNotes));
}

TEST_F(KeptStatementsTest, AParameterWithoutAValueIsNullAlsoTheSecondTime) {
    const char* both = "SELECT ?1 IS NULL AS first, ?2 IS NULL AS second";
    EXPECT_EQ(rows(both, {SQLValue::integer(1), SQLValue::integer(2)}).at(0).at("second"),
              SQLValue::integer(0));
    EXPECT_EQ(rows(both, {SQLValue::integer(1)}).at(0).at("second"), SQLValue::integer(1));
}

TEST_F(KeptStatementsTest, OneThatFailedRunsAgain) {
    execute("CREATE UNIQUE INDEX once ON notes (body)");
    insert("one");
    EXPECT_EQ(databaseErrorOf([&] { insert("one"); }),
              DatabaseError(Kind::stepFailed, "UNIQUE constraint failed: notes.body"));
    insert("two");
    EXPECT_EQ(notes().size(), 2U);
}

TEST_F(KeptStatementsTest, ReadsTheColumnsOfATableThatHasChangedSince) {
    insert("one");
    notes();
    Connection(path).execute("ALTER TABLE notes ADD COLUMN colour TEXT DEFAULT 'red'");
    EXPECT_EQ(notes().at(0).at("colour"), SQLValue::text("red"));
}

TEST_F(KeptStatementsTest, OneThatDoesNotCompileAnyMoreIsToldAsOneThatNeverDid) {
    insert("one");
    Connection(path).execute("DROP TABLE notes");
    EXPECT_EQ(databaseErrorOf([&] { insert("two"); }),
              DatabaseError(Kind::prepareFailed, "no such table: notes"));
    execute("CREATE TABLE notes (id INTEGER PRIMARY KEY, body)");
    insert("three");
    EXPECT_EQ(notes().size(), 1U);
}

TEST_F(KeptStatementsTest, ManyDifferentOnesAllRun) {
    for (int number = 0; number < 200; ++number) {
        const std::string sql = "SELECT ? + " + std::to_string(number) + " AS value";
        EXPECT_EQ(value(sql, {SQLValue::integer(1)}), SQLValue::integer(number + 1));
    }
}

TEST_F(KeptStatementsTest, AreFinalisedBeforeTheFileIsClosed) {
    insert("one");
    notes();
    database.reset();
    EXPECT_FALSE(std::filesystem::exists(path.string() + "-wal"));
}

TEST_F(DatabaseStatementsTest, ARowIsReadWhereItLies) {
    std::vector<SQLValueView> views;
    std::string texts;
    runTask(database->read("SELECT 7, 'seven', 7.5, NULL, x'07'", {}, [&](const Statement& row) {
        for (int index = 0; index < row.columnCount(); ++index) {
            views.push_back(row.columnView(index));
            texts += views.back().text;
        }
    }));
    using enum SQLValue::Kind;
    std::vector<SQLValue::Kind> kinds;
    for (const SQLValueView& view : views) {
        kinds.push_back(view.kind);
    }
    EXPECT_THAT(kinds, ElementsAre(integer, text, real, null, null));
    EXPECT_EQ(views.at(0).integer, 7);
    EXPECT_EQ(texts, "seven");
}

TEST_F(DatabaseStatementsTest, WhatAReaderThrowsEndsTheStatement) {
    execute(addNote);
    const auto refuse = [](const Statement&) { throw std::runtime_error("enough"); };
    EXPECT_THROW(runTask(database->read("SELECT * FROM notes", {}, refuse)), std::runtime_error);
    EXPECT_NO_THROW(execute("DROP TABLE notes"));
}

TEST_F(DatabaseStatementsTest, ARealThatIsNoNumberIsBoundAsNull) {
    const SQLValues bound{SQLValue::real(std::numeric_limits<double>::quiet_NaN())};
    EXPECT_EQ(rows("SELECT ? AS value", bound).at(0).at("value"), SQLValue::null());
}

}  // namespace
}  // namespace quernlight
