#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/uuid.hpp"

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

}  // namespace quernlight
