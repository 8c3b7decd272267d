#include <algorithm>

#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/storage/older_layout.hpp"
#include "tests/storage/statement_recorder.hpp"
#include "tests/storage/statement_refusal.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;
using test::OlderLayout;
using test::runTask;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* addUnattachedAttempt =
    "INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
    "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, started_at) "
    "VALUES ('R', NULL, 1, 'ab1', '/r', '/a', '/t', 'g', 'm', 'created', 's')";

/// A file whose attempts require a queue item, so that a run of the migrations rebuilds their table.
class AttemptsRebuildTest : public testing::Test {
  protected:
    void SetUp() override { build({.attemptsRequireAnItem = true}); }

    void build(const OlderLayout& layout) {
        database.reset();
        std::filesystem::remove(path);
        database = std::make_shared<Database>(path);
        for (const std::string& statement : test::statementsOf(layout)) {
            execute(statement);
        }
        recorder.take();
    }

    void migrate() { runTask(Migrations(database).run()); }

    void execute(const std::string& sql) { runTask(database->execute(sql)); }

    std::vector<Row> rows(const std::string& sql) { return runTask(database->query(sql)); }

    bool hasTable(const std::string& name) {
        return !rows("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = '" + name + "'").empty();
    }

    bool foreignKeysAreOn() {
        return rows("PRAGMA foreign_keys").at(0).at("foreign_keys") == SQLValue::integer(1);
    }

    SQLValue version() { return rows("PRAGMA user_version").at(0).at("user_version"); }

    /// The statements of a run from where foreign keys are switched off to where they are switched on.
    std::vector<std::string> rebuildStatements() {
        migrate();
        const std::vector<std::string> run = recorder.take();
        const auto first = std::find(run.begin(), run.end(), "PRAGMA foreign_keys = OFF");
        const auto last = std::find(first, run.end(), "PRAGMA foreign_keys = ON");
        return {first, last == run.end() ? last : last + 1};
    }

    test::StatementRecorder recorder;
    test::StatementRefusal refusal;
    const test::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "queue.sqlite";
    std::shared_ptr<Database> database;
};

TEST_F(AttemptsRebuildTest, LooksAgainAndDoesAllInOneTransactionWithoutForeignKeys) {
    const std::string columns =
        "id, queue_item_id, attempt_number, bug_id, repo_path, agent_workspace_path, transcript_ansi_path, "
        "transcript_text_path, goal_text, completion_marker, pid, state, exit_code, started_at, "
        "last_output_at, ended_at, completion_comment_id, completion_comment_created_at, codex_session_id, "
        "failure_reason";
    EXPECT_THAT(
        rebuildStatements(),
        ElementsAre("PRAGMA foreign_keys = OFF", "BEGIN IMMEDIATE", StartsWith("SELECT 1 FROM sqlite_master"),
                    "PRAGMA table_info(session_attempts)",
                    "ALTER TABLE session_attempts RENAME TO session_attempts_legacy_notnull",
                    StartsWith("CREATE TABLE session_attempts (\n"),
                    "INSERT INTO session_attempts (" + columns + ")\nSELECT " + columns +
                        "\n  FROM session_attempts_legacy_notnull",
                    "DROP TABLE session_attempts_legacy_notnull", "COMMIT", "PRAGMA foreign_keys = ON"));
}

TEST_F(AttemptsRebuildTest, CreatesTheTableByTheTextOfANewFile) {
    const std::string rebuilt = rebuildStatements().at(5);
    build({.attemptsRequireAnItem = false});
    migrate();
    std::string fresh = "CREATE TABLE IF NOT EXISTS " + rebuilt.substr(std::string("CREATE TABLE ").size());
    EXPECT_THAT(recorder.take(), testing::Contains(fresh));
}

TEST_F(AttemptsRebuildTest, DoesNotHappenWhenAnAttemptNeedsNoItem) {
    build({.attemptsRequireAnItem = false});
    EXPECT_THAT(rebuildStatements(), ElementsAre());
}

TEST_F(AttemptsRebuildTest, KeepsAllRowsAndThenTakesAnAttemptWithoutAnItem) {
    const auto before = rows("SELECT * FROM session_attempts");
    const auto error = databaseErrorOf([&] { execute(addUnattachedAttempt); });
    EXPECT_EQ(error,
              DatabaseError(Kind::stepFailed, "NOT NULL constraint failed: session_attempts.queue_item_id"));
    migrate();
    EXPECT_EQ(rows("SELECT * FROM session_attempts"), before);
    EXPECT_NO_THROW(execute(addUnattachedAttempt));
    EXPECT_FALSE(hasTable("session_attempts_legacy_notnull"));
    EXPECT_TRUE(foreignKeysAreOn());
}

