#include <csignal>
#include <future>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/storage/older_layout.hpp"
#include "tests/storage/statement_hook.hpp"

namespace quernlight {
namespace {

using test::runTask;
using test::StatementHook;

// The statements of a rebuild, by their beginnings.
constexpr const char* renaming = "ALTER TABLE session_attempts RENAME";
constexpr const char* creating = "CREATE TABLE session_attempts";
constexpr const char* copying = "INSERT INTO session_attempts";
constexpr const char* dropping = "DROP TABLE session_attempts";

/// A file whose attempts require a queue item, whose rebuild something cuts off.
class CutOffRebuildTest : public testing::Test {
  protected:
    void SetUp() override {
        const auto database = std::make_shared<Database>(path);
        for (const std::string& statement : test::statementsOf({.attemptsRequireAnItem = true})) {
            runTask(database->execute(statement));
        }
        before = attempts(database);
    }

    static std::vector<Row> attempts(const std::shared_ptr<Database>& database) {
        return runTask(database->query("SELECT * FROM session_attempts ORDER BY id"));
    }

    /// One start on the file, to its end or its error.
    void migrate() {
        try {
            runTask(Migrations(std::make_shared<Database>(path)).run());
        } catch (const DatabaseError& error) {
            troubles.push_back(error.text());
        }
    }

