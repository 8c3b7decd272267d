#include <limits>

#include "quernlight/queue/queue_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::databaseErrorOf;
using test::instant;
using test::runTask;

SQLValue text(const char* value) {
    return SQLValue::text(value);
}

class SessionAttemptRowsTest : public test::QueueFixture {
  protected:
    void SetUp() override {
        QueueFixture::SetUp();
        const QueueRepository queue(database);
        runTask(queue.insert(item));
    }

    static Uuid uuid(const char* lowerCaseText) { return parseUuid(lowerCaseText).value(); }

    static BugQueueItem settledItem() {
        BugQueueItem item = fullItem();
        item.id = uuid("aaaaaaaa-1111-4222-8333-abcdefabcdef");
        return item;
    }

    SessionAttemptRecord add() {
        const SessionAttemptRecord attempt{
            .id = uuid("bbbbbbbb-1111-4222-8333-abcdefabcdef"),
            .queueItemID = item.id,
            .attemptNumber = 3,
            .bugID = "\n3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF",
            .repoPath = "/code",
            .agentWorkspacePath = "/trees/3f2a9c10",
            .transcriptANSIPath = "/t.ansi",
            .transcriptTextPath = "/t.txt",
            .goalText = "/goal fix\nit",
            .completionMarker = "marker",
            .codexSessionID = uuid("cccccccc-1111-4222-8333-abcdefabcdef"),
            .pid = 4711,
            .state = SessionAttemptState::failed,
            .exitCode = -2,
            .startedAt = instant("2026-03-01T00:00:00.001Z"),
            .lastOutputAt = instant("2026-03-02T00:00:00.020Z"),
            .endedAt = instant("2026-03-03T00:00:00.300Z"),
            .completionCommentID = uuid("dddddddd-1111-4222-8333-abcdefabcdef"),
            .completionCommentCreatedAt = instant("2026-03-04T00:00:00.004Z"),
            .failureReason = "went quiet"};
        runTask(repository.insert(attempt));
        return attempt;
    }

    /// The same rows in a table that allows everything in every column.
    void loosen() {
        execute("CREATE TABLE loose AS SELECT * FROM session_attempts");
        execute("DROP TABLE session_attempts");
        execute("ALTER TABLE loose RENAME TO session_attempts");
    }

    void set(const std::string& column, const SQLValue& changed) {
        execute("UPDATE session_attempts SET " + column + " = ?", {changed});
    }

    Row row() { return rows("SELECT * FROM session_attempts").at(0); }

    SessionAttemptRecord read() { return runTask(repository.latestAttempt(item.id)).value(); }

    std::optional<DatabaseError> readingError() {
        return databaseErrorOf([&] { read(); });
    }

    static DatabaseError missing(const std::string& column) {
        return DatabaseError(DatabaseError::Kind::missingColumn, column);
    }

    const BugQueueItem item = settledItem();
    const SessionAttemptRepository repository{database};
};

TEST_F(SessionAttemptRowsTest, AnAttemptLiesInItsTwentyColumns) {
    add();
    const Row expected{{"id", text("BBBBBBBB-1111-4222-8333-ABCDEFABCDEF")},
                       {"queue_item_id", text("AAAAAAAA-1111-4222-8333-ABCDEFABCDEF")},
                       {"attempt_number", SQLValue::integer(3)},
                       {"bug_id", text("3f2a9c10")},
                       {"repo_path", text("/code")},
                       {"agent_workspace_path", text("/trees/3f2a9c10")},
                       {"transcript_ansi_path", text("/t.ansi")},
                       {"transcript_text_path", text("/t.txt")},
                       {"goal_text", text("/goal fix\nit")},
                       {"completion_marker", text("marker")},
                       {"pid", SQLValue::integer(4711)},
                       {"state", text("failed")},
                       {"exit_code", SQLValue::integer(-2)},
                       {"started_at", text("2026-03-01T00:00:00.001Z")},
                       {"last_output_at", text("2026-03-02T00:00:00.020Z")},
                       {"ended_at", text("2026-03-03T00:00:00.300Z")},
                       {"completion_comment_id", text("DDDDDDDD-1111-4222-8333-ABCDEFABCDEF")},
                       {"completion_comment_created_at", text("2026-03-04T00:00:00.004Z")},
                       {"codex_session_id", text("CCCCCCCC-1111-4222-8333-ABCDEFABCDEF")},
                       {"failure_reason", text("went quiet")}};
    const Row found = row();
    EXPECT_EQ(found.size(), expected.size());
    for (const auto& [column, value] : expected) {
        EXPECT_EQ(found.at(column), value) << column;
    }
}

TEST_F(SessionAttemptRowsTest, AbsentFieldsOfAnAttemptAreNull) {
    runTask(repository.insert({.bugID = "b"}));
    for (const char* column :
         {"queue_item_id", "agent_workspace_path", "pid", "exit_code", "last_output_at", "ended_at",
          "completion_comment_id", "completion_comment_created_at", "codex_session_id", "failure_reason"}) {
        EXPECT_EQ(row().at(column), SQLValue::null()) << column;
    }
}

TEST_F(SessionAttemptRowsTest, EveryRequiredColumnThatIsNullIsToldByName) {
    add();
    loosen();
    execute("CREATE TABLE intact AS SELECT * FROM session_attempts");
    for (const char* column :
         {"id", "attempt_number", "bug_id", "repo_path", "transcript_ansi_path", "transcript_text_path",
          "goal_text", "completion_marker", "state", "started_at"}) {
        set(column, SQLValue::null());
        EXPECT_EQ(readingError(), missing(column));
        set(column, rows("SELECT * FROM intact").at(0).at(column));
    }
    EXPECT_NO_THROW(read());
}

