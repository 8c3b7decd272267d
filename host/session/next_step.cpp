#include "host/session/next_step.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/screen/last_line.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr int cannotBeRun = 126;  // env(1)'s codes
constexpr int isNotThere = 127;

constexpr double untilAQuestionStands = 3;  // seconds, and is not one that passes
constexpr double untilAPersonAnswers = 120;

NextStep stepAfter(const CompletionDetection& detection) {
    if (detection.outcome == CompletionOutcome::completed) {
        return WorkCompleted{detection.comment};
    }
    return UserAsked{detection.comment};
}

bool crashed(const SessionTimeoutState& activity) {
    return activity.exitedAt && activity.exitCode.value_or(0) != 0;
}

/// A crash has its comment behind it if it has one at all, so it gets the same grace as a clean exit, however
/// long it had been silent.
bool crashedBeyondGrace(const SessionTimeoutState& activity, Instant now, double graceSeconds) {
    return crashed(activity) && secondsOf(now - *activity.exitedAt) > graceSeconds;
}

/// Before the goal was typed there was no work that could be done twice.
bool refusedToResume(const WatchedSession& session) {
    return session.resumes && !session.goalTyped && crashed(session.activity) &&
           deniesConversation(session.lastWords, *session.resumes);
}

/// Why the session has been silent, or gone, for too long at that moment; nothing when it has not.
std::optional<std::string> overdueAt(const WatchedSession& session, Instant moment,
                                     const SessionTimeoutSettings& settings) {
    if (crashed(session.activity)) {
        return crashedBeyondGrace(session.activity, moment, settings.postExitCommentGraceSeconds)
                   ? std::optional(describeUncleanExit(*session.activity.exitCode))
                   : std::nullopt;
    }
    const auto timeout = SessionTimeoutEvaluator::decision(moment, session.activity, settings);
    return timeout ? std::optional(std::string(failureReason(*timeout))) : std::nullopt;
}

bool anyIn(std::string_view text, const auto& phrases) {
    return std::any_of(phrases.begin(), phrases.end(),
                       [&](std::string_view phrase) { return text.find(phrase) != text.npos; });
}

double patienceWith(const StandingQuestion& question, const SessionTimeoutSettings& settings) {
    if (question.stopsEveryAgent) {
        return untilAQuestionStands;
    }
    return question.isPersons ? std::max(settings.idleTimeoutSeconds, untilAPersonAnswers)
                              : untilAPersonAnswers;
}

/// How long it does is bounded by agentBlocked; no bug is failed for it.
bool awaitsAnswerBeforeItsGoal(const WatchedSession& session) {
    return session.question && !session.goalAccepted && !session.activity.exitedAt;
}

void forgetFuture(std::optional<Instant>& moment, Instant now) {
    if (moment > now) {
        moment.reset();
    }
}

}  // namespace

WatchedSession countedSince(Instant since, Instant now, WatchedSession session) {
    const auto counted = [&](Instant moment) { return moment < since || moment > now ? since : moment; };
    SessionTimeoutState& activity = session.activity;
    activity.startedAt = counted(activity.startedAt);
    if (activity.exitedAt) {
        activity.exitedAt = counted(*activity.exitedAt);
    }
    if (session.question) {
        session.question->since = counted(session.question->since);
    }
    forgetFuture(activity.lastOutputAt, now);
    forgetFuture(activity.lastCommentPollWithNewCommentAt, now);
    forgetFuture(session.commentsKnownAt, now);
    return session;
}

