#include "host/text/relative_time.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using namespace std::chrono_literals;
using std::chrono::days;

Instant at(const char* text) {
    return parseInstant(text).value();
}

TEST(RelativeTimeTest, ADurationIsToldInItsLargestUnitRoundedDown) {
    EXPECT_EQ(shortDuration(-1min), "0s");
    EXPECT_EQ(shortDuration(999ms), "0s");
    EXPECT_EQ(shortDuration(59999ms), "59s");
    EXPECT_EQ(shortDuration(60s), "1m");
    EXPECT_EQ(shortDuration(59min + 59s), "59m");
    EXPECT_EQ(shortDuration(1h), "1h");
    EXPECT_EQ(shortDuration(23h + 59min), "23h");
    EXPECT_EQ(shortDuration(24h), "1d");
    EXPECT_EQ(shortDuration(days(400)), "400d");
}

TEST(RelativeTimeTest, WhatIsToComeIsToldAsWell) {
    const Instant now = at("2026-11-22T14:02:00Z");
    EXPECT_EQ(timeAgo(now - 49h, now), "2d ago");
    EXPECT_EQ(timeAgo(now - 4min, now), "4m ago");
    EXPECT_EQ(timeAgo(now - 999ms, now), "now");
    EXPECT_EQ(timeAgo(now + 999ms, now), "now");
    EXPECT_EQ(timeAgo(now + 4min, now), "in 4m");
}

struct LocalRow {
    const char* name;
    const char* instant;
    std::chrono::seconds offset;
    const char* text;
};

void PrintTo(const LocalRow& row, std::ostream* out) {
    *out << row.name;
}

class LocalTimeTest : public testing::TestWithParam<LocalRow> {};

TEST_P(LocalTimeTest, IsAsShortAsItsDistanceAllows) {
    const LocalRow& row = GetParam();
    EXPECT_EQ(localTime(at(row.instant), at("2026-11-22T14:02:30Z"), row.offset), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LocalTimeTest,
    testing::Values(LocalRow{"now", "2026-11-22T14:02:30Z", 0s, "14:02"},
                    LocalRow{"midnight", "2026-11-22T00:00:00Z", 0s, "00:00"},
                    LocalRow{"last day's last minute", "2026-11-21T23:59:59Z", 0s, "Sat 23:59"},
                    LocalRow{"the same day elsewhere", "2026-11-21T23:59:59Z", 1h, "00:59"},
                    LocalRow{"the day before elsewhere", "2026-11-22T04:00:00Z", -5h, "Sat 23:00"},
                    LocalRow{"half hours", "2026-11-22T10:00:00Z", 5h + 30min, "15:30"},
                    LocalRow{"six days ago", "2026-11-16T09:00:00Z", 0s, "Mon 09:00"},
                    LocalRow{"a week ago", "2026-11-15T14:02:30Z", 0s, "2026-11-15 14:02"},
                    LocalRow{"tomorrow", "2026-11-23T08:00:00Z", 0s, "Mon 08:00"},
                    LocalRow{"next year", "2027-01-02T03:04:05Z", 0s, "2027-01-02 03:04"},
                    LocalRow{"before 1970", "1969-12-31T23:59:00Z", 0s, "1969-12-31 23:59"}));

}  // namespace
}  // namespace quernlight::host
