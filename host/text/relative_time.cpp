#include "host/text/relative_time.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace quernlight::host {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

std::string dateText(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

std::string weekdayText(std::chrono::sys_days day) {
    constexpr std::array<const char*, 7> names{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return names.at(std::chrono::weekday(day).c_encoding());
}

std::string minuteOfDay(milliseconds sinceMidnight) {
    const auto minute = std::chrono::floor<minutes>(sinceMidnight).count();
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d", static_cast<int>(minute / 60),
                  static_cast<int>(minute % 60));
    return text.data();
}

}  // namespace

std::string shortDuration(milliseconds duration) {
    const milliseconds time = std::max(duration, milliseconds::zero());
    if (time < minutes(1)) {
        return std::to_string(std::chrono::floor<seconds>(time).count()) + "s";
    }
    if (time < hours(1)) {
        return std::to_string(std::chrono::floor<minutes>(time).count()) + "m";
    }
    if (time < days(1)) {
        return std::to_string(std::chrono::floor<hours>(time).count()) + "h";
    }
    return std::to_string(std::chrono::floor<days>(time).count()) + "d";
}

std::string timeAgo(Instant instant, Instant now) {
    const milliseconds age = now - instant;
    if (std::chrono::abs(age) < seconds(1)) {
        return "now";
    }
    return age > milliseconds::zero() ? shortDuration(age) + " ago" : "in " + shortDuration(-age);
}

std::string localTime(Instant instant, Instant now, seconds offset) {
    const Instant local = instant + offset;
    const auto day = std::chrono::floor<days>(local);
    const std::string time = minuteOfDay(local - day);
    const auto apart = std::abs((std::chrono::floor<days>(now + offset) - day).count());
    return apart == 0 ? time : apart < 7 ? weekdayText(day) + " " + time : dateText(day) + " " + time;
}

seconds localOffset(Instant instant) {
    const std::time_t time = std::chrono::system_clock::to_time_t(instant);
    std::tm local{};
    return seconds(localtime_r(&time, &local) ? local.tm_gmtoff : 0);
}

}  // namespace quernlight::host
