#pragma once

#include <set>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"

namespace quernlight::host {

/// What of the backend's list goes into the queue.
struct IntakeChoice {
    std::vector<QLBugSummaryDTO> newBugs{};  ///< those the queue does not know, oldest first
    std::vector<std::string>
        cutStatuses;  ///< statuses of which the backend may hold more than it was asked for
    std::vector<std::string> unusableBugIDs{};  ///< bugs whose id cannot name a branch and a directory
};

/// `fetched` in any order; `knownBugIDs` in short form; `limit` is the number of bugs that was asked for per
/// status. Of bugs that were created at the same moment the one with the lesser id comes first.
IntakeChoice chooseIntake(const std::vector<QLBugSummaryDTO>& fetched,
                          const std::set<std::string>& knownBugIDs, int limit);

}  // namespace quernlight::host
