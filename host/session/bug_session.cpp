#include "host/session/bug_session.hpp"

#include <filesystem>

#include <boost/asio/this_coro.hpp>

#include "host/agent/agent_conversations.hpp"
#include "host/agent/agent_environment.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/process_metadata.hpp"
#include "host/session/comment_poll.hpp"
#include "host/session/report_search.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/runner/pty_process_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

BugProgress progressOf(const BugQueueItem& item) {
    return {.bugID = item.bugID, .appName = item.appName, .title = item.title};
}

/// Why the item fails for what was thrown. Nothing for a home that cannot be written: that is no fault of the
/// bug's, and there may be room again.
std::optional<std::string> reasonToFail(std::exception_ptr failure) {
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const DatabaseError&) {
    } catch (const std::filesystem::filesystem_error&) {
    } catch (const ReportUnknown&) {
    } catch (const std::exception& error) {
        return failureSentence(error);
    }
    return std::nullopt;
}

}  // namespace

BugSession::BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping)
    : services_(services),
      item_(std::move(item)),
      mapping_(resolved(std::move(mapping))),
      agent_(services_.runner, services_.clock, sessionID_, "bug " + item_.bugID),
      progress_(progressOf(item_)),
      atStop_(services_.stop.onRise([mailbox = agent_.mailbox()] { mailbox.deliver(StopRequested{}); })) {}

Task<void> BugSession::run() {
    std::exception_ptr failure = co_await caughtException(runWhileAllIsWell());
    if (auto shortage = watched_.detection ? std::nullopt : shortageIn(failure)) {
        failure = co_await caughtException(putBack(std::move(*shortage)));
    }
    // Work that was seen to be finished is never failed for what happens after.
    if (auto reason = watched_.detection ? std::nullopt : reasonToFail(failure)) {
        failure = co_await caughtException(fail(std::move(*reason)));
    }
    const std::exception_ptr stopping = co_await caughtException(stopAgent());
    services_.goalDelivery.forget(sessionID_);
    if (commentPoll_) {
        co_await commentPoll_->end();
    }
    co_await agent_.end();
    services_.board.alert("comments of " + item_.bugID, "");
    if (failure || stopping) {
        std::rethrow_exception(failure ? failure : stopping);
    }
}

Task<void> BugSession::runWhileAllIsWell() {
    if (auto missing = missingAgent(services_.settings.agentCommand, services_.environment)) {
        OutsideFailure failure{.cause = std::move(*missing)};
        co_return co_await putBack(std::move(failure));
    }
    co_await openAttempt();
    if (!co_await prepareWorktree()) {
        co_return;
    }
    std::string goal = co_await writeGoal();
    if (services_.stop.isStopping() || !services_.homeIsInPlace()) {
        co_return show(SessionStage::queued);  // nothing has begun
    }
    co_await services_.manager.markStarting(item_.id, sessionID_);
    co_await recordAttempt(goal);
    if (services_.stop.isStopping()) {
        co_await noteUnstartedAgent();
        co_return co_await finish(SessionInterrupted{});
    }
    if (!co_await startAgent(std::move(goal))) {
        co_return;
    }
    const NextStep end = co_await watch();
    Task<void> ending = std::visit([this](auto step) { return finish(std::move(step)); }, end);
    co_await std::move(ending);
}

Task<void> BugSession::recordAttempt(std::string goal) {
    attempt_.goalText = std::move(goal);
    attempt_.startedAt = services_.clock.now();
    watched_.activity.startedAt = attempt_.startedAt;
    co_await services_.store.attempts.insert(attempt_);
    attemptRecorded_ = true;
    if (watched_.resumes) {
        co_await services_.manager.setCodexSession(item_.id, *watched_.resumes, true);
        conversationKnown_ = true;
    }
}

Task<bool> BugSession::startAgent(std::string goal) {
    show(watched_.resumes ? SessionStage::resumingAgent : SessionStage::startingAgent);
    GoalDelivery::Followed followed{
        .itemID = item_.id, .mailbox = agent_.mailbox(), .onTrouble = [this](const DatabaseError& error) {
            services_.disk.failed(error);
        }};
    services_.goalDelivery.follow(sessionID_, std::move(followed));
    std::string trouble;
    std::optional<StartSessionResponse> started;
    try {
        started = co_await agent_.start(startRequest(std::move(goal)));
    } catch (const PTYProcessError& error) {
        trouble = error.what();
    }
    if (!started) {
        co_await noteUnstartedAgent();
        OutsideFailure failure{.cause =
                                   trouble + "; check the setting agent.command and the system's limits."};
        co_await putBack(std::move(failure));
        co_return false;
    }
    services_.startPauses.agentStarted();
    agentExitRecorded_ = false;
    co_await beginWatching(*started);
    co_return true;
}

Task<void> BugSession::noteUnstartedAgent() {
    co_await ifPossible(
        tellEvent(event_kind::goalNotTyped, "The agent was not started, so its goal was not typed."));
}

Task<void> BugSession::beginWatching(const StartSessionResponse& started) {
    attempt_.pid = started.pid;
    co_await services_.manager.markRunning(item_.id, sessionID_);
    co_await services_.store.attempts.markRunning(attempt_.id, started.pid);
    const std::string pid = std::to_string(started.pid);
    co_await tellEvent(event_kind::agentStarted, "The agent runs as process " + pid + ".",
                       processMetadata(started.pid, agent_.leader().startTime));
    const CommentPolling polling{.client = services_.client,
                                 .rateLimiter = services_.commentRateLimiter,
                                 .health = services_.health,
                                 .settings = services_.settings,
                                 .board = services_.board,
                                 .clock = services_.clock};
    const auto executor = co_await boost::asio::this_coro::executor;
    commentPoll_ = std::make_unique<ChildTask>(executor, "polling comments of bug " + item_.bugID,
                                               pollComments(polling, pollState(), agent_.mailbox()));
    show(SessionStage::waitingForPrompt);
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
    const ProcessMark mark = markOf(sessionID_);
    environment[mark.name] = mark.value;
    return environment;
}

CompletionPollState BugSession::pollState() const {
    return reportOf(item_, sessionID_, attempt_.startedAt);
}

Task<void> BugSession::tellEvent(const char* kind, std::string message, std::optional<std::string> metadata) {
    ItemEvent event{.itemID = item_.id,
                    .kind = kind,
                    .message = std::move(message),
                    .sessionID = sessionID_,
                    .metadataJSON = std::move(metadata)};
    co_await tell(services_.store, std::move(event));
}

void BugSession::show(SessionStage stage, std::string detail) {
    progress_.stage = stage;
    progress_.detail = std::move(detail);
    services_.board.show(progress_);
}

}  // namespace quernlight::host
