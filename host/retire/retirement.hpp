#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/retire/work_preserver.hpp"
#include "host/session/session_services.hpp"
#include "host/session/stop_switch.hpp"

namespace quernlight::host {

/// The reference at which a bug's history says that work was kept last.
std::optional<std::string> preservedReferenceIn(const std::vector<QueueEvent>& history);

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
    Task<std::optional<std::string>> strayWorktree(BugQueueItem item, AppMapping mapping);
    Task<std::optional<PreserveResult>> preserve(BugQueueItem item, AppMapping mapping);
    Task<bool> removeWorktree(BugQueueItem item, AppMapping mapping);
    bool isDue(const BugQueueItem& item) const;
    void tellHindrance(const std::string& bugID, const std::string& sentence);
    void forgetHindrances(const std::vector<BugQueueItem>& items);

    SessionServices& services_;
    const BusyTest isBusy_;
    std::optional<Uuid> retiring_;
    std::set<std::string> hindered_;  // ids of merged bugs whose worktrees stay for a reason that was told
    StopSwitch stop_;
    StopSwitch kill_;
};

}  // namespace quernlight::host
