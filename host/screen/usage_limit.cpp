#include "host/screen/usage_limit.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <vector>

#include "host/screen/agent_activity.hpp"
#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Words = std::vector<std::string>;

Words wordsOf(std::string_view text) {
    Words words(1);
    for (const char character : lowercased(text)) {
        if (character == ' ' || character == ',') {
            words.emplace_back();
        } else {
            words.back() += character;
        }
    }
    std::erase(words, "");
    return words;
}

/// The number at a text's beginning, which moves behind it.
std::optional<int> takeNumber(std::string_view& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 0) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/// "2 days 3 hours 5 minutes", of units that are known by their first letter.
std::optional<std::chrono::seconds> durationOf(const Words& words) {
    std::chrono::seconds sum{0};
    for (std::size_t at = 1; at + 1 < words.size(); at += 2) {
        std::string_view digits = words[at];
        const auto number = takeNumber(digits);
        const std::size_t unit = std::string_view("dhms").find(words[at + 1].front());
        if (!number || *number > 100'000 || !digits.empty() || unit == std::string_view::npos) {
            return std::nullopt;
        }
        constexpr std::array<std::chrono::seconds, 4> units{std::chrono::days(1), std::chrono::hours(1),
                                                            std::chrono::minutes(1), std::chrono::seconds(1)};
        sum += *number * units.at(unit);
    }
    const bool isPossible = sum > std::chrono::seconds(0) && sum < std::chrono::years(10);
    return isPossible ? std::optional(sum) : std::nullopt;
}

/// "3:14", with the "am" or "pm" that may follow.
bool readTimeOfDay(std::string_view text, const Words& words, std::tm& time) {
    const auto hour = takeNumber(text);
    if (!hour || !text.starts_with(':')) {
        return false;
    }
    text.remove_prefix(1);
    const auto minute = takeNumber(text);
    const auto isMarked = [&](std::string_view mark) {
        return text.ends_with(mark) || std::find(words.begin(), words.end(), mark) != words.end();
    };
    if (!minute || *hour > 23 || *minute > 59) {
        return false;
    }
    const bool isHalf = isMarked("am") || isMarked("pm");
    time.tm_hour = isHalf ? *hour % 12 + (isMarked("pm") ? 12 : 0) : *hour;
    time.tm_min = *minute;
    time.tm_sec = 0;
    return true;
}

enum class NamedDay { none, ofSomeYear, ofAYear };

/// "nov 25th 2026", or without the year.
NamedDay readDay(const Words& words, std::tm& time) {
    constexpr std::string_view months = "janfebmaraprmayjunjulaugsepoctnovdec";
    for (std::size_t at = 0; at + 1 < words.size(); ++at) {
        const std::size_t month = words[at].size() < 3 ? months.npos : months.find(words[at].substr(0, 3));
        std::string_view day = words[at + 1];
        const auto number = takeNumber(day);
        if (month == months.npos || month % 3 != 0 || !number || day.starts_with(':')) {
            continue;
        }
        time.tm_mon = static_cast<int>(month / 3);
        time.tm_mday = *number;
        std::string_view year = at + 2 < words.size() ? std::string_view(words[at + 2]) : "";
        const auto fullYear = takeNumber(year);
        const bool hasYear = fullYear && *fullYear >= 2000 && year.empty();
        time.tm_year = hasYear ? *fullYear - 1900 : time.tm_year;
        return hasYear ? NamedDay::ofAYear : NamedDay::ofSomeYear;
    }
    return NamedDay::none;
}

/// Agents name the minute in which the limit ends, which may have begun.
constexpr std::chrono::seconds uncertainty{60};

std::optional<Instant> instantOf(std::tm time) {
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    return seconds == -1 ? std::nullopt : std::optional(Instant(std::chrono::seconds(seconds)));
}

/// The next day, or year, that has such a time. One that passed months ago is of the past, and tells nothing.
std::optional<Instant> nextAfter(std::tm time, NamedDay day, Instant now) {
    constexpr std::chrono::days longestLimit{92};
    day == NamedDay::none ? ++time.tm_mday : ++time.tm_year;
    const auto instant = instantOf(time);
    return instant && *instant - now < longestLimit ? instant : std::nullopt;
}

}  // namespace

std::optional<std::string> usageLimitUntil(const ScreenPicture& picture) {
    const auto notice = lastNotice(picture);
    if (!notice || !holdsAnyOf(*notice, {"usage limit", "rate limit", "limit reached"})) {
        return std::nullopt;
    }
    constexpr std::string_view words = "ry again ";  // whatever the case of its first letter
    const std::size_t found = notice->find(words);
    if (found == notice->npos) {
        return "";
    }
    const std::string_view behind = std::string_view(*notice).substr(found + words.size());
    return std::string(trimmed(behind.substr(0, behind.find('.'))));
}

std::optional<Instant> instantOfUsageLimit(std::string_view until, Instant now) {
    const Words words = wordsOf(until);
    if (!words.empty() && words.front() == "in") {
        const auto duration = durationOf(words);
        return duration ? std::optional(now + *duration) : std::nullopt;
    }
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm time{};
    localtime_r(&seconds, &time);
    const bool hasTime = std::any_of(words.begin(), words.end(), [&](const std::string& word) {
        return readTimeOfDay(word, words, time);
    });
    if (!hasTime) {
        return std::nullopt;
    }
    const NamedDay day = readDay(words, time);
    const auto instant = instantOf(time);
    if (!instant || *instant > now) {
        return instant;
    }
    if (now - *instant < uncertainty) {
        return now + uncertainty;
    }
    return day == NamedDay::ofAYear ? std::nullopt : nextAfter(time, day, now);
}

}  // namespace quernlight::host
