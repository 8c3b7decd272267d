#include "host/session/attempt_goal.hpp"

#include <algorithm>
#include <utility>

#include "host/events/item_history.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

GoalContext goalContext(const SessionState& state, const InstructionFiles& instructions,
                        std::optional<Url> prURL) {
    const BugQueueItem& item = state.item;
    const AppMapping& mapping = state.mapping;
    return {.queueItemID = item.id,
            .sessionID = state.sessionID,
            .appName = item.appName,
            .bundleID = item.bundleID,
            .bugID = item.bugID,
            .bugShareURL = item.bugURL,
            .repoPath = mapping.repoPath,
            .worktreeRootPath = WorktreeNaming::standardizedPath(mapping.resolvedWorktreeRootPath()),
            .baseBranch = mapping.baseBranch,
            .investigationInstructionsPath = instructions.investigation.string(),
            .reproduceInstructionPath = instructions.reproduction.string(),
            .completionInstructionsPath = instructions.completion.string(),
            .prURL = std::move(prURL)};
}

}  // namespace

bool goalNeedsPullRequest(const BugQueueItem& item) {
    return item.goalFlow != QueueItemGoalFlow::fixBug;
}

std::string attemptGoal(const SessionState& state, const InstructionFiles& instructions,
                        std::optional<Url> prURL) {
    const GoalContext context = goalContext(state, instructions, std::move(prURL));
    return goalNeedsPullRequest(state.item) ? GoalBuilder::buildReviewFollowup(context)
                                            : GoalBuilder::build(context);
}

bool mayTypeGoalAgain(const std::vector<QueueEvent>& events) {
    const auto last = std::find_if(events.rbegin(), events.rend(), [](const QueueEvent& event) {
        return isOfKind(event, EventKind::goalRefused) || isOfKind(event, EventKind::goalAccepted) ||
               isOfKind(event, EventKind::retried);
    });
    return last == events.rend() || !isOfKind(*last, EventKind::goalRefused);
}

}  // namespace quernlight::host
