#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {

/// What the backend listed last, kept by intake for others, so that they need not ask for each bug. Used on
/// one executor.
class ListedBugs {
  public:
    void replace(const std::vector<QLBugSummaryDTO>& bugs) {
        pullRequests_.clear();
        for (const QLBugSummaryDTO& bug : bugs) {
            pullRequests_.emplace(BugID::normalized(bug.id), bug.prURL);
        }
        isKnown_ = true;
    }

    /// Whether there has been a list.
    bool isKnown() const { return isKnown_; }

    /// The link, or none, of a listed bug, by its short id; null for a bug that is not listed.
    const std::optional<Url>* pullRequest(const std::string& bugID) const {
        const auto found = pullRequests_.find(bugID);
        return found == pullRequests_.end() ? nullptr : &found->second;
    }

  private:
    std::map<std::string, std::optional<Url>> pullRequests_;  // by short id
    bool isKnown_ = false;
};

}  // namespace quernlight::host