NextStep nextStep(const WatchedSession& session, Instant now, const SessionTimeoutSettings& settings) {
    if (session.superseded) {
        return SessionSuperseded{};
    }
    if (session.detection) {
        return stepAfter(*session.detection);
    }
    if (session.stopRequested) {
        return SessionInterrupted{};
    }
    if (auto notFound = agentNotFound(session)) {
        return *notFound;
    }
    if (refusedToResume(session)) {
        return ConversationUnknown{*session.resumes};
    }
    if (!session.goalTyped && session.activity.exitedAt) {
        return AgentBlocked{.cause = describeEarlyExit(session.activity, "typed", session.lastWords),
                            .endedEarly = true};
    }
    if (session.endedWithoutGoal) {
        return GoalNotTaken{describeEarlyExit(session.activity, "taken", session.lastWords)};
    }
    if (auto blocked = agentBlocked(session, now, settings)) {
        return *blocked;
    }
    if (session.goalRefused && !session.activity.exitedAt) {
        return GoalNotTaken{session.goalRefused->reason};
    }
    if (awaitsAnswerBeforeItsGoal(session)) {
        return KeepWatching{};
    }
    auto reason = overdueAt(session, now, settings);
    if (!reason) {
        return KeepWatching{};
    }
    if (session.question) {
        *reason += " " + session.question->sentence;
    }
    if (!session.commentTrouble.empty()) {
        return SessionFailed{*reason + " Its comments cannot be read: " + session.commentTrouble};
    }
    const bool wasLookedFor =
        session.commentsKnownAt && overdueAt(session, *session.commentsKnownAt, settings);
    return wasLookedFor ? NextStep(SessionFailed{std::move(*reason)}) : NextStep(LookForComment{});
}

std::optional<AgentNotFound> agentNotFound(const WatchedSession& session) {
    const int exitCode = session.activity.exitedAt ? session.activity.exitCode.value_or(0) : 0;
    if (session.goalTyped || (exitCode != cannotBeRun && exitCode != isNotThere)) {
        return std::nullopt;
    }
    const std::string words(trimmed(session.lastWords));
    const std::string line = words.substr(0, words.find('\n'));
    if (!line.starts_with("env: ") && !line.starts_with("/usr/bin/env: ")) {
        return std::nullopt;
    }
    return AgentNotFound{.exitCode = exitCode, .words = line};
}

std::optional<AgentBlocked> agentBlocked(const WatchedSession& session, Instant now,
                                         const SessionTimeoutSettings& settings) {
    if (session.activity.exitedAt) {
        return std::nullopt;
    }
    if (session.goalRefused && session.goalRefused->isAgentUnable) {
        return AgentBlocked{.cause = session.goalRefused->reason};
    }
    if (!session.question) {
        return std::nullopt;
    }
    const StandingQuestion& question = *session.question;
    const bool isOver = secondsOf(now - question.since) >= patienceWith(question, settings);
    return isOver && (question.stopsEveryAgent || !session.goalAccepted)
               ? std::optional(AgentBlocked{.cause = question.sentence,
                                            .until = question.until,
                                            .stopsWork = session.goalAccepted,
                                            .limitsUse = question.kind == DialogKind::usageLimit,
                                            .concernsRepository = question.isPersons})
               : std::nullopt;
}

std::string describeEarlyExit(const SessionTimeoutState& activity, std::string_view was,
                              const std::string& lastWords) {
    const std::string line = lastReadableLine(lastWords);
    return "The agent ended with code " + std::to_string(activity.exitCode.value_or(0)) +
           " before its goal was " + std::string(was) + (line.empty() ? "." : ": " + withoutControls(line));
}

std::string describeUncleanExit(int exitCode) {
    if (exitCode > 128) {
        return "Codex was ended by " + signalName(exitCode - 128) + " without posting a completion comment.";
    }
    return "Codex exited with code " + std::to_string(exitCode) + " without posting a completion comment.";
}

bool deniesConversation(const std::string& lastWords, const Uuid& conversation) {
    static constexpr std::array<std::string_view, 3> nouns{"session", "conversation", "thread"};
    static constexpr std::array<std::string_view, 8> denials{"not found",      "no saved",       "no such",
                                                             "does not exist", "could not find", "unknown",
                                                             "cannot load",    "failed to load"};
    const std::string words = lowercased(lastWords);
    const bool named = words.find(lowerCaseText(conversation)) != std::string::npos;
    return (named || anyIn(words, nouns)) && anyIn(words, denials);
}

}  // namespace quernlight::host
