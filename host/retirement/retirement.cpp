#include "host/retirement/retirement.hpp"

#include <algorithm>

#include <boost/json/parse.hpp>

#include "host/events/item_history.hpp"
#include "host/process/caught_exception.hpp"
#include "host/retirement/round_fetches.hpp"
#include "host/store/readable_queue.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/worktree_blocker.hpp"
#include "quernlight/git/git_worktree_cleaner.hpp"
#include "quernlight/git/pull_request_merge_checker.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace json = boost::json;
namespace {

std::string preservedMetadata(const WorkPreserved& preserved) {
    return R"({"ref":")" + preserved.reference + R"(","commit":")" + preserved.commit + R"("})";
}

/// Why the worktree is still there; empty when it is not.
std::string blocker(const GitWorktreeCleanupResult& result) {
    if (const auto* failed = std::get_if<WorktreeFailed>(&result)) {
        return failed->message;
    }
    const auto* skipped = std::get_if<WorktreeSkipped>(&result);
    return skipped ? skipped->reason : "";
}

}  // namespace

std::optional<std::string> preservedReferenceIn(const std::vector<QueueEvent>& history) {
    const auto kept = std::find_if(history.rbegin(), history.rend(), [](const QueueEvent& event) {
        return isOfKind(event, EventKind::workPreserved);
    });
    if (kept == history.rend()) {
        return std::nullopt;
    }
    boost::system::error_code error;
    const json::value metadata = json::parse(kept->metadataJSON.value_or(""), error);
    const json::object* object = error ? nullptr : metadata.if_object();
    const json::value* reference = object ? object->if_contains("ref") : nullptr;
    return reference && reference->is_string() ? std::optional<std::string>(reference->as_string())
                                               : std::nullopt;
}

bool Retirement::isDue(const BugQueueItem& item) const {
    return item.status == QueueItemStatus::completed && services_.settings.retireEnabled;
}

GitRunner Retirement::git(GitOutput output) {
    return gitWithTimeLimit(services_.stop, services_.clock, services_.settings, gitMarkOf(services_.home),
                            output);
}

