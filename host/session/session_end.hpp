#pragma once

#include <string>

#include "host/session/session_agent.hpp"
#include "host/session/session_comments.hpp"
#include "host/session/session_preparation.hpp"

namespace quernlight::host {

/// The ways in which a session ends: the agent is stopped, its last comments are read, and the end is
/// recorded. In every ending the item comes first and the attempt last: an attempt without an end tells the
/// next start that something may be missing, an event above all. Every operation throws DatabaseError.
class SessionEnd {
  public:
    struct Uses {
        DispatchStore store;
        QueueManager& manager;
        StartPauses& startPauses;
        const StopRequest& stop;
        Clock& clock;
        const Settings& settings;
    };

    SessionEnd(Uses uses, SessionState& state, SessionLog& log, SessionAgent& agent,
               SessionComments& comments)
        : uses_(std::move(uses)), state_(state), log_(log), agent_(agent), comments_(comments) {}

    /// What `nextStep` has come to. Throws ReportUnknown, too.
    Task<void> finish(NextStep step);

    /// What the preparation has come to, which is not an agent that may start.
    Task<void> finish(PreparationResult result);

    /// Throws ReportUnknown, too.
    Task<void> fail(std::string reason);

    /// No fault of the bug's: it goes back to where it was, and for a while nothing that would meet the same
    /// is started. Throws ReportUnknown, too.
    Task<void> putBack(OutsideFailure failure);

  private:
    Task<void> end(KeepWatching);
    Task<void> end(LookForComment);
    Task<void> end(WorkCompleted end);
    Task<void> end(UserAsked end);
    Task<void> end(SessionFailed end);
    Task<void> end(SessionInterrupted);
    Task<void> end(ConversationUnknown end);
    Task<void> end(AgentNotFound end);
    Task<void> end(AgentBlocked end);
    Task<void> end(GoalNotTaken end);
    Task<void> end(SessionSuperseded);
    Task<void> end(SessionReady);
    Task<void> end(OutsideFailure failure);
    Task<void> end(WorktreeRefused refused);
    Task<void> end(NothingBegun);
    Task<void> interrupt(std::string reason);
    Task<bool> holdIfWished();
    Task<void> endReported();
    Task<void> markAttemptFailed(std::string reason);
    Task<void> markAttemptCompleted(QLCommentDTO comment);

    const Uses uses_;
    SessionState& state_;
    SessionLog& log_;
    SessionAgent& agent_;
    SessionComments& comments_;
};

}  // namespace quernlight::host
