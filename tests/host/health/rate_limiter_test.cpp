#include "host/health/rate_limiter.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using TimePoint = RateLimiter::TimePoint;

constexpr TimePoint start{std::chrono::hours(1)};

TEST(RateLimiterTest, ABurstGoesAtOnceAndTheRestAtTheSteadyRate) {
    RateLimiter rateLimiter(10, 3);
    for (const int due : {0, 0, 0, 100, 200, 300}) {
        EXPECT_EQ(rateLimiter.reserve(start), start + milliseconds(due));
    }
}

TEST(RateLimiterTest, AfterAPauseThereIsOneBurstAgainAndNotMore) {
    RateLimiter rateLimiter(10, 2);
    rateLimiter.reserve(start);
    const TimePoint later = start + std::chrono::hours(1);
    for (const int due : {0, 0, 100, 200}) {
        EXPECT_EQ(rateLimiter.reserve(later), later + milliseconds(due));
    }
}

TEST(RateLimiterTest, NobodyIsSentBeforeAsking) {
    RateLimiter rateLimiter(10, 1);
    EXPECT_EQ(rateLimiter.reserve(start), start);
    EXPECT_EQ(rateLimiter.reserve(start + milliseconds(30)), start + milliseconds(100));
    EXPECT_EQ(rateLimiter.reserve(start + milliseconds(500)), start + milliseconds(500));
}

TEST(RateLimiterTest, WhatIsRefusedTakesNoTurnFromWhatComesLater) {
    RateLimiter rateLimiter(10, 2);
    for (const bool taken : {true, true, false, false, false}) {
        EXPECT_EQ(rateLimiter.takeNow(start), taken);
    }
    EXPECT_TRUE(rateLimiter.takeNow(start + milliseconds(100)));
    EXPECT_FALSE(rateLimiter.takeNow(start + milliseconds(100)));
}

}  // namespace
}  // namespace quernlight::host
