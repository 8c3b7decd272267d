#include "host/bug_session.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/comment_poll.hpp"
#include "host/runner_event_relay.hpp"
#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/runner/pty_process_error.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds ruleInterval{1};

BugProgress progressOf(const BugQueueItem& item) {
    return {.bugID = item.bugID, .appName = item.appName, .title = item.title};
}

/// Behind a symbolic link git knows the directory by another path; then it refuses to add one, naming this
/// path.
bool isOnlyRemembered(const GitWorktreePrepareResult& prepared, const std::string& path) {
    if (defaultFileManager().exists(path)) {
        return false;
    }
    const auto* failed = std::get_if<WorktreeFailed>(&prepared);
    return std::holds_alternative<WorktreeAlreadyExists>(prepared) ||
           (failed && failed->message.find(path) != std::string::npos);
}

}  // namespace

BugSession::BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping)
    : services_(services),
      item_(std::move(item)),
      mapping_(std::move(mapping)),
      progress_(progressOf(item_)) {}

void BugSession::requestStop() {
    watched_.stopRequested = true;
    stopped_.emit(boost::asio::cancellation_type::terminal);
    mailbox_.continuation().deliver(StopRequested{});
}

Task<void> BugSession::travel() {
    std::string trouble;
    try {
        co_await travelWhileAllIsWell();
    } catch (const std::exception& error) {
        trouble = error.what();
    }
    if (!trouble.empty()) {
        co_await giveUp(std::move(trouble));
    }
    if (commentPoll_) {
        co_await commentPoll_->end();
    }
    if (runnerEvents_) {
        co_await runnerEvents_->end();
    }
}

Task<void> BugSession::travelWhileAllIsWell() {
    co_await openAttempt();
    if (!co_await prepareWorktree()) {
        co_return;
    }
    std::string goal = co_await writeGoal();
    if (watched_.stopRequested) {
        co_return showStage("queued");  // nothing has begun
    }
    co_await services_.manager.markStarting(item_.id, sessionID_);
    co_await recordAttempt(goal);
    if (!co_await startAgent(std::move(goal))) {
        co_return;
    }
    SessionVerdict verdict = co_await watch();
    switch (verdict.index()) {
        case 0:
            co_return co_await finish(std::get<WorkCompleted>(verdict));
        case 1:
            co_return co_await finish(std::get<UserAsked>(verdict));
        case 2:
            co_return co_await finish(std::get<SessionFailed>(verdict));
        default:
            co_return co_await finish(std::get<SessionInterrupted>(verdict));
    }
}

Task<void> BugSession::openAttempt() {
    showStage("preparing worktree");
    attempt_ = newAttempt(co_await services_.store.attempts.nextAttemptNumber(item_.id));
}

SessionAttemptRecord BugSession::newAttempt(std::int64_t number) const {
    const auto directory = FileLocations::sessionAttemptDirectory(services_.home, item_.id, number);
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
    OperationQueue& turns = services_.repositories.of(mapping_.repoPath);
    const GitWorktreePrepareResult prepared = co_await turns.run(prepareUsableWorktree());
    if (watched_.stopRequested) {
        showStage("queued");  // nothing has begun
        co_return false;
    }
    if (const auto* failed = std::get_if<WorktreeFailed>(&prepared)) {
        co_await services_.manager.markFailed(item_.id, failed->message);
        progress_.finished = true;
        showStage("failed", failed->message);
        co_return false;
    }
    attempt_.agentWorkspacePath = worktreePath();
    co_return true;
}

