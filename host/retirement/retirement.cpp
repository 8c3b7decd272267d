#include "host/retirement/retirement.hpp"

#include <algorithm>

#include "host/events/history_look.hpp"
#include "host/events/item_history.hpp"
#include "host/process/caught_exception.hpp"
#include "host/retirement/round_fetches.hpp"
#include "host/store/readable_queue.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/guarded_git.hpp"
#include "host/worktree/worktree_blocker.hpp"
#include "quernlight/git/git_worktree_cleaner.hpp"
#include "quernlight/git/pull_request_merge_checker.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

constexpr int mostLooks = 3;  // at files that change while they are saved

/// What keeps a merged bug's worktree.
struct Hindrance {
    std::string sentence;
};

std::string preservedMetadata(const KeptReference& preserved) {
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

/// What goes is said alike before and after it.
std::string goingSentence(const UnsavedWork& work, const char* going) {
    const std::string ignored = describe(work.ignored);
    return std::string("Merged: ") + going + (ignored.empty() ? "" : ", with " + ignored) + ".";
}

std::string joined(const std::vector<std::string>& texts) {
    std::string text;
    for (const std::string& each : texts) {
        text += (text.empty() ? "" : ", ") + each;
    }
    return text;
}

ReapedBug reapedBug(const BugQueueItem& item, const RetirementPlan& plan) {
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .goes = plan.goes,
            .sentence = plan.sentence};
}

ReviewState reviewState(const BugQueueItem& item) {
    return {.item = item,
            .branch = WorktreeNaming::branchName(item.appName, item.bugID),
            .trouble = "Its pull request, or its app's repository, is not known."};
}

WorktreeToPreserve worktreeOf(const BugQueueItem& item, const AppMapping& mapping) {
    return {.repoPath = mapping.repoPath,
            .worktreePath =
                WorktreeNaming::worktreePath(mapping.resolvedWorktreeRootPath(), item.appName, item.bugID),
            .branch = WorktreeNaming::branchName(item.appName, item.bugID)};
}

}  // namespace

GitRunner Retirement::git(GitOutput output) {
    return gitWithTimeLimit(services_.stop, services_.clock, services_.settings, gitMarkOf(services_.home),
                            output);
}

/// An agent has worked in each of these repositories.
RoundFetches::RunnerMaker Retirement::gitOfRound() {
    return [this](const std::string& repository) { return guardedLater(git(), repository); };
}

Task<void> Retirement::retireMerged() {
    if (services_.settings.retireEnabled) {
        co_await rounds_.run(round(&Retirement::retireIfMerged));
    } else {
        forgetBlockers({});
    }
}

Task<std::vector<ReapedBug>> Retirement::reap() {
    return rounds_.run(round(&Retirement::retireIfMerged));
}

Task<std::vector<ReapedBug>> Retirement::plan() {
    return rounds_.run(round(&Retirement::planFor));
}

/// What is not looked at, since its pull request is not known or the dispatcher stops, is told as well.
Task<std::vector<ReapedBug>> Retirement::round(Look look) {
    auto items = co_await itemsInReview();
    forgetBlockers(items);
    Reaped reaped;
    for (const BugQueueItem& item : items) {
        const RetirementPlan unknown{.sentence = reviewState(item).trouble};
        const RetirementPlan busy = retirementPlan({.bugID = item.bugID, .isWorkedOn = true});
        reaped.push_back(reapedBug(item, isBusy_(item.id) ? busy : unknown));
    }
    std::erase_if(items, [this](const BugQueueItem& item) { return isBusy_(item.id); });
    const std::vector<BugInReview> reviews = co_await pullRequests_.reviewsOf(std::move(items));
    const RoundFetches fetches(gitOfRound(), reviews);
    for (const BugInReview& review : reviews) {
        if (isBusy_(review.item.id) || services_.stop.isStopping()) {
            continue;
        }
        const auto place = std::ranges::find(reaped, review.item.bugID, &ReapedBug::bugID);
        OperationQueue& turns = services_.repositories.of(review.mapping.repoPath);
        retiring_ = review.item.id;
        try {
            Task<ReapedBug> looking = (this->*look)(review, fetches.runnerFor(review));
            *place = co_await turns.run(std::move(looking));
        } catch (...) {
            retiring_.reset();
            throw;
        }
        retiring_.reset();
        place->pullRequest = review.prURL;
    }
    co_return reaped;
}

Task<std::vector<BugQueueItem>> Retirement::itemsInReview() {
    auto items = co_await readableItems(services_.store, wholeQueue);
    std::erase_if(items, [](const BugQueueItem& item) { return item.status != QueueItemStatus::completed; });
    co_return items;
}

