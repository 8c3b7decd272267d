#include "host/service/outcome_operations.hpp"

#include <algorithm>

#include "host/service/queue_text.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

PullRequests knownTo(const LiveSources& live, const std::vector<std::string>& bugIDs) {
    PullRequests known;
    for (const std::string& bugID : bugIDs) {
        if (const auto link = live.pullRequest(bugID)) {
            known.links.emplace(bugID, *link);
        }
    }
    return known;
}

Task<PullRequests> listedBy(BackendAccess backend) {
    constexpr int most = 1000;
    PullRequests listed;
    try {
        const auto client = co_await backend();
        std::vector<std::string> statuses{"in_review"};
        for (const QLBugSummaryDTO& bug : co_await client->fetchBugs(std::move(statuses), most)) {
            if (bug.prURL) {
                listed.links.emplace(BugID::normalized(bug.id), *bug.prURL);
            }
        }
    } catch (const std::exception& error) {
        listed.trouble = failureSentence(error);
    }
    co_return listed;
}

/// What a session does with it, where one works on it, counts above what is stored.
void addLive(ReportedBug& bug, const std::map<std::string, BugProgress>& progress) {
    const auto live = progress.find(bug.item.bugID);
    if (live != progress.end() && isRunning(live->second.stage)) {
        bug.stage = live->second.stage;
    }
}

Task<ReportedBug> reportedBug(DispatchStore store, QueueEntry entry) {
    ReportedBug bug{.item = std::move(entry.item), .stage = entry.stage};
    bug.history = co_await store.items.events(bug.item.id);
    bug.attempts = co_await store.attempts.attempts(bug.item.id);
    co_return bug;
}

Task<void> addPullRequests(ReportSource& source, const LiveSources& live, BackendAccess backend) {
    std::vector<std::string> inReview;
    for (const ReportedBug& bug : source.queued) {
        if (bug.stage == SessionStage::inReview) {
            inReview.push_back(bug.item.bugID);
        }
    }
    const PullRequests known = co_await pullRequestsOf(live, std::move(backend), std::move(inReview));
    for (ReportedBug& bug : source.queued) {
        const auto link = known.links.find(bug.item.bugID);
        bug.pullRequest = link == known.links.end() ? std::nullopt : std::optional(link->second);
    }
    source.pullRequestTrouble = known.trouble;
}

}  // namespace

Task<PullRequests> pullRequestsOf(const LiveSources& live, BackendAccess backend,
                                  std::vector<std::string> bugIDs) {
    if (live.pullRequest) {
        co_return knownTo(live, bugIDs);
    }
    if (bugIDs.empty()) {
        co_return PullRequests();
    }
    if (!backend) {
        co_return PullRequests{.trouble = "The backend cannot be asked from here."};
    }
    co_return co_await listedBy(std::move(backend));
}

Task<Report> makeReport(StoreAccess& access, const LiveSources& live, BackendAccess backend, Instant since) {
    const DispatchStore store = co_await access.forReading();
    ReportSource source{.dispatcherRuns = static_cast<bool>(live.health)};
    const auto progress = live.progress ? live.progress() : std::map<std::string, BugProgress>();
    QueueList queue = co_await queueList(store);
    for (QueueEntry& entry : queue.entries) {
        ReportedBug bug = co_await reportedBug(store, std::move(entry));
        addLive(bug, progress);
        bug.next = nextAction(bug.item, bug.stage);
        source.queued.push_back(std::move(bug));
    }
    source.retired = co_await store.retired.retiredSince(since);
    co_await addPullRequests(source, live, std::move(backend));
    co_return reportOf(source, since, currentInstant());
}

}  // namespace quernlight::host
