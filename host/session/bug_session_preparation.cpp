#include "host/agent/agent_conversations.hpp"
#include "host/process/private_files.hpp"
#include "host/session/bug_session.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/worktree/git_cause.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/watched_git.hpp"
#include "host/worktree/worktree_preparation.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {

Task<void> BugSession::openAttempt() {
    show(SessionStage::preparingWorktree);
    attempt_ = newAttempt(co_await services_.store.attempts.nextAttemptNumber(item_.id));
    const auto canonical = co_await services_.store.attempts.canonicalCodexSessionID(item_.bugID);
    watched_.resumes =
        conversationToResume(item_, canonical, co_await services_.store.items.events(item_.id));
    attempt_.codexSessionID = watched_.resumes;
}

SessionAttemptRecord BugSession::newAttempt(std::int64_t number) const {
    const auto directory = FileLocations::sessionAttemptDirectory(services_.home, item_.id, number);
    protectAttempt(services_.home, directory);
    return {.id = randomUuid(),
            .queueItemID = item_.id,
            .attemptNumber = number,
            .bugID = item_.bugID,
            .repoPath = mapping_.repoPath,
            .transcriptANSIPath = (directory / "transcript.ansi").string(),
            .transcriptTextPath = (directory / "transcript.txt").string(),
            .completionMarker = upperCaseText(sessionID_)};
}

Task<bool> BugSession::prepareWorktree() {
    if (auto unusable = unusableRepository(mapping_.repoPath, mapping_.resolvedWorktreeRootPath())) {
        co_await putBack(std::move(*unusable));
        co_return false;
    }
    OperationQueue& turns = services_.repositories.of(mapping_.repoPath);
    SharedFetches& fetches = services_.repositories.fetchesOf(mapping_.repoPath);
    const ProcessMark mark = gitMarkOf(services_.home);
    GitTrouble trouble;
    const PreparationGit git{
        .run = watched(
            fetches.sharing(gitWithTimeLimit(services_.stop, services_.clock, services_.settings, mark)),
            trouble),
        .ask = watchedLook(
            gitWithTimeLimit(services_.stop, services_.clock, services_.settings, mark, GitOutput::answer),
            trouble)};
    const WorktreeUse use = attempt_.attemptNumber > 1 ? WorktreeUse::again : WorktreeUse::first;
    const GitWorktreePrepareResult prepared =
        co_await turns.run(prepareUsableWorktree(worktreeRequest(), git, use));
    if (services_.stop.isStopping()) {
        show(SessionStage::queued);  // nothing has begun
        co_return false;
    }
    if (const auto* failed = std::get_if<WorktreeFailed>(&prepared)) {
        co_return co_await refuse(*failed, std::move(trouble));
    }
    services_.startPauses.prepared(mapping_.repoPath);
    attempt_.agentWorkspacePath =
        WorktreeNaming::worktreePath(mapping_.resolvedWorktreeRootPath(), item_.appName, item_.bugID);
    co_await tellEvent(event_kind::worktreeReady, "The worktree is ready: " + *attempt_.agentWorkspacePath);
    co_return true;
}

Task<bool> BugSession::refuse(WorktreeFailed failed, GitTrouble trouble) {
    if (auto outside = outsideFailure(mapping_.repoPath, trouble)) {
        co_await putBack(std::move(*outside));
        co_return false;
    }
    const std::string reason = causeFirst(failed.message);
    co_await services_.manager.markFailed(item_.id, reason);
    show(SessionStage::failed, reason);
    co_return false;
}

PrepareBugRequest BugSession::worktreeRequest() const {
    return {.repoPath = mapping_.repoPath,
            .worktreeRootPath = mapping_.resolvedWorktreeRootPath(),
            .appName = item_.appName,
            .bugID = item_.bugID,
            .baseBranch = mapping_.baseBranch};
}

Task<std::string> BugSession::writeGoal() {
    if (item_.goalFlow == QueueItemGoalFlow::fixBug) {
        co_return GoalBuilder::build(goalContext(std::nullopt));
    }
    co_return GoalBuilder::buildReviewFollowup(goalContext(co_await pullRequestURL()));
}

GoalContext BugSession::goalContext(std::optional<Url> prURL) const {
    const InstructionFiles& instructions = services_.instructions;
    return {.queueItemID = item_.id,
            .sessionID = sessionID_,
            .appName = item_.appName,
            .bundleID = item_.bundleID,
            .bugID = item_.bugID,
            .bugShareURL = item_.bugURL,
            .repoPath = mapping_.repoPath,
            .worktreeRootPath = WorktreeNaming::standardizedPath(mapping_.resolvedWorktreeRootPath()),
            .baseBranch = mapping_.baseBranch,
            .investigationInstructionsPath = instructions.investigation.string(),
            .reproduceInstructionPath = instructions.reproduction.string(),
            .completionInstructionsPath = instructions.completion.string(),
            .prURL = std::move(prURL)};
}

/// Without an answer from the backend the goal tells the agent to find the pull request by itself.
Task<std::optional<Url>> BugSession::pullRequestURL() {
    try {
        co_return co_await services_.stop.unlessRaised(StopLevel::stop,
                                                       services_.client.fetchPullRequestURL(item_.bugID));
    } catch (const std::exception& error) {
        if (!services_.stop.isStopping()) {
            services_.board.note("Bug " + item_.bugID + ": its pull request could not be looked up (" +
                                 failureSentence(error) + ")");
        }
        co_return std::nullopt;
    }
}

}  // namespace quernlight::host
