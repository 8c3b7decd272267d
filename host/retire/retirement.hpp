#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "host/retire/work_preserver.hpp"
#include "host/session/session_services.hpp"
#include "host/session/stop_switch.hpp"

namespace quernlight::host {

/// Takes bugs whose pull request has been merged off the queue, and their worktrees off the disk once all
/// work in them is safe. Used on the dispatcher's executor, one round at a time.
class Retirement {
  public:
    using BusyTest = std::function<bool(const Uuid& itemID)>;

    Retirement(SessionServices& services, BusyTest isBusy)
        : services_(services), isBusy_(std::move(isBusy)) {}

    /// One round over all bugs in review. Throws DatabaseError.
    Task<void> retireMerged();

    /// Ends the round under way soon; none comes after it.
    void requestStop() { stop_.press(); }

    /// The same at once: no git command is awaited.
    void requestKill() {
        requestStop();
        kill_.press();
    }

    /// Whether the item is being retired now and must be left alone.
    bool isRetiring(const Uuid& itemID) const { return retiring_ == itemID; }

  private:
    Task<void> retireIfMerged(BugQueueItem item);
    Task<void> look(BugQueueItem item, AppMapping mapping);
    Task<void> retire(BugQueueItem item, AppMapping mapping);
    Task<bool> isMerged(BugQueueItem item, AppMapping mapping);
    Task<bool> isStillInReview(Uuid itemID);
    Task<std::optional<Url>> pullRequestOf(BugQueueItem item);
    Task<std::optional<PreserveResult>> preserve(BugQueueItem item, AppMapping mapping);
    Task<bool> removeWorktree(BugQueueItem item, AppMapping mapping);

    SessionServices& services_;
    const BusyTest isBusy_;
    std::optional<Uuid> retiring_;
    StopSwitch stop_;
    StopSwitch kill_;
};

}  // namespace quernlight::host
