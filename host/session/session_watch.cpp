#include "host/session/session_watch.hpp"

#include <algorithm>
#include <utility>

#include "host/screen/agent_activity.hpp"
#include "host/session/goal_delivery.hpp"
#include "host/text/clock_time.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds lookInterval{1};
constexpr std::size_t lastWordsKept = 2000;

void appendWords(std::string& lastWords, const std::string& words) {
    lastWords += words;
    if (lastWords.size() > lastWordsKept) {
        lastWords.erase(0, lastWords.size() - lastWordsKept);
    }
}

}  // namespace

Task<NextStep> SessionWatch::untilItsEnd() {
    while (true) {
        if (auto event = co_await agent_.nextUntil(std::max(nextLook_, uses_.clock.steadyNow()))) {
            co_await take(std::move(*event));
        }
        if (uses_.clock.steadyNow() >= nextLook_) {
            co_await lookAround();
            nextLook_ = uses_.clock.steadyNow() + lookInterval;
        }
        NextStep step = stepNow();
        if (std::holds_alternative<LookForComment>(step)) {
            co_await comments_.lookForReport();
        } else if (!std::holds_alternative<KeepWatching>(step)) {
            co_return step;
        }
    }
}

NextStep SessionWatch::stepNow() {
    const ClockReading now = readClocks(uses_.clock);
    uses_.runningTime.look(now);
    state_.watched.stopRequested = uses_.stop.isStopping() || state_.isStopWished;
    return nextStep(countedSince(uses_.runningTime.since(), now.wall, state_.watched), now.wall, timeouts());
}

Task<void> SessionWatch::take(SessionEvent event) {
    if (auto* output = std::get_if<OutputSeen>(&event)) {
        co_await noteOutput(std::move(*output));
    } else if (const auto* exit = std::get_if<AgentExited>(&event)) {
        co_await noteExit(*exit);
    } else if (auto* comments = std::get_if<CommentsChanged>(&event)) {
        comments_.take(std::move(*comments));
    } else if (const auto* trouble = std::get_if<CommentTrouble>(&event)) {
        comments_.take(*trouble);
    } else {
        const bool isAccepted = std::holds_alternative<GoalAccepted>(event);
        if (isAccepted && !state_.progress.exitCode) {
            log_.show(SessionStage::working, state_.progress.detail);
        }
        if (isAccepted &&
            !state_.isConversationKnown) {  // before anything can end it, so that it can be resumed
            co_await log_.ifPossible(noteConversation());
        }
        co_await agent_.noteTyping(std::move(event));
    }
}

/// Stored at most once a second: a flood of output must not become a flood of writes.
Task<void> SessionWatch::noteOutput(OutputSeen output) {
    state_.watched.activity.lastOutputAt = output.at;
    appendWords(state_.watched.lastWords, output.words);
    BugProgress& progress = state_.progress;
    if (progress.stage == SessionStage::askingBackend && !progress.exitCode) {
        progress.stage = SessionStage::working;
    }
    if (!output.lastLine.empty() && !progress.exitCode) {
        log_.show(progress.stage, std::move(output.lastLine));
    }
    const bool wasSetBack = lastOutputStoredAt_ > output.at;  // the clock
    if (!lastOutputStoredAt_ || wasSetBack || output.at - *lastOutputStoredAt_ >= std::chrono::seconds(1)) {
        lastOutputStoredAt_ = output.at;
        co_await log_.ifPossible(uses_.store.attempts.markLastOutput(state_.attempt.id, output.at));
    }
}

/// It is shown for as long as its comment may still come.
Task<void> SessionWatch::noteExit(AgentExited exit) {
    const auto grace = std::chrono::duration_cast<Instant::duration>(
        std::chrono::duration<double>(uses_.settings.postExitGraceSeconds));
    state_.watched.activity.exitedAt = exit.at;
    state_.watched.activity.exitCode = exit.exitCode;
    state_.progress.exitCode = exit.exitCode;
    log_.show(SessionStage::agentExited, "comment due by " + clockTime(exit.at + grace));
    co_await agent_.recordExit();
}

