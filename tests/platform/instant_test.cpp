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

TEST(InstantTest, ReadsWithAndWithoutAFractionAndWithAnOffset) {
    const auto whole = parseInstant("2026-03-01T10:20:30Z");
    ASSERT_TRUE(whole);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.123Z"), *whole + 123ms);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.1Z"), *whole + 100ms);
    EXPECT_EQ(parseInstant("2026-03-01T10:20:30.123999Z"), *whole + 123ms);
    EXPECT_EQ(parseInstant("2026-03-01T12:20:30+02:00"), *whole);
    EXPECT_EQ(parseInstant("2026-03-01T04:50:30-05:30"), *whole);
}

class UnreadableInstantTest : public testing::TestWithParam<const char*> {};

TEST_P(UnreadableInstantTest, IsNotRead) {
    EXPECT_EQ(parseInstant(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Texts, UnreadableInstantTest,
                         testing::Values("", "2026-03-01 10:20:30", "2026-02-30T00:00:00Z",
                                         "2026-13-01T00:00:00Z", "2026-03-01T25:00:00Z",
                                         "2026-03-01T10:60:00Z", "2026-03-01T10:20:30",
                                         "2026-03-01T10:20:30.Z", "2026-03-01T10:20:30+0200",
                                         "2026-03-01T10:20:30Z ", "26-03-01T10:20:30Z",
                                         "2026-03-01t10:20:30z"));

TEST(InstantTest, ALeapDayIsRead) {
    EXPECT_TRUE(parseInstant("2028-02-29T00:00:00Z"));
    EXPECT_FALSE(parseInstant("2027-02-29T00:00:00Z"));
}

}  // namespace
}  // namespace quernlight
