#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/retirement/pull_request_lookup.hpp"
#include "host/session/session_services.hpp"
#include "host/worktree/work_preserver.hpp"

namespace quernlight::host {

/// The reference at which a bug's history says that work was kept last.
std::optional<std::string> preservedReferenceIn(const std::vector<QueueEvent>& history);

/// Takes bugs whose pull request has been merged off the queue, and their worktrees off the disk once all
/// work in them is safe. Used on the dispatcher's executor, one round at a time.
class Retirement {
  public:
    using BusyTest = std::function<bool(const Uuid& itemID)>;

    /// `listed` is what the backend listed last.
    Retirement(SessionServices& services, const ListedBugs& listed, BusyTest isBusy)
        : services_(services), isBusy_(std::move(isBusy)), pullRequests_(services, listed) {}

    /// One round over all bugs in review, which a wish to stop ends soon. Throws DatabaseError.
    Task<void> retireMerged();

    /// Whether the item is being retired now and must be left alone.
    bool isRetiring(const Uuid& itemID) const { return retiring_ == itemID; }

  private:
    GitRunner git(GitOutput output = GitOutput::combined);
    Task<std::vector<BugQueueItem>> dueItems();
    Task<void> retireInTurn(BugInReview review, GitRunner run);
    Task<void> look(BugInReview review, GitRunner run);
    Task<void> retire(BugQueueItem item, AppMapping mapping);
    Task<bool> isMerged(BugInReview review, GitRunner run);
    Task<bool> isStillInReview(Uuid itemID);
    Task<bool> mayGo(BugQueueItem item, AppMapping mapping);
    Task<std::optional<PreserveResult>> preserve(BugQueueItem item, AppMapping mapping);
    Task<bool> removeWorktree(BugQueueItem item, AppMapping mapping);
    bool isDue(const BugQueueItem& item) const;
    void tellBlocker(const std::string& bugID, const std::string& sentence);
    void forgetBlockers(const std::vector<BugQueueItem>& items);

    SessionServices& services_;
    const BusyTest isBusy_;
    std::optional<Uuid> retiring_;
    std::set<std::string> hindered_;  // ids of merged bugs whose worktrees stay for a reason that was told
    PullRequestLookup pullRequests_;
};

}  // namespace quernlight::host
