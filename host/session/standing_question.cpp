#include "host/session/standing_question.hpp"

#include "host/screen/agent_activity.hpp"
#include "host/screen/usage_limit.hpp"
#include "host/session/goal_delivery.hpp"
#include "host/text/clock_time.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t longestQuestion = 300;  // in characters

std::string withoutDigits(std::string text) {
    std::erase_if(text, [](char byte) { return byte >= '0' && byte <= '9'; });
    return text;
}

std::string sentenceOn(const Dialog& dialog) {
    if (dialog.kind == DialogKind::login) {
        return "The agent is not logged in; run it by hand once and log in.";
    }
    const std::string question(firstCharacters(withoutControls(dialog.question), longestQuestion));
    return "The agent asks (" + std::string(nameOf(dialog.kind)) + "): " + question;
}

/// It waits for a person, but its screen does not say in a known way for what.
Dialog unknownDialog() {
    return {.kind = DialogKind::unknown,
            .question = "something that is not understood; look at its terminal"};
}

StandingQuestion limitReached(const std::string& words, Instant now) {
    StandingQuestion limit{
        .kind = DialogKind::usageLimit, .since = now, .until = instantOfUsageLimit(words, now)};
    limit.sentence = "The agent's use is limited" +
                     (limit.until ? " until " + clockTime(*limit.until) : std::string()) + ".";
    return limit;
}

}  // namespace

std::optional<StandingQuestion> questionOn(const ScreenPicture& picture, Instant now, bool hasGoal,
                                           bool answersDialogs) {
    const AgentActivity activity = agentActivity(picture);
    const auto limit = hasGoal ? usageLimitUntil(picture) : std::nullopt;
    if (limit && activity.state != AgentState::working) {
        return limitReached(*limit, now);
    }
    if (activity.state != AgentState::dialog) {
        return std::nullopt;
    }
    const Dialog dialog = activity.dialog.value_or(unknownDialog());
    if (!hasGoal && answersDialogs && dialogAnswer(dialog)) {
        return std::nullopt;
    }
    return StandingQuestion{.kind = dialog.kind, .sentence = sentenceOn(dialog), .since = now};
}

bool isSameQuestion(const StandingQuestion& left, const StandingQuestion& right) {
    return left.kind == right.kind && withoutDigits(left.sentence) == withoutDigits(right.sentence);
}

}  // namespace quernlight::host
