#include <gmock/gmock.h>

#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/queue_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"
#include "tests/queue/queue_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"

namespace quernlight {
namespace {

using test::runTask;

/// The text of every statement is settled: a trace of the database must stay comparable between versions.
class StatementsTest : public test::RecordedDatabaseFixture {
  protected:
    void SetUp() override {
        runTask(Migrations(database).run());
        recorder.take();
    }

    /// The one statement that the operation runs.
    template <class Result>
    std::string textOf(Task<Result> task) {
        runTask(std::move(task));
        const std::vector<std::string> statements = recorder.take();
        EXPECT_EQ(statements.size(), 1U);
        return statements.empty() ? "" : statements.front();
    }

    const QueueRepository queue{database};
    const MappingRepository mappings{database};
    const SessionAttemptRepository attempts{database};
};

TEST_F(StatementsTest, Listings) {
    const std::string order = " ORDER BY queue_mode ASC, queue_position ASC, added_at ASC";
    const std::string active = "status NOT IN ('completed', 'failed', 'cancelled', 'awaitingUserInput')";
    EXPECT_EQ(textOf(queue.items()), "SELECT * FROM queue_items WHERE " + active + order);
    EXPECT_EQ(textOf(queue.items({.includeTerminal = true})), "SELECT * FROM queue_items" + order);
    EXPECT_EQ(textOf(queue.items({.queueMode = QueueMode::manual})),
              "SELECT * FROM queue_items WHERE " + active + " AND queue_mode = ?" + order);
    EXPECT_EQ(textOf(queue.items({.includeTerminal = true, .queueMode = QueueMode::manual})),
              "SELECT * FROM queue_items WHERE queue_mode = ?" + order);
}

TEST_F(StatementsTest, QueueStatementsOfSeveralLines) {
    EXPECT_EQ(textOf(queue.nextPosition()),
              "SELECT COALESCE(MAX(queue_position), -1) + 1 AS next_position\n"
              "  FROM queue_items\n"
              " WHERE status NOT IN ('completed', 'failed', 'cancelled', 'awaitingUserInput')\n"
              "   AND queue_mode = ?");
    EXPECT_EQ(textOf(queue.markWaitingItemsQueued("b")),
              "UPDATE queue_items\n"
              "   SET status = 'queued', error_message = NULL\n"
              " WHERE bundle_id = ? AND status = 'waitingForMapping'");
}

TEST_F(StatementsTest, QueueStatementsOfOneLine) {
    EXPECT_EQ(textOf(queue.item(Uuid{})), "SELECT * FROM queue_items WHERE id = ? LIMIT 1");
    EXPECT_EQ(textOf(queue.item("b")), "SELECT * FROM queue_items WHERE bug_id = ? LIMIT 1");
    EXPECT_EQ(textOf(queue.remove(Uuid{})), "DELETE FROM queue_items WHERE id = ?");
    EXPECT_EQ(textOf(queue.events(Uuid{})),
              "SELECT * FROM queue_events WHERE queue_item_id = ? ORDER BY created_at ASC");
}

TEST_F(StatementsTest, Insertions) {
    const std::string twenty = "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
    EXPECT_EQ(textOf(queue.insert(BugQueueItem{})),
              "INSERT INTO queue_items\n"
              "  (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position, queue_mode, "
              "status, goal_flow, priority, active_session_id, codex_session_id, error_message, created_at, "
              "added_at, started_at, completed_at, cancelled_at)\n" +
                  twenty);
    EXPECT_EQ(textOf(queue.appendEvent(Uuid{}, "k", "m", std::nullopt, std::nullopt, Instant{})),
              "INSERT INTO queue_events\n"
              "  (id, queue_item_id, session_id, kind, message, metadata_json, created_at)\n"
              "VALUES (?, ?, ?, ?, ?, ?, ?)");
    EXPECT_EQ(textOf(attempts.insert(SessionAttemptRecord{})),
              "INSERT INTO session_attempts\n"
              "  (id, queue_item_id, attempt_number, bug_id, repo_path, agent_workspace_path, "
              "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, pid, state, "
              "exit_code, started_at, last_output_at, ended_at, completion_comment_id, "
              "completion_comment_created_at, codex_session_id, failure_reason)\n" +
                  twenty);
}

TEST_F(StatementsTest, TheUpdateOfAnItem) {
    EXPECT_EQ(textOf(queue.update(BugQueueItem{})),
              "UPDATE queue_items SET\n"
              "  app_name = ?, bundle_id = ?, title = ?, bug_url = ?, queue_position = ?, queue_mode = ?, "
              "status = ?, goal_flow = ?, priority = ?, active_session_id = ?, codex_session_id = ?, "
              "error_message = ?, started_at = ?, completed_at = ?, cancelled_at = ?\n"
              " WHERE id = ?");
}

TEST_F(StatementsTest, MappingStatements) {
    EXPECT_EQ(textOf(mappings.upsert(AppMapping{})),
              "INSERT INTO app_mappings\n"
              "  (bundle_id, app_id, app_name, repo_path, worktree_root_path, base_branch, codex_profile, "
              "created_at, updated_at)\n"
              "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)\n"
              "ON CONFLICT(bundle_id) DO UPDATE SET\n"
              "  app_id = excluded.app_id,\n"
              "  app_name = excluded.app_name,\n"
              "  repo_path = excluded.repo_path,\n"
              "  worktree_root_path = excluded.worktree_root_path,\n"
              "  base_branch = excluded.base_branch,\n"
              "  codex_profile = excluded.codex_profile,\n"
              "  updated_at = excluded.updated_at");
    EXPECT_EQ(textOf(mappings.mapping("b")), "SELECT * FROM app_mappings WHERE bundle_id = ? LIMIT 1");
    EXPECT_EQ(textOf(mappings.allMappings()), "SELECT * FROM app_mappings ORDER BY app_name ASC");
    EXPECT_EQ(textOf(mappings.remove("b")), "DELETE FROM app_mappings WHERE bundle_id = ?");
}

TEST_F(StatementsTest, AttemptQueries) {
    EXPECT_EQ(textOf(attempts.nextAttemptNumber(Uuid{})),
              "SELECT COALESCE(MAX(attempt_number), 0) + 1 AS next_attempt_number FROM session_attempts "
              "WHERE queue_item_id = ?");
    EXPECT_EQ(textOf(attempts.latestAttempt(Uuid{})),
              "SELECT * FROM session_attempts\n WHERE queue_item_id = ?\n ORDER BY attempt_number DESC\n"
              " LIMIT 1");
    EXPECT_EQ(textOf(attempts.nextResumeAttemptNumber("b")),
              "SELECT COALESCE(MAX(attempt_number), 0) + 1 AS next_attempt_number\n"
              "  FROM session_attempts\n WHERE queue_item_id IS NULL\n   AND bug_id = ?");
    EXPECT_EQ(textOf(attempts.latestAttempt("b")),
              "SELECT * FROM session_attempts\n WHERE bug_id = ?\n   AND codex_session_id IS NOT NULL\n"
              " ORDER BY started_at DESC, attempt_number DESC\n LIMIT 1");
    EXPECT_EQ(textOf(attempts.canonicalCodexSessionID("b")),
              "SELECT codex_session_id FROM session_attempts\n WHERE bug_id = ?\n"
              "   AND codex_session_id IS NOT NULL\n ORDER BY started_at ASC, attempt_number ASC\n"
              " LIMIT 1");
}

TEST_F(StatementsTest, AttemptUpdates) {
    EXPECT_EQ(textOf(attempts.markRunning(Uuid{}, 1)),
              "UPDATE session_attempts SET state = 'running', pid = ? WHERE id = ?");
    EXPECT_EQ(textOf(attempts.setCodexSession(Uuid{}, Uuid{})),
              "UPDATE session_attempts SET codex_session_id = ? WHERE id = ?");
    EXPECT_EQ(textOf(attempts.markLastOutput(Uuid{}, Instant{})),
              "UPDATE session_attempts SET last_output_at = ? WHERE id = ?");
    EXPECT_EQ(textOf(attempts.markExited(Uuid{}, 0, Instant{})),
              "UPDATE session_attempts SET state = 'exited', exit_code = ?, ended_at = ? WHERE id = ?");
    EXPECT_EQ(textOf(attempts.markCompleted(Uuid{}, Uuid{}, Instant{}, Instant{})),
              "UPDATE session_attempts\n   SET state = 'completed',\n       completion_comment_id = ?,\n"
              "       completion_comment_created_at = ?,\n       ended_at = ?,\n"
              "       failure_reason = NULL\n WHERE id = ?");
    EXPECT_EQ(textOf(attempts.markFailed(Uuid{}, "r", Instant{})),
              "UPDATE session_attempts SET state = 'failed', failure_reason = ?, ended_at = ? WHERE id = ?");
}

}  // namespace
}  // namespace quernlight
