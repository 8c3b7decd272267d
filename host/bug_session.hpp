#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/session_news.hpp"
#include "host/session_services.hpp"
#include "host/session_verdict.hpp"
#include "quernlight/dispatch/goal_context.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

/// One run of the agent on one queued bug, from the taking of an attempt number to the item's new status.
/// Owned by the dispatcher; everything runs on the dispatcher's executor.
class BugSession {
  public:
    BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping);

    /// The bug's road. Never leaves the agent running or the item in a live status: what goes wrong on the
    /// way fails the item with the reason. Throws only when that, too, cannot be stored.
    Task<void> travel();

    /// Ends the session soon, politely, and puts the item back to be resumed.
    void requestStop();

    const Uuid& sessionID() const { return sessionID_; }

  private:
    Task<void> travelWhileAllIsWell();
    Task<void> giveUp(std::string reason);

    // The stations, in order
    Task<void> openAttempt();
    Task<bool> prepareWorktree();
    Task<std::string> writeGoal();
    Task<void> recordAttempt(std::string goal);
    Task<bool> startAgent(std::string goal);
    Task<SessionVerdict> watch();

    // The ways to end
    Task<void> finish(WorkCompleted verdict);
    Task<void> finish(UserAsked verdict);
    Task<void> finish(SessionFailed verdict);
    Task<void> finish(SessionInterrupted verdict);

    Task<void> stopAgent();
    Task<void> climb(const struct StopRung& rung);
    Task<bool> agentExitedBy(std::chrono::steady_clock::time_point deadline);
    Task<void> take(SessionNews news);
    Task<void> noteOutput(OutputSeen output);
    Task<void> noteExit(AgentExited exit);
    Task<void> resolveAgentSession();
    Task<std::optional<Url>> pullRequestURL();
    Task<GitWorktreePrepareResult> prepareUsableWorktree();
    Task<GitCommandResult> runGitUntilStopped(std::vector<std::string> arguments);
    template <class Result>
    Task<Result> untilStopped(Task<Result> work);
    SessionAttemptRecord newAttempt(std::int64_t number) const;
    GoalContext goalContext(std::optional<Url> prURL) const;
    StartSessionRequest startRequest(std::string goal) const;
    CompletionPollState pollState() const;
    std::string worktreePath() const;
    void showStage(std::string stage, std::string detail = {});

    SessionServices& services_;
    const BugQueueItem item_;
    const AppMapping mapping_;
    const Uuid sessionID_ = randomUuid();
    SessionAttemptRecord attempt_;
    BugProgress progress_;
    SessionMailbox mailbox_;
    WatchedSession watched_;
    boost::asio::cancellation_signal stopped_;
    std::optional<Instant> lastOutputStoredAt_;
    bool attemptRecorded_ = false;
    bool agentRuns_ = false;
    bool agentSessionKnown_ = false;
    std::unique_ptr<ChildTask> runnerEvents_;
    std::unique_ptr<ChildTask> commentPoll_;
};

}  // namespace quernlight::host
