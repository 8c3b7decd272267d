#include "quernlight/platform/identifiers.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

constexpr const char* canonical = "3F2A9C1D-0000-4000-8000-00000000ABCD";

TEST(UuidTest, CanonicalTextOfAnyCaseIsRead) {
    const auto uuid = parseUuid("3f2a9C1d-0000-4000-8000-00000000abCD");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(upperCaseText(*uuid), canonical);
    EXPECT_EQ(lowerCaseText(*uuid), "3f2a9c1d-0000-4000-8000-00000000abcd");
}

class OtherUuidFormTest : public testing::TestWithParam<const char*> {};

TEST_P(OtherUuidFormTest, IsNotRead) {
    EXPECT_FALSE(parseUuid(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, OtherUuidFormTest,
    testing::Values("", "3F2A9C1D", "3F2A9C1D00004000800000000000ABCD",
                    "{3F2A9C1D-0000-4000-8000-00000000ABCD}", "urn:uuid:3F2A9C1D-0000-4000-8000-00000000ABCD",
                    "3F2A9C1D-0000-4000-8000-00000000ABCG", "3F2A9C1D-0000-4000-8000-00000000ABCD ",
                    " 3F2A9C1D-0000-4000-8000-00000000ABCD", "3F2A9C1D-0000-4000-8000-00000000ABCDE",
                    "3F2A9C1D-0000-4000-8000-00000000ABC", "3F2A9C1D00-00-4000-8000-00000000ABCD",
                    "3F2A9C1D_0000_4000_8000_00000000ABCD"));

TEST(UuidTest, AnyVersionIsRead) {
    EXPECT_TRUE(parseUuid("00000000-0000-0000-0000-000000000000"));
    EXPECT_TRUE(parseUuid("ffffffff-ffff-ffff-ffff-ffffffffffff"));
}

TEST(UuidTest, RandomOnesAreOfVersionFourAndDiffer) {
    const Uuid first = randomUuid();
    EXPECT_NE(first, randomUuid());
    EXPECT_EQ(first.version(), Uuid::version_random_number_based);
}

}  // namespace
}  // namespace quernlight
