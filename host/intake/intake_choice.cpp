#include "host/intake/intake_choice.hpp"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

bool isOlder(const QLBugSummaryDTO& left, const QLBugSummaryDTO& right) {
    return std::tie(left.createdAt, left.id) < std::tie(right.createdAt, right.id);
}

/// Nobody gives a bug another title and another date of creation.
bool isAnother(const QLBugSummaryDTO& bug, const BugQueueItem& item) {
    return bug.createdAt != item.createdAt && bug.title != item.title;
}

/// A retired bug that is opened again keeps its title.
bool isNoneOf(const std::map<std::string, std::string>& retired, const std::string& bugID,
              const QLBugSummaryDTO& bug) {
    const auto title = retired.find(bugID);
    return bug.status == "open" && title != retired.end() && title->second != bug.title;
}

bool isSameID(const std::string& left, const std::string& right) {
    return lowercased(trimmed(left)) == lowercased(trimmed(right));
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

DistinctBugs distinctBugs(std::vector<QLBugSummaryDTO> listed, const std::vector<BugQueueItem>& queue,
                          const std::map<std::string, std::string>& retired) {
    std::multimap<std::pair<Instant, std::string>, QLBugSummaryDTO> oldestFirst;  // keeps the order of equals
    for (QLBugSummaryDTO& bug : listed) {
        oldestFirst.emplace(std::pair(bug.createdAt, bug.id), std::move(bug));
    }
    std::map<std::string, const BugQueueItem*> items;
    for (const BugQueueItem& item : queue) {
        items.emplace(item.bugID, &item);
    }
    DistinctBugs distinct;
    std::map<std::string, std::string> kept;  // whole ids by short id
    for (auto& [age, bug] : oldestFirst) {
        const std::string bugID = BugID::normalized(bug.id);
        const auto item = items.find(bugID);
        const bool isOther =
            item != items.end() ? isAnother(bug, *item->second) : isNoneOf(retired, bugID, bug);
        if (isOther) {
            distinct.collisions.push_back({.kept = bugID, .leftOut = bug.id});
        } else if (const auto [earlier, isNew] = kept.emplace(bugID, bug.id); isNew) {
            distinct.bugs.push_back(std::move(bug));
        } else if (!isSameID(earlier->second, bug.id)) {
            distinct.collisions.push_back({.kept = earlier->second, .leftOut = bug.id});
        }
    }
    return distinct;
}

std::string describeUnusableID(const std::string& bugID) {
    return "A bug is left out because its id cannot name a branch: \"" + bugID + "\".";
}

std::string describe(const IDCollision& collision) {
    return "Bug " + collision.leftOut + " is left out: its first eight characters are those of bug " +
           collision.kept + " too, and bugs are told apart by them. File it anew at the backend.";
}

IntakeChoice chooseIntake(const std::vector<QLBugSummaryDTO>& fetched,
                          const std::set<std::string>& knownBugIDs, const IntakeRules& rules) {
    IntakeChoice choice;
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