TEST_F(SessionAttemptRowsTest, EveryRequiredColumnOfTheWrongKindIsToldByName) {
    add();
    execute(
        "CREATE TABLE loose (id, queue_item_id, attempt_number, bug_id, repo_path, transcript_ansi_path, "
        "transcript_text_path, goal_text, completion_marker, state, started_at)");
    execute(
        "INSERT INTO loose SELECT id, queue_item_id, attempt_number, bug_id, repo_path, "
        "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, started_at "
        "FROM session_attempts");
    execute("DROP TABLE session_attempts");
    execute("ALTER TABLE loose RENAME TO session_attempts");
    const SQLValue number = SQLValue::integer(7);
    for (const auto& [column, wrong] :
         std::vector<std::pair<std::string, SQLValue>>{{"id", number},
                                                       {"id", text("no uuid")},
                                                       {"attempt_number", text("3")},
                                                       {"attempt_number", SQLValue::real(3)},
                                                       {"bug_id", number},
                                                       {"repo_path", number},
                                                       {"transcript_ansi_path", number},
                                                       {"transcript_text_path", number},
                                                       {"goal_text", number},
                                                       {"completion_marker", number},
                                                       {"state", number},
                                                       {"state", text("Running")},
                                                       {"started_at", number}}) {
        const SQLValue intact = row().at(column);
        set(column, wrong);
        EXPECT_EQ(readingError(), missing(column));
        set(column, intact);
    }
    EXPECT_NO_THROW(read());
}

TEST_F(SessionAttemptRowsTest, OptionalColumnsThatAreMissingReadAsAbsent) {
    const SessionAttemptRecord added = add();
    execute("DROP INDEX session_attempts_codex_session_idx");
    for (const char* column :
         {"agent_workspace_path", "pid", "exit_code", "last_output_at", "ended_at", "completion_comment_id",
          "completion_comment_created_at", "codex_session_id", "failure_reason"}) {
        execute(std::string("ALTER TABLE session_attempts DROP COLUMN ") + column);
    }
    EXPECT_EQ(read(), (SessionAttemptRecord{.id = added.id,
                                            .queueItemID = added.queueItemID,
                                            .attemptNumber = added.attemptNumber,
                                            .bugID = "3f2a9c10",
                                            .repoPath = added.repoPath,
                                            .transcriptANSIPath = added.transcriptANSIPath,
                                            .transcriptTextPath = added.transcriptTextPath,
                                            .goalText = added.goalText,
                                            .completionMarker = added.completionMarker,
                                            .state = added.state,
                                            .startedAt = added.startedAt}));
}

TEST_F(SessionAttemptRowsTest, IdsThatDoNotParseReadAsAbsent) {
    add();
    set("completion_comment_id", text("x"));
    set("codex_session_id", text(""));
    EXPECT_EQ(read().completionCommentID, std::nullopt);
    EXPECT_EQ(read().codexSessionID, std::nullopt);
    execute("PRAGMA foreign_keys = OFF");
    set("queue_item_id", text("no uuid"));
    EXPECT_EQ(runTask(repository.latestAttempt("3f2a9c10")).value().queueItemID, std::nullopt);
}

TEST_F(SessionAttemptRowsTest, InstantsThatDoNotParseReadAsTheEpoch) {
    add();
    for (const char* column : {"started_at", "last_output_at", "ended_at", "completion_comment_created_at"}) {
        set(column, text("yesterday"));
    }
    EXPECT_EQ(read().startedAt, Instant{});
    EXPECT_EQ(read().lastOutputAt, Instant{});
    EXPECT_EQ(read().endedAt, Instant{});
    EXPECT_EQ(read().completionCommentCreatedAt, Instant{});
}

TEST_F(SessionAttemptRowsTest, ABugIDIsNormalisedAgainOnReading) {
    add();
    set("bug_id", text("ABCDEF12-AAAA-BBBB-CCCC-DDDDEEEEFFFF"));
    EXPECT_EQ(read().bugID, "abcdef12");
}

TEST_F(SessionAttemptRowsTest, ANextNumberThatIsNoIntegerIsAMissingColumn) {
    add();
    set("attempt_number", SQLValue::integer(std::numeric_limits<std::int64_t>::max()));
    const auto ofItem = databaseErrorOf([&] { runTask(repository.nextAttemptNumber(item.id)); });
    EXPECT_EQ(ofItem, missing("next_attempt_number"));
    set("queue_item_id", SQLValue::null());
    const auto ofBug = databaseErrorOf([&] { runTask(repository.nextResumeAttemptNumber("3f2a9c10")); });
    EXPECT_EQ(ofBug, missing("next_attempt_number"));
}

TEST_F(SessionAttemptRowsTest, RemovingTheItemRemovesItsAttemptsButNoneToResume) {
    add();
    runTask(repository.insert({.id = randomUuid(), .bugID = "3f2a9c10"}));
    const QueueRepository queue(database);
    runTask(queue.remove(item.id));
    EXPECT_EQ(rows("SELECT * FROM session_attempts").size(), 1U);
    EXPECT_EQ(row().at("queue_item_id"), SQLValue::null());
}

}  // namespace
}  // namespace quernlight
