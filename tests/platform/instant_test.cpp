#include "quernlight/platform/instant.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using namespace std::chrono_literals;

TEST(InstantTest, IsWrittenInUtcWithMilliseconds) {
    const Instant instant = std::chrono::sys_days(std::chrono::year(2026) / 3 / 4) + 5h + 6min + 7s + 890ms;
    EXPECT_EQ(formatInstant(instant), "2026-03-04T05:06:07.890Z");
}

TEST(InstantTest, BeforeTheEpochIsWrittenAndReadBack) {
    const Instant instant = Instant(-1ms);
    EXPECT_EQ(formatInstant(instant), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(parseInstant("1969-12-31T23:59:59.999Z"), instant);
}

struct ReadableInstant {
    const char* text;
    const char* inUtc;  // as written
};

const ReadableInstant readableInstants[] = {
    {"2026-03-01T10:20:30Z", "2026-03-01T10:20:30.000Z"},
    {"2026-03-01T10:20:30.1Z", "2026-03-01T10:20:30.100Z"},
    {"2026-03-01T10:20:30.12Z", "2026-03-01T10:20:30.120Z"},
    {"2026-03-01T10:20:30.123Z", "2026-03-01T10:20:30.123Z"},
    {"2026-03-01T10:20:30.1239Z", "2026-03-01T10:20:30.123Z"},
    {"2026-03-01T10:20:30.123456789Z", "2026-03-01T10:20:30.123Z"},
    {"2026-03-01T10:20:30.00000000000000000000000000000001Z", "2026-03-01T10:20:30.000Z"},
    {"2026-03-01T10:20:30+00:00", "2026-03-01T10:20:30.000Z"},
    {"2026-03-01T10:20:30-00:00", "2026-03-01T10:20:30.000Z"},
    {"2026-03-01T10:20:30+02:00", "2026-03-01T08:20:30.000Z"},
    {"2026-03-01T10:20:30.5-03:30", "2026-03-01T13:50:30.500Z"},
    {"2026-01-01T00:30:00+01:00", "2025-12-31T23:30:00.000Z"},
    {"2026-12-31T23:30:00-14:00", "2027-01-01T13:30:00.000Z"},
    {"2026-03-01T10:20:30+23:59", "2026-02-28T10:21:30.000Z"},
    {"2028-02-29T00:00:00Z", "2028-02-29T00:00:00.000Z"},
    {"2000-02-29T00:00:00Z", "2000-02-29T00:00:00.000Z"},
    {"0001-01-01T00:00:00Z", "0001-01-01T00:00:00.000Z"},
    {"9999-12-31T23:59:59.999Z", "9999-12-31T23:59:59.999Z"},
};

TEST(InstantTest, ATextIsReadToTheMillisecond) {
    for (const ReadableInstant& row : readableInstants) {
        SCOPED_TRACE(row.text);
        const auto instant = parseInstant(row.text);
        ASSERT_TRUE(instant);
        EXPECT_EQ(formatInstant(*instant), row.inUtc);
    }
}

TEST(InstantTest, AnyOtherTextIsNotRead) {
    const char* const rows[] = {"",
                                "2026-03-01 10:20:30",
                                "2026-02-30T00:00:00Z",
                                "2026-13-01T00:00:00Z",
                                "2026-03-01T25:00:00Z",
                                "2026-03-01T10:60:00Z",
                                "2026-03-01T10:20:30",
                                "2026-03-01T10:20:30.Z",
                                "2026-03-01T10:20:30+0200",
                                "2026-03-01T10:20:30Z ",
                                "26-03-01T10:20:30Z",
                                "2026-03-01t10:20:30z",
                                " 2026-03-01T10:20:30Z",
                                "2026-03-01",
                                "2026-03-01T10:20Z",
                                "20260301T102030Z",
                                "2026-3-1T10:20:30Z",
                                "+2026-03-01T10:20:30Z",
                                "12026-03-01T10:20:30Z",
                                "2026-00-01T00:00:00Z",
                                "2026-01-00T00:00:00Z",
                                "2026-04-31T00:00:00Z",
                                "2026-01-32T00:00:00Z",
                                "2100-02-29T00:00:00Z",
                                "2027-02-29T00:00:00Z",
                                "2026-03-01T24:00:00Z",
                                "2026-03-01T10:20:60Z",
                                "2026-03-01T10:20:30,5Z",
                                "2026-03-01T10:20:30.5",
                                "2026-03-01T10:20:30.-5Z",
                                "2026-03-01T10:20:30+02",
                                "2026-03-01T10:20:30+2:00",
                                "2026-03-01T10:20:30+24:00",
                                "2026-03-01T10:20:30+02:60",
                                "2026-03-01T10:20:30+02:00Z",
                                "2026-03-01T10:20:30UTC",
                                "2026-03-01T10:20:30ZZ"};
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        EXPECT_EQ(parseInstant(row), std::nullopt);
    }
}

}  // namespace
}  // namespace quernlight
