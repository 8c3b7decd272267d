#include "host/session/bug_session.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/processes/process_metadata.hpp"
#include "host/session/agent_conversations.hpp"
#include "host/session/agent_environment.hpp"
#include "host/session/comment_poll.hpp"
#include "host/session/worktree_preparation.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/runner/pty_process_error.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

BugProgress progressOf(const BugQueueItem& item) {
    return {.bugID = item.bugID, .appName = item.appName, .title = item.title};
}

}  // namespace

BugSession::BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping)
    : services_(services),
      item_(std::move(item)),
      mapping_(std::move(mapping)),
      agent_(services_.runner, sessionID_, "bug " + item_.bugID),
      progress_(progressOf(item_)) {}

void BugSession::requestStop() {
    watched_.stopRequested = true;
    stopped_.emit(boost::asio::cancellation_type::terminal);
    agent_.mailbox().deliver(StopRequested{});
}

Task<void> BugSession::travel() {
    std::exception_ptr unsettled;
    std::string trouble;
    try {
        co_await travelWhileAllIsWell();
    } catch (const DatabaseError&) {
        unsettled = std::current_exception();
    } catch (const std::exception& error) {
        // Work that was seen to be finished is never failed for what happens after.
        unsettled = watched_.detection ? std::current_exception() : nullptr;
        trouble = unsettled ? "" : error.what();
    }
    if (!trouble.empty()) {
        co_await fail(std::move(trouble));
    }
    co_await stopAgent();
    services_.goalTyping.forget(sessionID_);
    if (commentPoll_) {
        co_await commentPoll_->end();
    }
    co_await agent_.end();
    if (unsettled) {
        std::rethrow_exception(unsettled);
    }
}

Task<void> BugSession::travelWhileAllIsWell() {
    co_await openAttempt();
    if (!co_await prepareWorktree()) {
        co_return;
    }
    std::string goal = co_await writeGoal();
    if (watched_.stopRequested) {
        co_return show("queued");  // nothing has begun
    }
    co_await services_.manager.markStarting(item_.id, sessionID_);
    co_await recordAttempt(goal);
    if (!co_await startAgent(std::move(goal))) {
        co_return;
    }
    const NextStep end = co_await watch();
    Task<void> ending = std::visit([this](auto step) { return finish(std::move(step)); }, end);
    co_await std::move(ending);
}

Task<void> BugSession::openAttempt() {
    show("preparing worktree");
    attempt_ = newAttempt(co_await services_.store.attempts.nextAttemptNumber(item_.id));
    const auto canonical = co_await services_.store.attempts.canonicalCodexSessionID(item_.bugID);
    watched_.resumes =
        conversationToResume(item_, canonical, co_await services_.store.items.events(item_.id));
    attempt_.codexSessionID = watched_.resumes;
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
    const GitRunner run = [this](std::vector<std::string> arguments) {
        return runGitUntilStopped(std::move(arguments));
    };
    const GitWorktreePrepareResult prepared =
        co_await turns.run(prepareUsableWorktree(worktreeRequest(), run));
    if (watched_.stopRequested) {
        show("queued");  // nothing has begun
        co_return false;
    }
    if (const auto* failed = std::get_if<WorktreeFailed>(&prepared)) {
        co_await services_.manager.markFailed(item_.id, failed->message);
        showEnd("failed", failed->message);
        co_return false;
    }
    attempt_.agentWorkspacePath =
        WorktreeNaming::worktreePath(mapping_.resolvedWorktreeRootPath(), item_.appName, item_.bugID);
    co_await tellEvent(event_kind::worktreeReady, "The worktree is ready: " + *attempt_.agentWorkspacePath);
    co_return true;
}

PrepareBugRequest BugSession::worktreeRequest() const {
    return {.repoPath = mapping_.repoPath,
            .worktreeRootPath = mapping_.resolvedWorktreeRootPath(),
            .appName = item_.appName,
            .bugID = item_.bugID,
            .baseBranch = mapping_.baseBranch};
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
    if (watched_.resumes) {
        co_await services_.manager.setCodexSession(item_.id, *watched_.resumes, true);
        conversationKnown_ = true;
    }
}

Task<bool> BugSession::startAgent(std::string goal) {
    show(watched_.resumes ? "resuming codex" : "starting codex");
    services_.goalTyping.follow(sessionID_, item_.id, agent_.mailbox());
    std::string trouble;
    std::optional<StartSessionResponse> started;
    try {
        started = co_await agent_.start(startRequest(std::move(goal)));
    } catch (const PTYProcessError& error) {
        trouble = error.what();
    }
    if (!started) {
        co_await finish(SessionFailed{trouble});
        co_return false;
    }
    agentSettled_ = false;
    co_await beginWatching(*started);
    co_return true;
}

Task<void> BugSession::beginWatching(const StartSessionResponse& started) {
    attempt_.pid = started.pid;
    co_await services_.manager.markRunning(item_.id, sessionID_);
    co_await services_.store.attempts.markRunning(attempt_.id, started.pid);
    const std::string pid = std::to_string(started.pid);
    co_await tellEvent(event_kind::agentStarted, "The agent runs as process " + pid + ".",
                       processMetadata(started.pid, agent_.leader().birth));
    const CommentPolling polling{.client = services_.client,
                                 .budget = services_.commentRequests,
                                 .health = services_.health,
                                 .settings = services_.settings};
    const auto executor = co_await boost::asio::this_coro::executor;
    commentPoll_ = std::make_unique<ChildTask>(executor, "polling comments of bug " + item_.bugID,
                                               pollComments(polling, pollState(), agent_.mailbox()));
    show("waiting for prompt");
}

StartSessionRequest BugSession::startRequest(std::string goal) const {
    return {.sessionID = sessionID_,
            .queueItemID = item_.id,
            .repoPath = *attempt_.agentWorkspacePath,
            .launchCommand = agentCommandLine(services_.settings.agentCommand, watched_.resumes),
            .environment = environmentOfAgent(),
            .initialInput = std::move(goal),
            .transcriptANSIPath = attempt_.transcriptANSIPath,
            .transcriptTextPath = attempt_.transcriptTextPath,
            .columns = services_.settings.terminalColumns,
            .rows = services_.settings.terminalRows};
}

EnvironmentMap BugSession::environmentOfAgent() const {
    EnvironmentMap environment = agentEnvironment(services_.environment, services_.settings.agentEnvironment);
    const SessionMark mark = markOf(sessionID_);
    environment[mark.name] = mark.value;
    return environment;
}

CompletionPollState BugSession::pollState() const {
    return {.sessionID = sessionID_,
            .queueItemID = item_.id,
            .bugID = item_.bugID,
            .startedAt = attempt_.startedAt};
}

Task<void> BugSession::tellEvent(const char* kind, std::string message, std::optional<std::string> metadata) {
    ItemEvent event{.itemID = item_.id,
                    .kind = kind,
                    .message = std::move(message),
                    .sessionID = sessionID_,
                    .metadataJSON = std::move(metadata)};
    co_await tell(services_.store, std::move(event));
}

void BugSession::show(std::string stage, std::string detail) {
    progress_.stage = std::move(stage);
    progress_.detail = std::move(detail);
    services_.board.show(progress_);
}

void BugSession::showEnd(std::string stage, std::string detail) {
    progress_.finished = true;
    show(std::move(stage), std::move(detail));
}

}  // namespace quernlight::host