/// What git has registered at the path may be a memory only: when its directory is gone, git is told to
/// forget it and the worktree is made anew.
Task<GitWorktreePrepareResult> BugSession::prepareUsableWorktree() {
    const PrepareBugRequest request{.repoPath = mapping_.repoPath,
                                    .worktreeRootPath = mapping_.resolvedWorktreeRootPath(),
                                    .appName = item_.appName,
                                    .bugID = item_.bugID,
                                    .baseBranch = mapping_.baseBranch};
    const GitWorktreePreparer worktrees(
        [this](std::vector<std::string> arguments) { return runGitUntilStopped(std::move(arguments)); });
    GitWorktreePrepareResult prepared = co_await worktrees.prepareBug(request);
    if (isOnlyRemembered(prepared, worktreePath())) {
        std::vector<std::string> prune{"-C", mapping_.repoPath, "worktree", "prune"};
        co_await runGit(std::move(prune));
        prepared = co_await worktrees.prepareBug(request);
    }
    co_return prepared;
}

std::string BugSession::worktreePath() const {
    return WorktreeNaming::worktreePath(mapping_.resolvedWorktreeRootPath(), item_.appName, item_.bugID);
}

/// A fetch may wait for a far side that never answers, so a stop ends it. Whatever else git does is quick and
/// is never cut: a worktree must not be left half made.
Task<GitCommandResult> BugSession::runGitUntilStopped(std::vector<std::string> arguments) {
    const bool fetches = arguments.size() > 2 && arguments[2] == "fetch";
    if (!fetches) {
        co_return co_await runGit(std::move(arguments));
    }
    try {
        co_return co_await untilStopped(runGit(std::move(arguments)));
    } catch (const boost::system::system_error& error) {
        co_return GitCommandResult{1, error.what()};
    }
}

template <class Result>
Task<Result> BugSession::untilStopped(Task<Result> work) {
    if (watched_.stopRequested) {
        throw boost::system::system_error(boost::asio::error::operation_aborted);
    }
    const auto executor = co_await boost::asio::this_coro::executor;
    co_return co_await boost::asio::co_spawn(
        executor, std::move(work),
        boost::asio::bind_cancellation_slot(stopped_.slot(), boost::asio::use_awaitable));
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
        const auto detail = co_await untilStopped(services_.client.fetchBugDetail(item_.bugID));
        co_return detail.bug.prURL;
    } catch (const std::exception& error) {
        services_.board.note("Bug " + item_.bugID + ": its pull request could not be looked up (" +
                             error.what() + ")");
        co_return std::nullopt;
    }
}

Task<void> BugSession::recordAttempt(std::string goal) {
    attempt_.goalText = std::move(goal);
    attempt_.startedAt = currentInstant();
    watched_.activity.startedAt = attempt_.startedAt;
    co_await services_.store.attempts.insert(attempt_);
    attemptRecorded_ = true;
}

Task<bool> BugSession::startAgent(std::string goal) {
    showStage("starting codex");
    const auto executor = co_await boost::asio::this_coro::executor;
    runnerEvents_ = std::make_unique<ChildTask>(
        executor, "relaying events of bug " + item_.bugID,
        relayRunnerEvents(services_.runner.events(sessionID_), mailbox_.continuation()));
    std::string trouble;
    try {
        const StartSessionResponse started =
            co_await services_.runner.startSession(startRequest(std::move(goal)));
        agentRuns_ = true;
        attempt_.pid = started.pid;
    } catch (const PTYProcessError& error) {
        trouble = error.what();
    }
    if (!agentRuns_) {
        co_await finish(SessionFailed{trouble});
        co_return false;
    }
    co_await services_.manager.markRunning(item_.id, sessionID_);
    co_await services_.store.attempts.markRunning(attempt_.id, *attempt_.pid);
    commentPoll_ = std::make_unique<ChildTask>(
        executor, "polling comments of bug " + item_.bugID,
        pollComments(services_.client, pollState(), services_.settings.commentPollInterval,
                     mailbox_.continuation()));
    showStage("working");
    co_return true;
}

