#include "host/report/report_period.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct Row {
    const char* text;
    const char* instant;  // empty: none
};

/// A person whose clock was an hour ahead of UTC until the summer time began at 2026-03-29T01:00Z.
std::chrono::seconds offset(Instant instant) {
    return instant < *parseInstant("2026-03-29T01:00:00Z") ? std::chrono::hours(1) : std::chrono::hours(2);
}

TEST(ReportPeriodTest, BeginsAsPeopleWriteIt) {
    const Instant now = *parseInstant("2026-03-30T06:00:00Z");
    const std::vector<Row> rows{
        {"12h", "2026-03-29T18:00:00.000Z"},
        {"30m", "2026-03-30T05:30:00.000Z"},
        {"2d", "2026-03-28T06:00:00.000Z"},
        {"1w", "2026-03-23T06:00:00.000Z"},
        {"2026-03-30", "2026-03-29T22:00:00.000Z"},
        {"2026-03-28", "2026-03-27T23:00:00.000Z"},
        {"2026-03-29T22:15", "2026-03-29T20:15:00.000Z"},
        {"2026-03-29 22:15:30", "2026-03-29T20:15:30.000Z"},
        {"2026-03-29T01:30", "2026-03-29T00:30:00.000Z"},
        {"2026-03-29T20:15:00Z", "2026-03-29T20:15:00.000Z"},
        {"2026-03-29T22:15:00+02:00", "2026-03-29T20:15:00.000Z"},
        {"", ""},
        {"12", ""},
        {"h", ""},
        {"0h", ""},
        {"-3h", ""},
        {"12 h", ""},
        {"12hours", ""},
        {"99999999999d", ""},
        {"yesterday", ""},
        {"2026-02-30", ""},
        {"2026-03-31", ""},
        {"0001", ""},
        {"0001-01-01", ""},
        {"0001-01-01T00:00:00Z", ""},
        {"9999-12-31", ""},
    };
    for (const Row& row : rows) {
        const auto since = beginningOfPeriod(row.text, now, offset);
        EXPECT_EQ(since ? formatInstant(*since) : "", row.instant) << row.text;
    }
}

}  // namespace
}  // namespace quernlight::host
