#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// Git for the comparison of several pull requests of one repository with one base branch, which fetches for
/// all of them when the first asks; the others are given that fetch's result, unless it failed for what may
/// concern only some of them: then each is fetched alone. Lives for one round of looks and is used on one
/// executor, by one look at a time.
class PullRequestFetch {
  public:
    /// Pull requests of one fetch at most: their names must fit a command line.
    static constexpr std::size_t mostPullRequests = 500;

    /// `run` does the work; `numbers` are the pull requests, at most `mostPullRequests`.
    PullRequestFetch(GitRunner run, std::set<std::int64_t> numbers)
        : run_(std::move(run)), numbers_(std::move(numbers)) {}
    PullRequestFetch(const PullRequestFetch&) = delete;
    PullRequestFetch& operator=(const PullRequestFetch&) = delete;

    /// For PullRequestMergeChecker. Borrows this.
    GitRunner runner();

  private:
    Task<GitCommandResult> fetchOnce(std::vector<std::string> arguments);
    Task<void> fetchAll(std::vector<std::string> arguments);
    Task<void> fetchPresent(std::vector<std::string> arguments);

    const GitRunner run_;
    const std::set<std::int64_t> numbers_;
    std::set<std::string> absent_;  // references that the remote does not have
    std::optional<GitCommandResult> result_;
    bool eachAlone_ = false;  // the fetch of all has failed though the remote answers
};

}  // namespace quernlight::host
