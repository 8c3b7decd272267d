#include "quernlight/dispatch/codex_session_resolver.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t runStart = 1'772'600'000;  // seconds since the epoch

std::string threadID(int number) {
    return "0190a000-0000-7000-8000-00000000000" + std::to_string(number);
}

/// Which of the agent's databases is read.
class StateDatabaseTest : public testing::Test {
  protected:
    void addFile(const std::string& name, int modifiedSecond) {
        test::writeFile(directory_ / name, "");
        fs::last_write_time(directory_ / name, fs::file_time_type(seconds(modifiedSecond)));
    }

    std::string chosen() const {
        const fs::path path =
            CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", directory_.path().string()}});
        EXPECT_EQ(path.parent_path(), directory_.path());
        return path.filename().string();
    }

    test::TemporaryDirectory directory_;
};

TEST_F(StateDatabaseTest, TheMostRecentlyModifiedVersionIsUsedWhateverItsNumber) {
    addFile("state_4.sqlite", 200);
    addFile("state_5.sqlite", 100);
    EXPECT_EQ(chosen(), "state_4.sqlite");
    addFile("state_12.sqlite", 300);
    EXPECT_EQ(chosen(), "state_12.sqlite");
}

TEST_F(StateDatabaseTest, OtherFilesAreNotTakenForTheDatabase) {
    addFile("state_6.sqlite", 100);
    for (const auto* name : {"state_7.sqlite-wal", "logs_7.sqlite", "State_7.sqlite", ".state_7.sqlite"}) {
        addFile(name, 500);
    }
    EXPECT_EQ(chosen(), "state_6.sqlite");
}

TEST_F(StateDatabaseTest, WithoutAnyTheKnownVersionIsNamed) {
    EXPECT_EQ(chosen(), "state_5.sqlite");
}

TEST_F(StateDatabaseTest, AHomeThatCannotBeListedNamesTheKnownVersion) {
    const EnvironmentMap environment{{"CODEX_HOME", (directory_ / "none").string()}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment), directory_ / "none" / "state_5.sqlite");
}

TEST_F(StateDatabaseTest, AnEntryWhoseDateCannotBeReadIsTheOldest) {
    struct Undated : FileManager {
        std::vector<Entry> visibleEntries(const fs::path& home) const override {
            return {{home / "state_9.sqlite", std::nullopt},
                    {home / "state_1.sqlite", fs::file_time_type(seconds(-1000))}};
        }
    };
    const EnvironmentMap environment{{"CODEX_HOME", "/home/agent"}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment, Undated()), "/home/agent/state_1.sqlite");
}

TEST_F(StateDatabaseTest, AnEmptyOrMissingCodexHomeMeansTheUsersHome) {
    const fs::path home = directory_.path();
    const fs::path expected = home / ".codex" / "state_5.sqlite";
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", ""}, {"HOME", home.string()}}),
              expected);
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"HOME", home.string()}}), expected);
}

/// A state database with the agent's threads; times are seconds since the run's start.
class CodexSessionResolverTest : public testing::Test {
  protected:
    struct Thread {
        std::string id = threadID(1);
        std::string cwd = "/work tree/it's";
        std::string source = "cli";
        std::int64_t createdAt = 0;
        std::int64_t updatedAt = 0;
    };

    void createTable() {
        connection().execute(
            "CREATE TABLE threads (id TEXT, cwd TEXT, title TEXT, source TEXT,"
            " created_at INTEGER, updated_at INTEGER)");
    }

    void add(const Thread& thread) {
        connection().execute(
            "INSERT INTO threads VALUES (?, ?, 'Fix it', ?, ?, ?)",
            {SQLValue::text(thread.id), SQLValue::text(thread.cwd), SQLValue::text(thread.source),
             SQLValue::integer(runStart + thread.createdAt), SQLValue::integer(runStart + thread.updatedAt)});
    }

    Connection connection() const { return Connection(path_); }

    std::optional<CodexSessionRecord> latest(milliseconds sinceStart = {}) const {
        return CodexSessionResolver::latest("/work tree/it's", Instant(seconds(runStart)) + sinceStart,
                                            path_);
    }

    std::string latestID(milliseconds sinceStart = {}) const {
        const auto record = latest(sinceStart);
        return record ? lowerCaseText(record->id) : "none";
    }

    /// The error that reading ends with.
    DatabaseError failure() const {
        try {
            latest();
        } catch (const DatabaseError& error) {
            return error;
        }
        ADD_FAILURE() << "reading did not fail";
        return {DatabaseError::Kind::missingColumn, "none"};
    }

    test::TemporaryDirectory directory_;
    fs::path path_ = directory_ / "state_5.sqlite";
};

