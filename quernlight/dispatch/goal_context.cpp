#include "quernlight/dispatch/goal_context.hpp"

#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/bug_id.hpp"

namespace quernlight {

std::string GoalContext::shortBugID() const {
    return BugID::normalized(bugID);
}

std::string GoalContext::worktreeBranchName() const {
    return WorktreeNaming::branchName(appName, bugID);
}

std::string GoalContext::worktreePath() const {
    return WorktreeNaming::worktreePath(worktreeRootPath, appName, bugID);
}

}  // namespace quernlight
