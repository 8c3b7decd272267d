#include "quernlight/queue/session_attempt_repository.hpp"

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/queue/raw_values.hpp"
#include "quernlight/storage/column_values.hpp"

namespace quernlight {
namespace {

/// In declared order.
constexpr std::array<std::string_view, allSessionAttemptStates.size()> rawValues{
    "created", "running", "completed", "failed", "exited",
};

constexpr const char* insertAttempt =
    "INSERT INTO session_attempts\n"
    "  (id, queue_item_id, attempt_number, bug_id, repo_path, agent_workspace_path, transcript_ansi_path, "
    "transcript_text_path, goal_text, completion_marker, pid, state, exit_code, started_at, last_output_at, "
    "ended_at, completion_comment_id, completion_comment_created_at, codex_session_id, failure_reason)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

constexpr const char* selectNextAttemptNumber =
    "SELECT COALESCE(MAX(attempt_number), 0) + 1 AS next_attempt_number FROM session_attempts WHERE "
    "queue_item_id = ?";

constexpr const char* selectAllOfQueueItem =
    "SELECT * FROM session_attempts\n"
    " WHERE queue_item_id = ?\n"
    " ORDER BY attempt_number";

constexpr const char* selectLatestOfQueueItem =
    "SELECT * FROM session_attempts\n"
    " WHERE queue_item_id = ?\n"
    " ORDER BY attempt_number DESC\n"
    " LIMIT 1";

constexpr const char* selectNextResumeAttemptNumber =
    "SELECT COALESCE(MAX(attempt_number), 0) + 1 AS next_attempt_number\n"
    "  FROM session_attempts\n"
    " WHERE queue_item_id IS NULL\n"
    "   AND bug_id = ?";

constexpr const char* selectLatestOfBug =
    "SELECT * FROM session_attempts\n"
    " WHERE bug_id = ?\n"
    "   AND codex_session_id IS NOT NULL\n"
    " ORDER BY started_at DESC, attempt_number DESC\n"
    " LIMIT 1";

constexpr const char* selectCanonicalCodexSession =
    "SELECT codex_session_id FROM session_attempts\n"
    " WHERE bug_id = ?\n"
    "   AND codex_session_id IS NOT NULL\n"
    " ORDER BY started_at ASC, attempt_number ASC\n"
    " LIMIT 1";

constexpr const char* updateCompleted =
    "UPDATE session_attempts\n"
    "   SET state = 'completed',\n"
    "       completion_comment_id = ?,\n"
    "       completion_comment_created_at = ?,\n"
    "       ended_at = ?,\n"
    "       failure_reason = NULL\n"
    " WHERE id = ?";

SQLValues insertValues(const SessionAttemptRecord& record) {
    return {columnValue(record.id),
            columnValue(record.queueItemID),
            columnValue(record.attemptNumber),
            columnValue(BugID::normalized(record.bugID)),
            columnValue(record.repoPath),
            columnValue(record.agentWorkspacePath),
            columnValue(record.transcriptANSIPath),
            columnValue(record.transcriptTextPath),
            columnValue(record.goalText),
            columnValue(record.completionMarker),
            columnValue(record.pid),
            columnValue(rawValue(record.state)),
            columnValue(record.exitCode),
            columnValue(record.startedAt),
            columnValue(record.lastOutputAt),
            columnValue(record.endedAt),
            columnValue(record.completionCommentID),
            columnValue(record.completionCommentCreatedAt),
            columnValue(record.codexSessionID),
            columnValue(record.failureReason)};
}

SessionAttemptState stateOf(const Row& row) {
    return requiredColumn(sessionAttemptStateFromRawValue(requiredText(row, "state")), "state");
}

SessionAttemptRecord attemptOfRow(const Row& row) {
    return {
        .id = requiredUuid(row, "id"),
        .queueItemID = optionalUuid(row, "queue_item_id"),
        .attemptNumber = requiredInteger(row, "attempt_number"),
        .bugID = BugID::normalized(requiredText(row, "bug_id")),
        .repoPath = requiredText(row, "repo_path"),
        .agentWorkspacePath = optionalText(row, "agent_workspace_path"),
        .transcriptANSIPath = requiredText(row, "transcript_ansi_path"),
        .transcriptTextPath = requiredText(row, "transcript_text_path"),
        .goalText = requiredText(row, "goal_text"),
        .completionMarker = requiredText(row, "completion_marker"),
        .codexSessionID = optionalUuid(row, "codex_session_id"),
        .pid = optionalInteger32(row, "pid"),
        .state = stateOf(row),
        .exitCode = optionalInteger32(row, "exit_code"),
        .startedAt = requiredInstant(row, "started_at"),
        .lastOutputAt = optionalInstant(row, "last_output_at"),
        .endedAt = optionalInstant(row, "ended_at"),
        .completionCommentID = optionalUuid(row, "completion_comment_id"),
        .completionCommentCreatedAt = optionalInstant(row, "completion_comment_created_at"),
        .failureReason = optionalText(row, "failure_reason"),
    };
}

}  // namespace

std::string_view rawValue(SessionAttemptState state) {
    return rawValues.at(static_cast<std::size_t>(state));
}

std::optional<SessionAttemptState> sessionAttemptStateFromRawValue(std::string_view text) {
    return caseOfRawValue(allSessionAttemptStates, text);
}

Task<void> SessionAttemptRepository::insert(const SessionAttemptRecord& record) const {
    return database_->execute(insertAttempt, insertValues(record));
}

Task<std::int64_t> SessionAttemptRepository::nextAttemptNumber(Uuid queueItemID) const {
    return attemptNumber(selectNextAttemptNumber, columnValue(queueItemID));
}

Task<std::vector<SessionAttemptRecord>> SessionAttemptRepository::attempts(Uuid queueItemID) const {
    SQLValues values(1, columnValue(queueItemID));
    std::vector<SessionAttemptRecord> records;
    for (const Row& row : co_await database_->query(selectAllOfQueueItem, std::move(values))) {
        records.push_back(attemptOfRow(row));
    }
    co_return records;
}

Task<std::optional<SessionAttemptRecord>> SessionAttemptRepository::latestAttempt(Uuid queueItemID) const {
    return firstAttempt(selectLatestOfQueueItem, columnValue(queueItemID));
}

Task<std::int64_t> SessionAttemptRepository::nextResumeAttemptNumber(std::string_view bugID) const {
    return attemptNumber(selectNextResumeAttemptNumber, columnValue(BugID::normalized(bugID)));
}

Task<std::optional<SessionAttemptRecord>> SessionAttemptRepository::latestAttempt(
    std::string_view bugID) const {
    return firstAttempt(selectLatestOfBug, columnValue(BugID::normalized(bugID)));
}

Task<std::optional<Uuid>> SessionAttemptRepository::canonicalCodexSessionID(std::string bugID) const {
    SQLValues values(1, columnValue(BugID::normalized(bugID)));
    const std::vector<Row> rows = co_await database_->query(selectCanonicalCodexSession, std::move(values));
    if (rows.empty()) {
        co_return std::nullopt;
    }
    co_return optionalUuid(rows.front(), "codex_session_id");
}

Task<void> SessionAttemptRepository::markRunning(const Uuid& id, std::int32_t pid) const {
    return database_->execute("UPDATE session_attempts SET state = 'running', pid = ? WHERE id = ?",
                              {columnValue(pid), columnValue(id)});
}

Task<void> SessionAttemptRepository::setCodexSession(const Uuid& id, const Uuid& codexSessionID) const {
    return database_->execute("UPDATE session_attempts SET codex_session_id = ? WHERE id = ?",
                              {columnValue(codexSessionID), columnValue(id)});
}

Task<void> SessionAttemptRepository::markLastOutput(const Uuid& id, Instant at) const {
    return database_->execute("UPDATE session_attempts SET last_output_at = ? WHERE id = ?",
                              {columnValue(at), columnValue(id)});
}

Task<void> SessionAttemptRepository::markExited(const Uuid& id, std::optional<std::int32_t> exitCode,
                                                Instant endedAt) const {
    return database_->execute(
        "UPDATE session_attempts SET state = 'exited', exit_code = ?, ended_at = ? WHERE id = ?",
        {columnValue(exitCode), columnValue(endedAt), columnValue(id)});
}

Task<void> SessionAttemptRepository::markCompleted(const Uuid& id, const Uuid& commentID,
                                                   Instant commentCreatedAt, Instant endedAt) const {
    return database_->execute(updateCompleted, {columnValue(commentID), columnValue(commentCreatedAt),
                                                columnValue(endedAt), columnValue(id)});
}

Task<void> SessionAttemptRepository::markFailed(const Uuid& id, std::string_view reason,
                                                Instant endedAt) const {
    return database_->execute(
        "UPDATE session_attempts SET state = 'failed', failure_reason = ?, ended_at = ? WHERE id = ?",
        {columnValue(reason), columnValue(endedAt), columnValue(id)});
}

Task<std::int64_t> SessionAttemptRepository::attemptNumber(std::string sql, SQLValue value) const {
    SQLValues values(1, std::move(value));
    const std::vector<Row> rows = co_await database_->query(std::move(sql), std::move(values));
    co_return requiredInteger(rows.empty() ? Row() : rows.front(), "next_attempt_number");
}

Task<std::optional<SessionAttemptRecord>> SessionAttemptRepository::firstAttempt(std::string sql,
                                                                                 SQLValue value) const {
    SQLValues values(1, std::move(value));
    const std::vector<Row> rows = co_await database_->query(std::move(sql), std::move(values));
    if (rows.empty()) {
        co_return std::nullopt;
    }
    co_return attemptOfRow(rows.front());
}

}  // namespace quernlight
