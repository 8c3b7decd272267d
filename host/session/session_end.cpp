#include "host/session/session_end.hpp"

#include <utility>
#include <vector>

#include "host/agent/agent_conversations.hpp"
#include "host/events/history_look.hpp"
#include "host/health/failure_policy.hpp"
#include "host/session/attempt_goal.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {

Task<void> SessionEnd::finish(NextStep step) {
    Task<void> ending = std::visit([this](auto known) { return end(std::move(known)); }, std::move(step));
    co_await std::move(ending);
}

Task<void> SessionEnd::finish(PreparationResult result) {
    Task<void> ending = std::visit([this](auto known) { return end(std::move(known)); }, std::move(result));
    co_await std::move(ending);
}

// None of these three is an end.

Task<void> SessionEnd::end(KeepWatching) {
    co_return;
}

Task<void> SessionEnd::end(LookForComment) {
    co_return;
}

Task<void> SessionEnd::end(SessionReady) {
    co_return;
}

/// The comment has been seen: from here on the item ends completed, whatever the agent still does.
Task<void> SessionEnd::end(WorkCompleted end) {
    agent_.noteWork();
    log_.show(SessionStage::stoppingAgent);
    co_await uses_.manager.markCodexCompleted(state_.item.id, end.comment.id);
    co_await agent_.stop();
    co_await uses_.manager.markCompleted(state_.item.id, end.comment.id);
    co_await markAttemptCompleted(std::move(end.comment));
    log_.show(SessionStage::inReview);
}

/// The question is stored before the agent is stopped, so that a crash in between cannot run the bug again.
Task<void> SessionEnd::end(UserAsked end) {
    agent_.noteWork();
    log_.show(SessionStage::stoppingAgent);
    std::string question = end.comment.body;
    co_await log_.tellIfPossible(EventKind::questionAsked, withoutControls(question));
    co_await uses_.manager.markAwaitingUserInput(state_.item.id, end.comment.id);
    co_await agent_.stop();
    co_await markAttemptCompleted(std::move(end.comment));
    log_.show(SessionStage::needsReply, std::move(question));
}

Task<void> SessionEnd::end(SessionFailed end) {
    co_await fail(std::move(end.reason));
}

Task<void> SessionEnd::end(SessionInterrupted) {
    std::string reason(state_.isStopWished ? stoppedReason : interruptedReason);
    co_await interrupt(std::move(reason));
}

/// What the agent reported until its exit still counts. While that is not known the item is reconciled before
/// anything else becomes of it: where the program is being stopped, by its next start.
Task<void> SessionEnd::interrupt(std::string reason) {
    log_.show(SessionStage::stoppingAgent);
    co_await agent_.stop();
    const bool areCallsMade = co_await agent_.closeTools();
    const bool areCommentsKnown = co_await comments_.learnLast();
    const bool isKnown = areCallsMade && areCommentsKnown;
    if (state_.watched.detection) {
        co_return co_await endReported();
    }
    const bool ours = co_await log_.isStillOurs();
    if (!ours) {
        co_return co_await end(SessionSuperseded{});
    }
    if (!isKnown && !uses_.stop.isStopping()) {
        throw ReportUnknown(reason, WithoutReport::goesBack);
    }
    co_await uses_.manager.markResumable(state_.item.id);
    const bool isHeld = co_await holdIfWished();
    if (isKnown) {
        co_await markAttemptFailed(std::move(reason));
    }
    log_.show(isHeld ? SessionStage::needsStart : SessionStage::queuedToResume);
}

/// What a person has stopped waits for a person. The item is still this session's for the loop, which starts
/// nothing of it meanwhile.
Task<bool> SessionEnd::holdIfWished() {
    const auto item = co_await uses_.store.items.item(state_.item.id);
    if (!state_.isStopWished || !item || isTerminal(item->status)) {
        co_return false;
    }
    co_await uses_.manager.move(state_.item.id, QueueMode::manual, std::nullopt);
    co_await log_.tell(EventKind::sessionStopped, std::string(stoppedReason));
    co_return true;
}

Task<void> SessionEnd::end(OutsideFailure failure) {
    co_await putBack(std::move(failure));
}

Task<void> SessionEnd::putBack(OutsideFailure failure) {
    uses_.startPauses.failed(failure, uses_.clock.steadyNow());
    const bool ours = co_await log_.isStillOurs();
    if (ours || state_.isAttemptRecorded) {
        co_return co_await interrupt(std::move(failure.cause));
    }
    const bool isHeld = co_await holdIfWished();
    log_.show(isHeld ? SessionStage::needsStart : SessionStage::queued, std::move(failure.cause));
}

Task<void> SessionEnd::end(WorktreeRefused refused) {
    co_await uses_.manager.markFailed(state_.item.id, refused.reason);
    log_.show(SessionStage::failed, std::move(refused.reason));
}

