#include <gtest/gtest.h>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight {
namespace {

TEST(UserDirectoriesMacosTest, DataLiesInApplicationSupport) {
    EXPECT_EQ(userApplicationDataDirectory({{"HOME", "/h"}}), "/h/Library/Application Support");
    EXPECT_EQ(userApplicationDataDirectory({{"HOME", "/h"}, {"XDG_DATA_HOME", "/d"}}),
              "/h/Library/Application Support");
}

}  // namespace
}  // namespace quernlight
