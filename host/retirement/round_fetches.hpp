#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/retirement/pull_request_fetch.hpp"
#include "host/retirement/pull_request_lookup.hpp"

namespace quernlight::host {

/// The fetches of one round of looks at pull requests: one for all of a repository.
class RoundFetches {
  public:
    /// A git that has to be ended runs no further command, so every repository has a runner of its own.
    using RunnerMaker = std::function<GitRunner(const std::string& repository)>;

    /// For `reviews`, the bugs of the round.
    RoundFetches(RunnerMaker makeRunner, const std::vector<BugInReview>& reviews);

    /// For the look at one of them. Borrows this.
    GitRunner runnerFor(const BugInReview& review) const;

  private:
    /// What pull requests must have in common to be fetched together.
    struct Place {
        std::string repoPath;
        std::string baseBranch;
        std::string repository;

        auto operator<=>(const Place&) const = default;
    };
    using Fetches = std::map<std::int64_t, std::shared_ptr<PullRequestFetch>>;  // by pull request

    static Place placeOf(const BugInReview& review);

    const RunnerMaker makeRunner_;
    std::map<Place, Fetches> fetches_;
};

}  // namespace quernlight::host
