#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "quernlight/platform/instant.hpp"

namespace quernlight {

/// Limits in seconds; whoever watches the session chooses them.
struct SessionTimeoutSettings {
    double idleTimeoutSeconds;           ///< longest allowed time without activity
    double postExitCommentGraceSeconds;  ///< how long after a clean exit the completion comment may come

    bool operator==(const SessionTimeoutSettings&) const = default;
};

/// What is known of an agent session that is being watched.
struct SessionTimeoutState {
    Instant startedAt;
    std::optional<Instant> lastOutputAt = {};
    std::optional<Instant> lastCommentPollWithNewCommentAt = {};
    std::optional<Instant> exitedAt = {};
    std::optional<std::int32_t> exitCode = {};  ///< absent while it runs, or when not known

    bool operator==(const SessionTimeoutState&) const = default;
};

/// Why a session is given up.
enum class SessionTimeoutDecision { idleTimeout, exitWithoutCompletionComment };

/// The sentence recorded on the failed session.
std::string_view failureReason(SessionTimeoutDecision decision);

/// Decides, without clock or storage of its own, whether a session has been idle for too long or has exited
/// cleanly and failed to post its completion comment in time. Only more time than a limit counts. The exit is
/// looked at first, so a session to which both apply has exited. A pure function, for any thread.
struct SessionTimeoutEvaluator {
    SessionTimeoutEvaluator() = delete;

    /// Nothing means that the session may go on.
    static std::optional<SessionTimeoutDecision> decision(Instant now, const SessionTimeoutState& state,
                                                          const SessionTimeoutSettings& settings);
};

}  // namespace quernlight
