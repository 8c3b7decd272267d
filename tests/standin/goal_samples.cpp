#include "tests/standin/goal_samples.hpp"

namespace quernlight::standin::test {
namespace {

std::string closing(const GoalNames& names, const std::string& verb) {
    return "Finally, post a completion comment to the bug following: " + names.completionInstructions +
           ". Use queue_item_id \"" + names.queueItemID + "\", session_id \"" + names.sessionID +
           "\", and the PR URL you " + verb + ".\n";
}

}  // namespace

std::string fixGoal(const GoalNames& names) {
    return "/goal\n1. First, before reading or acting on the bug, use `mcp__quernlight__update_bug_status` to "
           "set bug " +
           names.bugID + " to status \"investigate\"; do this even if the report is incomplete.\n" +
           "2. Investigate this bug: https://bugs.example/bugs/" + names.bugID +
           " according to these instructions /home/dev/instructions/investigation.md\n" +
           "3. If the bug has sufficient information, create parent directory " + names.worktreeRoot +
           " if needed, then start feature branch " + names.branch + " in fresh worktree " +
           names.worktree() + " off of the latest " + names.baseBranch + ". The 8-character bug id " +
           names.bugID +
           " must be present in both the git branch name and the worktree directory name. Do not create a "
           "branch or worktree for this bug under any other name.\n" +
           "4. Reproduce the bug off of TOT main according to /home/dev/instructions/reproduce.md\n" +
           "5. Identify the root cause and implement the fix.\n" +
           "6. Use computer use again on the same repro flow to show the bug is fixed.\n" +
           "7. Don't stop until you have a screen recording from the display containing My App's app window, "
           "showing the original bug not reproducing and the app behaving correctly.\n" +
           "8. Open a PR for your fix to the " + names.baseBranch +
           " branch. The PR title must include the 8-character bug id " + names.bugID + ".\n9. " +
           closing(names, "opened");
}

std::string followupGoal(const GoalNames& names, const std::string& prReference) {
    return "/goal\n1. This is an in-review follow-up. Keep bug " + names.bugID +
           " in status \"in_review\"; do not move it to \"investigate\" while addressing review feedback.\n" +
           "2. Load the full bug https://bugs.example/bugs/" + names.bugID +
           " with Quernlight MCP, including all comments, attachments, logs, and metadata; treat the latest "
           "user comments as the requested changes.\n" +
           "3. Find the open PR for this bug using " + prReference +
           ". Inspect the PR description, changed files, review comments, conversation comments, unresolved "
           "threads, and failing checks for additional requested work.\n" +
           "4. Use worktree " + names.worktree() + " under parent directory " + names.worktreeRoot +
           ". Use the existing PR branch when possible; if you must create a branch, use " + names.branch +
           ". The 8-character bug id " + names.bugID +
           " must be present in any new git branch name and worktree directory name. Do not create a worktree "
           "for this bug anywhere else, and do not open a new PR unless no PR exists.\n" +
           "5. Use computer use on the relevant repro or verification flow, on the display containing My "
           "App's app window, to show the requested changes behave correctly.\n" +
           "6. Push updates to the existing PR. If no PR exists and you must open one, its title must include "
           "the 8-character bug id " +
           names.bugID + ".\n7. " + closing(names, "updated");
}

}  // namespace quernlight::standin::test
