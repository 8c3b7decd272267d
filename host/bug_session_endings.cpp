#include <boost/asio/this_coro.hpp>

#include "host/bug_session.hpp"
#include "host/live_items.hpp"
#include "host/stop_ladder.hpp"
#include "quernlight/runner/pty_process_error.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

/// An agent that has exited in between has nothing more to be asked.
Task<void> askToStop(CodexRunner& runner, Uuid sessionID, std::optional<TerminationMode> mode) {
    try {
        if (mode) {
            co_await runner.terminate(sessionID, *mode);
        } else {
            co_await runner.sendInput("\r", sessionID);
        }
    } catch (const RunnerError&) {
    } catch (const PTYProcessError&) {
    }
}

}  // namespace

/// The comment has been seen: from here on the item ends completed, whatever the agent still does.
Task<void> BugSession::finish(WorkCompleted verdict) {
    showStage("stopping codex");
    co_await services_.manager.markCodexCompleted(item_.id, verdict.comment.id);
    co_await stopAgent();
    co_await services_.store.attempts.markCompleted(attempt_.id, verdict.comment.id,
                                                    verdict.comment.createdAt, currentInstant());
    co_await services_.manager.markCompleted(item_.id, verdict.comment.id);
    progress_.finished = true;
    showStage("in review");
}

/// The question is stored before the agent is stopped, so that a crash in between cannot run the bug again.
Task<void> BugSession::finish(UserAsked verdict) {
    showStage("stopping codex");
    co_await services_.manager.markAwaitingUserInput(item_.id, verdict.comment.id);
    co_await stopAgent();
    co_await services_.store.attempts.markCompleted(attempt_.id, verdict.comment.id,
                                                    verdict.comment.createdAt, currentInstant());
    progress_.finished = true;
    showStage("waits for the user", verdict.comment.body);
}

Task<void> BugSession::finish(SessionFailed verdict) {
    showStage("stopping codex");
    co_await stopAgent();
    co_await services_.store.attempts.markFailed(attempt_.id, verdict.reason, currentInstant());
    co_await services_.manager.markFailed(item_.id, verdict.reason);
    progress_.finished = true;
    showStage("failed", verdict.reason);
}

Task<void> BugSession::finish(SessionInterrupted) {
    showStage("stopping codex");
    co_await stopAgent();
    co_await services_.store.attempts.markFailed(attempt_.id, interruptedReason, currentInstant());
    co_await services_.manager.markResumable(item_.id);
    progress_.finished = true;
    showStage("queued to resume");
}

/// Something on the road broke (a full disk, a database that another program holds): the agent is stopped and
/// the item fails with the reason, so that a person sees it.
Task<void> BugSession::giveUp(std::string reason) {
    co_await stopAgent();
    if (watched_.detection) {
        services_.board.note("Bug " + item_.bugID +
                             ": the agent has finished, but that could not be stored (" + reason +
                             "); the next start settles it.");
        co_return;
    }
    if (attemptRecorded_) {
        co_await services_.store.attempts.markFailed(attempt_.id, reason, currentInstant());
    }
    co_await services_.manager.markFailed(item_.id, reason);
    progress_.finished = true;
    showStage("failed", std::move(reason));
}

Task<void> BugSession::stopAgent() {
    for (const StopRung& rung : stopLadder) {
        if (!agentRuns_) {
            co_return;
        }
        co_await climb(rung);
    }
    if (agentRuns_) {
        services_.board.note("Bug " + item_.bugID + ": the agent (process " + std::to_string(*attempt_.pid) +
                             ") does not end; look at it with: ps -fp " + std::to_string(*attempt_.pid));
    }
}

/// Asking takes its own time, for a terminal whose reader does not read takes no keys; patience counts all
/// the same.
Task<void> BugSession::climb(const StopRung& rung) {
    ChildTask asking(co_await boost::asio::this_coro::executor, "stopping bug " + item_.bugID,
                     askToStop(services_.runner, sessionID_, rung.mode));
    co_await agentExitedBy(steady_clock::now() + rung.patience);
    co_await asking.end();
}

Task<bool> BugSession::agentExitedBy(steady_clock::time_point deadline) {
    while (agentRuns_ && steady_clock::now() < deadline) {
        if (auto news = co_await mailbox_.nextUntil(deadline)) {
            if (const auto* exit = std::get_if<AgentExited>(&*news)) {
                co_await noteExit(*exit);
            }
        }
    }
    co_return !agentRuns_;
}

}  // namespace quernlight::host
