#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/process/process_tree.hpp"
#include "host/recovery/recovery_step.hpp"
#include "host/session/session_services.hpp"

namespace quernlight::host {

/// Reconciles what a dispatcher that ended without warning, or whose disk was full, left behind: ends what
/// lives of the agent, learns whether it had reported, and makes item and attempt tell the truth. Only for
/// items that no session works on. Used on the dispatcher's executor.
class Recovery {
  public:
    explicit Recovery(SessionServices& services) : services_(services) {}

    /// The items that need it: live ones, and those whose latest attempt has no end.
    Task<std::vector<BugQueueItem>> interruptedItems() const;

    /// Nothing when the item is reconciled; otherwise why it has to wait, in one sentence. Throws
    /// DatabaseError.
    Task<std::string> reconcile(BugQueueItem item, Interruption cause = {}) const;

  private:
    Task<std::optional<SessionAttemptRecord>> openAttempt(BugQueueItem item) const;
    Task<std::vector<ProcessEntry>> endOrphans(SessionAttemptRecord attempt,
                                               std::vector<QueueEvent> events) const;
    Task<std::optional<AgentReport>> askBackend(BugQueueItem item, SessionAttemptRecord attempt) const;
    Task<void> take(BugQueueItem item, std::optional<SessionAttemptRecord> attempt, AgentReport report) const;
    Task<void> close(BugQueueItem item, std::optional<SessionAttemptRecord> attempt, CloseAttempt step,
                     std::vector<QueueEvent> events) const;
    Task<void> tellUntypedGoal(BugQueueItem item, std::optional<SessionAttemptRecord> attempt,
                               std::vector<QueueEvent> events) const;
    Task<void> tellRecovered(BugQueueItem item, std::optional<SessionAttemptRecord> attempt,
                             std::string sentence) const;

    SessionServices& services_;
};

}  // namespace quernlight::host
