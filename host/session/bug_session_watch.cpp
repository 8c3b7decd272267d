#include "host/agent/agent_conversations.hpp"
#include "host/health/unreadable_records.hpp"
#include "host/process/time_limit.hpp"
#include "host/session/bug_session.hpp"
#include "host/session/comment_poll.hpp"
#include "host/text/clock_time.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds lookInterval{1};
constexpr std::chrono::seconds commentLookInterval{3};
constexpr std::chrono::seconds commentTimeout{10};
constexpr std::chrono::seconds commentTimeoutAtShutdown{3};
constexpr std::size_t lastWordsKept = 2000;

void appendWords(std::string& lastWords, const std::string& words) {
    lastWords += words;
    if (lastWords.size() > lastWordsKept) {
        lastWords.erase(0, lastWords.size() - lastWordsKept);
    }
}

}  // namespace

Task<NextStep> BugSession::watch() {
    while (true) {
        if (auto event = co_await agent_.nextUntil(std::max(nextLook_, services_.clock.steadyNow()))) {
            co_await take(std::move(*event));
        }
        if (services_.clock.steadyNow() >= nextLook_) {
            co_await lookAround();
            nextLook_ = services_.clock.steadyNow() + lookInterval;
        }
        NextStep step = stepNow();
        if (std::holds_alternative<LookForComment>(step)) {
            co_await lookForComment();
        } else if (!std::holds_alternative<KeepWatching>(step)) {
            co_return step;
        }
    }
}

NextStep BugSession::stepNow() {
    const ClockReading now = readClocks(services_.clock);
    services_.runningTime.look(now);
    watched_.stopRequested = services_.stop.isStopping();
    return nextStep(countedSince(services_.runningTime.since(), now.wall, watched_), now.wall, timeouts());
}

Task<void> BugSession::take(SessionEvent event) {
    if (auto* output = std::get_if<OutputSeen>(&event)) {
        co_await noteOutput(std::move(*output));
    } else if (const auto* exit = std::get_if<AgentExited>(&event)) {
        watched_.activity.exitedAt = exit->at;
        watched_.activity.exitCode = exit->exitCode;
        showExit(*exit);
        co_await recordAgentExit();
    } else if (auto* comments = std::get_if<CommentsChanged>(&event)) {
        watched_.activity.lastCommentPollWithNewCommentAt = comments->at;
        newestComment_ = std::max(newestComment_, comments->newest);
        if (comments->detection) {
            watched_.detection = std::move(comments->detection);
        }
    } else if (const auto* trouble = std::get_if<CommentTrouble>(&event)) {
        services_.board.alert("comments of " + item_.bugID, trouble->reason.empty()
                                                                ? ""
                                                                : "The comments of bug " + item_.bugID +
                                                                      " cannot be read: " + trouble->reason);
    } else {
        if (std::holds_alternative<GoalTyped>(event) && !progress_.exitCode) {
            show(SessionStage::working, progress_.detail);
        }
        co_await noteTyping(std::move(event));
    }
}

/// While the agent is being stopped its report still counts, and so does what became of its goal.
Task<void> BugSession::noteWhileStopping(SessionEvent event) {
    auto* comments = std::get_if<CommentsChanged>(&event);
    if (comments && comments->detection) {
        watched_.detection = std::move(comments->detection);
    }
    co_await noteTyping(std::move(event));
}

Task<void> BugSession::noteTyping(SessionEvent event) {
    if (std::holds_alternative<GoalTypingBegins>(event)) {
        watched_.goalTyped = true;
    } else if (std::holds_alternative<GoalTyped>(event)) {
        goalTypedWhole_ = true;
        co_await ifPossible(tellEvent(event_kind::typed, "The goal has been typed."));
    } else if (const auto* failure = std::get_if<GoalNotTyped>(&event)) {
        watched_.goalTrouble = failure->reason;
    }
}

/// Stored at most once a second: a flood of output must not become a flood of writes.
Task<void> BugSession::noteOutput(OutputSeen output) {
    watched_.activity.lastOutputAt = output.at;
    appendWords(watched_.lastWords, output.words);
    if (progress_.stage == SessionStage::askingBackend && !progress_.exitCode) {
        progress_.stage = SessionStage::working;
    }
    if (!output.lastLine.empty() && !progress_.exitCode) {
        show(progress_.stage, std::move(output.lastLine));
    }
    const bool wasSetBack = lastOutputStoredAt_ > output.at;  // the clock
    if (!lastOutputStoredAt_ || wasSetBack || output.at - *lastOutputStoredAt_ >= std::chrono::seconds(1)) {
        lastOutputStoredAt_ = output.at;
        co_await ifPossible(services_.store.attempts.markLastOutput(attempt_.id, output.at));
    }
}

