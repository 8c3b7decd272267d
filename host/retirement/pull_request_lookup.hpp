#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/intake/listed_bugs.hpp"
#include "host/retirement/retirement_services.hpp"

namespace quernlight::host {

/// A bug whose pull request may have been merged.
struct BugInReview {
    BugQueueItem item{};
    AppMapping mapping{};
    Url prURL{};
};

/// Finds the pull requests of bugs in review: in what the backend has listed, without asking it; of bugs that
/// it does not list any more a few are asked for in each round, in turn. Used on one executor.
class PullRequestLookup {
  public:
    /// Bugs that are asked for in a round at most.
    static constexpr std::size_t mostAsked = 20;

    PullRequestLookup(RetirementServices& services, const ListedBugs& listed)
        : services_(services), listed_(listed) {}

    /// One round: those of the bugs that have a mapping and a pull request. Throws DatabaseError.
    Task<std::vector<BugInReview>> reviewsOf(std::vector<BugQueueItem> items);

  private:
    std::vector<std::string> nextToAsk(const std::vector<BugQueueItem>& items) const;
    Task<std::map<std::string, Url>> askFor(std::vector<std::string> bugIDs);
    Task<std::optional<Url>> ask(std::string bugID);

    RetirementServices& services_;
    const ListedBugs& listed_;
    std::string lastAsked_;   // id of the bug that was asked for last
    bool isAnswered_ = true;  // whether the backend answers in this round
};

}  // namespace quernlight::host
