#include "quernlight/backend/bug_list.hpp"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "quernlight/platform/bug_id.hpp"

namespace quernlight {

std::vector<QLBugSummaryDTO> mergedBugs(std::vector<std::vector<QLBugSummaryDTO>> lists) {
    std::multimap<Instant, QLBugSummaryDTO, std::greater<>> newestFirst;  // keeps the order of equal keys
    std::set<std::string> seen;
    for (auto& list : lists) {
        for (QLBugSummaryDTO& bug : list) {
            if (seen.insert(BugID::normalized(bug.id)).second) {
                newestFirst.emplace(bug.createdAt, std::move(bug));
            }
        }
    }
    std::vector<QLBugSummaryDTO> merged;
    merged.reserve(newestFirst.size());
    for (auto& [createdAt, bug] : newestFirst) {
        merged.push_back(std::move(bug));
    }
    return merged;
}

}  // namespace quernlight