/// For as long as its comment may still come.
void BugSession::showExit(const AgentExited& exit) {
    using std::chrono::duration;
    const auto grace = std::chrono::duration_cast<Instant::duration>(
        duration<double>(services_.settings.postExitGraceSeconds));
    progress_.exitCode = exit.exitCode;
    show(SessionStage::agentExited, "comment due by " + clockTime(exit.at + grace));
}

/// What has to be looked at because nobody tells: whose the item is, the agent's own records, its processes.
Task<void> BugSession::lookAround() {
    agent_.look();
    const auto item = co_await services_.store.items.item(item_.id);
    watched_.superseded = !item || item->activeSessionID != sessionID_;
    if (!conversationKnown_) {
        co_await ifPossible(noteConversation());
    }
}

Task<void> BugSession::noteConversation() {
    auto lookUp = [environment = services_.environment, directory = *attempt_.agentWorkspacePath,
                   startedAt = attempt_.startedAt] {
        return findConversation(environment, directory, startedAt);
    };
    const auto found = co_await services_.background.run(std::move(lookUp));
    if (found) {
        // A conversation that the agent denied is no use to come back to.
        const bool storedIsDenied = item_.codexSessionID && !watched_.resumes;
        co_await services_.manager.setCodexSession(item_.id, found->id, storedIsDenied);
        co_await services_.store.attempts.setCodexSession(attempt_.id, found->id);
        conversationKnown_ = true;
    }
}

/// A rule is about to fail the session: whatever the agent has reported by now comes first. While the backend
/// cannot be asked, or wants to be left alone, the session waits, since its work may be done.
Task<void> BugSession::lookForComment() {
    if (services_.clock.steadyNow() < nextCommentLook_) {
        co_return;
    }
    bool isKnown = false;
    if (services_.clock.steadyNow() >= services_.health.askAgainAt()) {
        isKnown = co_await learnComments(services_.stop.unlessRaised(StopLevel::stop, fetchComments()));
    }
    if (!isKnown && !services_.stop.isStopping()) {
        show(SessionStage::askingBackend, progress_.detail);
    }
    nextCommentLook_ = services_.clock.steadyNow() + commentLookInterval;
}

/// Whether the backend could be asked.
Task<bool> BugSession::learnComments(Task<ReadableList<QLCommentDTO>> fetching) {
    const Instant begun = services_.clock.now();
    ReadableList<QLCommentDTO> fetched;
    try {
        fetched = co_await std::move(fetching);
    } catch (const std::exception& error) {
        const bool isAway = services_.stop.isStopping() || services_.health.failed(error);
        watched_.commentTrouble = isAway ? "" : failureSentence(error);
        co_return false;
    }
    services_.health.answered();
    watched_.commentTrouble = fetched.unreadable.empty() ? "" : describe(fetched.unreadable.front());
    watched_.commentsKnownAt = begun;
    watched_.detection = CompletionDetector::detectOutcome(fetched.records, pollState());
    const auto newest = newestCreation(fetched.records);
    if (newest > std::max(newestComment_, std::optional(attempt_.startedAt))) {
        newestComment_ = newest;
        watched_.activity.lastCommentPollWithNewCommentAt = begun;
    }
    co_return true;
}

/// Once the agent has exited: whether all that it may have reported is known.
Task<bool> BugSession::learnLastComments() {
    if (!watched_.goalTyped || watched_.detection) {
        co_return true;
    }
    auto fetching = fetchComments();
    if (services_.stop.isStopping()) {
        fetching = withTimeLimit(services_.clock, commentTimeoutAtShutdown, std::move(fetching));
    }
    co_return co_await learnComments(std::move(fetching));
}

/// The wait for its turn says nothing of the backend.
Task<ReadableList<QLCommentDTO>> BugSession::fetchComments() {
    co_await turnToAsk(services_.commentRateLimiter, services_.clock);
    auto fetching = fetchCommentsIfAny(services_.client, services_.board, item_.bugID);
    co_return co_await withTimeLimit(services_.clock, commentTimeout, std::move(fetching));
}

Task<bool> BugSession::isStillOurs() {
    const auto item = co_await services_.store.items.item(item_.id);
    co_return item && item->activeSessionID == sessionID_;
}

/// A write without which the session can go on: a disk that is full for a while must not end it.
Task<void> BugSession::ifPossible(Task<void> write) {
    try {
        co_await std::move(write);
    } catch (const DatabaseError& error) {
        services_.disk.failed(error);
    }
}

SessionTimeoutSettings BugSession::timeouts() const {
    return {.idleTimeoutSeconds = services_.settings.idleTimeoutSeconds,
            .postExitCommentGraceSeconds = services_.settings.postExitGraceSeconds};
}

}  // namespace quernlight::host
