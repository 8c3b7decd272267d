#pragma once

#include <optional>

#include "host/health/running_time.hpp"
#include "host/session/session_agent.hpp"
#include "host/session/session_comments.hpp"
#include "host/session/session_outside.hpp"

namespace quernlight::host {

/// The session while its agent works: takes its events, looks at what nobody tells, and asks `nextStep`
/// after each, until that ends it.
class SessionWatch {
  public:
    struct Uses {
        DispatchStore store;
        QueueManager& manager;
        const StopRequest& stop;
        Clock& clock;
        RunningTime& runningTime;
        const Settings& settings;
        const SessionOutside& outside;
    };

    SessionWatch(Uses uses, SessionState& state, SessionLog& log, SessionAgent& agent,
                 SessionComments& comments)
        : uses_(std::move(uses)), state_(state), log_(log), agent_(agent), comments_(comments) {}

    /// How the session ends. Throws DatabaseError.
    Task<NextStep> untilItsEnd();

  private:
    NextStep stepNow();
    Task<void> take(SessionEvent event);
    Task<void> noteOutput(OutputSeen output);
    Task<void> noteExit(AgentExited exit);
    Task<void> lookAround();
    Task<void> lookForQuestion();
    Task<std::optional<GoalRecord>> goalRecord(const ScreenPicture& picture);
    Task<void> noteConversation();
    SessionTimeoutSettings timeouts() const;

    const Uses uses_;
    SessionState& state_;
    SessionLog& log_;
    SessionAgent& agent_;
    SessionComments& comments_;
    Clock::TimePoint nextLook_{};
    std::optional<Instant> lastOutputStoredAt_;
    bool isQuestionTold_ = false;
};

}  // namespace quernlight::host