Task<void> Retirement::retireMerged() {
    auto items = co_await dueItems();
    const std::vector<BugInReview> reviews = co_await pullRequests_.reviewsOf(std::move(items));
    const RoundFetches fetches([this] { return git(); }, reviews);
    for (const BugInReview& review : reviews) {
        if (isBusy_(review.item.id) || services_.stop.isStopping()) {
            continue;
        }
        retiring_ = review.item.id;
        const std::exception_ptr failure =
            co_await caughtException(retireInTurn(review, fetches.runnerFor(review)));
        retiring_.reset();
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

Task<std::vector<BugQueueItem>> Retirement::dueItems() {
    auto items = co_await readableItems(services_.store, wholeQueue);
    forgetBlockers(items);
    std::erase_if(items, [this](const BugQueueItem& item) { return !isDue(item) || isBusy_(item.id); });
    co_return items;
}

Task<void> Retirement::retireInTurn(BugInReview review, GitRunner run) {
    OperationQueue& turns = services_.repositories.of(review.mapping.repoPath);
    co_await turns.run(look(std::move(review), std::move(run)));
}

/// In the repository's turn, for which it may have waited. While it is being retired nobody else changes the
/// item, so what is read here holds to the end.
Task<void> Retirement::look(BugInReview review, GitRunner run) {
    const Uuid itemID = review.item.id;
    const bool wasInReview = co_await isStillInReview(itemID);
    if (!wasInReview || services_.stop.isStopping()) {
        co_return;
    }
    const bool merged = co_await isMerged(review, std::move(run));
    const bool inReview = co_await isStillInReview(itemID);
    if (merged && inReview && !services_.stop.isStopping()) {
        co_await retire(std::move(review.item), std::move(review.mapping));
    }
}

Task<bool> Retirement::isStillInReview(Uuid itemID) {
    const auto current = co_await services_.store.items.item(itemID);
    co_return current && current->status == QueueItemStatus::completed;
}

/// Of a round's looks at one repository the first fetches for all of them, with `run`.
Task<bool> Retirement::isMerged(BugInReview review, GitRunner run) {
    const BugQueueItem& item = review.item;
    const PullRequestMergeChecker checker(std::move(run));
    const PullRequestMergeState state =
        co_await checker.mergeState(review.prURL, review.mapping.repoPath, review.mapping.baseBranch);
    const auto* unknown = std::get_if<PullRequestStateUnknown>(&state);
    if (unknown && !services_.stop.isStopping()) {
        services_.events.noticeOnce("Bug " + item.bugID +
                                    ": whether its pull request is merged is unknown: " + unknown->reason);
    }
    if (std::holds_alternative<PullRequestNotMerged>(state)) {
        tellBlocker(item.bugID, "");
    }
    co_return std::holds_alternative<PullRequestMerged>(state);
}

/// What keeps a merged bug's worktree needs a person; empty once nothing does.
void Retirement::tellBlocker(const std::string& bugID, const std::string& sentence) {
    const bool wasHindered = hindered_.erase(bugID) > 0;
    if (!sentence.empty()) {
        hindered_.insert(bugID);
    }
    if (wasHindered || !sentence.empty()) {
        services_.events.alert({AlertTopic::retiring, bugID}, sentence);
    }
}

/// Those of bugs that are to be retired no more, whatever took them out of review.
void Retirement::forgetBlockers(const std::vector<BugQueueItem>& items) {
    std::set<std::string> over = hindered_;
    for (const BugQueueItem& item : items) {
        if (isDue(item)) {
            over.erase(item.bugID);
        }
    }
    for (const std::string& bugID : over) {
        tellBlocker(bugID, "");
    }
}

/// The worktree goes first and the item last: what is interrupted is found again and done to its end.
Task<void> Retirement::retire(BugQueueItem item, AppMapping mapping) {
    const bool mayBegin = co_await mayGo(item, mapping);
    if (!mayBegin) {
        co_return;
    }
    const auto saved = co_await preserve(item, mapping);
    if (!saved) {
        co_return;
    }
    const bool isStillUnused = co_await mayGo(item, mapping);  // else what was saved may not be all
    if (!isStillUnused) {
        co_return;
    }
    const bool isGone = co_await removeWorktree(item, mapping);
    if (!isGone) {
        co_return;
    }
    const auto* preserved = std::get_if<WorkPreserved>(&*saved);
    const auto history = co_await services_.store.items.events(item.id);
    const auto reference = preserved ? std::optional(preserved->reference) : preservedReferenceIn(history);
    ItemEvent event{.itemID = item.id,
                    .kind = EventKind::retired,
                    .message = "Merged: the bug leaves the queue, and its worktree is gone."};
    co_await appendEvent(services_.store.items, std::move(event));
    co_await services_.store.retired.remember(item, reference, services_.clock.now());
    co_await services_.manager.removeImplementedReviewItem(item.bugID);
    tellBlocker(item.bugID, "");
    services_.events.removed(item.bugID);
}

/// Whether nothing speaks against removing the worktree now; what does is told.
Task<bool> Retirement::mayGo(BugQueueItem item, AppMapping mapping) {
    const std::string reason = co_await worktreeBlocker(services_.store, item, std::move(mapping));
    if (!reason.empty()) {
        tellBlocker(item.bugID, reason);
    }
    co_return reason.empty();
}

/// Saves work that no remote has, and the item's history names it. Nothing when it cannot be saved.
Task<std::optional<PreserveResult>> Retirement::preserve(BugQueueItem item, AppMapping mapping) {
    const std::string root = mapping.resolvedWorktreeRootPath();
    const std::string path = WorktreeNaming::worktreePath(root, item.appName, item.bugID);
    if (!WorktreeNaming::isInside(path, root)) {
        tellBlocker(item.bugID, "Bug " + item.bugID + " is merged, but " + path +
                                    " is not inside the worktrees' directory, so it is left alone.");
        co_return std::nullopt;
    }
    const WorktreeToPreserve worktree{.repoPath = mapping.repoPath,
                                      .worktreePath = path,
                                      .branch = WorktreeNaming::branchName(item.appName, item.bugID)};
    PreserveResult result = co_await preserveWork(worktree, git(GitOutput::answer));
    if (const auto* failed = std::get_if<PreservingFailed>(&result)) {
        tellBlocker(item.bugID,
                    "Bug " + item.bugID + " is merged, but its worktree stays. " + failed->reason);
        co_return std::nullopt;
    }
    const auto* preserved = std::get_if<WorkPreserved>(&result);
    if (preserved && preserved->isNew) {
        ItemEvent event{.itemID = item.id,
                        .kind = EventKind::workPreserved,
                        .message = "Work that no remote has is kept at " + preserved->reference + ".",
                        .metadataJSON = preservedMetadata(*preserved)};
        co_await appendEvent(services_.store.items, std::move(event));
    }
    co_return result;
}

/// Whether nothing is left of it.
Task<bool> Retirement::removeWorktree(BugQueueItem item, AppMapping mapping) {
    const GitWorktreeCleaner cleaner(git());
    CleanupBugRequest request{.repoPath = mapping.repoPath,
                              .worktreeRootPath = mapping.resolvedWorktreeRootPath(),
                              .appName = item.appName,
                              .bugID = item.bugID};
    const auto cleaned = co_await cleaner.cleanupImplementedBug(std::move(request));
    if (const std::string reason = blocker(cleaned); !reason.empty()) {
        tellBlocker(item.bugID, "Bug " + item.bugID + " is merged, but its worktree stays: " + reason);
        co_return false;
    }
    co_return true;
}

}  // namespace quernlight::host
