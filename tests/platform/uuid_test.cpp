#include "quernlight/platform/uuid.hpp"

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

TEST(UuidTest, OtherFormsAreNotRead) {
    EXPECT_FALSE(parseUuid(""));
    EXPECT_FALSE(parseUuid("3F2A9C1D000040008000000000000000"));
    EXPECT_FALSE(parseUuid("{3F2A9C1D-0000-4000-8000-00000000ABCD}"));
    EXPECT_FALSE(parseUuid("3F2A9C1D-0000-4000-8000-00000000ABCG"));
    EXPECT_FALSE(parseUuid("3F2A9C1D-0000-4000-8000-00000000ABCD "));
}

TEST(UuidTest, RandomOnesAreOfVersionFourAndDiffer) {
    const Uuid first = randomUuid();
    EXPECT_NE(first, randomUuid());
    EXPECT_EQ(first.version(), Uuid::version_random_number_based);
}

}  // namespace
}  // namespace quernlight
