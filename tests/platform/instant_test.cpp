#include "quernlight/platform/instant.hpp"

#include <ostream>

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

TEST(InstantTest, ReadsWithAndWithoutAFractionAndWithAnOffset) {
    const auto whole = parseInstant("2026-03-01T10:20:30Z");
    ASSERT_TRUE(whole);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.123Z"), *whole + 123ms);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.1Z"), *whole + 100ms);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.123999Z"), *whole + 123ms);
    EXPECT_EQ(parseInstant("2026-03-01T12:20:30+02:00"), *whole);
    EXPECT_EQ(parseInstant("2026-03-01T04:50:30-05:30"), *whole);
}

struct ReadableInstant {
    const char* text;
    const char* inUtc;  // as written
};

void PrintTo(const ReadableInstant& instant, std::ostream* out) {
    *out << instant.text;
}

class ReadableInstantTest : public testing::TestWithParam<ReadableInstant> {};

TEST_P(ReadableInstantTest, IsReadToTheMillisecond) {
    const auto instant = parseInstant(GetParam().text);
    ASSERT_TRUE(instant);
    EXPECT_EQ(formatInstant(*instant), GetParam().inUtc);
}

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
    {"2000-02-29T00:00:00Z", "2000-02-29T00:00:00.000Z"},
    {"0001-01-01T00:00:00Z", "0001-01-01T00:00:00.000Z"},
    {"9999-12-31T23:59:59.999Z", "9999-12-31T23:59:59.999Z"},
};

INSTANTIATE_TEST_SUITE_P(Texts, ReadableInstantTest, testing::ValuesIn(readableInstants));

class UnreadableInstantTest : public testing::TestWithParam<const char*> {};

TEST_P(UnreadableInstantTest, IsNotRead) {
    EXPECT_EQ(parseInstant(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UnreadableInstantTest,
    testing::Values("", "2026-03-01 10:20:30", "2026-02-30T00:00:00Z", "2026-13-01T00:00:00Z",
                    "2026-03-01T25:00:00Z", "2026-03-01T10:60:00Z", "2026-03-01T10:20:30",
                    "2026-03-01T10:20:30.Z", "2026-03-01T10:20:30+0200", "2026-03-01T10:20:30Z ",
                    "26-03-01T10:20:30Z", "2026-03-01t10:20:30z", " 2026-03-01T10:20:30Z", "2026-03-01",
                    "2026-03-01T10:20Z", "20260301T102030Z", "2026-3-1T10:20:30Z", "+2026-03-01T10:20:30Z",
                    "12026-03-01T10:20:30Z", "2026-00-01T00:00:00Z", "2026-01-00T00:00:00Z",
                    "2026-04-31T00:00:00Z", "2026-01-32T00:00:00Z", "2100-02-29T00:00:00Z",
                    "2026-03-01T24:00:00Z", "2026-03-01T10:20:60Z", "2026-03-01T10:20:30,5Z",
                    "2026-03-01T10:20:30.5", "2026-03-01T10:20:30.-5Z", "2026-03-01T10:20:30+02",
                    "2026-03-01T10:20:30+2:00", "2026-03-01T10:20:30+24:00", "2026-03-01T10:20:30+02:60",
                    "2026-03-01T10:20:30+02:00Z", "2026-03-01T10:20:30UTC", "2026-03-01T10:20:30ZZ"));

TEST(InstantTest, ALeapDayIsRead) {
    EXPECT_TRUE(parseInstant("2028-02-29T00:00:00Z"));
    EXPECT_FALSE(parseInstant("2027-02-29T00:00:00Z"));
}

}  // namespace
}  // namespace quernlight
