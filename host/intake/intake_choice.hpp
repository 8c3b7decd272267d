#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Which of the backend's bugs are taken in.
enum class IntakeScope {
    openBugs,      ///< those nobody works on yet
    dispatchBugs,  ///< also those under investigation or in review
};

/// What bounds an intake.
struct IntakeRules {
    IntakeScope scope = IntakeScope::openBugs;
    int room = 20;  ///< new bugs that may be taken now
};

/// What of the backend's list goes into the queue.
struct IntakeChoice {
    std::vector<QLBugSummaryDTO> newBugs{};     ///< those the queue does not know, oldest first
    std::vector<std::string> unusableBugIDs{};  ///< bugs whose id cannot name a branch and a directory
    int leftForLater = 0;                       ///< new bugs for which there was no room
};

/// What to tell of an id that cannot name a branch.
std::string describeUnusableID(const std::string& bugID);

/// Two bugs whose short ids are the same, by which all but the backend tell bugs apart.
struct IDCollision {
    std::string kept{};     ///< as far as it is known
    std::string leftOut{};  ///< as the backend spells it

    bool operator==(const IDCollision&) const = default;
};

/// Bugs that can be told apart, oldest first.
struct DistinctBugs {
    std::vector<QLBugSummaryDTO> bugs{};
    std::vector<IDCollision> collisions{};
};

/// Of bugs with one short id the one that the queue has is kept, else the oldest. A bug that is listed twice
/// is no collision. `retired`: the titles of bugs that were retired, by short id; an open bug of another
/// title is not one of them.
DistinctBugs distinctBugs(std::vector<QLBugSummaryDTO> listed, const std::vector<BugQueueItem>& queue,
                          const std::map<std::string, std::string>& retired = {});

/// What to tell of it.
std::string describe(const IDCollision& collision);

/// `fetched` in any order; `knownBugIDs` in short form. Of bugs that were created at the same moment the one
/// with the lesser id comes first.
IntakeChoice chooseIntake(const std::vector<QLBugSummaryDTO>& fetched,
                          const std::set<std::string>& knownBugIDs, const IntakeRules& rules);

/// Whether a bug in that status is worked on again when a person comments.
bool mayWantFollowUp(QueueItemStatus status);

/// Whether a bug that was worked on wants to be worked on again: it is in review, or its agent asked the
/// user, and a person has commented since the agent last did. `completedAt` stands in where no comment of the
/// agent is left.
bool wantsFollowUp(QueueItemStatus status, const std::optional<Instant>& completedAt,
                   const std::vector<QLCommentDTO>& comments);

}  // namespace quernlight::host
