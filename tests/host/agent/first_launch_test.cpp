#include "host/agent/first_launch.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(FirstLaunchTest, WhereTheAgentHasRunBeforeNobodyWaits) {
    FirstLaunch launch(false);
    EXPECT_TRUE(launch.take());
    EXPECT_TRUE(launch.take());
}

TEST(FirstLaunchTest, InANewHomeTheOthersWaitUntilTheFirstHasItsPrompt) {
    FirstLaunch launch(true);
    EXPECT_TRUE(launch.take());
    EXPECT_FALSE(launch.take());
    launch.succeeded();
    EXPECT_TRUE(launch.take());
    launch.ended();
    EXPECT_TRUE(launch.take());
    EXPECT_TRUE(launch.take());
}

TEST(FirstLaunchTest, AfterAFirstOneThatEndsTheNextIsTheFirst) {
    FirstLaunch launch(true);
    EXPECT_TRUE(launch.take());
    launch.ended();
    EXPECT_TRUE(launch.take());
    EXPECT_FALSE(launch.take());
}

}  // namespace
}  // namespace quernlight::host