/// What has to be looked at because nobody tells: whose the item is, the agent's own records, its processes.
Task<void> SessionWatch::lookAround() {
    agent_.look();
    co_await lookForQuestion();
    const bool ours = co_await log_.isStillOurs();
    state_.watched.superseded = !ours;
    if (!state_.isConversationKnown) {
        co_await log_.ifPossible(noteConversation());
    }
}

/// A question that the agent's screen still shows at the second look is one that stands. What stops every
/// agent at its work pauses starts in a moment, which tells of it once and not with each attempt.
Task<void> SessionWatch::lookForQuestion() {
    const auto picture = agent_.screen().picture();
    if (agent_.screen().awaitsRedraw() && !state_.watched.activity.exitedAt) {
        if (state_.watched.question) {  // whether it stands is not known meanwhile
            state_.watched.question->since = uses_.clock.now();
        }
        co_return;
    }
    const std::optional<GoalRecord> record = co_await goalRecord(*picture);
    const QuestionContext context{.hasGoal = state_.watched.goalAccepted,
                                  .goalStatus = record ? record->status : std::nullopt,
                                  .tellsNoStatus = record && record->allRead && !record->status,
                                  .isTrusted = uses_.settings.agentTrust,
                                  .answersDialogs = uses_.settings.agentAnswerDialogs};
    std::optional<StandingQuestion> seen = questionOn(*picture, uses_.clock.now(), context);
    if (state_.watched.activity.exitedAt) {
        seen.reset();
    }
    std::optional<StandingQuestion>& known = state_.watched.question;
    const bool isSame = seen && known && isSameQuestion(*seen, *known);
    const bool isDue = isSame && seen->since - known->since >= known->patience;
    const bool isToldByThePause = seen && seen->stopsEveryAgent && state_.watched.goalAccepted;
    if (isDue && !isQuestionTold_ && !isToldByThePause) {
        isQuestionTold_ = true;
        log_.show(SessionStage::needsPerson, known->sentence);
        co_await log_.tellIfPossible(EventKind::needsPerson, known->sentence);
    } else if (!seen && isQuestionTold_) {
        log_.show(state_.watched.goalAccepted ? SessionStage::working : SessionStage::waitingForPrompt);
    }
    if (!isSame) {
        isQuestionTold_ = false;
        known = std::move(seen);
    }
}

/// Asked for only while the agent rests: then it tells why.
Task<std::optional<GoalRecord>> SessionWatch::goalRecord(const ScreenPicture& picture) {
    const WatchedSession& watched = state_.watched;
    if (!watched.goalAccepted || watched.activity.exitedAt ||
        agentActivity(picture).state == AgentState::working) {
        co_return std::nullopt;
    }
    co_return co_await uses_.outside.findGoalRecord(goalKeys(state_.attempt.goalText).objective);
}

Task<void> SessionWatch::noteConversation() {
    const auto found =
        co_await uses_.outside.findConversation(*state_.attempt.agentWorkspacePath, state_.attempt.startedAt);
    if (found) {
        // A conversation that the agent denied is no use to come back to.
        const bool storedIsDenied = state_.item.codexSessionID && !state_.watched.resumes;
        co_await uses_.manager.setCodexSession(state_.item.id, found->id, storedIsDenied);
        co_await uses_.store.attempts.setCodexSession(state_.attempt.id, found->id);
        state_.isConversationKnown = true;
    }
}

SessionTimeoutSettings SessionWatch::timeouts() const {
    return {.idleTimeoutSeconds = uses_.settings.idleTimeoutSeconds,
            .postExitCommentGraceSeconds = uses_.settings.postExitGraceSeconds};
}

}  // namespace quernlight::host
