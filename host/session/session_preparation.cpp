#include "host/session/session_preparation.hpp"

#include <utility>
#include <vector>

#include "host/agent/agent_conversations.hpp"
#include "host/agent/agent_environment.hpp"
#include "host/process/private_files.hpp"
#include "host/session/attempt_goal.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/worktree/git_cause.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/watched_git.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {

Task<PreparationResult> SessionPreparation::run() {
    if (auto missing = missingAgent(uses_.settings.agentCommand, uses_.environment)) {
        co_return OutsideFailure{.cause = std::move(*missing)};
    }
    co_await openAttempt();
    PreparationResult prepared = co_await prepareWorktree();
    if (std::holds_alternative<SessionReady>(prepared)) {
        prepared = co_await writeGoal();
    }
    co_return prepared;
}

Task<void> SessionPreparation::openAttempt() {
    log_.show(SessionStage::preparingWorktree);
    const BugQueueItem& item = state_.item;
    state_.attempt = newAttempt(co_await uses_.store.attempts.nextAttemptNumber(item.id));
    const auto canonical = co_await uses_.store.attempts.canonicalCodexSessionID(item.bugID);
    const std::vector<QueueEvent> events = co_await uses_.store.items.events(item.id);
    state_.watched.resumes = conversationToResume(item, canonical, events);
    if (state_.watched.resumes && wasResumedInVain(*state_.watched.resumes, events)) {
        state_.leftAlone = std::exchange(state_.watched.resumes, std::nullopt);
    }
    state_.attempt.codexSessionID = state_.watched.resumes;
}

SessionAttemptRecord SessionPreparation::newAttempt(std::int64_t number) const {
    const BugQueueItem& item = state_.item;
    const auto directory = FileLocations::sessionAttemptDirectory(uses_.home, item.id, number);
    protectAttempt(uses_.home, directory);
    return {.id = randomUuid(),
            .queueItemID = item.id,
            .attemptNumber = number,
            .bugID = item.bugID,
            .repoPath = state_.mapping.repoPath,
            .transcriptANSIPath = (directory / "transcript.ansi").string(),
            .transcriptTextPath = (directory / "transcript.txt").string(),
            .completionMarker = upperCaseText(state_.sessionID)};
}

Task<PreparationResult> SessionPreparation::prepareWorktree() {
    const std::string& repository = state_.mapping.repoPath;
    const std::string root = state_.mapping.resolvedWorktreeRootPath();
    if (auto unusable = unusableRepository(repository, root)) {
        co_return std::move(*unusable);
    }
    const ProcessMark mark = gitMarkOf(uses_.home);
    GitRunner run = gitWithTimeLimit(uses_.stop, uses_.clock, uses_.settings, mark);
    GitRunner ask = gitWithTimeLimit(uses_.stop, uses_.clock, uses_.settings, mark, GitOutput::answer);
    co_return co_await prepareWith(std::move(run), std::move(ask));
}

/// The queue's own memory of the bug may have been removed.
Task<WorktreeUse> SessionPreparation::useOfWorktree(GitRunner ask) {
    bool wasWorkedOn = state_.attempt.attemptNumber > 1;
    if (!wasWorkedOn) {
        wasWorkedOn = co_await uses_.outside.hasEarlierWork(worktreeRequest(), std::move(ask));
    }
    co_return wasWorkedOn ? WorktreeUse::again : WorktreeUse::first;
}

Task<PreparationResult> SessionPreparation::prepareWith(GitRunner run, GitRunner ask) {
    const std::string& repository = state_.mapping.repoPath;
    const std::string root = state_.mapping.resolvedWorktreeRootPath();
    OperationQueue& turns = uses_.repositories.of(repository);
    SharedFetches& fetches = uses_.repositories.fetchesOf(repository);
    const std::string worktree = WorktreeNaming::worktreePath(root, state_.item.appName, state_.item.bugID);
    const WorktreeUse use = co_await useOfWorktree(ask);
    const bool isThere = std::filesystem::exists(worktree);
    if (use == WorktreeUse::again || isThere) {  // an agent may have written what is, or will be, in it
        run = co_await uses_.outside.guardGit(std::move(run), repository);
        ask = co_await uses_.outside.guardGit(std::move(ask), repository);
    }
    GitTrouble trouble;
    const PreparationGit git{.run = watched(fetches.sharing(run), trouble), .ask = watchedLook(ask, trouble)};
    const GitWorktreePrepareResult prepared =
        co_await turns.run(uses_.outside.prepareWorktree(worktreeRequest(), git, use));
    if (uses_.stop.isStopping()) {
        co_return NothingBegun{};
    }
    if (const auto* failed = std::get_if<WorktreeFailed>(&prepared)) {
        co_return judge(*failed, trouble);
    }
    uses_.startPauses.prepared(repository);
    state_.attempt.agentWorkspacePath = worktree;
    co_await log_.tell(EventKind::worktreeReady, "The worktree is ready: " + worktree);
    co_return SessionReady{};
}

PreparationResult SessionPreparation::judge(const WorktreeFailed& failed, const GitTrouble& trouble) const {
    if (auto outside = outsideFailure(state_.mapping.repoPath, trouble)) {
        return std::move(*outside);
    }
    return WorktreeRefused{causeFirst(failed.message)};
}

PrepareBugRequest SessionPreparation::worktreeRequest() const {
    return {.repoPath = state_.mapping.repoPath,
            .worktreeRootPath = state_.mapping.resolvedWorktreeRootPath(),
            .appName = state_.item.appName,
            .bugID = state_.item.bugID,
            .baseBranch = state_.mapping.baseBranch};
}

/// The home may have gone while the backend was asked.
Task<PreparationResult> SessionPreparation::writeGoal() {
    std::optional<Url> prURL;
    if (goalNeedsPullRequest(state_.item)) {
        prURL = co_await pullRequestURL();
    }
    SessionReady ready{attemptGoal(state_, uses_.instructions, std::move(prURL))};
    if (uses_.stop.isStopping() || !uses_.homeIsInPlace()) {
        co_return NothingBegun{};
    }
    co_return ready;
}

Task<std::optional<Url>> SessionPreparation::pullRequestURL() {
    try {
        co_return co_await uses_.stop.unlessRaised(StopLevel::stop,
                                                   uses_.outside.pullRequestURL(state_.item.bugID));
    } catch (const std::exception& error) {
        if (!uses_.stop.isStopping()) {
            log_.note("its pull request could not be looked up (" + failureSentence(error) + ")");
        }
        co_return std::nullopt;
    }
}

}  // namespace quernlight::host
