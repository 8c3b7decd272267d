#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "quernlight/platform/task.hpp"
#include "quernlight/queue/session_attempt_record.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// The attempts in the database. A value that may be copied freely, but that must outlive the operations
/// awaited on it; statements run on the database's thread. Bug ids are taken in any written form. A `mark`
/// operation overwrites the state whatever it was, and changes nothing, silently, for an unknown id. Every
/// operation throws DatabaseError.
class SessionAttemptRepository {
  public:
    explicit SessionAttemptRepository(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// A number that the queue item has used already fails with stepFailed.
    Task<void> insert(const SessionAttemptRecord& record) const;

    /// 1 for an item without attempts.
    Task<std::int64_t> nextAttemptNumber(Uuid queueItemID) const;

    /// The highest-numbered attempt.
    Task<std::optional<SessionAttemptRecord>> latestAttempt(Uuid queueItemID) const;

    /// Counted per bug, apart from the attempts of the bug's queue item.
    Task<std::int64_t> nextResumeAttemptNumber(std::string_view bugID) const;

    /// The most recently started attempt whose agent conversation is known.
    Task<std::optional<SessionAttemptRecord>> latestAttempt(std::string_view bugID) const;

    /// The agent conversation that was recorded first for the bug.
    Task<std::optional<Uuid>> canonicalCodexSessionID(std::string bugID) const;

    Task<void> markRunning(const Uuid& id, std::int32_t pid) const;
    Task<void> setCodexSession(const Uuid& id, const Uuid& codexSessionID) const;
    Task<void> markLastOutput(const Uuid& id, Instant at) const;
    Task<void> markExited(const Uuid& id, std::optional<std::int32_t> exitCode, Instant endedAt) const;
    /// Also clears a failure reason recorded before.
    Task<void> markCompleted(const Uuid& id, const Uuid& commentID, Instant commentCreatedAt,
                             Instant endedAt) const;
    Task<void> markFailed(const Uuid& id, std::string_view reason, Instant endedAt) const;

  private:
    Task<std::int64_t> attemptNumber(std::string sql, SQLValue value) const;
    Task<std::optional<SessionAttemptRecord>> firstAttempt(std::string sql, SQLValue value) const;

    std::shared_ptr<Database> database_;
};

}  // namespace quernlight
