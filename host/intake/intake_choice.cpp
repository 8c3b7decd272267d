#include "host/intake/intake_choice.hpp"

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

bool isInScope(const QLBugSummaryDTO& bug, IntakeScope scope) {
    return scope == IntakeScope::dispatchBugs || bug.status == "open";
}

/// Notes that a backend writes by itself are nobody's wish.
bool isByPerson(const QLCommentDTO& comment) {
    return comment.authorType != "agent" && comment.authorType != "system";
}

template <class Predicate>
std::optional<Instant> newestOf(const std::vector<QLCommentDTO>& comments, Predicate counts) {
    std::optional<Instant> newest;
    for (const QLCommentDTO& comment : comments) {
        if (counts(comment)) {
            newest = std::max(newest, std::optional(comment.createdAt));
        }
    }
    return newest;
}

}  // namespace

IntakeChoice chooseIntake(const std::vector<QLBugSummaryDTO>& fetched,
                          const std::set<std::string>& knownBugIDs, const IntakeRules& rules) {
    IntakeChoice choice{.cutStatuses = statusesAtTheLimit(fetched, rules.limit)};
    std::set<std::string> known = knownBugIDs;
    for (const QLBugSummaryDTO& bug : fetched) {
        const std::string bugID = BugID::normalized(bug.id);
        const bool stable = BugID::normalized(bugID) == bugID;  // not so when its cut ends in a blank
        if (!isInScope(bug, rules.scope)) {
            continue;
        }
        if (!stable || !BugID::isSafeFileName(bugID)) {
            choice.unusableBugIDs.push_back(bug.id);
        } else if (known.insert(bugID).second) {
            choice.newBugs.push_back(bug);
        }
    }
    std::sort(choice.newBugs.begin(), choice.newBugs.end(), isOlder);
    const auto taken = std::min(choice.newBugs.size(), static_cast<std::size_t>(std::max(rules.room, 0)));
    choice.leftForLater = static_cast<int>(choice.newBugs.size() - taken);
    choice.newBugs.resize(taken);
    return choice;
}

bool mayWantFollowUp(QueueItemStatus status) {
    return status == QueueItemStatus::completed || status == QueueItemStatus::awaitingUserInput;
}

bool wantsFollowUp(QueueItemStatus status, const std::optional<Instant>& completedAt,
                   const std::vector<QLCommentDTO>& comments) {
    if (!mayWantFollowUp(status)) {
        return false;
    }
    const auto person = newestOf(comments, isByPerson);
    const auto agent =
        newestOf(comments, [](const QLCommentDTO& comment) { return comment.authorType == "agent"; });
    return person && person > (agent ? agent : completedAt);
}

}  // namespace quernlight::host
