#include <sstream>
#include <utility>

#include "host/agent/agent_conversations.hpp"
#include "host/recovery/recovery.hpp"
#include "host/session/bug_session.hpp"

namespace quernlight::host {
namespace {

std::string pidsOf(const std::vector<ProcessEntry>& processes) {
    std::ostringstream text;
    for (const ProcessEntry& process : processes) {
        text << (text.tellp() > 0 ? ", " : "") << process.pid;
    }
    return text.str();
}

}  // namespace

Task<void> BugSession::finish(KeepWatching) {
    co_return;
}

Task<void> BugSession::finish(LookForComment) {
    co_return;
}

// In every ending the item comes first and the attempt last: an attempt without an end tells the next start
// that something may be missing, an event above all.

/// The comment has been seen: from here on the item ends completed, whatever the agent still does.
Task<void> BugSession::finish(WorkCompleted end) {
    show(SessionStage::stoppingAgent);
    co_await services_.manager.markCodexCompleted(item_.id, end.comment.id);
    co_await stopAgent();
    co_await services_.manager.markCompleted(item_.id, end.comment.id);
    co_await services_.store.attempts.markCompleted(attempt_.id, end.comment.id, end.comment.createdAt,
                                                    services_.clock.now());
    show(SessionStage::inReview);
}

/// The question is stored before the agent is stopped, so that a crash in between cannot run the bug again.
Task<void> BugSession::finish(UserAsked end) {
    show(SessionStage::stoppingAgent);
    co_await services_.manager.markAwaitingUserInput(item_.id, end.comment.id);
    co_await stopAgent();
    co_await services_.store.attempts.markCompleted(attempt_.id, end.comment.id, end.comment.createdAt,
                                                    services_.clock.now());
    show(SessionStage::needsReply, end.comment.body);
}

Task<void> BugSession::finish(SessionFailed end) {
    co_await fail(std::move(end.reason));
}

Task<void> BugSession::finish(SessionInterrupted) {
    std::string reason(interruptedReason);
    co_await interrupt(std::move(reason));
}

/// What the agent reported until its exit still counts. While that is not known the attempt stays open, and
/// the next start asks before it resumes the bug.
Task<void> BugSession::interrupt(std::string reason) {
    show(SessionStage::stoppingAgent);
    co_await stopAgent();
    const bool isKnown = co_await learnLastComments();
    if (watched_.detection) {
        co_return co_await finishReported();
    }
    const bool ours = co_await isStillOurs();
    if (!ours) {
        co_return co_await finish(SessionSuperseded{});
    }
    co_await services_.manager.markResumable(item_.id);
    if (isKnown) {
        co_await services_.store.attempts.markFailed(attempt_.id, std::move(reason), services_.clock.now());
    }
    show(SessionStage::queuedToResume);
}

/// No fault of the bug's: it goes back to where it was, and for a while nothing that would meet the same is
/// started.
Task<void> BugSession::putBack(OutsideFailure failure) {
    services_.startPauses.failed(failure, services_.clock.steadyNow());
    const bool ours = co_await isStillOurs();
    if (ours || attemptRecorded_) {
        co_return co_await interrupt(failure.cause);
    }
    show(SessionStage::queued, failure.cause);
}

Task<void> BugSession::finishReported() {
    const bool ours = co_await isStillOurs();
    if (!ours) {
        co_return co_await finish(SessionSuperseded{});
    }
    const CompletionDetection reported = *watched_.detection;
    Task<void> ending = reported.outcome == CompletionOutcome::completed
                            ? finish(WorkCompleted{reported.comment})
                            : finish(UserAsked{reported.comment});
    co_await std::move(ending);
}

/// Back into the queue; the event keeps the next attempt from asking for that conversation again.
Task<void> BugSession::finish(ConversationUnknown end) {
    const std::string sentence = "The agent does not know its conversation " +
                                 lowerCaseText(end.conversation) + " any more; a fresh one is begun.";
    co_await stopAgent();
    co_await tellEvent(event_kind::conversationUnknown, sentence,
                       unknownConversationMetadata(end.conversation));
    co_await services_.manager.markResumable(item_.id);
    co_await services_.store.attempts.markFailed(attempt_.id, sentence, services_.clock.now());
    show(SessionStage::queued, sentence);
}

Task<void> BugSession::finish(SessionSuperseded) {
    show(SessionStage::stoppingAgent);
    co_await stopAgent();
    co_await services_.store.attempts.markFailed(
        attempt_.id, "The queue item was taken from the session while it was running.",
        services_.clock.now());
    show(SessionStage::superseded);
}

Task<void> BugSession::fail(std::string reason) {
    show(SessionStage::stoppingAgent);
    co_await stopAgent();
    const bool isKnown = co_await learnLastComments();
    if (watched_.detection) {
        co_return co_await finishReported();
    }
    if (!isKnown && !watched_.commentsKnownAt && watched_.commentTrouble.empty()) {
        throw ReportUnknown(reason);
    }
    const bool ours = co_await isStillOurs();
    if (attemptRecorded_ && !ours) {
        co_return co_await finish(SessionSuperseded{});
    }
    co_await services_.manager.markFailed(item_.id, reason);
    if (attemptRecorded_) {
        co_await services_.store.attempts.markFailed(attempt_.id, reason, services_.clock.now());
    }
    show(SessionStage::failed, std::move(reason));
}

Task<void> BugSession::stopAgent() {
    services_.goalDelivery.forget(sessionID_);
    const bool isFirst = !std::exchange(escalated_, true);
    if (isFirst) {
        co_await agent_.stop([this] { return escalation(); },
                             [this](SessionEvent event) { return noteWhileStopping(std::move(event)); });
    }
    if (isFirst && agent_.isRunning()) {
        services_.board.note("Bug " + item_.bugID + ": the agent (process " + std::to_string(*attempt_.pid) +
                             ") does not end; look at it with: ps -fp " + std::to_string(*attempt_.pid));
    }
    co_await recordAgentExit();
}

StopEscalation BugSession::escalation() const {
    const StopEscalation whole = stopEscalation(services_.settings);
    if (services_.stop.isKilling()) {
        return killOnly(whole);
    }
    return services_.stop.isStopping() ? shortened(whole, escalationTimeAtShutdown) : whole;
}

/// Once the agent has exited: stores that it has, and sees to it that nothing of it lives on.
Task<void> BugSession::recordAgentExit() {
    if (agentExitRecorded_ || !agent_.exit()) {
        co_return;
    }
    agentExitRecorded_ = true;
    services_.goalDelivery.forget(sessionID_);  // what is not being typed will not be
    const AgentExited exit = *agent_.exit();
    co_await noteLeftovers();
    co_await ifPossible(services_.store.attempts.markExited(attempt_.id, exit.exitCode, exit.at));
    co_await ifPossible(tellEvent(event_kind::agentExited,
                                  "The agent ended with code " + std::to_string(exit.exitCode) + "."));
    if (!goalTypedWhole_) {
        co_await ifPossible(tellEvent(event_kind::goalNotTyped,
                                      watched_.goalTyped ? "The agent ended before all of the goal was typed."
                                                         : "The agent ended before its goal was typed."));
    }
}

Task<void> BugSession::noteLeftovers() {
    const auto leftovers = agent_.leftovers();
    const auto survivors = co_await agent_.endLeftovers();
    if (leftovers.empty()) {
        co_return;
    }
    co_await ifPossible(tellEvent(event_kind::agentLeftovers,
                                  "The agent left processes behind; killed: " + pidsOf(leftovers) + "."));
    if (!survivors.empty()) {
        const std::string sentence = "Processes of the agent cannot be ended: " + pidsOf(survivors) +
                                     ". Look at them with: ps -fp PID";
        services_.board.note("Bug " + item_.bugID + ": " + sentence);
        co_await ifPossible(tellEvent(event_kind::agentSurvived, sentence));
    }
}

}  // namespace quernlight::host