// Foreign keys cannot be switched off inside a transaction; these rows would then stop the rebuild.
TEST_F(AttemptsRebuildTest, KeepsAnAttemptWhoseItemIsGone) {
    execute("PRAGMA foreign_keys = OFF");
    execute("DELETE FROM queue_items");
    execute("PRAGMA foreign_keys = ON");
    const auto before = rows("SELECT * FROM session_attempts");
    migrate();
    EXPECT_EQ(rows("SELECT * FROM session_attempts"), before);
    EXPECT_TRUE(foreignKeysAreOn());
}

TEST_F(AttemptsRebuildTest, StillAllowsAnItemAndNumberOnlyOnce) {
    migrate();
    const auto error = databaseErrorOf([&] { execute("UPDATE session_attempts SET attempt_number = 1"); });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed,
                                   "UNIQUE constraint failed: session_attempts.queue_item_id, "
                                   "session_attempts.attempt_number"));
}

TEST_F(AttemptsRebuildTest, ThatCannotBeginRestoresForeignKeysAndTellsWhy) {
    execute("CREATE VIEW session_attempts_legacy_notnull AS SELECT 1");
    const auto error = databaseErrorOf([&] { migrate(); });
    EXPECT_THAT(error.value().text(), HasSubstr("session_attempts_legacy_notnull"));
    EXPECT_TRUE(foreignKeysAreOn());
}

TEST_F(AttemptsRebuildTest, OfAFileThatLacksAColumnLeavesTheDataWhereItIs) {
    build({.attemptsRequireAnItem = true, .attemptsHaveFailureReason = false});
    const auto error = databaseErrorOf([&] { migrate(); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "no such column: failure_reason"));
    EXPECT_TRUE(foreignKeysAreOn());
    EXPECT_EQ(rows("SELECT * FROM session_attempts").size(), 3U);
}

TEST_F(AttemptsRebuildTest, ThatStoppedHalfWayIsDoneByTheNextRun) {
    refusal.refuse(SQLITE_INSERT, "session_attempts");
    EXPECT_THROW(migrate(), DatabaseError);
    EXPECT_EQ(version(), SQLValue::integer(0));
    EXPECT_NO_THROW(migrate());
    EXPECT_EQ(rows("SELECT * FROM session_attempts").size(), 3U);
    EXPECT_FALSE(hasTable("session_attempts_legacy_notnull"));
}

TEST_F(AttemptsRebuildTest, TellsWhatStoppedItEvenWhenForeignKeysCannotBeRestored) {
    execute("CREATE VIEW session_attempts_legacy_notnull AS SELECT 1");
    refusal.refuse(SQLITE_PRAGMA, "foreign_keys", 1, 1);
    const auto error = databaseErrorOf([&] { migrate(); });
    EXPECT_THAT(error.value().text(), HasSubstr("session_attempts_legacy_notnull"));
    EXPECT_FALSE(foreignKeysAreOn());
}

/// One statement of the rebuild that is refused.
struct RefusedStatement {
    std::string name{};
    int action = 0;
    std::string of{};
    int skipped = 0;  ///< statements of the same kind that come before it
};

void PrintTo(const RefusedStatement& statement, std::ostream* out) {
    *out << statement.name;
}

class RefusedRebuildTest : public AttemptsRebuildTest,
                           public testing::WithParamInterface<RefusedStatement> {};

TEST_P(RefusedRebuildTest, RestoresForeignKeysAndStopsTheRunWithItsError) {
    refusal.refuse(GetParam().action, GetParam().of, GetParam().skipped);
    const auto error = databaseErrorOf([&] { migrate(); });
    EXPECT_EQ(error, DatabaseError(Kind::prepareFailed, "not authorized"));
    EXPECT_TRUE(foreignKeysAreOn());
    EXPECT_EQ(version(), SQLValue::integer(0));
    EXPECT_EQ(rows("SELECT * FROM session_attempts").size(), 3U);
    EXPECT_FALSE(hasTable("session_attempts_legacy_notnull"));
}

INSTANTIATE_TEST_SUITE_P(
    Statements, RefusedRebuildTest,
    testing::Values(
        RefusedStatement{.name = "SwitchingOff", .action = SQLITE_PRAGMA, .of = "foreign_keys"},
        RefusedStatement{.name = "Renaming", .action = SQLITE_ALTER_TABLE, .of = "session_attempts"},
        RefusedStatement{
            .name = "Creating", .action = SQLITE_CREATE_TABLE, .of = "session_attempts", .skipped = 1},
        RefusedStatement{.name = "Copying", .action = SQLITE_INSERT, .of = "session_attempts"},
        RefusedStatement{
            .name = "Dropping", .action = SQLITE_DROP_TABLE, .of = "session_attempts_legacy_notnull"},
        RefusedStatement{.name = "SwitchingOn", .action = SQLITE_PRAGMA, .of = "foreign_keys", .skipped = 1}),
    [](const auto& statement) { return statement.param.name; });

}  // namespace
}  // namespace quernlight