/// In the repository's turn, for which it may have waited. While it is being retired nobody else changes the
/// item, so what is read here holds to the end.
Task<ReapedBug> Retirement::retireIfMerged(BugInReview review, GitRunner run) {
    const std::string bugID = review.item.bugID;
    const RetirementPlan plan = co_await planOf(review, std::move(run));
    ReapedBug reaped = reapedBug(review.item, plan);
    std::string blocker = plan.needsPerson ? plan.sentence : "";
    if (plan.goes) {
        try {
            UnsavedWork work = co_await workOf(review);
            co_await retire(std::move(review), std::move(work), reaped);
        } catch (const Hindrance& hindrance) {
            blocker = hindrance.sentence;
            reaped.goes = false;
            reaped.sentence = blocker;
        }
    }
    if (plan.isKnown) {
        tellBlocker(bugID, blocker);
    }
    if (reaped.goes) {
        services_.events.removed(bugID);
    }
    co_return reaped;
}

/// Looks as a retirement does, and goes no further.
Task<ReapedBug> Retirement::planFor(BugInReview review, GitRunner run) {
    const RetirementPlan plan = co_await planOf(review, std::move(run));
    ReapedBug reaped = reapedBug(review.item, plan);
    if (!plan.goes) {
        co_return reaped;
    }
    try {
        const UnsavedWork work = co_await workOf(std::move(review));
        reaped.sentence = goingSentence(work, "the bug would leave the queue, and its worktree would go");
        reaped.preserved = describe(work);
    } catch (const Hindrance& hindrance) {
        reaped.goes = false;
        reaped.sentence = hindrance.sentence;
    }
    co_return reaped;
}

/// Of a round's looks at one repository the first fetches for all of them, with `run`.
Task<RetirementPlan> Retirement::planOf(BugInReview review, GitRunner run) {
    const BugQueueItem& item = review.item;
    RetirementLook look{.bugID = item.bugID};
    look.isInReview = co_await isStillInReview(item.id);
    if (!look.isInReview || services_.stop.isStopping()) {
        look.trouble = "the dispatcher is stopping.";
        co_return retirementPlan(look);
    }
    const PullRequestMergeChecker checker(std::move(run));
    const PullRequestMergeState state =
        co_await checker.mergeState(review.prURL, review.mapping.repoPath, review.mapping.baseBranch);
    const ReviewState seen = withMergeState({}, state);
    look.merge = services_.stop.isStopping() ? MergeState::unknown : seen.merge;
    look.trouble = services_.stop.isStopping() ? "the dispatcher is stopping." : seen.trouble;
    look.isInReview = co_await isStillInReview(item.id);
    look.homeIsInPlace = services_.homeIsInPlace();
    if (look.merge == MergeState::merged && look.isInReview) {
        look.blocker = co_await worktreeBlocker(services_.store, item, review.mapping);
    }
    const RetirementPlan plan = retirementPlan(look);
    if (std::holds_alternative<PullRequestStateUnknown>(state) && !services_.stop.isStopping()) {
        services_.events.noticeOnce(plan.sentence);
    }
    co_return plan;
}

Task<bool> Retirement::isStillInReview(Uuid itemID) {
    const auto current = co_await services_.store.items.item(itemID);
    co_return current && current->status == QueueItemStatus::completed;
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
        over.erase(item.bugID);
    }
    for (const std::string& bugID : over) {
        tellBlocker(bugID, "");
    }
}

/// The worktree goes first and the item last: what is interrupted is found again and done to its end.
Task<void> Retirement::retire(BugInReview review, UnsavedWork work, ReapedBug& reaped) {
    reaped.sentence = goingSentence(work, "the bug leaves the queue, and its worktree is gone");
    PreserveResult saved = co_await preserve(review, work);
    for (int looks = 0;; ++looks) {  // what was written meanwhile would go as well
        UnsavedWork later = co_await workOf(review);
        if (hasNothingNew(later, work)) {
            break;
        }
        if (looks == mostLooks) {
            throw Hindrance{"Bug " + review.item.bugID +
                            " is merged, but its worktree stays: its files change while they are saved."};
        }
        work = std::move(later);
        saved = co_await preserve(review, work);
    }
    co_await requireUnused(review.item, review.mapping);  // else what was saved may not be all
    co_await removeWorktree(review.item, review.mapping);
    reaped.preserved = co_await leave(std::move(review), std::move(saved), reaped.sentence);
}

/// Of its history, which goes with the item, what people ask for later is remembered.
Task<std::string> Retirement::leave(BugInReview review, PreserveResult saved, std::string sentence) {
    const BugQueueItem& item = review.item;
    std::vector<std::string> kept = preservedReferences(co_await services_.store.items.events(item.id));
    if (const auto* preserved = std::get_if<WorkPreserved>(&saved)) {
        std::ranges::transform(preserved->references, std::back_inserter(kept), &KeptReference::reference);
    }
    std::ranges::sort(kept);
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    const Instant now = services_.clock.now();
    const auto attempts = co_await services_.store.attempts.attempts(item.id);
    const WorkPeriod whole{.until = now};
    RetiredWork work{
        .pullRequest = review.prURL, .work = doneWork(attempts, whole), .spans = workSpans(attempts, whole)};
    if (!kept.empty()) {
        work.preservedReference = joined(kept);
    }
    ItemEvent event{.itemID = item.id, .kind = EventKind::retired, .message = std::move(sentence)};
    co_await appendEvent(services_.store.items, std::move(event));
    co_await services_.store.retired.remember(item, work, now);
    co_await services_.manager.removeImplementedReviewItem(item.bugID);
    co_return joined(kept);
}