StartSessionRequest BugSession::startRequest(std::string goal) const {
    return {.sessionID = sessionID_,
            .queueItemID = item_.id,
            .repoPath = *attempt_.agentWorkspacePath,
            .launchCommand = services_.settings.agentCommand,
            .environment = services_.agentEnvironment,
            .initialInput = std::move(goal),
            .transcriptANSIPath = attempt_.transcriptANSIPath,
            .transcriptTextPath = attempt_.transcriptTextPath,
            .columns = services_.settings.columns,
            .rows = services_.settings.rows};
}

Task<SessionVerdict> BugSession::watch() {
    while (true) {
        if (auto news = co_await mailbox_.nextUntil(steady_clock::now() + ruleInterval)) {
            co_await take(std::move(*news));
        }
        co_await resolveAgentSession();
        if (auto verdict = judge(watched_, currentInstant(), services_.settings.timeouts)) {
            co_return std::move(*verdict);
        }
    }
}

Task<void> BugSession::take(SessionNews news) {
    if (auto* output = std::get_if<OutputSeen>(&news)) {
        co_await noteOutput(std::move(*output));
    } else if (const auto* exit = std::get_if<AgentExited>(&news)) {
        co_await noteExit(*exit);
    } else if (auto* comments = std::get_if<CommentsChanged>(&news)) {
        watched_.activity.lastCommentPollWithNewCommentAt = comments->at;
        watched_.detection = std::move(comments->detection);
    } else if (const auto* health = std::get_if<BackendHealthChanged>(&news)) {
        services_.board.note("Bug " + item_.bugID + ": " +
                             (health->trouble.empty()
                                  ? "its comments can be read again."
                                  : "its comments cannot be read (" + health->trouble + ")"));
    }
}

/// Stored at most once a second: a flood of output must not become a flood of writes.
Task<void> BugSession::noteOutput(OutputSeen output) {
    watched_.activity.lastOutputAt = output.at;
    if (!output.lastLine.empty()) {
        showStage(progress_.stage, std::move(output.lastLine));
    }
    if (!lastOutputStoredAt_ || output.at - *lastOutputStoredAt_ >= std::chrono::seconds(1)) {
        lastOutputStoredAt_ = output.at;
        co_await services_.store.attempts.markLastOutput(attempt_.id, output.at);
    }
}

Task<void> BugSession::noteExit(AgentExited exit) {
    agentRuns_ = false;
    watched_.activity.exitedAt = exit.at;
    watched_.activity.exitCode = exit.exitCode;
    co_await services_.store.attempts.markExited(attempt_.id, exit.exitCode, exit.at);
}

/// Asks the agent's own records for its conversation until they have it. They appear some time after the
/// start, and what they say wrong or not at all must never end a session.
Task<void> BugSession::resolveAgentSession() {
    if (agentSessionKnown_) {
        co_return;
    }
    auto lookUp = [environment = services_.agentEnvironment, directory = *attempt_.agentWorkspacePath,
                   startedAt = attempt_.startedAt]() -> std::optional<CodexSessionRecord> {
        try {
            const auto database = CodexSessionResolver::stateDatabaseURL(environment);
            auto found = CodexSessionResolver::latest(directory, startedAt, database);
            const std::string physical = std::filesystem::weakly_canonical(directory).string();
            return found || physical == directory
                       ? found
                       : CodexSessionResolver::latest(physical, startedAt, database);
        } catch (const DatabaseError&) {
            return std::nullopt;
        }
    };
    if (const auto found = co_await services_.background.run(std::move(lookUp))) {
        agentSessionKnown_ = true;
        co_await services_.manager.setCodexSession(item_.id, found->id, false);
        co_await services_.store.attempts.setCodexSession(attempt_.id, found->id);
    }
}

CompletionPollState BugSession::pollState() const {
    return {.sessionID = sessionID_,
            .queueItemID = item_.id,
            .bugID = item_.bugID,
            .startedAt = attempt_.startedAt};
}

void BugSession::showStage(std::string stage, std::string detail) {
    progress_.stage = std::move(stage);
    progress_.detail = std::move(detail);
    services_.board.show(progress_);
}

}  // namespace quernlight::host