TEST_F(CodexSessionResolverTest, AThreadOfTheDirectoryIsReadWhole) {
    createTable();
    add({.createdAt = 3, .updatedAt = 8});
    EXPECT_EQ(latest(), (CodexSessionRecord{.id = *parseUuid(threadID(1)),
                                            .cwd = "/work tree/it's",
                                            .title = "Fix it",
                                            .createdAt = Instant(seconds(runStart + 3)),
                                            .updatedAt = Instant(seconds(runStart + 8))}));
}

TEST_F(CodexSessionResolverTest, AThreadFromShortlyBeforeTheRunIsFound) {
    createTable();
    add({.id = threadID(1), .createdAt = -11});
    EXPECT_EQ(latestID(), "none");
    add({.id = threadID(2), .createdAt = -9});
    EXPECT_EQ(latestID(), threadID(2));
}

TEST_F(CodexSessionResolverTest, TheFractionOfTheRunsStartIsCutOff) {
    createTable();
    add({.createdAt = -10});
    EXPECT_EQ(latestID(milliseconds(999)), threadID(1));
    EXPECT_EQ(latestID(milliseconds(1000)), "none");
}

TEST_F(CodexSessionResolverTest, OnlyThreadsOfTheCommandLineInTheDirectoryCount) {
    createTable();
    add({.source = "vscode"});
    add({.cwd = "/work tree"});
    EXPECT_EQ(latestID(), "none");
}

TEST_F(CodexSessionResolverTest, TheNewestThreadWins) {
    createTable();
    add({.id = threadID(1), .createdAt = 5, .updatedAt = 5});
    add({.id = threadID(2), .createdAt = 1, .updatedAt = 99});
    EXPECT_EQ(latestID(), threadID(1));
}

TEST_F(CodexSessionResolverTest, OfThreadsCreatedInTheSameSecondTheOneUpdatedLaterWins) {
    createTable();
    add({.id = threadID(1), .createdAt = 5, .updatedAt = 6});
    add({.id = threadID(2), .createdAt = 5, .updatedAt = 7});
    add({.id = threadID(3), .createdAt = 5, .updatedAt = 5});
    EXPECT_EQ(latestID(), threadID(2));
}

TEST_F(CodexSessionResolverTest, AThreadWhoseIdIsNoUuidIsNoRecord) {
    createTable();
    add({.id = "thread-1"});
    EXPECT_EQ(latestID(), "none");
}

TEST_F(CodexSessionResolverTest, AMissingTitleIsEmpty) {
    createTable();
    add({});
    connection().execute("UPDATE threads SET title = NULL");
    EXPECT_EQ(latest()->title, "");
}

TEST_F(CodexSessionResolverTest, TimesBeyondAllReasonDoNoHarm) {
    createTable();
    connection().execute("INSERT INTO threads VALUES (?, ?, '', 'cli', ?, ?)",
                         {SQLValue::text(threadID(1)), SQLValue::text("/work tree/it's"),
                          SQLValue::integer(std::numeric_limits<std::int64_t>::max()),
                          SQLValue::integer(std::numeric_limits<std::int64_t>::min())});
    EXPECT_EQ(latestID(), threadID(1));
}

TEST_F(CodexSessionResolverTest, AMissingDatabaseCannotBeOpenedAndIsNotCreated) {
    EXPECT_EQ(failure(),
              DatabaseError(DatabaseError::Kind::openFailed, "Unable to open Codex state database."));
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(CodexSessionResolverTest, TablesThatTheAgentHasChangedCannotBeRead) {
    connection().execute("CREATE TABLE conversations (id TEXT)");
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::prepareFailed, "no such table: threads"));
}

TEST_F(CodexSessionResolverTest, ABusyDatabaseFailsWithSQLitesMessage) {
    createTable();
    Connection writer = connection();
    writer.execute("BEGIN EXCLUSIVE");
    EXPECT_EQ(failure().text(), "database is locked");
}

TEST_F(CodexSessionResolverTest, ADamagedDatabaseFailsInTheStep) {
    createTable();
    add({});
    constexpr std::size_t pageSize = 4096;  // the first page holds the schema, the second the threads
    test::writeFile(path_, test::readFile(path_).substr(0, pageSize) + std::string(pageSize, '\xFF'));
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::stepFailed, "database disk image is malformed"));
}

TEST_F(CodexSessionResolverTest, ReadingLeavesTheDatabaseUnchanged) {
    createTable();
    add({});
    const std::string before = test::readFile(path_);
    latest();
    EXPECT_EQ(test::readFile(path_), before);
}

TEST_F(CodexSessionResolverTest, APathIsNeverTakenForAUriOrASpecialName) {
    path_ = directory_ / "state%41?mode=memory#x.sqlite";
    createTable();
    add({});
    EXPECT_EQ(latestID(), threadID(1));
    for (const auto* name : {":memory:", "file::memory:?cache=shared", ""}) {
        path_ = name;
        EXPECT_EQ(failure().kind(), DatabaseError::Kind::openFailed) << name;
    }
}

}  // namespace
}  // namespace quernlight