    /// A start in a process that is killed at the statement.
    void migrateAndDieAt(const std::string& statement) {
        const pid_t child = fork();
        if (child == 0) {
            const StatementHook hook(statement, [] { kill(getpid(), SIGKILL); });
            migrate();
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the statement was not run";
    }

    /// What the next start finds.
    std::vector<Row> attemptsAfterTheNextStart() {
        const auto database = std::make_shared<Database>(path);
        runTask(Migrations(database).run());
        EXPECT_TRUE(
            runTask(database->query("SELECT 1 FROM sqlite_master WHERE name LIKE '%legacy%'")).empty());
        return attempts(database);
    }

    const test::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "queue.sqlite";
    std::vector<Row> before;
    std::vector<std::string> troubles;
};

class InterruptedRebuildTest : public CutOffRebuildTest, public testing::WithParamInterface<const char*> {};

TEST_P(InterruptedRebuildTest, ByAKillKeepsEveryAttempt) {
    migrateAndDieAt(GetParam());
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

TEST_P(InterruptedRebuildTest, ByAnotherStartAtTheSameTimeKeepsEveryAttempt) {
    {
        const StatementHook hook(GetParam(), [this] { migrate(); });
        migrate();
    }
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

INSTANTIATE_TEST_SUITE_P(Statements, InterruptedRebuildTest,
                         testing::Values(renaming, creating, copying, dropping), [](const auto& statement) {
                             return "At" + std::string(statement.param).substr(0, 4);
                         });

TEST_F(CutOffRebuildTest, ByAFullDiskKeepsEveryAttempt) {
    const auto database = std::make_shared<Database>(path);
    runTask(database->query("PRAGMA max_page_count = 1"));  // as many as there are
    EXPECT_EQ(test::databaseErrorOf([&] { runTask(Migrations(database).run()); })->text(),
              "database or disk is full");
    EXPECT_EQ(runTask(database->query("PRAGMA foreign_keys")).at(0).at("foreign_keys"), SQLValue::integer(1));
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

TEST_F(CutOffRebuildTest, ByACancellationEndsWithForeignKeysEnforcedAndEveryAttempt) {
    boost::asio::io_context io;
    boost::asio::cancellation_signal cancellation;
    const StatementHook hook("PRAGMA foreign_keys = OFF", [&] {
        std::promise<void> cancelled;
        boost::asio::post(io, [&] {
            cancellation.emit(boost::asio::cancellation_type::terminal);
            cancelled.set_value();
        });
        cancelled.get_future().wait();
    });
    const auto database = std::make_shared<Database>(path);
    const Migrations migrations(database);
    boost::asio::co_spawn(io, migrations.run(),
                          boost::asio::bind_cancellation_slot(cancellation.slot(), boost::asio::use_future));
    io.run();
    EXPECT_EQ(runTask(database->query("PRAGMA foreign_keys")).at(0).at("foreign_keys"), SQLValue::integer(1));
    EXPECT_EQ(attempts(database), before);
}

/// Rows that the rebuild of an earlier version, which was cut off, left under the legacy name.
class LeftAttemptsTest : public CutOffRebuildTest {
  protected:
    void SetUp() override {
        CutOffRebuildTest::SetUp();
        database = std::make_shared<Database>(path);
        execute("ALTER TABLE session_attempts RENAME TO session_attempts_legacy_notnull");
    }

    void execute(const std::string& sql) { runTask(database->execute(sql)); }

    /// An attempt that was made after the rows were left, which the program then did not see.
    void addLaterAttempt(const std::string& id, const std::string& item, int number) {
        execute(
            "INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
            "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, started_at) "
            "VALUES ('" +
            id + "', '" + item + "', " + std::to_string(number) +
            ", 'ab1', '/r', '/a', '/t', 'g', 'm', 'created', 's9')");
    }

    std::string numbers() {
        std::string text;
        for (const Row& row : runTask(database->query(
                 "SELECT id || attempt_number AS value FROM session_attempts ORDER BY queue_item_id, "
                 "attempt_number"))) {
            text += *row.at("value").asText() + " ";
        }
        return text;
    }

    void makeCurrentTable() {
        execute(
            "CREATE TABLE session_attempts (id TEXT PRIMARY KEY, queue_item_id TEXT REFERENCES "
            "queue_items(id) ON DELETE CASCADE, attempt_number INTEGER NOT NULL, bug_id TEXT NOT NULL, "
            "repo_path TEXT NOT NULL, agent_workspace_path TEXT, transcript_ansi_path TEXT NOT NULL, "
            "transcript_text_path TEXT NOT NULL, goal_text TEXT NOT NULL, completion_marker TEXT NOT NULL, "
            "pid INTEGER, state TEXT NOT NULL, exit_code INTEGER, started_at TEXT NOT NULL, last_output_at "
            "TEXT, ended_at TEXT, completion_comment_id TEXT, completion_comment_created_at TEXT, "
            "codex_session_id TEXT, failure_reason TEXT, UNIQUE(queue_item_id, attempt_number))");
        execute("PRAGMA user_version = 7");
    }

    std::shared_ptr<Database> database;
};

TEST_F(LeftAttemptsTest, AreTakenBackWhereThereIsNoOtherTable) {
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

TEST_F(LeftAttemptsTest, AreTakenBackIntoAFileThatIsCalledCurrent) {
    makeCurrentTable();
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

TEST_F(LeftAttemptsTest, ThatWereCopiedAlreadyAreThereOnce) {
    makeCurrentTable();
    execute("INSERT INTO session_attempts SELECT * FROM session_attempts_legacy_notnull");
    EXPECT_EQ(attemptsAfterTheNextStart(), before);
}

// T and U are numbers 1 and 2 of item I, V is number 1 of item J.
TEST_F(LeftAttemptsTest, KeepTheirNumbersAndTheAttemptsMadeSinceFollowThem) {
    makeCurrentTable();
    addLaterAttempt("X", "I", 1);
    addLaterAttempt("Y", "I", 2);
    addLaterAttempt("Z", "J", 2);
    EXPECT_EQ(attemptsAfterTheNextStart().size(), 6U);
    EXPECT_EQ(numbers(), "T1 U2 X3 Y4 V1 Z2 ");
}

TEST_F(LeftAttemptsTest, StayWhereTheyAreWhenTheyCannotBeTakenBack) {
    makeCurrentTable();
    execute("ALTER TABLE session_attempts_legacy_notnull DROP COLUMN goal_text");
    EXPECT_THROW(attemptsAfterTheNextStart(), DatabaseError);
    EXPECT_EQ(runTask(database->query("SELECT * FROM session_attempts_legacy_notnull")).size(), 3U);
}

}  // namespace
}  // namespace quernlight
