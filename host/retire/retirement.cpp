#include "host/retire/retirement.hpp"

#include <boost/asio/error.hpp>

#include "host/item_event.hpp"
#include "host/retire/work_preserver.hpp"
#include "quernlight/git/git_worktree_cleaner.hpp"
#include "quernlight/git/pull_request_merge_checker.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

std::string preservedMetadata(const WorkPreserved& preserved) {
    return R"({"ref":")" + preserved.reference + R"(","commit":")" + preserved.commit + R"("})";
}

/// Why the worktree is still there; empty when it is not.
std::string hindrance(const GitWorktreeCleanupResult& result) {
    if (const auto* failed = std::get_if<WorktreeFailed>(&result)) {
        return failed->message;
    }
    const auto* skipped = std::get_if<WorktreeSkipped>(&result);
    return skipped ? skipped->reason : "";
}

}  // namespace

Task<void> Retirement::retireMerged() {
    for (const BugQueueItem& item : co_await services_.store.items.items(wholeQueue)) {
        if (item.status == QueueItemStatus::completed && services_.settings.retireEnabled &&
            !isBusy_(item.id)) {
            retiring_ = item.id;
            std::exception_ptr failure;
            try {
                co_await retireIfMerged(item);
            } catch (...) {
                failure = std::current_exception();
            }
            retiring_.reset();
            if (failure) {
                std::rethrow_exception(failure);
            }
        }
    }
}

Task<void> Retirement::retireIfMerged(BugQueueItem item) {
    const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
    if (mapping) {
        co_await services_.repositories.of(mapping->repoPath).run(look(std::move(item), *mapping));
    }
}

/// The worktree goes first and the item last: what is interrupted is found again and done to its end.
Task<void> Retirement::look(BugQueueItem item, AppMapping mapping) {
    const auto prURL = co_await pullRequestOf(item);
    if (!prURL) {
        co_return;
    }
    const PullRequestMergeChecker checker;
    const PullRequestMergeState state =
        co_await checker.mergeState(*prURL, mapping.repoPath, mapping.baseBranch);
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        co_return services_.board.noteOnce(
            "Bug " + item.bugID + ": whether its pull request is merged is unknown: " + unknown->reason);
    }
    if (!std::holds_alternative<PullRequestMerged>(state)) {
        co_return;
    }
    const bool isGone = co_await removeWorktree(item, mapping);
    const auto current = co_await services_.store.items.item(item.id);
    if (!isGone || !current || current->status != QueueItemStatus::completed) {
        co_return;
    }
    co_await services_.store.retired.remember(item, currentInstant());
    co_await services_.manager.removeImplementedReviewItem(item.bugID);
    services_.board.gone(item.bugID);
    services_.board.note("Bug " + item.bugID +
                         " is merged: it has left the queue, and its worktree is gone.");
}

Task<std::optional<Url>> Retirement::pullRequestOf(BugQueueItem item) {
    try {
        const auto detail = co_await services_.client.fetchBugDetail(item.bugID);
        services_.health.answered();
        co_return detail.bug.prURL;
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        co_return std::nullopt;
    } catch (const std::exception& error) {
        services_.health.failed(error.what());
        co_return std::nullopt;
    }
}

/// Whether nothing is left of it. Work that no remote has is saved first, and the item's history names it.
Task<bool> Retirement::removeWorktree(BugQueueItem item, AppMapping mapping) {
    const std::string root = mapping.resolvedWorktreeRootPath();
    const std::string path = WorktreeNaming::worktreePath(root, item.appName, item.bugID);
    if (!WorktreeNaming::isInside(path, root)) {
        services_.board.noteOnce("Bug " + item.bugID + " is merged, but " + path +
                                 " is not inside the worktrees' directory, so it is left alone.");
        co_return false;
    }
    const WorktreeToPreserve worktree{.repoPath = mapping.repoPath,
                                      .worktreePath = path,
                                      .branch = WorktreeNaming::branchName(item.appName, item.bugID)};
    const PreserveResult result = co_await preserveWork(worktree);
    if (const auto* failed = std::get_if<PreservingFailed>(&result)) {
        services_.board.noteOnce("Bug " + item.bugID + " is merged, but its worktree stays. " +
                                 failed->reason);
        co_return false;
    }
    if (const auto* preserved = std::get_if<WorkPreserved>(&result)) {
        const std::string sentence = "Work that no remote has is kept at " + preserved->reference + ".";
        services_.board.note("Bug " + item.bugID + ": " + sentence);
        ItemEvent event{.itemID = item.id,
                        .kind = event_kind::workPreserved,
                        .message = sentence,
                        .metadataJSON = preservedMetadata(*preserved)};
        co_await tell(services_.store, std::move(event));
    }
    const GitWorktreeCleaner cleaner;
    CleanupBugRequest request{
        .repoPath = mapping.repoPath, .worktreeRootPath = root, .appName = item.appName, .bugID = item.bugID};
    const auto cleaned = co_await cleaner.cleanupImplementedBug(std::move(request));
    if (const std::string reason = hindrance(cleaned); !reason.empty()) {
        services_.board.noteOnce("Bug " + item.bugID + " is merged, but its worktree stays: " + reason);
        co_return false;
    }
    co_return true;
}

}  // namespace quernlight::host