Task<void> SessionEnd::end(NothingBegun) {
    const bool isHeld = co_await holdIfWished();
    log_.show(isHeld ? SessionStage::needsStart : SessionStage::queued);
}

Task<void> SessionEnd::endReported() {
    const bool ours = co_await log_.isStillOurs();
    if (!ours) {
        co_return co_await end(SessionSuperseded{});
    }
    const CompletionDetection reported = *state_.watched.detection;
    Task<void> ending = reported.outcome == CompletionOutcome::completed
                            ? end(WorkCompleted{reported.comment})
                            : end(UserAsked{reported.comment});
    co_await std::move(ending);
}

/// Back into the queue; the event keeps the next attempt from asking for that conversation again.
Task<void> SessionEnd::end(ConversationUnknown end) {
    const std::string sentence = "The agent does not know its conversation " +
                                 lowerCaseText(end.conversation) + " any more; a fresh one is begun.";
    co_await agent_.stop();
    co_await log_.tell(EventKind::conversationUnknown, sentence, conversationMetadata(end.conversation));
    co_await uses_.manager.markResumable(state_.item.id);
    const bool isHeld = co_await holdIfWished();
    co_await markAttemptFailed(sentence);
    log_.show(isHeld ? SessionStage::needsStart : SessionStage::queued, sentence);
}

Task<void> SessionEnd::end(AgentNotFound end) {
    OutsideFailure failure = unstartableAgent(uses_.settings.agentCommand.front(), end.exitCode, end.words);
    co_await putBack(std::move(failure));
}

Task<void> SessionEnd::end(AgentBlocked end) {
    std::optional<std::string> metadata;
    if (end.endedEarly && state_.watched.resumes) {
        metadata = conversationMetadata(*state_.watched.resumes);
    } else if (end.until) {
        metadata = limitMetadata(*end.until);
    }
    co_await log_.tell(EventKind::agentBlocked, end.cause, std::move(metadata));
    OutsideFailure failure{.cause = std::move(end.cause),
                           .stopsWork = end.stopsWork,
                           .pauses = pausesAfterBlockedAgent(end.limitsUse, end.stopsWork)};
    if (end.concernsRepository) {
        failure.repository = state_.mapping.repoPath;
    }
    if (end.until) {
        failure.until = end.until;
        failure.lasts = std::chrono::ceil<std::chrono::seconds>(*end.until - uses_.clock.now());
    }
    co_await putBack(std::move(failure));
}

/// Back into the queue once; the event tells the next attempt that it is the last. An agent that takes the
/// goals of several bugs in a row as little would take the next one's.
Task<void> SessionEnd::end(GoalNotTaken end) {
    const bool isOthersToo = uses_.startPauses.goalRefused(state_.item.bugID) > 1;
    if (isOthersToo) {
        AgentBlocked blocked{.cause = std::move(end.reason)};
        co_return co_await this->end(std::move(blocked));
    }
    const std::vector<QueueEvent> events = co_await uses_.store.items.events(state_.item.id);
    if (!mayTypeGoalAgain(events)) {
        co_return co_await fail(std::move(end.reason));
    }
    co_await log_.tell(EventKind::goalRefused, end.reason);
    co_await interrupt(std::move(end.reason));
}

Task<void> SessionEnd::end(SessionSuperseded) {
    log_.show(SessionStage::stoppingAgent);
    co_await agent_.stop();
    co_await markAttemptFailed("The queue item was taken from the session while it was running.");
    log_.show(SessionStage::superseded);
}

Task<void> SessionEnd::fail(std::string reason) {
    log_.show(SessionStage::stoppingAgent);
    co_await agent_.stop();
    const bool areCallsMade = co_await agent_.closeTools();
    const bool isKnown = co_await comments_.learnLast();
    const WatchedSession& watched = state_.watched;
    if (watched.detection) {
        co_return co_await endReported();
    }
    const bool wasKnown = isKnown || watched.commentsKnownAt || !watched.commentTrouble.empty();
    if (!areCallsMade || !wasKnown) {
        throw ReportUnknown(reason);
    }
    const bool ours = co_await log_.isStillOurs();
    if (state_.isAttemptRecorded && !ours) {
        co_return co_await end(SessionSuperseded{});
    }
    co_await uses_.manager.markFailed(state_.item.id, reason);
    if (state_.isAttemptRecorded) {
        co_await markAttemptFailed(reason);
    }
    log_.show(SessionStage::failed, std::move(reason));
}

Task<void> SessionEnd::markAttemptFailed(std::string reason) {
    co_await uses_.store.attempts.markFailed(state_.attempt.id, std::move(reason), uses_.clock.now());
}

Task<void> SessionEnd::markAttemptCompleted(QLCommentDTO comment) {
    co_await uses_.store.attempts.markCompleted(state_.attempt.id, comment.id, comment.createdAt,
                                                uses_.clock.now());
}

}  // namespace quernlight::host