Task<void> Retirement::requireUnused(BugQueueItem item, AppMapping mapping) {
    const std::string reason = co_await worktreeBlocker(services_.store, item, std::move(mapping));
    if (!reason.empty()) {
        throw Hindrance{reason};
    }
}

/// What there is to be saved; throws what keeps the worktree.
Task<UnsavedWork> Retirement::workOf(BugInReview review) {
    WorktreeToPreserve worktree = worktreeOf(review.item, review.mapping);
    const std::string merged = "Bug " + review.item.bugID + " is merged, but ";
    if (!WorktreeNaming::isInside(worktree.worktreePath, review.mapping.resolvedWorktreeRootPath())) {
        throw Hindrance{merged + worktree.worktreePath +
                        " is not inside the worktrees' directory, so it is left alone."};
    }
    UnsavedWorkLook look = co_await findUnsavedWork(std::move(worktree), git(GitOutput::answer));
    if (const auto* failed = std::get_if<PreservingFailed>(&look)) {
        throw Hindrance{merged + "its worktree stays. " + failed->reason};
    }
    co_return std::get<UnsavedWork>(std::move(look));
}

/// Saves it, and the item's history names it.
Task<PreserveResult> Retirement::preserve(BugInReview review, UnsavedWork work) {
    WorktreeToPreserve worktree = worktreeOf(review.item, review.mapping);
    PreserveResult result = co_await keepWork(std::move(worktree), std::move(work), git(GitOutput::answer));
    if (const auto* failed = std::get_if<PreservingFailed>(&result)) {
        throw Hindrance{"Bug " + review.item.bugID + " is merged, but its worktree stays. " + failed->reason};
    }
    const auto* preserved = std::get_if<WorkPreserved>(&result);
    for (const KeptReference& kept : preserved ? preserved->references : std::vector<KeptReference>()) {
        if (kept.isNew) {
            ItemEvent event{.itemID = review.item.id,
                            .kind = EventKind::workPreserved,
                            .message = kept.what + " is kept at " + kept.reference + ".",
                            .metadataJSON = preservedMetadata(kept)};
            co_await appendEvent(services_.store.items, std::move(event));
        }
    }
    co_return result;
}

Task<void> Retirement::removeWorktree(BugQueueItem item, AppMapping mapping) {
    const GitWorktreeCleaner cleaner(guardedLater(git(), mapping.repoPath));
    CleanupBugRequest request{.repoPath = mapping.repoPath,
                              .worktreeRootPath = mapping.resolvedWorktreeRootPath(),
                              .appName = item.appName,
                              .bugID = item.bugID};
    const auto cleaned = co_await cleaner.cleanupImplementedBug(std::move(request));
    if (const std::string reason = blocker(cleaned); !reason.empty()) {
        throw Hindrance{"Bug " + item.bugID + " is merged, but its worktree stays: " + reason};
    }
}

Task<ReviewStates> Retirement::states(ListRange range) {
    return looks_.run(statesNow(range));
}

Task<ReviewStates> Retirement::statesNow(ListRange range) {
    auto items = co_await itemsInReview();
    const std::size_t total = items.size();
    range.cut(items);
    std::vector<ReviewState> states;
    std::ranges::transform(items, std::back_inserter(states), reviewState);
    const std::vector<BugInReview> reviews = co_await pullRequests_.reviewsOf(std::move(items));
    const RoundFetches fetches(gitOfRound(), reviews);
    for (const BugInReview& review : reviews) {
        const auto place =
            std::ranges::find(states, review.item.id, [](const ReviewState& state) { return state.item.id; });
        *place = co_await stateOf(review, fetches.runnerFor(review));
    }
    co_return ReviewStates{.states = std::move(states), .total = total};
}

Task<ReviewState> Retirement::stateOf(BugInReview review, GitRunner run) {
    OperationQueue& turns = services_.repositories.of(review.mapping.repoPath);
    co_return co_await turns.run(compared(std::move(review), std::move(run)));
}

Task<ReviewState> Retirement::compared(BugInReview review, GitRunner run) {
    const PullRequestMergeChecker checker(std::move(run));
    ReviewState state = reviewState(review.item);
    state.pullRequest = review.prURL;
    state.trouble.clear();
    const std::string& repository = review.mapping.repoPath;
    const auto merge = co_await checker.mergeState(review.prURL, repository, review.mapping.baseBranch);
    state = withMergeState(std::move(state), merge);
    if (state.merge == MergeState::open) {
        const auto conflict =
            co_await checker.conflictState(review.prURL, repository, review.mapping.baseBranch);
        state = withConflictState(std::move(state), conflict);
    }
    co_return state;
}

}  // namespace quernlight::host
