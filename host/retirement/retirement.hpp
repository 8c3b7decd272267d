#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/retirement/pull_request_lookup.hpp"
#include "host/retirement/retirement_plan.hpp"
#include "host/retirement/retirement_services.hpp"
#include "host/retirement/review_state.hpp"
#include "host/retirement/round_fetches.hpp"
#include "host/store/list_range.hpp"
#include "host/worktree/work_preserver.hpp"
#include "quernlight/platform/operation_queue.hpp"

namespace quernlight::host {

/// Takes bugs whose pull request has been merged off the queue, and their worktrees off the disk once all
/// work in them is safe. Used on one executor; its rounds run one at a time.
class Retirement {
  public:
    using BusyTest = std::function<bool(const Uuid& itemID)>;

    /// `listed` is what the backend listed last.
    Retirement(RetirementServices services, const ListedBugs& listed, BusyTest isBusy)
        : services_(std::move(services)), isBusy_(std::move(isBusy)), pullRequests_(services_, listed) {}
    Retirement(SessionServices& services, const ListedBugs& listed, BusyTest isBusy)
        : Retirement(retirementServices(services), listed, std::move(isBusy)) {}
    Retirement(const Retirement&) = delete;
    Retirement& operator=(const Retirement&) = delete;

    /// One round over all bugs in review, which a wish to stop ends soon; none where the settings say so.
    /// Throws DatabaseError.
    Task<void> retireMerged();

    /// The same because a person wants it, whatever the settings say. One for each bug in review.
    Task<std::vector<ReapedBug>> reap();

    /// What that would do now. Fetches, and changes nothing else.
    Task<std::vector<ReapedBug>> plan();

    /// Of work in review, in the queue's order. Fetches; who asks meanwhile waits until that is done.
    Task<ReviewStates> states(ListRange range);

    /// Whether the item is being retired now and must be left alone.
    bool isRetiring(const Uuid& itemID) const { return retiring_ == itemID; }

  private:
    using Reaped = std::vector<ReapedBug>;
    using Look = Task<ReapedBug> (Retirement::*)(BugInReview review, GitRunner run);

    GitRunner git(GitOutput output = GitOutput::combined);
    RoundFetches::RunnerMaker gitOfRound();
    Task<Reaped> round(Look look);
    Task<std::vector<BugQueueItem>> itemsInReview();
    Task<ReapedBug> retireIfMerged(BugInReview review, GitRunner run);
    Task<ReapedBug> planFor(BugInReview review, GitRunner run);
    Task<RetirementPlan> planOf(BugInReview review, GitRunner run);
    Task<UnsavedWork> workOf(BugInReview review);
    Task<void> retire(BugInReview review, UnsavedWork work, ReapedBug& reaped);
    Task<std::string> leave(BugInReview review, PreserveResult saved, std::string sentence);
    Task<ReviewStates> statesNow(ListRange range);
    Task<ReviewState> stateOf(BugInReview review, GitRunner run);
    Task<ReviewState> compared(BugInReview review, GitRunner run);
    Task<bool> isStillInReview(Uuid itemID);
    Task<void> requireUnused(BugQueueItem item, AppMapping mapping);
    Task<PreserveResult> preserve(BugInReview review, UnsavedWork work);
    Task<void> removeWorktree(BugQueueItem item, AppMapping mapping);
    void tellBlocker(const std::string& bugID, const std::string& sentence);
    void forgetBlockers(const std::vector<BugQueueItem>& items);

    RetirementServices services_;
    const BusyTest isBusy_;
    OperationQueue rounds_;
    OperationQueue looks_;
    std::optional<Uuid> retiring_;
    std::set<std::string> hindered_;  // ids of merged bugs whose worktrees stay for a reason that was told
    PullRequestLookup pullRequests_;
};

}  // namespace quernlight::host
