#include "host/intake/list_limit.hpp"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

/// Looks at the list of a backend that holds some bugs, lists at most so many at once, and answers no limit
/// beyond another.
class ListLimitTest : public testing::Test {
  protected:
    /// The limits that one look asks for, a blank between two.
    std::string look() {
        std::string asked;
        limit.begin(now);
        for (bool goesOn = true; goesOn && !limit.isDone();) {
            asked += (asked.empty() ? "" : " ") + std::to_string(limit.asked());
            if (limit.asked() > mostAnswered) {
                goesOn = limit.failed(now);
            } else {
                limit.answered(static_cast<std::size_t>(std::min({limit.asked(), held, mostListed})));
            }
        }
        return asked;
    }

    int held = 0;
    int mostListed = 1'000'000;
    int mostAnswered = 1'000'000;
    ListLimit::TimePoint now = std::chrono::steady_clock::now();
    ListLimit limit{10};
};

TEST_F(ListLimitTest, IsDoubledUntilTheListIsNotFullAndThatIsAskedForNextTime) {
    held = 35;
    EXPECT_EQ(look(), "10 20 40");
    EXPECT_EQ(limit.cutAt(), std::nullopt);
    EXPECT_EQ(look(), "40");
    held = 9;
    EXPECT_EQ(look(), "40");
}

TEST_F(ListLimitTest, IsNotDoubledForAShortList) {
    held = 9;
    EXPECT_EQ(look(), "10");
    EXPECT_FALSE(limit.isLong());
}

TEST_F(ListLimitTest, ABackendThatNeverListsMoreIsNoticed) {
    held = 35;
    mostListed = 10;
    EXPECT_EQ(look(), "10 20");
    EXPECT_EQ(limit.cutAt(), 20);
}

TEST_F(ListLimitTest, WhatIsNotAnsweredIsLeftAloneForAnHour) {
    held = 100;
    mostAnswered = 25;
    EXPECT_EQ(look(), "10 20 40");
    EXPECT_EQ(limit.cutAt(), 40);
    EXPECT_EQ(look(), "20");
    EXPECT_EQ(limit.cutAt(), 40);
    now += std::chrono::hours(1);
    EXPECT_EQ(look(), "20 40");
}

TEST_F(ListLimitTest, WhenWhatWasEnoughIsNotAnsweredAnyMoreLessIsAskedFor) {
    held = 35;
    look();
    mostAnswered = 25;
    EXPECT_EQ(look(), "40 10 20");
    EXPECT_EQ(limit.cutAt(), 40);
}

TEST_F(ListLimitTest, ABackendThatAnswersNothingForAWhileIsAskedForAllAgain) {
    held = 35;
    look();
    mostAnswered = 0;
    EXPECT_EQ(look(), "40 10");
    mostAnswered = 1000;
    EXPECT_EQ(look(), "10 20 40");
    EXPECT_EQ(limit.cutAt(), std::nullopt);
}

TEST_F(ListLimitTest, HasAnEnd) {
    held = 2'000'000'000;
    mostListed = mostAnswered = held;
    look();
    EXPECT_TRUE(limit.isDone());
    EXPECT_TRUE(limit.cutAt());
}

}  // namespace
}  // namespace quernlight::host
