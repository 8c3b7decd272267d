#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "host/intake/bug_source.hpp"
#include "host/intake/intake_choice.hpp"
#include "host/intake/listed_bugs.hpp"
#include "host/session/session_services.hpp"

namespace quernlight::host {

/// Brings the backend's bugs into the queue, and finished ones back whose users have answered. Used on the
/// dispatcher's executor, one round at a time.
class Intake {
  public:
    /// Whether an item must be left alone now.
    using BusyTest = std::function<bool(const Uuid& itemID)>;

    /// `limit`: bugs asked for per status at first.
    Intake(SessionServices& services, IntakeScope scope, int limit, BusyTest isBusy);

    /// One round. Throws UserError when the backend refuses the token, BackendUnavailable when it gives no
    /// usable list, DatabaseError.
    Task<void> takeIn();

    /// What the backend listed in the last round.
    const ListedBugs& listed() const { return listed_; }

  private:
    /// What the backend's list says of a bug; its comments are read again only when that has changed.
    using Footprint = std::pair<std::int64_t, Instant>;

    /// A bug that was worked on, as the backend lists it and as it was when the round began.
    struct FinishedBug {
        QLBugSummaryDTO bug{};
        BugQueueItem item{};
    };

    Task<BugListing> look();
    Task<DistinctBugs> distinct(std::vector<QLBugSummaryDTO> bugs);
    Task<IntakeChoice> choose(std::vector<QLBugSummaryDTO> listed);
    Task<void> takeNewBugs(std::vector<QLBugSummaryDTO> listed);
    void tellWhatIsNotSeen(const BugListing& listing, const std::vector<IDCollision>& collisions);
    void tellWhatIsLeftOut(const IntakeChoice& choice);
    Task<void> enqueue(QLBugSummaryDTO bug);
    Task<void> takeFollowUps(std::vector<QLBugSummaryDTO> listed);
    Task<std::vector<FinishedBug>> changedSinceRead(std::vector<QLBugSummaryDTO> listed);
    bool mayAskBackend() const;
    Task<bool> followUp(QLBugSummaryDTO bug, BugQueueItem item);
    Task<void> queueAgain(QLBugSummaryDTO bug, BugQueueItem item);

    static Footprint footprintOf(const QLBugSummaryDTO& bug) { return {bug.commentCount, bug.updatedAt}; }

    SessionServices& services_;
    const IntakeScope scope_;
    BugSource source_;
    const BusyTest isBusy_;
    ListedBugs listed_;
    std::map<std::string, Footprint> readComments_;  // by bug id
    std::string lastLookedAt_;                       // id of the bug whose comments were asked for last
};

}  // namespace quernlight::host
