#include "quernlight/runner/session_timeouts.hpp"

#include <algorithm>

namespace quernlight {
namespace {

bool commentIsOverdue(Instant now, const SessionTimeoutState& state, const SessionTimeoutSettings& settings) {
    const bool exitedCleanly = state.exitedAt && state.exitCode == 0;
    return exitedCleanly && secondsOf(now - *state.exitedAt) > settings.postExitCommentGraceSeconds;
}

/// Neither typed input nor the exit itself is activity.
Instant lastActivity(const SessionTimeoutState& state) {
    return std::max({state.startedAt, state.lastOutputAt.value_or(state.startedAt),
                     state.lastCommentPollWithNewCommentAt.value_or(state.startedAt)});
}

}  // namespace

std::string_view failureReason(SessionTimeoutDecision decision) {
    switch (decision) {
        case SessionTimeoutDecision::idleTimeout:
            return "Idle timeout elapsed before completion.";
        case SessionTimeoutDecision::exitWithoutCompletionComment:
            return "Codex exited without posting a completion comment.";
    }
    return {};
}

std::optional<SessionTimeoutDecision> SessionTimeoutEvaluator::decision(
    Instant now, const SessionTimeoutState& state, const SessionTimeoutSettings& settings) {
    if (commentIsOverdue(now, state, settings)) {
        return SessionTimeoutDecision::exitWithoutCompletionComment;
    }
    if (secondsOf(now - lastActivity(state)) > settings.idleTimeoutSeconds) {
        return SessionTimeoutDecision::idleTimeout;
    }
    return std::nullopt;
}

}  // namespace quernlight
