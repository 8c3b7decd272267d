#pragma once

#include <optional>
#include <string>
#include <variant>

#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/runner/session_timeouts.hpp"

namespace quernlight::host {

/// What is known of a session that is being watched.
struct WatchedSession {
    SessionTimeoutState activity{};
    std::optional<CompletionDetection> detection{};
    bool stopRequested = false;
};

/// The agent's comment says that the work is in review.
struct WorkCompleted {
    QLCommentDTO comment;
};

/// The agent's comment asks the user something.
struct UserAsked {
    QLCommentDTO comment;
};

/// A rule ended the session, for the reason given.
struct SessionFailed {
    std::string reason;
};

/// The dispatcher is stopping; the session is to be resumed later.
struct SessionInterrupted {};

using SessionVerdict = std::variant<WorkCompleted, UserAsked, SessionFailed, SessionInterrupted>;

/// How the session ends, or nothing while it may go on. A completion comment counts above all; a wish to stop
/// above the rules that fail a session, since an interrupted session loses nothing.
std::optional<SessionVerdict> judge(const WatchedSession& session, Instant now,
                                    const SessionTimeoutSettings& settings);

/// One sentence on an exit that was not clean: "Codex exited with code 3 ..." or, above 128, the signal's
/// name.
std::string describeUncleanExit(int exitCode);

}  // namespace quernlight::host
