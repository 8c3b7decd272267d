#include "host/session/standing_question.hpp"

#include "host/screen/agent_activity.hpp"
#include "host/screen/model_failure.hpp"
#include "host/screen/usage_limit.hpp"
#include "host/session/goal_delivery.hpp"
#include "host/text/clock_time.hpp"
#include "host/text/counted.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t longestQuestion = 300;  // in characters
constexpr std::chrono::minutes untilAReconnectionIsTold{2};

std::string shortened(const std::string& words) {
    return std::string(firstCharacters(withoutControls(words), longestQuestion));
}

std::string sentenceOn(const Dialog& dialog) {
    if (dialog.kind == DialogKind::login) {
        return "The agent is not logged in; run it by hand once and log in.";
    }
    return "The agent asks (" + std::string(nameOf(dialog.kind)) + "): " + shortened(dialog.question);
}

/// It waits for a person, but its screen does not say in a known way for what.
Dialog unknownDialog() {
    return {.kind = DialogKind::unknown,
            .question = "something that its options do not tell; see sessions show --screen"};
}

StandingQuestion limitReached(const std::string& words, Instant now) {
    StandingQuestion limit{.kind = DialogKind::usageLimit,
                           .stopsEveryAgent = true,
                           .since = now,
                           .until = instantOfUsageLimit(words, now)};
    limit.sentence = "The agent's use is limited" +
                     (limit.until ? " until " + clockTime(*limit.until) : std::string()) + ".";
    return limit;
}

/// Why the agent, which has its goal, has given up for now, though no question stands on its screen.
std::optional<StandingQuestion> stoppedOn(const ScreenPicture& picture, Instant now,
                                          const QuestionContext& context) {
    const std::optional<GoalStatus> status = context.goalStatus;
    if (status == GoalStatus::usageLimited) {
        return limitReached("", now);
    }
    const auto notice = context.tellsNoStatus           ? modelFailure(picture)
                        : status == GoalStatus::blocked ? lastNotice(picture)
                                                        : std::nullopt;
    if (notice) {
        return StandingQuestion{.sentence = "The agent has stopped: " + shortened(*notice),
                                .stopsEveryAgent = true,
                                .since = now};
    }
    if (status == GoalStatus::blocked || status == GoalStatus::paused ||
        status == GoalStatus::budgetLimited) {
        return StandingQuestion{.sentence = "The agent has stopped, and calls its goal " +
                                            std::string(nameOf(*status)) + "; look at its terminal.",
                                .since = now};
    }
    return std::nullopt;
}

/// It tries again by itself for as long as it takes.
std::optional<StandingQuestion> reconnectingOn(const ScreenPicture& picture, Instant now) {
    const auto trial = reconnection(picture);
    return trial ? std::optional(
                       StandingQuestion{.sentence = "The agent cannot reach its model: " + shortened(*trial),
                                        .since = now,
                                        .patience = untilAReconnectionIsTold})
                 : std::nullopt;
}

}  // namespace

std::optional<StandingQuestion> questionOn(const ScreenPicture& picture, Instant now,
                                           const QuestionContext& context) {
    const AgentActivity activity = agentActivity(picture);
    const bool hasGoalAndRests = context.hasGoal && activity.state != AgentState::working;
    const auto limit = hasGoalAndRests ? usageLimitUntil(picture) : std::nullopt;
    if (limit) {
        return limitReached(*limit, now);
    }
    if (hasGoalAndRests && activity.state != AgentState::dialog) {
        return stoppedOn(picture, now, context);
    }
    if (activity.state != AgentState::dialog) {
        return context.hasGoal ? reconnectingOn(picture, now) : std::nullopt;
    }
    const Dialog dialog = activity.dialog.value_or(unknownDialog());
    if (!context.hasGoal && context.answersDialogs && dialogAnswer(dialog)) {
        return std::nullopt;
    }
    return StandingQuestion{
        .kind = dialog.kind,
        .sentence = sentenceOn(dialog),
        .isPersons = (dialog.kind == DialogKind::trust && !context.isTrusted) ||
                     (!context.answersDialogs && dialogAnswer(dialog)),
        .stopsEveryAgent = dialog.kind == DialogKind::login || dialog.kind == DialogKind::usageLimit,
        .since = now};
}

bool isSameQuestion(const StandingQuestion& left, const StandingQuestion& right) {
    return left.kind == right.kind && withoutDigits(left.sentence) == withoutDigits(right.sentence);
}

}  // namespace quernlight::host
