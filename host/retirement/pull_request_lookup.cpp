#include "host/retirement/pull_request_lookup.hpp"

#include <algorithm>

#include "host/worktree/resolved_mapping.hpp"

namespace quernlight::host {

Task<std::vector<BugInReview>> PullRequestLookup::reviewsOf(std::vector<BugQueueItem> items) {
    const auto asked = co_await askFor(nextToAsk(items));
    std::vector<BugInReview> reviews;
    for (BugQueueItem& item : items) {
        std::optional<Url> prURL;
        if (const auto* listed = listed_.pullRequest(item.bugID)) {
            prURL = *listed;
        } else if (const auto found = asked.find(item.bugID); found != asked.end()) {
            prURL = found->second;
        }
        if (!prURL) {
            continue;
        }
        const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
        if (mapping) {
            reviews.push_back(
                {.item = std::move(item), .mapping = resolved(*mapping), .prURL = std::move(*prURL)});
        }
    }
    co_return reviews;
}

/// Those that are not listed, in the order of their ids, beginning behind the one that was asked for last,
/// which may have gone since.
std::vector<std::string> PullRequestLookup::nextToAsk(const std::vector<BugQueueItem>& items) const {
    std::vector<std::string> unlisted;
    for (const BugQueueItem& item : items) {
        if (!listed_.pullRequest(item.bugID)) {
            unlisted.push_back(item.bugID);
        }
    }
    std::ranges::sort(unlisted);
    std::ranges::rotate(unlisted, std::ranges::upper_bound(unlisted, lastAsked_));
    unlisted.resize(std::min(unlisted.size(), mostAsked));
    return unlisted;
}

/// The links of those that have one, by short id.
Task<std::map<std::string, Url>> PullRequestLookup::askFor(std::vector<std::string> bugIDs) {
    std::map<std::string, Url> links;
    for (const std::string& bugID : bugIDs) {
        if (const auto prURL = co_await ask(bugID)) {
            links.emplace(bugID, *prURL);
        }
        if (!isAnswered_) {
            break;
        }
    }
    co_return links;
}

/// A backend that does not answer, or wants to be left alone, is not asked again in the round.
Task<std::optional<Url>> PullRequestLookup::ask(std::string bugID) {
    StopRequest& stop = services_.stop;
    isAnswered_ = !stop.isStopping() && services_.clock.steadyNow() >= services_.health.askAgainAt();
    if (!isAnswered_) {
        co_return std::nullopt;
    }
    lastAsked_ = bugID;
    try {
        auto prURL = co_await stop.unlessRaised(StopLevel::stop, services_.client.fetchPullRequestURL(bugID));
        services_.health.answered();
        co_return prURL;
    } catch (const std::exception& error) {
        isAnswered_ = !stop.isStopping() && !services_.health.failed(error);
    }
    co_return std::nullopt;
}

}  // namespace quernlight::host
