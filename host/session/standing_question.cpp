#include "host/session/standing_question.hpp"

#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <regex>

#include "host/screen/agent_activity.hpp"
#include "host/session/goal_delivery.hpp"
#include "host/text/clock_time.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t longestQuestion = 300;  // in characters

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

int numberIn(const std::string& digits) {
    int number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

std::chrono::seconds unitNamed(char initial) {
    switch (initial) {
        case 'd':
            return std::chrono::days(1);
        case 'h':
            return std::chrono::hours(1);
        case 'm':
            return std::chrono::minutes(1);
        default:
            return std::chrono::seconds(1);
    }
}

std::optional<std::chrono::seconds> namedDuration(const std::string& words) {
    static const std::regex piece(R"((\d{1,6})\s*(d|h|m|s)[a-z]*)", std::regex::icase);
    std::optional<std::chrono::seconds> sum;
    for (std::sregex_iterator match(words.begin(), words.end(), piece), end; match != end; ++match) {
        const char initial = lowercased((*match)[2].str()).front();
        sum = sum.value_or(std::chrono::seconds(0)) + numberIn((*match)[1].str()) * unitNamed(initial);
    }
    return sum;
}

/// The next moment at which this machine's clock shows the time.
Instant nextAt(int hour, int minute, Instant now) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    if (std::mktime(&local) <= seconds) {
        local.tm_mday += 1;
        local.tm_isdst = -1;
    }
    return std::chrono::time_point_cast<Instant::duration>(
        std::chrono::system_clock::from_time_t(std::mktime(&local)));
}

std::optional<Instant> namedTimeOfDay(const std::string& words, Instant now) {
    static const std::regex time(R"(^at (\d{1,2}):(\d{2})\s*(am|pm)?\W*$)", std::regex::icase);
    std::smatch found;
    if (!std::regex_search(words, found, time)) {
        return std::nullopt;
    }
    int hour = numberIn(found[1].str());
    const std::string half = lowercased(found[3].str());
    if (!half.empty()) {
        hour = hour % 12 + (half == "pm" ? 12 : 0);
    }
    return nextAt(hour, numberIn(found[2].str()), now);
}

StandingQuestion limitReached(const std::string& words, Instant now) {
    StandingQuestion limit{.kind = DialogKind::usageLimit, .since = now, .until = namedMoment(words, now)};
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

std::optional<Instant> namedMoment(std::string_view words, Instant now) {
    const std::string text = lowercased(trimmed(words));
    if (text.starts_with("in ")) {
        const auto duration = namedDuration(text);
        return duration ? std::optional(now + *duration) : std::nullopt;
    }
    return namedTimeOfDay(text, now);
}

}  // namespace quernlight::host
