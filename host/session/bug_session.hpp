#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/agent/agent_run.hpp"
#include "host/events/item_event.hpp"
#include "host/events/progress_board.hpp"
#include "host/process/stop_request.hpp"
#include "host/session/next_step.hpp"
#include "host/session/session_services.hpp"
#include "quernlight/dispatch/goal_context.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"

namespace quernlight::host {

/// The session went wrong, but whether its agent had reported cannot be told while the backend is away.
class ReportUnknown : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One run of the agent on one queued bug, from the taking of an attempt number to the item's new status.
/// Owned by the dispatcher; everything runs on the dispatcher's executor.
class BugSession {
  public:
    BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping);

    /// The bug's road. Never leaves the agent running. What goes wrong on the way fails the item with the
    /// reason; a wish to stop puts it back to be resumed. When its end cannot be stored that is thrown, with
    /// the item left as it is, to be settled as after a crash.
    Task<void> run();

    const Uuid& sessionID() const { return sessionID_; }
    const BugQueueItem& item() const { return item_; }

    /// Whether the process was seen to be of its agent's.
    bool hasProcess(const ProcessEntry& process) const { return agent_.hasProcess(process); }

  private:
    Task<void> runWhileAllIsWell();
    Task<void> fail(std::string reason);
    Task<void> putBack(OutsideFailure failure);

    // The stations, in order; those before the agent are in bug_session_preparation.cpp
    Task<void> openAttempt();
    Task<bool> prepareWorktree();
    Task<bool> refuse(WorktreeFailed failed, GitTrouble trouble);
    Task<std::string> writeGoal();
    Task<void> recordAttempt(std::string goal);
    Task<bool> startAgent(std::string goal);
    Task<NextStep> watch();

    // The ways to end (bug_session_endings.cpp)
    Task<void> finish(KeepWatching);
    Task<void> finish(LookForComment);
    Task<void> finish(WorkCompleted end);
    Task<void> finish(UserAsked end);
    Task<void> finish(SessionFailed end);
    Task<void> finish(SessionInterrupted);
    Task<void> finish(ConversationUnknown end);
    Task<void> finish(SessionSuperseded);

    Task<void> beginWatching(const StartSessionResponse& started);
    NextStep stepNow();
    Task<void> take(SessionEvent event);
    Task<void> noteOutput(OutputSeen output);
    void showExit(const AgentExited& exit);
    Task<void> noteTyping(SessionEvent event);
    Task<void> noteWhileStopping(SessionEvent event);
    Task<void> lookAround();
    Task<void> lookForComment();
    Task<bool> learnComments(Task<ReadableList<QLCommentDTO>> fetching);
    Task<bool> learnLastComments();
    Task<ReadableList<QLCommentDTO>> fetchComments();
    Task<bool> isStillOurs();
    Task<void> interrupt(std::string reason);
    Task<void> finishReported();
    Task<void> noteConversation();
    Task<void> noteUnstartedAgent();
    Task<void> stopAgent();
    Task<void> recordAgentExit();
    Task<void> noteLeftovers();
    Task<std::optional<Url>> pullRequestURL();
    Task<void> tellEvent(const char* kind, std::string message, std::optional<std::string> metadata = {});
    Task<void> ifPossible(Task<void> write);
    SessionAttemptRecord newAttempt(std::int64_t number) const;
    PrepareBugRequest worktreeRequest() const;
    GoalContext goalContext(std::optional<Url> prURL) const;
    StartSessionRequest startRequest(std::string goal) const;
    EnvironmentMap environmentOfAgent() const;
    CompletionPollState pollState() const;
    SessionTimeoutSettings timeouts() const;
    StopEscalation escalation() const;
    void show(SessionStage stage, std::string detail = {});

    SessionServices& services_;
    const BugQueueItem item_;
    const AppMapping mapping_;
    const Uuid sessionID_ = randomUuid();
    AgentRun agent_;
    SessionAttemptRecord attempt_;
    BugProgress progress_;
    WatchedSession watched_;
    const StopRequest::Subscription atStop_;
    std::optional<Instant> lastOutputStoredAt_;
    std::optional<Instant> newestComment_;  // that has counted as a sign of life
    Clock::TimePoint nextLook_{};
    Clock::TimePoint nextCommentLook_{};
    bool escalated_ = false;
    bool attemptRecorded_ = false;
    bool agentExitRecorded_ =
        true;  ///< from its start on only once its end is stored and nothing of it is left
    bool conversationKnown_ = false;
    bool goalTypedWhole_ = false;
    std::unique_ptr<ChildTask> commentPoll_;
};

}  // namespace quernlight::host
