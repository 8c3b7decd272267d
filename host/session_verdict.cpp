#include "host/session_verdict.hpp"

#include "quernlight/platform/signal_name.hpp"

namespace quernlight::host {
namespace {

SessionVerdict verdictOf(const CompletionDetection& detection) {
    if (detection.outcome == CompletionOutcome::completed) {
        return WorkCompleted{detection.comment};
    }
    return UserAsked{detection.comment};
}

/// A crash has its comment behind it if it has one at all, so it gets the same grace as a clean exit.
bool crashedBeyondGrace(const SessionTimeoutState& activity, Instant now, double graceSeconds) {
    return activity.exitedAt && activity.exitCode.value_or(0) != 0 &&
           secondsOf(now - *activity.exitedAt) > graceSeconds;
}

}  // namespace

std::optional<SessionVerdict> judge(const WatchedSession& session, Instant now,
                                    const SessionTimeoutSettings& settings) {
    if (session.detection) {
        return verdictOf(*session.detection);
    }
    if (session.stopRequested) {
        return SessionInterrupted{};
    }
    if (crashedBeyondGrace(session.activity, now, settings.postExitCommentGraceSeconds)) {
        return SessionFailed{describeUncleanExit(*session.activity.exitCode)};
    }
    if (const auto timeout = SessionTimeoutEvaluator::decision(now, session.activity, settings)) {
        return SessionFailed{std::string(failureReason(*timeout))};
    }
    return std::nullopt;
}

std::string describeUncleanExit(int exitCode) {
    if (exitCode > 128) {
        return "Codex was ended by " + signalName(exitCode - 128) + " without posting a completion comment.";
    }
    return "Codex exited with code " + std::to_string(exitCode) + " without posting a completion comment.";
}

}  // namespace quernlight::host
