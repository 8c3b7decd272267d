#include "host/screen/usage_limit.hpp"

#include <ctime>

#include <gtest/gtest.h>

#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

TEST(UsageLimitTest, SaysWhenTheAgentMayBeUsedAgain) {
    EXPECT_EQ(usageLimitUntil(recordedScreen("usage-limit-0.145.0")), "at 10:42 AM");
    EXPECT_EQ(usageLimitUntil(recordedScreen("usage-limit-0.169.0")), "at 10:43 AM");
    EXPECT_EQ(usageLimitUntil(screenOf({"■ Rate limit reached. Try again in 3 hours"})), "in 3 hours");
    EXPECT_EQ(usageLimitUntil(screenOf({"■ You've hit your Usage Limit."})), "");
    EXPECT_EQ(usageLimitUntil(recordedScreen("denied-0.169.0")), std::nullopt);
}

/// A time on the clock of this machine.
Instant at(int day, int hour, int minute) {
    std::tm time{};
    time.tm_year = 2026 - 1900;
    time.tm_mon = 10;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_isdst = -1;
    return Instant(std::chrono::seconds(std::mktime(&time)));
}

const Instant now = at(22, 9, 30);

/// What a notice says at half past nine on the 22nd of November, and the time that it means.
struct Stated {
    std::string name, until;
    std::optional<Instant> instant;
};

class StatedTimeTest : public testing::TestWithParam<Stated> {};

TEST_P(StatedTimeTest, IsThatInstant) {
    EXPECT_EQ(instantOfUsageLimit(GetParam().until, now), GetParam().instant);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StatedTimeTest,
    testing::Values(
        Stated{"LaterToday", "at 10:43 AM", at(22, 10, 43)},
        Stated{"InTheAfternoon", "at 3:05 PM", at(22, 15, 5)},
        Stated{"WithinThisMinute", "at 9:30 AM", at(22, 9, 31)},
        Stated{"AMinuteAgo", "at 9:29 AM", at(23, 9, 29)}, Stated{"AtNoon", "at 12:00 pm", at(22, 12, 0)},
        Stated{"AtMidnight", "at 12:00 AM", at(23, 0, 0)}, Stated{"Tomorrow", "at 9:00 AM", at(23, 9, 0)},
        Stated{"OfAClockOfTwentyFourHours", "at 15:05", at(22, 15, 5)},
        Stated{"OnADay", "at Nov 25th, 2026 3:14 PM", at(25, 15, 14)},
        Stated{"OnADayWithoutAYear", "on November 25, 3:14PM", at(25, 15, 14)},
        Stated{"ADayThatHasPassed", "at Nov 20th, 2026 3:14 PM", std::nullopt},
        Stated{"ADayWithoutAYearThatHasPassed", "on November 20, 3:14PM", std::nullopt},
        Stated{"OfTheNextYear", "on January 2, 3:14PM", at(22 + 9 + 31 + 1, 15, 14)},
        Stated{"AfterHours", "in 3 hours", now + std::chrono::hours(3)},
        Stated{"AfterDaysAndMinutes", "in 2 days 5 minutes", now + std::chrono::minutes(2 * 24 * 60 + 5)},
        Stated{"Later", "later", std::nullopt}, Stated{"NoTime", "", std::nullopt},
        Stated{"AnImpossibleTime", "at 25:00", std::nullopt},
        Stated{"AfterSomeTime", "in some hours", std::nullopt}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host
