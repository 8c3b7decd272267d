#include "quernlight/dispatch/codex_session_resolver.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/dispatch/codex_threads_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

using CodexSessionResolverTest = CodexThreadsFixture;

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

TEST_F(CodexSessionResolverTest, BeforeTheEpochTheFractionIsCutOffToo) {
    createTable();
    add({.createdAt = -runStart - 10});
    const auto found = [&](milliseconds time) {
        return CodexSessionResolver::latest("/work tree/it's", Instant(time), path_).has_value();
    };
    EXPECT_TRUE(found(milliseconds(-500)));
    EXPECT_TRUE(found(milliseconds(0)));
    EXPECT_FALSE(found(milliseconds(1000)));
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

TEST_F(CodexSessionResolverTest, OnlyTheNewestThreadCountsEvenWhenItsIdIsNoUuid) {
    createTable();
    add({.id = threadID(1), .createdAt = 1});
    add({.id = "thread-2", .createdAt = 2});
    EXPECT_EQ(latestID(), "none");
}

TEST_F(CodexSessionResolverTest, AnIdThatIsNoTextIsNoRecord) {
    connection().execute("CREATE TABLE threads (id, cwd, title, source, created_at, updated_at)");
    add({});
    for (const std::string id : {"NULL", "7", "7.5", "x'30313930'"}) {
        connection().execute("UPDATE threads SET id = " + id);
        EXPECT_EQ(latestID(), "none") << id;
    }
}

TEST_F(CodexSessionResolverTest, AnIdInCapitalsIsRead) {
    createTable();
    add({.id = "0190A000-0000-7000-8000-00000000000B"});
    EXPECT_EQ(latestID(), "0190a000-0000-7000-8000-00000000000b");
}

TEST_F(CodexSessionResolverTest, TheDirectoryIsReadAsTheAgentSpellsIt) {
    connection().execute(
        "CREATE TABLE threads (id, cwd TEXT COLLATE NOCASE, title, source, created_at, updated_at)");
    add({.cwd = "/WORK tree/it's"});
    EXPECT_EQ(latest()->cwd, "/WORK tree/it's");
}

TEST_F(CodexSessionResolverTest, ADirectoryThatIsNoTextIsTheOneThatWasAskedFor) {
    connection().execute("CREATE TABLE threads (id, cwd INTEGER, title, source, created_at, updated_at)");
    add({.cwd = "42"});
    EXPECT_EQ(CodexSessionResolver::latest("42", Instant(seconds(runStart)), path_)->cwd, "42");
}

TEST_F(CodexSessionResolverTest, TimesThatAreNoIntegersAreReadAsSuch) {
    connection().execute("CREATE TABLE threads (id, cwd, title, source, created_at, updated_at)");
    add({});
    connection().execute("UPDATE threads SET created_at = 1772600003.9, updated_at = '1772600004'");
    EXPECT_EQ(latest()->createdAt, Instant(seconds(1'772'600'003)));
    EXPECT_EQ(latest()->updatedAt, Instant(seconds(1'772'600'004)));
    connection().execute("UPDATE threads SET updated_at = NULL");
    EXPECT_EQ(latest()->updatedAt, Instant());
}

TEST_F(CodexSessionResolverTest, ATitleThatIsMissingOrNoTextIsEmpty) {
    connection().execute("CREATE TABLE threads (id, cwd, title, source, created_at, updated_at)");
    add({});
    for (const std::string title : {"NULL", "7", "x'46'"}) {
        connection().execute("UPDATE threads SET title = " + title);
        EXPECT_EQ(latest()->title, "") << title;
    }
}

TEST_F(CodexSessionResolverTest, TimesBeyondAllReasonDoNoHarm) {
    createTable();
    connection().execute("INSERT INTO threads VALUES (?, ?, '', 'cli', ?, ?)",
                         {SQLValue::text(threadID(1)), SQLValue::text("/work tree/it's"),
                          SQLValue::integer(std::numeric_limits<std::int64_t>::max()),
                          SQLValue::integer(std::numeric_limits<std::int64_t>::min())});
    EXPECT_EQ(latestID(), threadID(1));
}

TEST_F(CodexSessionResolverTest, AnEmptyTableIsNoError) {
    createTable();
    EXPECT_EQ(latest(), std::nullopt);
}

TEST_F(CodexSessionResolverTest, OneStatementIsRun) {
    createTable();
    add({});
    test::StatementRecorder recorder;
    latest();
    EXPECT_THAT(recorder.take(), ElementsAre("SELECT id, cwd, title, created_at, updated_at\n"
                                             "  FROM threads\n"
                                             " WHERE cwd = ?\n"
                                             "   AND source = 'cli'\n"
                                             "   AND created_at >= ?\n"
                                             " ORDER BY created_at DESC, updated_at DESC\n"
                                             " LIMIT 1"));
}

TEST_F(CodexSessionResolverTest, ReadingLeavesTheDatabaseUnchanged) {
    createTable();
    add({});
    const std::string before = test::readFile(path_);
    latest();
    EXPECT_EQ(test::readFile(path_), before);
}

}  // namespace
}  // namespace quernlight
