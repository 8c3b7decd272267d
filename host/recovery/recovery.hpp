#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/events/standing_wish.hpp"
#include "host/process/process_tree.hpp"
#include "host/recovery/recovery_step.hpp"
#include "host/session/comment_poll.hpp"
#include "host/session/session_services.hpp"

namespace quernlight::host {

/// Reconciles what a dispatcher that ended without warning, or whose disk was full, left behind: ends what
/// lives of the agent, learns whether it had reported, makes item and attempt tell the truth, and then grants
/// what a person wished of the item meanwhile. Only for items that no session works on. Used on one executor.
class Recovery {
  public:
    struct Uses {
        DispatchStore store;
        QueueManager& manager;
        Clock& clock;
        BackendHealth& health;
        FetchComments fetchComments;
    };

    explicit Recovery(Uses uses) : uses_(std::move(uses)) {}
    explicit Recovery(SessionServices& services);

    /// The items that need it: live ones, those whose latest attempt has no end, and those of which a person
    /// wishes something that was not granted.
    Task<std::vector<BugQueueItem>> interruptedItems() const;
    Task<bool> isInterrupted(BugQueueItem item) const;

    /// Nothing when the item is reconciled; otherwise why it has to wait, in one sentence. Throws
    /// DatabaseError.
    Task<std::string> reconcile(BugQueueItem item, Interruption cause = {}) const;

  private:
    Task<std::optional<SessionAttemptRecord>> openAttempt(BugQueueItem item) const;
    Task<std::string> reconcileWith(InterruptedItem interrupted, BugQueueItem item,
                                    std::optional<SessionAttemptRecord> attempt,
                                    std::vector<QueueEvent> events) const;
    Task<void> grantWish(Uuid itemID) const;
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

    const Uses uses_;
};

}  // namespace quernlight::host
