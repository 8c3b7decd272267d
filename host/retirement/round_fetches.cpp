#include "host/retirement/round_fetches.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "quernlight/git/repository_reference.hpp"

namespace quernlight::host {

RoundFetches::RoundFetches(RunnerMaker makeRunner, const std::vector<BugInReview>& reviews)
    : makeRunner_(std::move(makeRunner)) {
    for (const BugInReview& review : reviews) {
        if (const auto pullRequest = parsePullRequestURL(review.prURL)) {
            fetches_[placeOf(review)][pullRequest->number];
        }
    }
    for (auto& [place, fetches] : fetches_) {
        for (auto next = fetches.begin(); next != fetches.end();) {
            std::set<std::int64_t> numbers;
            const auto first = next;
            for (; next != fetches.end() && numbers.size() < PullRequestFetch::mostPullRequests; ++next) {
                numbers.insert(next->first);
            }
            const auto fetch =
                std::make_shared<PullRequestFetch>(makeRunner_(place.repoPath), std::move(numbers));
            std::for_each(first, next, [&](auto& pullRequest) { pullRequest.second = fetch; });
        }
    }
}

GitRunner RoundFetches::runnerFor(const BugInReview& review) const {
    const auto pullRequest = parsePullRequestURL(review.prURL);
    return pullRequest ? fetches_.at(placeOf(review)).at(pullRequest->number)->runner()
                       : makeRunner_(review.mapping.repoPath);
}

RoundFetches::Place RoundFetches::placeOf(const BugInReview& review) {
    const auto pullRequest = parsePullRequestURL(review.prURL);
    const RepositoryReference repository = pullRequest ? pullRequest->repository : RepositoryReference{};
    return {.repoPath = review.mapping.repoPath,
            .baseBranch = review.mapping.baseBranch,
            .repository = repository.host + "/" + repository.owner + "/" + repository.repo};
}

}  // namespace quernlight::host
