#include "quernlight/dispatch/goal_builder.hpp"

#include <initializer_list>
#include <string_view>

#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

std::string concatenated(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (const std::string_view piece : pieces) {
        text += piece;
    }
    return text;
}

/// A goal is typed: what the backend names a thing must add neither a line to it nor a key.
GoalContext withoutKeys(GoalContext context) {
    context.appName = blankedControls(context.appName);
    context.bugID = blankedControls(trimmed(context.bugID));
    return context;
}

/// The agent sees every identifier in lower case, and the URL, which carries one, wholly so.
std::string shareUrl(const GoalContext& context) {
    return blankedControls(lowercased(context.bugShareURL.text()));
}

/// The sentence that makes the agent's completion comment recognisable; `lastWords` say what to do with the
/// pull request.
std::string closing(const GoalContext& context, std::string_view lastWords) {
    return concatenated({". Use queue_item_id \"", lowerCaseText(context.queueItemID), "\", session_id \"",
                         lowerCaseText(context.sessionID), "\"", lastWords});
}

std::string endedByLineFeed(std::string text) {
    if (!text.ends_with("\n\n")) {
        text += '\n';
    }
    return text;
}

std::string pullRequest(const GoalContext& context) {
    return context.prURL ? blankedControls(context.prURL->text())
                         : "the bug's `pr_url` or the PR link in existing comments";
}

}  // namespace

std::string GoalContext::shortBugID() const {
    return BugID::normalized(bugID);
}

std::string GoalContext::worktreeBranchName() const {
    return WorktreeNaming::branchName(appName, bugID);
}

std::string GoalContext::worktreePath() const {
    return WorktreeNaming::worktreePath(worktreeRootPath, appName, bugID);
}

std::string GoalBuilder::build(const GoalContext& given) {
    const GoalContext context = withoutKeys(given);
    const std::string shortID = context.shortBugID();
    return endedByLineFeed(concatenated({
        "/goal\n"
        "1. First, before reading or acting on the bug, use `mcp__quernlight__update_bug_status` to set bug ",
        shortID,
        " to status \"investigate\"; do this even if the report is incomplete.\n"
        "2. Investigate this bug: ",
        shareUrl(context),
        " according to these instructions ",
        context.investigationInstructionsPath,
        "\n"
        "3. If the bug has sufficient information, create parent directory ",
        context.worktreeRootPath,
        " if needed, then start feature branch ",
        context.worktreeBranchName(),
        " in fresh worktree ",
        context.worktreePath(),
        " off of the latest ",
        context.baseBranch,
        ". The 8-character bug id ",
        shortID,
        " must be present in both the git branch name and the worktree directory name. Do not create a "
        "branch or worktree for this bug under any other name.\n"
        "4. Reproduce the bug off of TOT main according to ",
        context.reproduceInstructionPath,
        "\n"
        "5. Identify the root cause and implement the fix.\n"
        "6. Use computer use again on the same repro flow to show the bug is fixed.\n"
        "7. Don't stop until you have a screen recording from the display containing ",
        context.appName,
        "'s app window, showing the original bug not reproducing and the app behaving correctly.\n"
        "8. Open a PR for your fix to the ",
        context.baseBranch,
        " branch. The PR title must include the 8-character bug id ",
        shortID,
        ".\n"
        "9. Finally, post a completion comment to the bug following: ",
        context.completionInstructionsPath,
        closing(context, ", and the PR URL you opened."),
    }));
}

std::string GoalBuilder::buildReviewFollowup(const GoalContext& given) {
    const GoalContext context = withoutKeys(given);
    const std::string shortID = context.shortBugID();
    return endedByLineFeed(concatenated({
        "/goal\n"
        "1. This is an in-review follow-up. Keep bug ",
        shortID,
        " in status \"in_review\"; do not move it to \"investigate\" while addressing review feedback.\n"
        "2. Load the full bug ",
        shareUrl(context),
        " with Quernlight MCP, including all comments, attachments, logs, and metadata; treat the latest "
        "user comments as the requested changes.\n"
        "3. Find the open PR for this bug using ",
        pullRequest(context),
        ". Inspect the PR description, changed files, review comments, conversation comments, unresolved "
        "threads, and failing checks for additional requested work.\n"
        "4. Use worktree ",
        context.worktreePath(),
        " under parent directory ",
        context.worktreeRootPath,
        ". Use the existing PR branch when possible; if you must create a branch, use ",
        context.worktreeBranchName(),
        ". The 8-character bug id ",
        shortID,
        " must be present in any new git branch name and worktree directory name. Do not create a worktree "
        "for this bug anywhere else, and do not open a new PR unless no PR exists.\n"
        "5. Use computer use on the relevant repro or verification flow, on the display containing ",
        context.appName,
        "'s app window, to show the requested changes behave correctly.\n"
        "6. Push updates to the existing PR. If no PR exists and you must open one, its title must include "
        "the 8-character bug id ",
        shortID,
        ".\n"
        "7. Finally, post a completion comment to the bug following: ",
        context.completionInstructionsPath,
        closing(context, ", and the PR URL you updated."),
    }));
}

std::string M3GoalTextBuilder::verificationGoal(const VerificationGoalFields& fields) {
    return "/goal M3 runner verification only. Do not modify files, create branches, commit, or run commands "
           "beyond pwd unless asked. Confirm you are in the mapped repository, then wait for user input.\n"
           "App: " +
           blankedControls(fields.appName) + "\nBranch: " + fields.baseBranch +
           "\nBug title: " + blankedControls(fields.bugTitle) +
           "\nBug URL: " + blankedControls(fields.bugURL.text()) + "\n\n";
}

}  // namespace quernlight
