#include "quernlight/platform/user_directories.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(StandardizedPathTest, ResolvesDotsAndSeparatorsByTextAlone) {
    EXPECT_EQ(standardizedPath("/a/b/../c"), "/a/c");
    EXPECT_EQ(standardizedPath("/a//b/./c/"), "/a/b/c");
    EXPECT_EQ(standardizedPath("//a/.."), "/");
    EXPECT_EQ(standardizedPath("/../a"), "/a");
}

TEST(StandardizedPathTest, ALeadingTildeIsTheUsersHome) {
    const std::string home = userHomeDirectory(currentEnvironmentMap()).string();
    EXPECT_EQ(standardizedPath("~/x/../y"), standardizedPath(home) + "/y");
    EXPECT_EQ(standardizedPath("~"), standardizedPath(home));
}

TEST(StandardizedPathTest, ARelativePathStartsAtTheCurrentDirectory) {
    EXPECT_EQ(standardizedPath("x"), standardizedPath(std::filesystem::current_path().string()) + "/x");
}

TEST(UserDirectoriesTest, HomeIsTheEnvironmentsUnlessItIsEmpty) {
    EXPECT_EQ(userHomeDirectory({{"HOME", "/somewhere"}}), "/somewhere");
    EXPECT_NE(userHomeDirectory({{"HOME", ""}}), "");
}

#ifndef __APPLE__
TEST(UserDirectoriesTest, DataLiesWhereTheDesktopsConventionSays) {
    EXPECT_EQ(userApplicationDataDirectory({{"HOME", "/h"}}), "/h/.local/share");
    EXPECT_EQ(userApplicationDataDirectory({{"HOME", "/h"}, {"XDG_DATA_HOME", "/d"}}), "/d");
    EXPECT_EQ(userApplicationDataDirectory({{"HOME", "/h"}, {"XDG_DATA_HOME", "relative"}}),
              "/h/.local/share");
}
#endif

}  // namespace
}  // namespace quernlight
