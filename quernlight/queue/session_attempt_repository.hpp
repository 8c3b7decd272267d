#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// How far an attempt has come.
enum class SessionAttemptState {
    created,    ///< written; the process is not yet known
    running,    ///< the process has started
    completed,  ///< the completion comment was found
    failed,     ///< ended without success
    exited,     ///< the process has ended; the outcome is not yet decided
};

inline constexpr std::array allSessionAttemptStates{
    SessionAttemptState::created, SessionAttemptState::running, SessionAttemptState::completed,
    SessionAttemptState::failed,  SessionAttemptState::exited,
};

/// The text that is stored: the case's own name.
std::string_view rawValue(SessionAttemptState state);

/// Nothing for a text that is not exactly a raw value.
std::optional<SessionAttemptState> sessionAttemptStateFromRawValue(std::string_view text);

/// One launch of the agent for a bug.
struct SessionAttemptRecord {
    Uuid id{};
    std::optional<Uuid> queueItemID{};  ///< absent for an attempt to resume outside the queue
    std::int64_t attemptNumber = 1;     ///< from 1, per queue item; of resume attempts, per bug
    std::string bugID{};                ///< short form (BugID)
    std::string repoPath{};
    std::optional<std::string> agentWorkspacePath{};  ///< the worktree the agent works in
    std::string transcriptANSIPath{};
    std::string transcriptTextPath{};
    std::string goalText{};
    std::string completionMarker{};        ///< what the completion comment must carry
    std::optional<Uuid> codexSessionID{};  ///< the agent's own conversation
    std::optional<std::int32_t> pid{};
    SessionAttemptState state = SessionAttemptState::created;
    std::optional<std::int32_t> exitCode{};  ///< 128 plus the signal's number for one that a signal ended
    Instant startedAt{};
    std::optional<Instant> lastOutputAt{};
    std::optional<Instant> endedAt{};
    std::optional<Uuid> completionCommentID{};
    std::optional<Instant> completionCommentCreatedAt{};
    std::optional<std::string> failureReason{};

    bool operator==(const SessionAttemptRecord&) const = default;
};

/// The attempts in the database. A value that may be copied freely, but that must outlive the operations
/// awaited on it; statements run on the database's thread. Bug ids are taken in any written form. A `mark`
/// operation overwrites the state whatever it was, and changes nothing, silently, for an unknown id. Every
/// operation throws DatabaseError: SQLite's own, or missingColumn for a row that is no attempt.
class SessionAttemptRepository {
  public:
    explicit SessionAttemptRepository(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// A number that the queue item has used already, and an unknown queue item, fail with stepFailed.
    Task<void> insert(const SessionAttemptRecord& record) const;

    /// 1 for an item without attempts.
    Task<std::int64_t> nextAttemptNumber(Uuid queueItemID) const;

    /// All attempts of the item, the first one first.
    Task<std::vector<SessionAttemptRecord>> attempts(Uuid queueItemID) const;

    /// The highest-numbered attempt of the item.
    Task<std::optional<SessionAttemptRecord>> latestAttempt(Uuid queueItemID) const;

    /// Counted per bug, apart from the attempts of the bug's queue item.
    Task<std::int64_t> nextResumeAttemptNumber(std::string_view bugID) const;

    /// The most recently started attempt whose agent conversation is known.
    Task<std::optional<SessionAttemptRecord>> latestAttempt(std::string_view bugID) const;

    /// The agent conversation of the bug's earliest attempt that knows one; nothing when there is none or it
    /// is no UUID.
    Task<std::optional<Uuid>> canonicalCodexSessionID(std::string bugID) const;

    /// The process has started, under that id of the operating system.
    Task<void> markRunning(const Uuid& id, std::int32_t pid) const;
    /// Notes the agent's conversation; the state stays.
    Task<void> setCodexSession(const Uuid& id, const Uuid& codexSessionID) const;
    /// Notes when output was last seen; the state stays.
    Task<void> markLastOutput(const Uuid& id, Instant at) const;
    /// The process has ended; an absent code clears what was stored.
    Task<void> markExited(const Uuid& id, std::optional<std::int32_t> exitCode, Instant endedAt) const;
    /// The comment that reported completion was found. Also clears a failure reason recorded before.
    Task<void> markCompleted(const Uuid& id, const Uuid& commentID, Instant commentCreatedAt,
                             Instant endedAt) const;
    /// The attempt has ended without success; `reason` is a sentence for people.
    Task<void> markFailed(const Uuid& id, std::string_view reason, Instant endedAt) const;

  private:
    Task<std::int64_t> attemptNumber(std::string sql, SQLValue value) const;
    Task<std::optional<SessionAttemptRecord>> firstAttempt(std::string sql, SQLValue value) const;

    std::shared_ptr<Database> database_;
};

}  // namespace quernlight
