#include "host/intake/intake.hpp"

#include <algorithm>
#include <chrono>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/events/item_history.hpp"
#include "host/health/unreadable_records.hpp"
#include "host/intake/daily_room.hpp"
#include "host/session/comment_poll.hpp"
#include "host/store/readable_queue.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

constexpr int mostFollowUpLooks = 20;  // in a round

}  // namespace

Intake::Intake(SessionServices& services, IntakeScope scope, int limit, BusyTest isBusy)
    : services_(services),
      scope_(scope),
      source_(services.client, limit, services.clock),
      isBusy_(std::move(isBusy)) {}

Task<void> Intake::takeIn() {
    BugListing listing = co_await look();
    const DistinctBugs bugs = co_await distinct(std::move(listing.bugs));
    tellWhatIsNotSeen(listing, bugs.collisions);
    listed_.replace(bugs.bugs);
    if (services_.settings.intakeEnabled) {
        co_await takeNewBugs(bugs.bugs);
    }
    co_await takeFollowUps(bugs.bugs);
}

/// What is taken in must be as it is now, and not as it was listed some minutes ago.
Task<BugListing> Intake::look() {
    BugListing listing = co_await source_.list();
    services_.health.answered();
    if (listing.rememberedIDs.empty() || !services_.settings.intakeEnabled) {
        co_return listing;
    }
    const IntakeChoice choice = co_await choose(listing.bugs);
    const bool isOutdated =
        std::any_of(choice.newBugs.begin(), choice.newBugs.end(),
                    [&](const QLBugSummaryDTO& bug) { return listing.rememberedIDs.contains(bug.id); });
    if (isOutdated) {
        listing = co_await source_.listAll();
    }
    co_return listing;
}

Task<DistinctBugs> Intake::distinct(std::vector<QLBugSummaryDTO> bugs) {
    const auto queue = co_await readableItems(services_.store, wholeQueue);
    const auto retired = co_await services_.store.retired.titles();
    co_return distinctBugs(std::move(bugs), queue, retired);
}

Task<IntakeChoice> Intake::choose(std::vector<QLBugSummaryDTO> listed) {
    const auto known = co_await knownBugIDs(services_.store);
    const int room = co_await roomForNewBugs(services_.store, services_.settings, services_.clock.now());
    const IntakeRules rules{.scope = scope_, .room = room};
    co_return chooseIntake(listed, known, rules);
}

Task<void> Intake::takeNewBugs(std::vector<QLBugSummaryDTO> listed) {
    const IntakeChoice choice = co_await choose(std::move(listed));
    tellWhatIsLeftOut(choice);
    for (const QLBugSummaryDTO& bug : choice.newBugs) {
        co_await enqueue(bug);
    }
}

void Intake::tellWhatIsNotSeen(const BugListing& listing, const std::vector<IDCollision>& collisions) {
    tellUnreadableBugs(services_.events, listing.unreadable);
    for (const CutList& cut : listing.cutLists) {
        services_.events.noticeOnce(describeCut(cut));
    }
    for (const IDCollision& collision : collisions) {
        services_.events.noticeOnce(describe(collision));
    }
}

void Intake::tellWhatIsLeftOut(const IntakeChoice& choice) {
    for (const std::string& bugID : choice.unusableBugIDs) {
        services_.events.noticeOnce(describeUnusableID(bugID));
    }
    services_.events.alert({AlertTopic::intake},
                           choice.leftForLater == 0
                               ? ""
                               : describeLeftForLater(choice.leftForLater, services_.settings.intakePerDay));
}

Task<void> Intake::enqueue(QLBugSummaryDTO bug) {
    const BugQueueItem item = co_await services_.manager.enqueue(bug, QueueMode::automatic);
    services_.events.progress(restingProgress(item));
}

/// A few in a round, in turn, since new bugs wait meanwhile.
Task<void> Intake::takeFollowUps(std::vector<QLBugSummaryDTO> listed) {
    int looks = 0;
    for (FinishedBug& finished : co_await changedSinceRead(std::move(listed))) {
        if (looks == mostFollowUpLooks || !mayAskBackend()) {
            break;
        }
        if (isBusy_(finished.item.id)) {
            continue;
        }
        ++looks;
        const std::string bugID = finished.item.bugID;
        const Footprint footprint = footprintOf(finished.bug);
        lastLookedAt_ = bugID;
        const bool isLookedAt = co_await followUp(std::move(finished.bug), std::move(finished.item));
        if (isLookedAt) {
            readComments_[bugID] = footprint;
        }
    }
}

/// In the order of their ids, beginning behind the one that was looked at last.
Task<std::vector<Intake::FinishedBug>> Intake::changedSinceRead(std::vector<QLBugSummaryDTO> listed) {
    std::map<std::string, BugQueueItem> finished;
    for (BugQueueItem& item : co_await readableItems(services_.store, wholeQueue)) {
        if (mayWantFollowUp(item.status)) {
            finished.emplace(item.bugID, std::move(item));
        }
    }
    std::vector<FinishedBug> changed;
    for (QLBugSummaryDTO& bug : listed) {
        const auto item = finished.find(BugID::normalized(bug.id));
        if (item == finished.end()) {
            continue;
        }
        const auto read = readComments_.find(item->first);
        if (read == readComments_.end() || read->second != footprintOf(bug)) {
            changed.push_back({.bug = std::move(bug), .item = item->second});
        }
    }
    const auto bugID = [](const FinishedBug& each) { return each.item.bugID; };
    std::ranges::sort(changed, {}, bugID);
    std::ranges::rotate(changed, std::ranges::upper_bound(changed, lastLookedAt_, {}, bugID));
    co_return changed;
}

bool Intake::mayAskBackend() const {
    return services_.health.isWell() && services_.clock.steadyNow() >= services_.health.askAgainAt();
}

/// Whether the comments could be read and what they wish for was done.
Task<bool> Intake::followUp(QLBugSummaryDTO bug, BugQueueItem item) {
    ReadableList<QLCommentDTO> comments;
    try {
        comments = co_await fetchCommentsInTurn(services_.client, services_.events,
                                                services_.commentRateLimiter, services_.clock, item.bugID);
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        co_return false;
    } catch (const std::exception& error) {
        services_.health.failed(error);
        co_return false;
    }
    if (!wantsFollowUp(item.status, item.completedAt, comments.records)) {
        co_return true;
    }
    // While the comments came in the item may have been retired: such a bug never comes back.
    const auto current = co_await services_.store.items.item(item.id);
    if (!current || current->status != item.status || isBusy_(item.id)) {
        co_return false;  // the next round looks again
    }
    co_await queueAgain(std::move(bug), *current);
    co_return true;
}

/// The manager chooses the flow: what is in review, or has a pull request, is followed up.
Task<void> Intake::queueAgain(QLBugSummaryDTO bug, BugQueueItem item) {
    const BugQueueItem queued = co_await services_.manager.enqueue(bug, item.queueMode);
    const bool wasInReview = item.status == QueueItemStatus::completed;
    ItemEvent event{.itemID = item.id,
                    .kind = EventKind::followUpWanted,
                    .message = wasInReview ? "A user has commented on the work in review."
                                           : "A user has answered the agent."};
    co_await appendEvent(services_.store.items, std::move(event));
    services_.events.progress(restingProgress(queued));
}

}  // namespace quernlight::host
