#include "host/intake.hpp"

#include <algorithm>
#include <map>
#include <tuple>

#include "quernlight/platform/bug_id.hpp"

namespace quernlight::host {
namespace {

std::vector<std::string> statusesAtTheLimit(const std::vector<QLBugSummaryDTO>& bugs, int limit) {
    std::map<std::string, int> counts;
    for (const QLBugSummaryDTO& bug : bugs) {
        ++counts[bug.status];
    }
    std::vector<std::string> statuses;
    for (const auto& [status, count] : counts) {
        if (count >= limit) {
            statuses.push_back(status);
        }
    }
    return statuses;
}

bool isOlder(const QLBugSummaryDTO& left, const QLBugSummaryDTO& right) {
    return std::tie(left.createdAt, left.id) < std::tie(right.createdAt, right.id);
}

}  // namespace

IntakeChoice chooseIntake(const std::vector<QLBugSummaryDTO>& fetched,
                          const std::set<std::string>& knownBugIDs, int limit) {
    IntakeChoice choice{.cutStatuses = statusesAtTheLimit(fetched, limit)};
    std::set<std::string> known = knownBugIDs;
    for (const QLBugSummaryDTO& bug : fetched) {
        const std::string bugID = BugID::normalized(bug.id);
        const bool stable = BugID::normalized(bugID) == bugID;  // not so when its cut ends in a blank
        if (!stable || !BugID::isSafeFileName(bugID)) {
            choice.unusableBugIDs.push_back(bug.id);
        } else if (known.insert(bugID).second) {
            choice.newBugs.push_back(bug);
        }
    }
    std::sort(choice.newBugs.begin(), choice.newBugs.end(), isOlder);
    return choice;
}

}  // namespace quernlight::host
