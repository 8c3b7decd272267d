#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "host/agent/session_event.hpp"
#include "host/session/standing_question.hpp"
#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/runner/session_timeouts.hpp"

namespace quernlight::host {

/// What is known of a session that is being watched.
struct WatchedSession {
    SessionTimeoutState activity{};
    std::optional<CompletionDetection> detection{};
    std::optional<Instant> commentsKnownAt{};  ///< at least all comments from before this moment were seen
    std::string commentTrouble{};   ///< why the backend, though it answers, shows none; empty while it may
    std::optional<Uuid> resumes{};  ///< the agent's conversation that it was told to go on with
    bool goalTyped = false;         ///< at least its first key
    bool goalAccepted = false;      ///< the agent has it, whole
    bool endedWithoutGoal = false;  ///< it has exited, and was not given all of it
    std::optional<GoalRefused> goalRefused{};
    std::optional<StandingQuestion> question{};
    std::string lastWords{};  ///< the end of what the agent wrote, readable text
    bool stopRequested = false;
    bool superseded = false;  ///< the queue item is no longer this session's
};

/// The session as it counts at `now` for the rules that fail it: whatever it did before the current stretch
/// of running time began it did at that beginning, and nothing it did lies in the future.
WatchedSession countedSince(Instant since, Instant now, WatchedSession session);

/// It may go on.
struct KeepWatching {};

/// The agent's comment says that the work is in review.
struct WorkCompleted {
    QLCommentDTO comment;
};

/// The agent's comment asks the user something.
struct UserAsked {
    QLCommentDTO comment;
};

/// A rule would end the session, but the agent's comment may be there unseen: look at the comments now.
struct LookForComment {};

/// A rule ended the session, for the reason given.
struct SessionFailed {
    std::string reason;
};

/// Why an attempt failed that the dispatcher did not see to its end.
inline constexpr std::string_view interruptedReason = "Dispatcher stopped while the session was running.";

/// The same of one that a person has stopped.
inline constexpr std::string_view stoppedReason = "A person has stopped the session.";

/// The dispatcher is stopping, or a person has stopped the session; it is to be resumed later.
struct SessionInterrupted {};

/// The agent does not know the conversation; the bug is to be worked on in a fresh one.
struct ConversationUnknown {
    Uuid conversation;
};

/// No agent ever ran: what was to start it says that it finds no program, or none that may be run.
struct AgentNotFound {
    int exitCode = 0;
    std::string words{};  ///< the launcher's own line
};

/// The agent cannot go on, or cannot begin, for something that the next bug's agent would meet as well.
struct AgentBlocked {
    std::string cause{};
    std::optional<Instant> until{};
    bool stopsWork = false;  ///< it has taken its goal, as the next one would
    bool limitsUse = false;
    bool endedEarly = false;          ///< it has exited before its goal was typed
    bool concernsRepository = false;  ///< only: bugs of others are started
};

/// The agent has not taken its goal; the bug gets one fresh attempt.
struct GoalNotTaken {
    std::string reason{};
};

/// Somebody took the item away (cancelled it, say): the agent is stopped and nothing is reported.
struct SessionSuperseded {};

using NextStep =
    std::variant<KeepWatching, LookForComment, WorkCompleted, UserAsked, SessionFailed, SessionInterrupted,
                 ConversationUnknown, AgentNotFound, AgentBlocked, GoalNotTaken, SessionSuperseded>;

/// What to do with the session now. Reports of a session that lost its item count for nothing; then a
/// completion comment counts above all, and a wish to stop above the rules that fail a session, since an
/// interrupted session loses nothing. A silence or an exit fails it only when the comments were seen to hold
/// no report after the rule's time was over, however long the backend takes to show them.
NextStep nextStep(const WatchedSession& session, Instant now, const SessionTimeoutSettings& settings);

/// Whether the session ended as env(1) does when it cannot run the program: with code 126 or 127 and a line
/// of its own, before any key was typed. Whatever an agent does once its goal was begun is its own affair.
std::optional<AgentNotFound> agentNotFound(const WatchedSession& session);

/// Whether a question keeps the agent from its work in a way that no answer in its terminal mends (it is not
/// logged in, or its use is limited), or has kept its goal from it for two minutes, or, where a setting
/// leaves it to a person, for as long as an agent may be silent.
std::optional<AgentBlocked> agentBlocked(const WatchedSession& session, Instant now,
                                         const SessionTimeoutSettings& settings);

/// One sentence on an exit that was not clean: "Codex exited with code 3 ..." or, above 128, the signal's
/// name.
std::string describeUncleanExit(int exitCode);

/// One sentence on an exit before the agent had its goal, which no bug can have caused. `was`: what had not
/// been done with the goal.
std::string describeEarlyExit(const SessionTimeoutState& activity, std::string_view was,
                              const std::string& lastWords);

/// Whether an agent's last words say that it has no such conversation: they name its id, or speak of a
/// session, and say that it is not there.
bool deniesConversation(const std::string& lastWords, const Uuid& conversation);

}  // namespace quernlight::host
